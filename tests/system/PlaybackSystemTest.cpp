// Sound files played end to end exactly as the program plays them: the system
// decoded reader, the Player, the audio bus and the ALSA driver, into the private
// sound server's sink "out", whose monitor parec records as 16-bit stereo. The
// recording is compared frame by frame with what the file holds.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "AudioBus.h"
#include "AudioDevCore.h"
#include "DamagedMp3.h"
#include "MainDlg.h"
#include "Player.h"
#include "QuvLog.h"
#include "RealtimeRecorder.h"
#include "SoundFileWriter.h"
#include "UThread.h"
#include "snd_mac.h"

// ---- counting C++ allocations on the IO thread ------------------------------
//
// The allocation functions of the whole test binary go through these; those made
// on a thread marked as the IO thread are counted. (The binary's malloc family is
// hooked by the engine's own system test; this counts what the C++ code of the
// player and the bus could allocate.) The sanitizers own the allocator, so their
// builds leave the hook out.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PLAYBACK_ALLOC_HOOK 0
#else
#define PLAYBACK_ALLOC_HOOK 1
#endif

namespace {
thread_local bool t_playIo = false;  // set on the IO thread by ProbedPlayer
std::atomic<long> g_playIoNews{0};
#if PLAYBACK_ALLOC_HOOK
void* CountedNew(std::size_t n) {
    if (t_playIo) g_playIoNews.fetch_add(1, std::memory_order_relaxed);
    void* p = std::malloc(n ? n : 1);
    if (!p) throw std::bad_alloc();
    return p;
}
#endif
}  // namespace

#if PLAYBACK_ALLOC_HOOK
void* operator new(std::size_t n) {
    return CountedNew(n);
}
void* operator new[](std::size_t n) {
    return CountedNew(n);
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return CountedNew(n);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return CountedNew(n);
    } catch (...) {
        return nullptr;
    }
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
#endif

namespace {

constexpr int kRate = 44100;

bool HaveSoundServer() {
    return std::getenv("PULSE_SERVER") != nullptr;
}

#define REQUIRE_SOUND_SERVER() \
    if (!HaveSoundServer()) GTEST_SKIP() << "needs the private sound server (with-test-env.sh)"

// A reproducible signal whose every sample is at least 100 steps away from 0, so
// that the first recorded frame of a sound is found without doubt.
std::vector<short> TestSignal(int frames, uint32_t seed) {
    std::vector<short> s(2 * static_cast<size_t>(frames));
    uint32_t x = seed;
    for (short& v : s) {
        x = x * 1664525u + 1013904223u;
        const int mag = 100 + static_cast<int>((x >> 8) % 20000);
        v = static_cast<short>((x >> 31) ? -mag : mag);
    }
    return s;
}

std::string WriteWav(const char* name, int rate, const std::vector<short>& samples) {
    const std::string path = testfiles::TempPath(name);
    EXPECT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, rate, 2, samples));
    return path;
}

// parec on the sink's monitor, 16-bit stereo into a file, started before playback.
class MonitorRecorder {
  public:
    explicit MonitorRecorder(const std::string& path) : m_path(path) {
        unlink(path.c_str());  // an earlier recording must not pass for this one
        m_pid = fork();
        if (m_pid == 0) {
            int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd < 0) _exit(127);
            dup2(fd, 1);
            testfiles::RealtimeRecorder();
            execlp("parec", "parec", "-d", "out.monitor", "--raw", "--format=s16le", "--rate=44100",
                   "--channels=2", "--latency-msec=2", static_cast<char*>(nullptr));
            _exit(127);
        }
        testfiles::WaitUntilRecording(path, 10000);  // the capture stream runs
    }
    // Lets the last frames pass the server, stops parec and returns the recording.
    std::vector<short> Finish() {
        UThread::Wait(800);
        Kill();
        std::vector<short> out;
        if (FILE* f = std::fopen(m_path.c_str(), "rb")) {
            short buf[4096];
            size_t n;
            while ((n = std::fread(buf, sizeof(short), 4096, f)) > 0)
                out.insert(out.end(), buf, buf + n);
            std::fclose(f);
        }
        out.resize(out.size() & ~size_t(1));
        return out;
    }
    ~MonitorRecorder() { Kill(); }

  private:
    void Kill() {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            int status;
            waitpid(m_pid, &status, 0);
            m_pid = -1;
        }
    }
    std::string m_path;
    pid_t m_pid = -1;
};

