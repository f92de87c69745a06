// The audio engine through the real sound service: the bus and the ALSA driver
// play into the private sound server's sink "out", whose monitor is recorded
// with parec and compared with what the test source produced.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <time.h>

#include <cstdarg>

#include "AudioBus.h"
#include "AudioDevCore.h"
#include "MainDlg.h"
#include "Player.h"
#include "QuvLog.h"
#include "RealtimeRecorder.h"
#include "SoundFileWriter.h"
#include "UThread.h"
#include "snd_mac.h"

// ---- allocation counting on the IO thread ----------------------------------
//
// Every allocation of the process goes through these; those made while the
// calling thread is marked as the IO thread are counted. The sanitizers own
// the allocator, so the hook is left out of their builds.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VELOTUNE_ALLOC_HOOK 0
#else
#define VELOTUNE_ALLOC_HOOK 1
#endif

namespace {
thread_local bool t_ioThread = false;  // set by the test source on its first call
std::atomic<long> g_ioAllocs{0};
inline void CountAlloc() {
    if (t_ioThread) g_ioAllocs.fetch_add(1, std::memory_order_relaxed);
}
}  // namespace

#if VELOTUNE_ALLOC_HOOK
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void* malloc(size_t n) {
    CountAlloc();
    return __libc_malloc(n);
}
void* calloc(size_t n, size_t s) {
    CountAlloc();
    return __libc_calloc(n, s);
}
void* realloc(void* p, size_t n) {
    CountAlloc();
    return __libc_realloc(p, n);
}
void* memalign(size_t a, size_t n) {
    CountAlloc();
    return __libc_memalign(a, n);
}
void* aligned_alloc(size_t a, size_t n) {
    CountAlloc();
    return __libc_memalign(a, n);
}
int posix_memalign(void** out, size_t a, size_t n) {
    CountAlloc();
    void* p = __libc_memalign(a, n);
    if (!p) return ENOMEM;
    *out = p;
    return 0;
}
}
#endif

// ---- lock and system-call counting on the real-time path ---------------------
//
// The library calls below are replaced by versions that forward to the real ones
// and count the calls made while the calling thread is inside the real-time
// section (the bus, the player and the window's progress, between two device
// calls). Resolved before main, so counting itself never allocates.
namespace {
thread_local bool t_inSection = false;
std::atomic<long> g_sectionLocks{0};
std::atomic<long> g_sectionSyscalls{0};
inline void CountLock() {
    if (t_inSection) g_sectionLocks.fetch_add(1, std::memory_order_relaxed);
}
inline void CountSyscall() {
    if (t_inSection) g_sectionSyscalls.fetch_add(1, std::memory_order_relaxed);
}
template <class F>
F Next(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}
}  // namespace

