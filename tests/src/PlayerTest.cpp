// Player: ring filling, rate conversion, limit, fade-out, pause and failures.
// The test thread plays the audio IO thread (it calls OnAudioPlay directly); the
// player's 'fill' worker runs for real.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "MainDlg.h"
#include "Player.h"
#include "QuvLog.h"
#include "snd_.h"

namespace {

// A deterministic sample: exact in float, different from frame to frame, and never
// more than 2.0 apart between neighbours (so the rate conversion's difference term
// at frac 0.5 is always 0).
float Sample(long frame, int channel) {
    return static_cast<float>((frame * 7 + channel * 301) % 2000 - 1000) / 1024.0f;
}

// Test-double reader: `frames` frames of `channels` channels at `rate`, computed by
// `gen`. Counts the calls that reach it and those made from another thread than
// the one that built it (the player's worker). Can throw at a given frame.
class FakeReader : public snd_ {
  public:
    FakeReader(int frames, int rate, int channels, std::function<float(long, int)> gen = Sample)
        : m_gen(std::move(gen)), m_owner(std::this_thread::get_id()) {
        m_size = frames;
        m_rate = rate;
        m_channel = channels;
        m_bits = 16;
        m_open = true;
    }
    int OnOpenFile(char*) override { return 1; }
    void OnCloseFile() override {}
    int OnGetAudio(float* buffer, int frames) override {
        ++calls;
        if (std::this_thread::get_id() != m_owner) ++workerCalls;
        if (throwAt >= 0 && m_audio_pos + frames > throwAt) {
            throw std::runtime_error("damaged frame");
        }
        for (int f = 0; f < frames; ++f) {
            for (int c = 0; c < m_channel; ++c) {
                buffer[f * m_channel + c] = m_gen(m_audio_pos + f, c);
            }
        }
        return frames;
    }
    // Makes more frames available than the sound had when it was played.
    void SetSize(int frames) { m_size = frames; }

    std::atomic<int> calls{0};
    std::atomic<int> workerCalls{0};
    long throwAt = -1;

  private:
    std::function<float(long, int)> m_gen;
    std::thread::id m_owner;
};

struct Drained {
    std::vector<float> out;  // stereo frames, interleaved
    int maxWaiting = 0;      // largest PosRead - PosPlay seen
    size_t Frames() const { return out.size() / 2; }
};

// Pulls blocks of `block` frames as the IO thread would until the player is ready
// (or `stopAt` frames came out). While the worker is still streaming it keeps the
// ring about as full as a real-time device does (at least 36000 frames after each
// block), so no underrun happens and a fade always finds its frames waiting.
Drained Drain(Player& p, int block = 512, size_t stopAt = SIZE_MAX,
              const std::function<void(size_t)>& beforeBlock = nullptr) {
    Drained d;
    std::vector<float> buf(2 * block);
    while (!p.IsReady() && d.Frames() < stopAt) {
        const int waiting = p.PosRead() - p.PosPlay();
        if (waiting > d.maxWaiting) d.maxWaiting = waiting;
        if (p.IsStreaming() && waiting < block + 36000) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        if (beforeBlock) beforeBlock(d.Frames());
        const int n = p.OnAudioPlay(buf.data(), block, 2);
        d.out.insert(d.out.end(), buf.begin(), buf.begin() + 2 * n);
    }
    return d;
}

class PlayerTest : public ::testing::Test {
  protected:
    void SetUp() override { player.Init(&window); }
    MainDlg window;
    Player player;
};

void ExpectSourceFrames(const Drained& d, size_t from, size_t to, int channels = 2) {
    for (size_t f = from; f < to; ++f) {
        const float l = Sample(static_cast<long>(f), 0);
        const float r = channels == 2 ? Sample(static_cast<long>(f), 1) : l;
        ASSERT_EQ(d.out[2 * f], l) << "frame " << f;
        ASSERT_EQ(d.out[2 * f + 1], r) << "frame " << f;
    }
}

}  // namespace

// ---- Short sounds, half rates, limits, stops and pauses ----