// The main window's start-up sequence around a player: register the driver, open
// the first playback device at 44100 Hz, 32 bits, stereo, start it, bind the bus.
struct Engine {
    AudioBus bus;
    AudioDevCore* core = new AudioDevCore;
    bool ok = false;
    explicit Engine(Player* player) {
        if (bus.AddDriver(core, "CoreAudio") != 1) {
            core = nullptr;
            return;
        }
        DEVOPEN play{0, 2, 0};
        if (!bus.CurrentDriver()->Open(nullptr, &play, 44100, 32) || !bus.CurrentDriver()->Start(0))
            return;
        bus.EnableRecord(false);
        bus.EnablePlay(true);
        bus.SetPlaySource(player);
        bus.Start();
        ok = true;
    }
    ~Engine() {
        // As the main window closes: silence the bus, then close the device.
        bus.Stop();
        bus.SetPlaySource(nullptr);
        if (core) core->Close(2);
    }
    int Period() { return core ? core->GetBufferSize() : 0; }
};

// Plays `path` from start to end, as the main window's worker does: the bus is
// told that the player has sound, which starts a device that stood still.
bool PlayToEnd(Engine& e, Player& player, snd_mac& reader, const std::string& path,
               const std::function<void()>& whilePlaying = nullptr) {
    std::vector<char> p(path.begin(), path.end());
    p.push_back('\0');
    if (reader.OpenFile(p.data()) != 1) return false;
    player.Play(&reader);
    e.bus.WakeUp();
    for (int waited = 0; !player.IsReady(); waited += 10) {
        if (waited > 60000) return false;
        if (whilePlaying) whilePlaying();
        UThread::Wait(10);
    }
    return true;
}

long FirstAudibleFrame(const std::vector<short>& rec, int threshold) {
    for (size_t i = 0; i < rec.size(); ++i)
        if (std::abs(rec[i]) >= threshold) return static_cast<long>(i / 2);
    return -1;
}

long LastAudibleFrame(const std::vector<short>& rec) {
    for (size_t i = rec.size(); i-- > 0;)
        if (rec[i] != 0) return static_cast<long>(i / 2);
    return -1;
}

// Frames of `rec` from `start` that differ from `expect(frame, channel)` by more
// than one 16-bit step; the first one is reported in `where`.
long Mismatches(const std::vector<short>& rec, long start, long frames,
                const std::function<double(long, int)>& expect, std::string* where) {
    long bad = 0;
    for (long f = 0; f < frames; ++f) {
        for (int c = 0; c < 2; ++c) {
            const size_t i = 2 * static_cast<size_t>(start + f) + c;
            const double want = expect(f, c);
            const double got = i < rec.size() ? rec[i] : 1e9;
            if (std::fabs(got - want) > 1.0) {
                if (bad == 0 && where) {
                    *where = "frame " + std::to_string(f) + " channel " + std::to_string(c) + ": " +
                             std::to_string(got) + " instead of " + std::to_string(want);
                }
                ++bad;
            }
        }
    }
    return bad;
}

// Mean of |recorded| / |source| over frames from..to where the source is loud.
double MeanGain(const std::vector<short>& rec, long start, const std::vector<short>& src, long from,
                long to) {
    double sum = 0;
    long n = 0;
    for (long f = from; f < to; ++f) {
        for (int c = 0; c < 2; ++c) {
            const short s = src[2 * f + c];
            if (std::abs(s) < 5000) continue;
            sum += std::fabs(rec[2 * (start + f) + c] / static_cast<double>(s));
            ++n;
        }
    }
    return n ? sum / n : -1.0;
}

// A player that marks the thread it is called on as the IO thread.
class ProbedPlayer : public Player {
  public:
    int OnAudioPlay(float* out, int frames, int channels) override {
        t_playIo = true;
        calls.fetch_add(1, std::memory_order_relaxed);
        return Player::OnAudioPlay(out, frames, channels);
    }
    std::atomic<long> calls{0};
};