#if VELOTUNE_ALLOC_HOOK
#define FORWARD(ret, name, params, args, count)              \
    extern "C" ret name params {                             \
        static const auto real = Next<ret(*) params>(#name); \
        count();                                             \
        return real args;                                    \
    }                                                        \
    static const int name##_resolved = [] {                  \
        (void)Next<ret(*) params>(#name);                    \
        return 0;                                            \
    }();
FORWARD(int, pthread_mutex_lock, (pthread_mutex_t * m), (m), CountLock)
FORWARD(int, pthread_mutex_trylock, (pthread_mutex_t * m), (m), CountLock)
FORWARD(int, pthread_rwlock_rdlock, (pthread_rwlock_t * l), (l), CountLock)
FORWARD(int, pthread_rwlock_wrlock, (pthread_rwlock_t * l), (l), CountLock)
FORWARD(int, pthread_spin_lock, (pthread_spinlock_t * l), (l), CountLock)
FORWARD(int, sem_wait, (sem_t * s), (s), CountLock)
FORWARD(int, pthread_cond_wait, (pthread_cond_t * c, pthread_mutex_t* m), (c, m), CountLock)
FORWARD(ssize_t, write, (int fd, const void* b, size_t n), (fd, b, n), CountSyscall)
FORWARD(ssize_t, read, (int fd, void* b, size_t n), (fd, b, n), CountSyscall)
FORWARD(int, poll, (struct pollfd * f, nfds_t n, int t), (f, n, t), CountSyscall)
FORWARD(int, nanosleep, (const struct timespec* r, struct timespec* m), (r, m), CountSyscall)
FORWARD(int, clock_nanosleep, (clockid_t c, int f, const struct timespec* r, struct timespec* m),
        (c, f, r, m), CountSyscall)
FORWARD(int, sched_yield, (), (), CountSyscall)
FORWARD(int, close, (int fd), (fd), CountSyscall)
FORWARD(ssize_t, sendmsg, (int fd, const struct msghdr* m, int f), (fd, m, f), CountSyscall)
FORWARD(ssize_t, recvmsg, (int fd, struct msghdr* m, int f), (fd, m, f), CountSyscall)
FORWARD(ssize_t, send, (int fd, const void* b, size_t n, int f), (fd, b, n, f), CountSyscall)
FORWARD(int, eventfd_write, (int fd, eventfd_t v), (fd, v), CountSyscall)
extern "C" long syscall(long number, ...) {
    // Only the futex and a few calls take arguments we must pass on; six words
    // cover every system call.
    static const auto real = Next<long (*)(long, ...)>("syscall");
    CountSyscall();
    va_list ap;
    va_start(ap, number);
    long a[6];
    for (long& x : a) x = va_arg(ap, long);
    va_end(ap);
    return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}
static const int syscall_resolved = [] {
    (void)Next<long (*)(long, ...)>("syscall");
    return 0;
}();
#endif

namespace {

constexpr int kRate = 44100;
constexpr double kFreq = 441.0;  // 100 samples per period

// A phase-continuous sine: left at `amp`, right at half of it. With a limit, it
// produces that many frames in all and then runs dry (short counts, then 0).
class SineSource : public AudioSource {
  public:
    SineSource(float amp, long limit = -1) : m_amp(amp), m_limit(limit) {}
    int OnAudioPlay(float* buffer, int frames, int channels) override {
        t_ioThread = true;
        long n = frames;
        if (m_limit >= 0) {
            long left = m_limit - m_pos;
            n = left < 0 ? 0 : left < n ? left : n;
        }
        for (long f = 0; f < n; ++f) {
            float v =
                m_amp * static_cast<float>(std::sin(2.0 * M_PI * kFreq * (m_pos + f) / kRate));
            buffer[f * channels] = v;
            buffer[f * channels + 1] = v * 0.5f;
        }
        m_pos += n;
        m_calls.fetch_add(1, std::memory_order_relaxed);
        return static_cast<int>(n);
    }
    long Calls() const { return m_calls.load(); }

  private:
    float m_amp;
    long m_limit;
    long m_pos = 0;  // IO thread only
    std::atomic<long> m_calls{0};
};

// parec on the sink's monitor, writing raw float stereo into a file.
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
            execlp("parec", "parec", "-d", "out.monitor", "--raw", "--format=float32le",
                   "--rate=44100", "--channels=2", "--latency-msec=20",
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        testfiles::WaitUntilRecording(path, 10000);  // the capture stream runs
    }
    // Stops parec and returns the left and right channels.
    void Finish(std::vector<float>* left, std::vector<float>* right) {
        UThread::Wait(300);
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            int status;
            waitpid(m_pid, &status, 0);
            m_pid = -1;
        }
        FILE* f = std::fopen(m_path.c_str(), "rb");
        ASSERT_NE(f, nullptr);
        float frame[2];
        while (std::fread(frame, sizeof(float), 2, f) == 2) {
            left->push_back(frame[0]);
            right->push_back(frame[1]);
        }
        std::fclose(f);
    }
    ~MonitorRecorder() {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            int status;
            waitpid(m_pid, &status, 0);
        }
    }

  private:
    std::string m_path;
    pid_t m_pid = -1;
};

std::string TmpPath(const char* name) {
    const char* tmp = std::getenv("VELOTUNE_TEST_TMP");
    std::string dir = tmp ? tmp : "/tmp";
    std::string cmd = "mkdir -p '" + dir + "'";
    if (std::system(cmd.c_str()) != 0) return "/tmp/" + std::string(name);
    return dir + "/" + name;
}

// The start-up sequence of the main window: register the driver, open the first
// playback device at 44100 Hz, 32 bits, stereo, start it, bind the bus.
struct Engine {
    AudioBus bus;
    AudioDevCore* core = new AudioDevCore;
    bool ok = false;
    Engine() {
        if (bus.AddDriver(core, "CoreAudio") != 1) {
            core = nullptr;
            return;
        }
        DEVOPEN play{0, 2, 0};
        if (!core->Open(nullptr, &play, 44100, 32) || !core->Start(0)) return;
        bus.EnableRecord(false);
        bus.EnablePlay(true);
        ok = true;
    }
};