TEST_F(PlayerTest, ASoundShorterThanOneSecondDoesNotStreamNeverReachesTheWorkerAndIgnoresTheLimit) {
    FakeReader r(44099, 44100, 2);
    player.SetMax(1);  // the limit would start the fade at frame 38100
    player.Play(&r);
    EXPECT_FALSE(player.IsStreaming());
    EXPECT_EQ(player.PosRead(), 44099);
    // More frames appear behind the reader: a worker that looked at the sound would
    // now read them.
    r.SetSize(200000);
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    Drained d = Drain(player);
    EXPECT_EQ(r.workerCalls.load(), 0);
    ASSERT_EQ(d.Frames(), 44099u);
    ExpectSourceFrames(d, 0, 44099);  // no fade anywhere
    EXPECT_EQ(player.FadeGain(), 1.0f);
}

// The ready test of Play is "the pre-fill produced the whole ring", so a sound of
// exactly one second streams, and the worker's first pass finds the reader dry.
TEST_F(PlayerTest, ASoundOfExactlyOneSecondStreamsUntilTheWorkersFirstShortFill) {
    FakeReader r(44100, 44100, 2);
    player.Play(&r);
    EXPECT_TRUE(player.IsStreaming());
    Drained d = Drain(player);
    EXPECT_FALSE(player.IsStreaming());
    ASSERT_EQ(d.Frames(), 44100u);
    ExpectSourceFrames(d, 0, 44100);
}

TEST_F(PlayerTest, ASoundAt22050HzStepsHalfASourceFrameAndHoldsEachSourceFrameTwice) {
    const int frames = 30000;  // output 60000: the worker streams across the ring's end
    FakeReader r(frames, 22050, 2);
    player.Play(&r);
    EXPECT_EQ(player.Increment(), 0.5);
    EXPECT_FALSE(player.IsDirectPlay());
    EXPECT_EQ(player.PlaySize(), 2.0f * frames);
    Drained d = Drain(player);
    // The last source frame has no successor to convert towards, so it is not played.
    ASSERT_EQ(d.Frames(), 2u * frames - 2);
    for (size_t k = 0; k < d.Frames(); ++k) {
        ASSERT_EQ(d.out[2 * k], Sample(static_cast<long>(k / 2), 0)) << "frame " << k;
        ASSERT_EQ(d.out[2 * k + 1], Sample(static_cast<long>(k / 2), 1)) << "frame " << k;
    }
}

TEST_F(PlayerTest, SetMaxZeroRemovesTheLimit) {
    player.SetMax(1);
    EXPECT_EQ(player.PlayMax(), 44100);
    player.SetMax(0);
    EXPECT_EQ(player.PlayMax(), Player::kNoLimit);
    FakeReader r(2 * 44100, 44100, 2);
    player.Play(&r);
    Drained d = Drain(player);
    ASSERT_EQ(d.Frames(), 2u * 44100);
    ExpectSourceFrames(d, 0, d.Frames());
    EXPECT_EQ(player.FadeGain(), 1.0f);
}

TEST_F(PlayerTest,
       SetMaxFiveStartsTheFadeOnceTwoHundredFourteenThousandFiveHundredFramesHavePlayed) {
    player.SetMax(5);
    EXPECT_EQ(player.PlayMax(), 5 * 44100);
    FakeReader r(6 * 44100, 44100, 2);
    player.Play(&r);
    // Blocks of 500 frames: one block begins exactly at frame 214500.
    Drained d = Drain(player, 500);
    ExpectSourceFrames(d, 0, 214500);
    EXPECT_EQ(d.out[2 * 214500], Sample(214500, 0) * 0.999f);
    EXPECT_EQ(d.out[2 * 214500 + 1], Sample(214500, 1) * 0.999f);
    // The fade needs 2300 steps; a block of 500 frames takes 62 steps (its last 4
    // frames keep the gain), so the sound ends with the 38th faded block.
    EXPECT_EQ(d.Frames(), 214500u + 38u * 500u);
    EXPECT_LT(player.FadeGain(), 0.01f);
}

TEST_F(PlayerTest, StopTwiceInARowChangesNothingTheSecondTime) {
    FakeReader r(3 * 44100, 44100, 2);
    player.Play(&r);
    player.Stop();
    EXPECT_EQ(player.FadeGain(), 0.999f);
    EXPECT_FALSE(player.IsStreaming());
    player.Stop();
    EXPECT_EQ(player.FadeGain(), 0.999f);
    std::vector<float> buf(2 * 512);
    ASSERT_EQ(player.OnAudioPlay(buf.data(), 512, 2), 512);
    const float gain = player.FadeGain();
    EXPECT_LT(gain, 0.999f);
    player.Stop();
    EXPECT_EQ(player.FadeGain(), gain);
    EXPECT_EQ(player.PosPlay(), 512);
}