std::string ReadText(const std::string& path) {
    std::ifstream in(path);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace

TEST(PlaybackSystem, AThreeSecondWavComesOutSampleExactAndComplete) {
    REQUIRE_SOUND_SERVER();
    const int frames = 3 * kRate;
    const std::vector<short> src = TestSignal(frames, 1);
    const std::string wav = WriteWav("play_exact.wav", kRate, src);
    MainDlg window;
    Player player;
    player.Init(&window);
    snd_mac reader;
    std::vector<short> rec;
    {
        Engine e(&player);
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        MonitorRecorder r(testfiles::TempPath("play_exact.s16"));
        ASSERT_TRUE(PlayToEnd(e, player, reader, wav));
        rec = r.Finish();
        EXPECT_EQ(e.core->UnderrunCount(), 0u);
    }
    const long start = FirstAudibleFrame(rec, 50);
    ASSERT_GE(start, 0) << "nothing was recorded";
    std::string where;
    EXPECT_EQ(Mismatches(
                  rec, start, frames, [&](long f, int c) { return src[2 * f + c]; }, &where),
              0)
        << where;
    EXPECT_EQ(LastAudibleFrame(rec), start + frames - 1) << "frames missing or added at the end";
    EXPECT_GT(window.LastProgress(), 0.95f);
}

TEST(PlaybackSystem, AtVolumeATenthTheSoundComesOutAtATenth) {
    REQUIRE_SOUND_SERVER();
    const int frames = 3 * kRate;
    const std::vector<short> src = TestSignal(frames, 2);
    const std::string wav = WriteWav("play_tenth.wav", kRate, src);
    MainDlg window;
    Player player;
    player.Init(&window);
    snd_mac reader;
    std::vector<short> rec;
    {
        Engine e(&player);
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        e.bus.SetVolume(0.1f);
        MonitorRecorder r(testfiles::TempPath("play_tenth.s16"));
        ASSERT_TRUE(PlayToEnd(e, player, reader, wav));
        rec = r.Finish();
        EXPECT_EQ(e.core->UnderrunCount(), 0u);
    }
    const long start = FirstAudibleFrame(rec, 5);
    ASSERT_GE(start, 0);
    std::string where;
    EXPECT_EQ(Mismatches(
                  rec, start, frames, [&](long f, int c) { return src[2 * f + c] * 0.1; }, &where),
              0)
        << where;
}

TEST(PlaybackSystem, A22050HzFileComesOutWithEverySourceFrameHeldForTwoOutputFrames) {
    REQUIRE_SOUND_SERVER();
    const int frames = 3 * 22050;
    const std::vector<short> src = TestSignal(frames, 3);
    const std::string wav = WriteWav("play_22050.wav", 22050, src);
    MainDlg window;
    Player player;
    player.Init(&window);
    snd_mac reader;
    std::vector<short> rec;
    {
        Engine e(&player);
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        MonitorRecorder r(testfiles::TempPath("play_22050.s16"));
        ASSERT_TRUE(PlayToEnd(e, player, reader, wav));
        rec = r.Finish();
        EXPECT_EQ(e.core->UnderrunCount(), 0u);
    }
    const long start = FirstAudibleFrame(rec, 50);
    ASSERT_GE(start, 0);
    // The last source frame has no successor to convert towards and is not played.
    const long out = 2L * (frames - 1);
    std::string where;
    EXPECT_EQ(Mismatches(
                  rec, start, out, [&](long f, int c) { return src[2 * (f / 2) + c]; }, &where),
              0)
        << where;
    EXPECT_EQ(LastAudibleFrame(rec), start + out - 1);
}

TEST(PlaybackSystem, ALimitOfOneSecondFadesFrom6000FramesBeforeItAndEndsAbout18400FramesLater) {
    REQUIRE_SOUND_SERVER();
    const int frames = 5 * kRate;
    const std::vector<short> src = TestSignal(frames, 4);
    const std::string wav = WriteWav("play_limit.wav", kRate, src);
    MainDlg window;
    Player player;
    player.Init(&window);
    player.SetMax(1);
    snd_mac reader;
    std::vector<short> rec;
    int period = 0;
    {
        Engine e(&player);
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        period = e.Period();
        MonitorRecorder r(testfiles::TempPath("play_limit.s16"));
        ASSERT_TRUE(PlayToEnd(e, player, reader, wav));
        rec = r.Finish();
        EXPECT_EQ(e.core->UnderrunCount(), 0u);
    }
    ASSERT_GT(period, 0);
    const long start = FirstAudibleFrame(rec, 50);
    ASSERT_GE(start, 0);
    const long fadeFrom = kRate - 6000;  // 38100
    std::string where;
    EXPECT_EQ(Mismatches(
                  rec, start, fadeFrom, [&](long f, int c) { return src[2 * f + c]; }, &where),
              0)
        << "before the fade: " << where;
    // The fade starts with the first device block at or after frame 38100; 8000
    // frames into it the gain is 0.999 x 0.998^1000..1128, about a ninth.
    const long probe = fadeFrom + period + 8000;
    const double gain = MeanGain(rec, start, src, probe, probe + 1000);
    EXPECT_GT(gain, 0.08);
    EXPECT_LT(gain, 0.16);
    const long end = LastAudibleFrame(rec) - start;
    EXPECT_GE(end, fadeFrom + 18400 - 64);
    EXPECT_LE(end, fadeFrom + 18400 + 2 * period);
}

TEST(PlaybackSystem, StopMidSoundFadesTheSoundOut) {
    REQUIRE_SOUND_SERVER();
    const int frames = 3 * kRate;
    const std::vector<short> src = TestSignal(frames, 5);
    const std::string wav = WriteWav("play_stop.wav", kRate, src);
    MainDlg window;
    Player player;
    player.Init(&window);
    snd_mac reader;
    std::vector<short> rec;
    int period = 0;
    long stopAt = -1;
    {
        Engine e(&player);
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        period = e.Period();
        MonitorRecorder r(testfiles::TempPath("play_stop.s16"));
        ASSERT_TRUE(PlayToEnd(e, player, reader, wav, [&] {
            if (stopAt < 0 && player.PosPlay() >= kRate) {
                stopAt = player.PosPlay();
                player.Stop();
            }
        }));
        rec = r.Finish();
        EXPECT_EQ(e.core->UnderrunCount(), 0u);
    }
    ASSERT_GE(stopAt, kRate);
    const long start = FirstAudibleFrame(rec, 50);
    ASSERT_GE(start, 0);
    std::string where;
    EXPECT_EQ(
        Mismatches(
            rec, start, stopAt - period, [&](long f, int c) { return src[2 * f + c]; }, &where),
        0)
        << "before the stop: " << where;
    const long end = LastAudibleFrame(rec) - start;
    EXPECT_GE(end, stopAt + 18400 - 64);
    EXPECT_LE(end, stopAt + 18400 + 3 * period);
    EXPECT_LT(MeanGain(rec, start, src, end - 1000, end), 0.03);
}

TEST(PlaybackSystem, TenSecondsOfPlaybackReportNoUnderrun) {
    REQUIRE_SOUND_SERVER();
    const int frames = 10 * kRate;
    const std::vector<short> src = TestSignal(frames, 6);
    const std::string wav = WriteWav("play_ten.wav", kRate, src);
    MainDlg window;
    Player player;
    player.Init(&window);
    snd_mac reader;
    Engine e(&player);
    ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
    UThread::Wait(300);
    const unsigned long before = e.core->UnderrunCount();
    ASSERT_TRUE(PlayToEnd(e, player, reader, wav));
    EXPECT_EQ(e.core->UnderrunCount() - before, 0u);
    EXPECT_GT(window.LastProgress(), 0.95f);
}

TEST(PlaybackSystem, TheIoThreadAllocatesNothingWhilePlaying) {
    REQUIRE_SOUND_SERVER();
    if (!PLAYBACK_ALLOC_HOOK) GTEST_SKIP() << "the sanitizer owns the allocator";
    const int frames = 3 * kRate;
    const std::string wav = WriteWav("play_alloc.wav", kRate, TestSignal(frames, 7));
    MainDlg window;
    ProbedPlayer player;
    player.Init(&window);
    snd_mac reader;
    Engine e(&player);
    ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
    // The player marks the IO thread on its first call.
    for (int waited = 0; player.calls.load() == 0 && waited < 5000; waited += 10)
        UThread::Wait(10);
    ASSERT_GT(player.calls.load(), 0);
    const long before = g_playIoNews.load();
    ASSERT_TRUE(PlayToEnd(e, player, reader, wav));
    EXPECT_EQ(g_playIoNews.load() - before, 0) << "allocations on the IO thread while playing";
}

TEST(PlaybackSystem, AReaderFailingMidSoundEndsTheSoundEarlyWithOneLogLine) {
    REQUIRE_SOUND_SERVER();
    const std::string mp3 = testfiles::TempPath("play_damaged.mp3");
    testfiles::DamagedMp3 info;
    ASSERT_TRUE(testfiles::WriteDamagedMp3(mp3, 3, &info));
    MainDlg window;  // opens the program's log: the test's own log is opened after it
    const std::string log = testfiles::TempPath("play_damaged_log.txt");
    QuvLog logger;
    logger.LogOpen(log.c_str(), "playback test");
    Player player;
    player.Init(&window);
    snd_mac reader;
    long played = 0;
    {
        Engine e(&player);
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        ASSERT_TRUE(PlayToEnd(e, player, reader, mp3, [&] {
            if (player.PosPlay() > played) played = player.PosPlay();
        }));
    }
    EXPECT_GT(played, 0);
    EXPECT_LT(played, info.claimedFrames) << "the damaged part was not reached";
    const std::string text = ReadText(log);
    size_t lines = 0;
    for (size_t at = 0; (at = text.find("*** Player: the sound ends early, reading failed: ",
                                        at)) != std::string::npos;
         ++at)
        ++lines;
    EXPECT_EQ(lines, 1u) << text;
    // The player takes the next sound as usual.
    const std::string wav = WriteWav("play_after_damage.wav", kRate, TestSignal(kRate / 2, 8));
    Engine e(&player);
    ASSERT_TRUE(e.ok);
    EXPECT_TRUE(PlayToEnd(e, player, reader, wav));
}