// The part of a recording between the first and the last audible sample.
struct Active {
    long first = -1, last = -1;
};
Active FindActive(const std::vector<float>& x, float threshold) {
    Active a;
    for (long i = 0; i < static_cast<long>(x.size()); ++i)
        if (std::fabs(x[i]) > threshold) {
            if (a.first < 0) a.first = i;
            a.last = i;
        }
    return a;
}

float Peak(const std::vector<float>& x, long from, long to) {
    float p = 0;
    for (long i = from; i < to; ++i) p = std::max(p, std::fabs(x[i]));
    return p;
}

// Largest step between neighbouring samples: a sine of amplitude A moves at
// most A * 2 pi f / rate per sample; a gap or a repeated block jumps further.
float MaxStep(const std::vector<float>& x, long from, long to) {
    float m = 0;
    for (long i = from + 1; i < to; ++i) m = std::max(m, std::fabs(x[i] - x[i - 1]));
    return m;
}

int ThreadCount() {
    int n = 0;
    DIR* d = opendir("/proc/self/task");
    if (!d) return -1;
    while (dirent* e = readdir(d))
        if (e->d_name[0] != '.') ++n;
    closedir(d);
    return n;
}

bool HaveSoundServer() {
    return std::getenv("PULSE_SERVER") != nullptr;
}

}  // namespace

#define REQUIRE_SOUND_SERVER() \
    if (!HaveSoundServer()) GTEST_SKIP() << "needs the private sound server (with-test-env.sh)"

TEST(AudioDevCoreSystem, EnumerationListsDefaultFirstAndNeverNull) {
    REQUIRE_SOUND_SERVER();
    AudioDevCore core;
    ASSERT_TRUE(core.Init());
    ASSERT_GT(core.DeviceCount(0), 0);
    ASSERT_GT(core.DeviceCount(1), 0);
    EXPECT_STREQ(core.DeviceName(0, 0), "default");
    EXPECT_STREQ(core.DeviceName(0, 1), "default");
    EXPECT_EQ(core.DeviceIndex("null", 0), -1);
    EXPECT_EQ(core.DeviceIndex("null", 1), -1);
    EXPECT_EQ(core.DeviceChannelCount(0, 0), 2);
    EXPECT_EQ(core.DeviceBitDepth(0, 0), 32);
    EXPECT_GE(core.DevInfoEx(0, 0)->bufferSize, 1024);
    int rates[4];
    EXPECT_GE(core.DeviceRates(0, 0, rates, 4, 44100, 44100), 1);
    EXPECT_EQ(core.State(), 1);
}

TEST(AudioDevCoreSystem, ASineThroughTheBusAndDriverIsRecordedAtItsLevelWithoutGapsOrUnderruns) {
    REQUIRE_SOUND_SERVER();
    std::vector<float> left, right;
    unsigned long underruns = 1;
    {
        MonitorRecorder rec(TmpPath("sine.f32"));
        Engine e;
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        SineSource source(0.5f);
        e.bus.SetPlaySource(&source);
        e.bus.Start();
        UThread::Wait(3000);
        e.bus.Stop();
        underruns = e.core->UnderrunCount();
        EXPECT_GT(source.Calls(), 100);  // ~3 s of 1024-frame periods
        e.bus.SetPlaySource(nullptr);
        rec.Finish(&left, &right);
    }
    EXPECT_EQ(underruns, 0u);
    Active a = FindActive(left, 0.01f);
    ASSERT_GE(a.first, 0) << "nothing audible was recorded";
    long len = a.last - a.first;
    EXPECT_GT(len, 2 * kRate) << "less than two seconds of the sine reached the sink";
    long from = a.first + 200, to = a.last - 200;
    EXPECT_NEAR(Peak(left, from, to), 0.5f, 0.01f);
    EXPECT_NEAR(Peak(right, from, to), 0.25f, 0.01f);
    float slope = 0.5f * 2.0f * static_cast<float>(M_PI * kFreq / kRate);
    EXPECT_LT(MaxStep(left, from, to), slope * 1.2f + 0.002f) << "a gap or a jump in the sine";
    // 441 Hz: two zero crossings every 100 samples.
    long crossings = 0;
    for (long i = from + 1; i < to; ++i)
        if ((left[i - 1] < 0) != (left[i] < 0)) ++crossings;
    EXPECT_NEAR(static_cast<double>(crossings), (to - from) / 50.0, (to - from) / 50.0 * 0.01);
}