TEST_F(PlayerTest, ASoundWhoseReaderDeliversNoFramesLeavesThePlayerReadyAtOnce) {
    FakeReader r(0, 44100, 2);
    player.Play(&r);
    EXPECT_TRUE(player.IsReady());
    EXPECT_EQ(player.PosRead(), 0);
    EXPECT_FALSE(player.IsStreaming());
    std::vector<float> buf(2 * 512, 7.0f);
    EXPECT_EQ(player.OnAudioPlay(buf.data(), 512, 2), 0);
    EXPECT_EQ(buf[0], 7.0f);  // nothing written
}

TEST_F(PlayerTest, PauseDuringAFadeFreezesTheFadeAndTheCallbackReturnsZero) {
    FakeReader r(2 * 44100, 44100, 2);
    player.Play(&r);
    player.Stop();
    std::vector<float> buf(2 * 512);
    ASSERT_EQ(player.OnAudioPlay(buf.data(), 64, 2), 64);
    const float gain = player.FadeGain();
    player.Pause(true);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(player.OnAudioPlay(buf.data(), 512, 2), 0);
    EXPECT_EQ(player.FadeGain(), gain);
    EXPECT_EQ(player.PosPlay(), 64);
    player.Pause(false);
    ASSERT_EQ(player.OnAudioPlay(buf.data(), 64, 2), 64);
    EXPECT_LT(player.FadeGain(), gain);
}

// ---- Invariants ----

TEST_F(PlayerTest, FramesOutEqualWhatTheRateSays) {
    struct Case {
        int rate, frames;
    };
    for (Case c : {Case{44100, 70000}, Case{48000, 90000}, Case{11025, 20000}, Case{8000, 9000},
                   Case{96000, 150000}}) {
        FakeReader r(c.frames, c.rate, 2);
        player.Play(&r);
        Drained d = Drain(player);
        if (c.rate == 44100) {
            EXPECT_EQ(d.Frames(), static_cast<size_t>(c.frames));
        } else {
            // Output frames step through the source by rate/44100 until the last
            // source frame, which has no successor, is reached.
            const double exact = (c.frames - 1) / (c.rate / 44100.0);
            EXPECT_GE(static_cast<double>(d.Frames()), std::floor(exact)) << c.rate;
            EXPECT_LE(static_cast<double>(d.Frames()), std::ceil(exact)) << c.rate;
        }
        EXPECT_TRUE(player.IsReady());
    }
}

TEST_F(PlayerTest, TheRingNeverHoldsMoreThanOneSecond) {
    FakeReader r(4 * 44100, 44100, 2);
    player.Play(&r);
    EXPECT_EQ(player.PosRead(), 44100);
    // Left alone, the worker does not write over frames not yet played.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(player.PosRead() - player.PosPlay(), 44100);
    Drained d = Drain(player, 256);
    EXPECT_LE(d.maxWaiting, 44100);
    ASSERT_EQ(d.Frames(), 4u * 44100);
    ExpectSourceFrames(d, 0, d.Frames());
}

TEST_F(PlayerTest, TheFadeFromStopEndsBelowOneHundredthAfter2300GroupsOf8Frames) {
    FakeReader r(2 * 44100, 44100, 2);
    player.Play(&r);
    player.Stop();
    Drained d = Drain(player, 8);
    EXPECT_EQ(d.Frames(), 18400u);
    EXPECT_LT(player.FadeGain(), 0.01f);
    EXPECT_TRUE(player.IsReady());
}

TEST_F(PlayerTest, TheFadeScalesAPartialGroupWithoutAdvancingTheGain) {
    FakeReader r(2 * 44100, 44100, 2);
    player.Play(&r);
    player.Stop();
    std::vector<float> buf(2 * 512);
    ASSERT_EQ(player.OnAudioPlay(buf.data(), 13, 2), 13);  // one group of 8 and 5 frames
    EXPECT_EQ(buf[0], Sample(0, 0) * 0.999f);
    EXPECT_EQ(buf[2 * 8], Sample(8, 0) * (0.999f * 0.998f));
    EXPECT_EQ(buf[2 * 12 + 1], Sample(12, 1) * (0.999f * 0.998f));
    EXPECT_EQ(player.FadeGain(), 0.999f * 0.998f);
}