TEST(AudioDevCoreSystem, AVolumeOfATenthGivesATenthOfTheLevel) {
    REQUIRE_SOUND_SERVER();
    std::vector<float> left, right;
    {
        MonitorRecorder rec(TmpPath("tenth.f32"));
        Engine e;
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        SineSource source(0.5f);
        e.bus.SetVolume(0.1f);
        e.bus.SetPlaySource(&source);
        e.bus.Start();
        UThread::Wait(1500);
        e.bus.Stop();
        e.bus.SetPlaySource(nullptr);
        rec.Finish(&left, &right);
    }
    Active a = FindActive(left, 0.005f);
    ASSERT_GE(a.first, 0);
    EXPECT_NEAR(Peak(left, a.first + 200, a.last - 200), 0.05f, 0.002f);
    EXPECT_NEAR(Peak(right, a.first + 200, a.last - 200), 0.025f, 0.002f);
}

TEST(AudioDevCoreSystem, AShortSourceIsZeroPaddedBehindItsLastFrame) {
    REQUIRE_SOUND_SERVER();
    const long limit = 22050 + 37;  // ends inside a period, not on its boundary
    std::vector<float> left, right;
    {
        MonitorRecorder rec(TmpPath("short.f32"));
        Engine e;
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        SineSource source(0.5f, limit);
        e.bus.SetPlaySource(&source);
        e.bus.Start();
        UThread::Wait(2000);
        e.bus.Stop();
        e.bus.SetPlaySource(nullptr);
        rec.Finish(&left, &right);
    }
    Active a = FindActive(left, 0.0f);
    ASSERT_GE(a.first, 0);
    // Sample 0 of the sine is 0, so the audible part spans frames 1 .. limit-1.
    EXPECT_NEAR(static_cast<double>(a.last - a.first + 1), static_cast<double>(limit - 1), 2.0);
    // Behind the last frame there is exact silence until the recording ends (at
    // least a tenth of a second of it, however late a loaded machine started the
    // sound inside the recording).
    EXPECT_GT(static_cast<long>(left.size()) - a.last, 4410);
    EXPECT_EQ(Peak(left, a.last + 1, static_cast<long>(left.size())), 0.0f);
    EXPECT_EQ(Peak(right, a.last + 1, static_cast<long>(right.size())), 0.0f);
}

TEST(AudioDevCoreSystem, StartStopAndCloseMoveTheDriverThroughItsStatesAndReleaseEverything) {
    REQUIRE_SOUND_SERVER();
    int threadsBefore = ThreadCount();
    {
        AudioDevCore core;
        EXPECT_EQ(core.State(), 0);
        ASSERT_TRUE(core.Init());
        EXPECT_EQ(core.State(), 1);
        DEVOPEN rec{0, 2, 0}, play{0, 2, 0};
        ASSERT_TRUE(core.Open(&rec, &play, 44100, 32)) << core.GetErrorMsg();
        EXPECT_EQ(core.State(), 2);
        ASSERT_TRUE(core.Start(2));
        EXPECT_EQ(core.State(), 3);
        UThread::Wait(200);
        ASSERT_TRUE(core.Stop(2));
        EXPECT_EQ(core.State(), 2);
        ASSERT_TRUE(core.Start(2));
        ASSERT_TRUE(core.Close(2));
        EXPECT_EQ(core.State(), 1);
    }
    {
        // Playback only: Close does nothing and fails, so a playback-only driver
        // stays open after it; the destructor still ends the IO thread and closes
        // the PCM.
        AudioDevCore core;
        ASSERT_TRUE(core.Init());
        DEVOPEN play{0, 2, 0};
        ASSERT_TRUE(core.Open(nullptr, &play, 44100, 32));
        ASSERT_TRUE(core.Start(0));
        EXPECT_GT(ThreadCount(), threadsBefore);
        EXPECT_FALSE(core.Close(2));
        EXPECT_EQ(core.State(), 3);
    }
    EXPECT_EQ(ThreadCount(), threadsBefore) << "an IO or sound-service thread was left behind";
}

TEST(AudioDevCoreSystem, TheIoThreadMakesNoAllocationDuringPlayback) {
    REQUIRE_SOUND_SERVER();
    if (!VELOTUNE_ALLOC_HOOK) GTEST_SKIP() << "the sanitizer owns the allocator";
    Engine e;
    ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
    SineSource source(0.2f);
    e.bus.SetPlaySource(&source);
    XMsgQueue window;
    e.bus.SetTimer(&window, 100, 0.05f);  // the timer message is on the IO path too
    e.bus.Start();
    // The source marks the IO thread on its first call.
    for (int waited = 0; source.Calls() == 0 && waited < 5000; waited += 10) UThread::Wait(10);
    ASSERT_GT(source.Calls(), 0);
    long before = g_ioAllocs.load();
    UThread::Wait(2000);
    long during = g_ioAllocs.load() - before;
    e.bus.Stop();
    e.bus.SetTimer(nullptr, 0, 0.0f);
    EXPECT_EQ(during, 0) << "allocations on the IO thread during 2 s of playback";
    XWindowMsg m;
    int timerMsgs = 0;
    while (window.Pop(&m)) ++timerMsgs;
    EXPECT_GT(timerMsgs, 10);
}

namespace {
// Stands between the device and the bus and marks the real-time section: the
// bus, its volume, the player and the progress report to the window.
class SectionSource : public AudioSource {
  public:
    explicit SectionSource(AudioSource* inner) : m_inner(inner) {}
    int OnAudioPlay(float* buffer, int frames, int channels) override {
        t_ioThread = true;
        t_inSection = true;
        int n = m_inner->OnAudioPlay(buffer, frames, channels);
        t_inSection = false;
        m_calls.fetch_add(1, std::memory_order_relaxed);
        return n;
    }
    long Calls() const { return m_calls.load(); }

  private:
    AudioSource* m_inner;
    std::atomic<long> m_calls{0};
};
}  // namespace

TEST(AudioDevCoreSystem, ThePlaybackPathMakesNoAllocationTakesNoLockAndMakesNoSystemCall) {
    REQUIRE_SOUND_SERVER();
    if (!VELOTUNE_ALLOC_HOOK) GTEST_SKIP() << "the sanitizer owns the allocator and the locks";
    // The counters see what the section does: a lock, a write, a futex call.
    {
        long l0 = g_sectionLocks.load(), c0 = g_sectionSyscalls.load();
        pthread_mutex_t m = PTHREAD_MUTEX_INITIALIZER;
        int fd = eventfd(0, EFD_NONBLOCK);
        uint64_t one = 1;
        t_inSection = true;
        pthread_mutex_lock(&m);
        pthread_mutex_unlock(&m);
        ssize_t w = write(fd, &one, sizeof one);
        t_inSection = false;
        close(fd);
        EXPECT_EQ(w, 8);
        EXPECT_EQ(g_sectionLocks.load() - l0, 1);
        EXPECT_EQ(g_sectionSyscalls.load() - c0, 1);
    }
    std::string path = testfiles::TempPath("rt-path.wav");
    std::vector<float> tone = testfiles::Sine(3 * 44100, 2, 44100, 441.0, 0.5);
    std::vector<short> pcm(tone.size());
    for (size_t i = 0; i < tone.size(); ++i) pcm[i] = static_cast<short>(tone[i] * 32767.0f);
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, pcm));

    Engine e;
    ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
    MainDlg window;  // receives the progress; never shown
    Player player;
    player.Init(&window);
    snd_mac reader;
    ASSERT_EQ(reader.OpenFile(&path[0]), 1);
    e.bus.SetPlaySource(&player);
    e.bus.SetVolume(0.4f);
    e.bus.Start();
    SectionSource section(&e.bus);
    e.core->SetAudioSource(&section);
    player.Play(&reader);
    for (int waited = 0; section.Calls() == 0 && waited < 5000; waited += 10) UThread::Wait(10);
    ASSERT_GT(section.Calls(), 0);
    long allocs = g_ioAllocs.load(), locks = g_sectionLocks.load(),
         calls = g_sectionSyscalls.load();
    long blocks = section.Calls();
    UThread::Wait(2000);
    allocs = g_ioAllocs.load() - allocs;
    locks = g_sectionLocks.load() - locks;
    calls = g_sectionSyscalls.load() - calls;
    blocks = section.Calls() - blocks;
    float progress = window.LastProgress();
    e.core->SetAudioSource(&e.bus);
    e.bus.Stop();
    e.bus.SetPlaySource(nullptr);
    fprintf(stderr,
            "[ measure ] real-time path over %ld blocks: %ld allocations (whole IO thread), %ld "
            "locks, %ld system calls\n",
            blocks, allocs, locks, calls);
    EXPECT_GT(blocks, 50);
    EXPECT_GT(progress, 0.5f) << "the player reported its progress on the way";
    EXPECT_EQ(allocs, 0);
    EXPECT_EQ(locks, 0);
    EXPECT_EQ(calls, 0);
}