TEST_F(PlayerTest, NothingWaitingInTheRingEndsTheSound) {
    FakeReader r(30000, 44100, 2);
    player.Play(&r);
    std::vector<float> buf(2 * 44100);
    ASSERT_EQ(player.OnAudioPlay(buf.data(), 44100, 2), 30000);
    EXPECT_FALSE(player.IsReady());
    EXPECT_EQ(player.OnAudioPlay(buf.data(), 512, 2), 0);
    EXPECT_TRUE(player.IsReady());
    EXPECT_EQ(player.PosPlay(), 0);
}

TEST_F(PlayerTest, AnUnderrunOfTheWorkerEndsTheSoundDeliberately) {
    FakeReader r(10 * 44100, 44100, 2);
    player.Play(&r);
    std::vector<float> buf(2 * 44100);
    // Take the whole ring at once and keep pulling faster than the worker refills
    // it: the first block that finds nothing waiting ends the sound.
    ASSERT_EQ(player.OnAudioPlay(buf.data(), 44100, 2), 44100);
    int played = 44100;
    while (!player.IsReady()) played += player.OnAudioPlay(buf.data(), 44100, 2);
    EXPECT_LT(played, 10 * 44100);
    EXPECT_EQ(player.PosRead(), 0);
    EXPECT_EQ(player.PosPlay(), 0);
}

TEST_F(PlayerTest, ProgressIsThePlayedFractionOfTheSoundBeforeEachBlock) {
    FakeReader r(40000, 44100, 2);
    player.Play(&r);
    std::vector<float> buf(2 * 512);
    player.OnAudioPlay(buf.data(), 512, 2);
    EXPECT_EQ(window.LastProgress(), 0.0f);
    player.OnAudioPlay(buf.data(), 512, 2);
    EXPECT_EQ(window.LastProgress(), 512.0f / 40000.0f);
}

TEST_F(PlayerTest, MonoAt44100IsDuplicatedToBothChannels) {
    FakeReader r(10000, 44100, 1);
    player.Play(&r);
    Drained d = Drain(player);
    ASSERT_EQ(d.Frames(), 10000u);
    ExpectSourceFrames(d, 0, d.Frames(), 1);
}

TEST_F(PlayerTest, MonoInRateConversionWritesTheValueToBothChannels) {
    FakeReader r(10000, 22050, 1);
    player.Play(&r);
    Drained d = Drain(player);
    ASSERT_EQ(d.Frames(), 2u * 10000 - 2);
    for (size_t k = 0; k < d.Frames(); ++k) {
        ASSERT_EQ(d.out[2 * k], Sample(static_cast<long>(k / 2), 0)) << k;
        ASSERT_EQ(d.out[2 * k + 1], Sample(static_cast<long>(k / 2), 0)) << k;
    }
}

TEST_F(PlayerTest, RateConversionAddsTheDifferenceOnlyInWholeSixteenBitSteps) {
    // Values far above 1.0, as 24-bit material comes out of the readers: 100, 301,
    // 100, 301, ... At frac 0.5 the term is trunc(201 * 0.5) = 100 (and -100).
    FakeReader r(2000, 22050, 2, [](long f, int) { return f % 2 ? 301.0f : 100.0f; });
    player.Play(&r);
    Drained d = Drain(player);
    ASSERT_GE(d.Frames(), 4u);
    EXPECT_EQ(d.out[0], 100.0f);
    EXPECT_EQ(d.out[2], 200.0f);  // 100 + trunc(100.5)
    EXPECT_EQ(d.out[4], 301.0f);
    EXPECT_EQ(d.out[6], 201.0f);  // 301 + trunc(-100.5)
}

TEST_F(PlayerTest, RateConversionClampsAHugeDifferenceToTheSixteenBitRange) {
    FakeReader r(2000, 22050, 2, [](long f, int c) {
        if (c == 1) return f % 2 ? NAN : 0.0f;
        return f % 2 ? 1e9f : 0.0f;
    });
    player.Play(&r);
    Drained d = Drain(player);
    ASSERT_GE(d.Frames(), 2u);
    EXPECT_EQ(d.out[2], 32767.0f);
    EXPECT_EQ(d.out[3], 0.0f);  // a NaN neighbour adds nothing
}

TEST_F(PlayerTest, SixChannelsAt44100PlayTheirFirstTwoAsLeftAndRightAtFullLength) {
    FakeReader r(30000, 44100, 6);
    player.Play(&r);
    Drained d = Drain(player);
    ASSERT_EQ(d.Frames(), 30000u);
    ExpectSourceFrames(d, 0, d.Frames());
}