namespace {

// A source that can be switched between sound and nothing from the test.
class SwitchedSource : public AudioSource {
  public:
    std::atomic<bool> sounding{false};
    std::atomic<long> calls{0};
    int OnAudioPlay(float* buffer, int frames, int channels) override {
        calls.fetch_add(1, std::memory_order_relaxed);
        if (!sounding.load(std::memory_order_relaxed)) return 0;
        for (int i = 0; i < frames * channels; ++i) buffer[i] = 0.25f;
        return frames;
    }
};

// A sine source that stalls once, for `stallMs`, after `afterFrames` frames: the
// device is starved as by a thread that was not scheduled in time.
class StallingSource : public SineSource {
  public:
    StallingSource(long afterFrames, int stallMs)
        : SineSource(0.3f), m_after(afterFrames), m_stallMs(stallMs) {}
    int OnAudioPlay(float* buffer, int frames, int channels) override {
        if (m_done >= 0 && m_done >= m_after) {
            timespec ts{m_stallMs / 1000, (m_stallMs % 1000) * 1000000L};
            nanosleep(&ts, nullptr);
            m_done = -1;  // once
        }
        int n = SineSource::OnAudioPlay(buffer, frames, channels);
        if (m_done >= 0) m_done += n;
        return n;
    }

  private:
    long m_after;
    int m_stallMs;
    long m_done = 0;
};

// The driver with the standing stream's own looks at its source made rare, so that
// only a wake-up can start it in the time a test waits.
class WakeOnlyCore : public AudioDevCore {
  public:
    WakeOnlyCore() { m_standStillLookMs = 600000; }
};

template <class F>
bool WaitFor(F done, int ms) {
    for (int waited = 0; !done(); waited += 10) {
        if (waited >= ms) return false;
        UThread::Wait(10);
    }
    return true;
}

long FramesOfMs(int ms) {
    return static_cast<long>(44100.0 * ms / 1000.0);
}

}  // namespace

TEST(AudioDevCoreSystem, WhileASoundPlaysTheQueueStaysBetweenItsLowAndHighMarks) {
    REQUIRE_SOUND_SERVER();
    Engine e;
    ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
    SineSource source(0.3f);
    e.bus.SetPlaySource(&source);
    e.bus.Start();
    e.bus.WakeUp();
    UThread::Wait(1500);
    const long peak = e.core->QueuePeak();
    // The watermark only rises within a test this short; a busy machine raises it.
    const double watermark = e.core->QueueWatermarkMs();
    e.bus.Stop();
    e.bus.SetPlaySource(nullptr);
    // Each write fills the queue up to the high mark and never beyond it: a fade
    // or a stop is heard after at most that much sound. The estimate the peak is
    // read from may move up by a millisecond when the device's own figure
    // corrects it.
    const double high = 44100.0 * (AudioDevCore::kQueueHighMs + watermark + 1.0) / 1000.0;
    EXPECT_LE(peak, static_cast<long>(high) + 1);
    EXPECT_GE(peak, FramesOfMs(AudioDevCore::kQueueLowMs));
}

TEST(AudioDevCoreSystem, AStreamWithoutSoundStandsStillAfterTheHoldAndAWakeUpStartsIt) {
    REQUIRE_SOUND_SERVER();
    AudioBus bus;
    WakeOnlyCore* core = new WakeOnlyCore;
    ASSERT_EQ(bus.AddDriver(core, "CoreAudio"), 1);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(core->Open(nullptr, &play, 44100, 32));
    bus.EnableRecord(false);
    bus.EnablePlay(true);
    SwitchedSource source;
    source.sounding = true;
    bus.SetPlaySource(&source);
    bus.Start();
    ASSERT_TRUE(core->Start(0));
    bus.WakeUp();
    ASSERT_TRUE(WaitFor([&] { return core->StreamRunning(); }, 10000)) << "sound did not start it";
    const unsigned long starts = core->StreamStarts();
    // The source falls silent: silence keeps the stream going for the hold, then
    // the stream stops and the IO thread sleeps.
    source.sounding = false;
    ASSERT_TRUE(WaitFor([&] { return !core->StreamRunning(); }, AudioDevCore::kIdleHoldMs + 5000))
        << "the stream went on without sound";
    const long callsStill = source.calls.load();
    UThread::Wait(500);
    EXPECT_LE(source.calls.load() - callsStill, 1) << "a stream standing still does not poll";
    // Sound again: only the wake-up can start the stream now.
    source.sounding = true;
    bus.WakeUp();
    EXPECT_TRUE(WaitFor([&] { return core->StreamRunning(); }, 10000));
    EXPECT_EQ(core->StreamStarts(), starts + 1);
    bus.Stop();
    bus.SetPlaySource(nullptr);
    EXPECT_EQ(core->UnderrunCount(), 0u);
}

TEST(AudioDevCoreSystem, ANewSourceWakesAStreamStandingStill) {
    REQUIRE_SOUND_SERVER();
    AudioBus bus;
    WakeOnlyCore* core = new WakeOnlyCore;  // never looks by itself
    ASSERT_EQ(bus.AddDriver(core, "CoreAudio"), 1);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(core->Open(nullptr, &play, 44100, 32));
    bus.EnableRecord(false);
    bus.EnablePlay(true);
    SwitchedSource quiet;  // never sounds
    bus.SetPlaySource(&quiet);
    bus.Start();
    ASSERT_TRUE(core->Start(0));
    // Nothing to play: the stream stands still.
    ASSERT_TRUE(WaitFor([&] { return !core->StreamRunning(); }, AudioDevCore::kIdleHoldMs + 5000));
    UThread::Wait(200);
    ASSERT_FALSE(core->StreamRunning());
    // A new source that sounds starts it, with no other wake-up.
    SwitchedSource source;
    source.sounding = true;
    bus.SetPlaySource(&source);
    EXPECT_TRUE(WaitFor([&] { return core->StreamRunning(); }, 10000))
        << "a new source did not wake it";
    bus.Stop();
    bus.SetPlaySource(nullptr);
}

TEST(AudioDevCoreSystem, AStarvedDeviceIsRecoveredCountedAndTheCountLoggedWhenTheSideCloses) {
    REQUIRE_SOUND_SERVER();
    const std::string path = TmpPath("underrun_log.txt");
    QuvLog log;
    unsigned long underruns = 0;
    {
        Engine e;
        ASSERT_TRUE(e.ok) << (e.core ? e.core->GetErrorMsg() : "driver refused");
        e.core->LogOpen(path.c_str(), "underrun test");
        // The source stalls for 250 ms half a second in: far longer than the queue.
        StallingSource source(kRate / 2, 250);
        e.bus.SetPlaySource(&source);
        e.bus.Start();
        e.bus.WakeUp();
        EXPECT_TRUE(WaitFor([&] { return e.core->UnderrunCount() > 0; }, 10000));
        UThread::Wait(500);  // it plays on after the recovery
        underruns = e.core->UnderrunCount();
        EXPECT_TRUE(e.core->StreamRunning()) << "the stream did not recover";
        e.bus.Stop();
        e.bus.SetPlaySource(nullptr);
    }  // the driver closes its side here
    ASSERT_GE(underruns, 1u);
    std::ifstream in(path);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("*** AudioDevCore: " + std::to_string(underruns) + " underruns ***"),
              std::string::npos)
        << text;
}

TEST(AudioDevCoreSystem, ListingEveryDevicePrintsNothingOnTheTerminal) {
    REQUIRE_SOUND_SERVER();
    // Everything written to stderr while the devices are listed goes to a file.
    const std::string path = TmpPath("enumeration_stderr.txt");
    fflush(stderr);
    int saved = dup(2);
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0);
    dup2(fd, 2);
    close(fd);
    int listed = 0;
    bool jack = false;
    {
        AudioDevCore core;
        ASSERT_TRUE(core.Init());
        listed = core.ListMoreDevices();
        for (int id = 1; id <= listed; ++id)
            jack = jack || std::strcmp(core.PcmName(id), "jack") == 0;
    }
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    std::ifstream in(path);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_GT(listed, 1) << "only default was listed";
    EXPECT_EQ(text, "");
    if (!jack) std::fprintf(stderr, "[ note ] no JACK PCM is configured here\n");
}