TEST_F(PlayerTest, SixChannelsInRateConversionPlayTheirFirstTwoAtTheRateTheFileGives) {
    FakeReader r(10000, 22050, 6);
    player.Play(&r);
    Drained d = Drain(player);
    // As for stereo at 22050: every source frame held for two output frames.
    ASSERT_EQ(d.Frames(), 2u * 10000 - 2);
    for (size_t k = 0; k < d.Frames(); ++k) {
        ASSERT_EQ(d.out[2 * k], Sample(static_cast<long>(k / 2), 0)) << k;
        ASSERT_EQ(d.out[2 * k + 1], Sample(static_cast<long>(k / 2), 1)) << k;
    }
}

TEST_F(PlayerTest, EveryChannelCountUpToEightPlaysEachSourceFrameOnceWithinTheInputBlock) {
    // Odd counts leave a remainder in the 4096-float block; the address sanitizer
    // build checks that nothing is read or written past it.
    for (int ch = 3; ch <= 8; ++ch) {
        FakeReader r(20000, 44100, ch);
        player.Play(&r);
        Drained d = Drain(player);
        ASSERT_EQ(d.Frames(), 20000u) << ch;
        ExpectSourceFrames(d, 0, d.Frames());
    }
}

TEST_F(PlayerTest, AReaderThatFailsDuringThePreFillEndsTheSoundThereWithOneLogLine) {
    const char* tmp = std::getenv("VELOTUNE_TEST_TMP");
    std::string dir = tmp ? tmp : "/tmp";
    std::system(("mkdir -p '" + dir + "'").c_str());
    const std::string path = dir + "/player_prefill_failure.txt";
    QuvLog log;
    log.LogOpen(path.c_str(), "player test");
    FakeReader r(3 * 44100, 44100, 2);
    r.throwAt = 10000;
    player.Play(&r);
    EXPECT_FALSE(player.IsStreaming());
    EXPECT_EQ(player.PosRead(), 4 * 2048);  // whole blocks before the failing one
    Drained d = Drain(player);
    ASSERT_EQ(d.Frames(), 4u * 2048);
    ExpectSourceFrames(d, 0, d.Frames());
    std::ifstream in(path);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    size_t count = 0;
    for (size_t at = 0; (at = text.find("reading failed: damaged frame", at)) != std::string::npos;
         ++at) {
        ++count;
    }
    EXPECT_EQ(count, 1u) << text;
}

TEST_F(PlayerTest, AReaderThatFailsInTheWorkerEndsTheSoundEarlyWithOneLogLine) {
    const char* tmp = std::getenv("VELOTUNE_TEST_TMP");
    std::string dir = tmp ? tmp : "/tmp";
    std::system(("mkdir -p '" + dir + "'").c_str());
    const std::string path = dir + "/player_worker_failure.txt";
    QuvLog log;
    log.LogOpen(path.c_str(), "player test");
    FakeReader r(4 * 44100, 44100, 2);
    r.throwAt = 70000;
    player.Play(&r);
    EXPECT_TRUE(player.IsStreaming());
    Drained d = Drain(player);
    EXPECT_GT(r.workerCalls.load(), 0);
    // Every whole reader block before the failing one comes out, nothing after it.
    ASSERT_EQ(d.Frames(), (70000u / 2048) * 2048);
    ExpectSourceFrames(d, 0, d.Frames());
    std::ifstream in(path);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    size_t count = 0;
    for (size_t at = 0; (at = text.find("reading failed: damaged frame", at)) != std::string::npos;
         ++at) {
        ++count;
    }
    EXPECT_EQ(count, 1u) << text;
}

TEST(PlayerLifetime, APlayerWithoutInitPlaysNothingAndDestroysCleanly) {
    Player p;
    FakeReader r(1000, 44100, 2);
    p.Play(&r);
    EXPECT_TRUE(p.IsReady());
}

TEST(PlayerLifetime, DestroyingThePlayerStopsAndJoinsItsWorker) {
    auto* p = new Player;
    MainDlg w;
    p->Init(&w);
    EXPECT_TRUE(p->IsRunning());
    delete p;  // must return: the worker's loop ends on request
    SUCCEED();
}

// ---- the worker's wake-up and the closing fade ----

TEST_F(PlayerTest, AWaiterIsWokenTheMomentTheSoundEndsNotAtTheEndOfItsSleep) {
    FakeReader r(30000, 44100, 2);
    player.Play(&r);
    std::atomic<bool> returned{false}, ready{false};
    const auto start = std::chrono::steady_clock::now();
    std::thread waiter([&] {
        ready = player.WaitReady(60000);  // a minute: only a wake-up ends it sooner
        returned = true;
    });
    std::vector<float> buf(2 * 44100);
    ASSERT_EQ(player.OnAudioPlay(buf.data(), 44100, 2), 30000);
    EXPECT_FALSE(returned.load()) << "nothing has ended yet";
    EXPECT_EQ(player.OnAudioPlay(buf.data(), 512, 2), 0);  // the IO thread ends the sound
    waiter.join();
    const double waited =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_TRUE(ready.load());
    EXPECT_LT(waited, 30.0) << "the waiter slept its whole time instead of being woken";
}

TEST_F(PlayerTest, WaitReadyReturnsAtOnceWhenTheSoundHasAlreadyEnded) {
    EXPECT_TRUE(player.IsReady());
    EXPECT_TRUE(player.WaitReady(60000));
}

TEST_F(PlayerTest, WakeWaiterEndsAWaitWhileTheSoundStillPlays) {
    FakeReader r(30000, 44100, 2);
    player.Play(&r);
    std::atomic<int> result{-1};
    std::thread waiter([&] { result = player.WaitReady(60000) ? 1 : 0; });
    player.WakeWaiter();
    waiter.join();
    EXPECT_EQ(result.load(), 0) << "woken, the sound still plays";
    EXPECT_FALSE(player.IsReady());
}

TEST_F(PlayerTest, WaitReadyWithoutAWakeUpReturnsFalseAfterItsTime) {
    FakeReader r(30000, 44100, 2);
    player.Play(&r);
    EXPECT_FALSE(player.WaitReady(20));
}

TEST_F(PlayerTest, TheQuickFadeEndsTheSoundWithin30MillisecondsOfOutput) {
    FakeReader r(10 * 44100, 44100, 2, [](long, int) { return 0.5f; });
    player.Play(&r);
    std::vector<float> buf(2 * 256);
    ASSERT_EQ(player.OnAudioPlay(buf.data(), 256, 2), 256);
    player.FadeOutQuickly();
    long frames = 0;
    float last = 1.0f;
    bool falling = true;
    while (!player.IsReady() && frames < 44100) {
        const int n = player.OnAudioPlay(buf.data(), 256, 2);
        for (int f = 0; f < n; ++f) {
            falling = falling && buf[2 * f] <= last;
            last = buf[2 * f];
        }
        frames += n;
    }
    EXPECT_TRUE(player.IsReady());
    EXPECT_LE(frames, 44100 * Player::kQuickFadeMs / 1000 + 256);
    EXPECT_GT(frames, 44100 * Player::kQuickFadeMs / 1000 / 2) << "a fade, not a cut";
    EXPECT_TRUE(falling) << "the gain only goes down";
    EXPECT_LT(last, 0.5f * 0.02f);
}

TEST_F(PlayerTest, TheQuickFadeSteepensAFadeThatRunsAndAStopAfterItChangesNothing) {
    FakeReader r(10 * 44100, 44100, 2);
    player.Play(&r);
    player.Stop();
    std::vector<float> buf(2 * 512);
    player.OnAudioPlay(buf.data(), 512, 2);
    const float gain = player.FadeGain();
    ASSERT_LT(gain, 1.0f);
    player.FadeOutQuickly();
    EXPECT_LT(player.FadeStep(), 0.998f);
    player.Stop();  // a fade runs: nothing changes
    EXPECT_EQ(player.FadeGain(), gain);
    EXPECT_LT(player.FadeStep(), 0.998f);
}

TEST_F(PlayerTest, PlayGivesTheNextSoundTheUsualFadeStepAgain) {
    FakeReader r(10 * 44100, 44100, 2);
    player.Play(&r);
    player.FadeOutQuickly();
    std::vector<float> buf(2 * 44100);
    while (!player.IsReady()) player.OnAudioPlay(buf.data(), 4096, 2);
    FakeReader next(10 * 44100, 44100, 2);
    player.Play(&next);
    EXPECT_EQ(player.FadeStep(), 0.998f);
    EXPECT_EQ(player.FadeGain(), 1.0f);
}
