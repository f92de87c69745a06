#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "AudioBus.h"
#include "AudioDev.h"
#include "XMessenger.h"

namespace {

// A driver double for the bus: configurable device lists, a fixed block size,
// and a record of the calls the bus makes.
class BusDevDouble : public AudioDev {
  public:
    explicit BusDevDouble(int recDevices = 1, bool* deleted = nullptr) : m_deleted(deleted) {
        for (int i = 0; i < recDevices; ++i) Add("in", 1);
        Add("out", 0);
    }
    ~BusDevDouble() override {
        if (m_deleted) *m_deleted = true;
    }
    void Add(const char* name, int dir) {
        DEVINFO info;
        std::memset(&info, 0, sizeof(info));
        std::strncpy(info.name, name, sizeof(info.name) - 1);
        info.channelCount = 2;
        AddDevice(&info, dir);
    }
    // Opens playback at `rate` so GetSampleRate answers it.
    void OpenAt(long rate) {
        DEVOPEN play{0, 2, 0};
        Open(nullptr, &play, rate, 32);
    }
    int bufferSize = 512;
    int starts = 0, stops = 0, closes = 0, stopDir = -1, closeDir = -1;

  protected:
    bool OnOpen(DEVOPEN*, DEVOPEN*, long, int) override { return true; }
    bool OnStop(int dir) override { return ++stops, stopDir = dir, true; }
    bool OnClose(int dir) override { return ++closes, closeDir = dir, true; }
    int OnGetBufferSize() override { return bufferSize; }

  private:
    bool* m_deleted;
};

// A source double: writes `value + frame index / 1000` on every channel of the
// first `produce` frames (all frames when negative) and counts its calls.
class SourceDouble : public AudioSource {
  public:
    float value = 0.5f;
    int produce = -1;
    int calls = 0;
    int OnAudioPlay(float* buffer, int frames, int channels) override {
        ++calls;
        int n = produce < 0 || produce > frames ? frames : produce;
        for (int f = 0; f < n; ++f)
            for (int c = 0; c < channels; ++c) buffer[f * channels + c] = value + f / 1000.0f;
        return n;
    }
};

// A target double: keeps a copy of every block it receives.
class TargetDouble : public AudioTarget {
  public:
    struct Block {
        std::vector<float> data;
        int frames;
        int channels;
    };
    std::vector<Block> blocks;
    void OnAudioRecord(float* buffer, int frames, int channels) override {
        blocks.push_back(
            Block{std::vector<float>(buffer, buffer + frames * channels), frames, channels});
    }
};

std::vector<float> Filled(int floats, float v) {
    return std::vector<float>(floats, v);
}

// A bus with an accepted driver, bound for playback and recording, started.
struct RunningBus {
    AudioBus bus;
    BusDevDouble* dev = new BusDevDouble;
    explicit RunningBus(long rate = 44100) {
        bus.AddDriver(dev, "Double");
        dev->OpenAt(rate);
        bus.EnablePlay(true);
        bus.EnableRecord(true);
        bus.Start();
    }
};

std::vector<XWindowMsg> Drain(XMsgQueue& q) {
    std::vector<XWindowMsg> out;
    XWindowMsg m;
    while (q.Pop(&m)) out.push_back(m);
    return out;
}

}  // namespace

TEST(AudioBus, AfterConstructionOnAudioPlayReturnsFramesZerosAndOnAudioRecordDoesNothing) {
    AudioBus bus;
    SourceDouble source;
    bus.SetPlaySource(&source);
    TargetDouble target;
    bus.AddAudioTarget(&target);
    std::vector<float> block = Filled(64 * 2, 9.0f);
    EXPECT_EQ(bus.OnAudioPlay(block.data(), 64, 2), 64);
    for (float v : block) ASSERT_EQ(v, 0.0f);
    EXPECT_EQ(source.calls, 0);
    std::vector<float> rec = Filled(64 * 2, 0.3f);
    bus.OnAudioRecord(rec.data(), 64, 2);
    EXPECT_TRUE(target.blocks.empty());
}

TEST(AudioBus, AfterStopOnAudioPlayReturnsFramesZerosAndOnAudioRecordDoesNothing) {
    RunningBus r;
    SourceDouble source;
    r.bus.SetPlaySource(&source);
    TargetDouble target;
    r.bus.AddAudioTarget(&target);
    std::vector<float> block = Filled(32 * 2, 9.0f);
    EXPECT_EQ(r.bus.OnAudioPlay(block.data(), 32, 2), 32);
    EXPECT_EQ(block[0], 0.5f);
    r.bus.Stop();
    block = Filled(32 * 2, 9.0f);
    EXPECT_EQ(r.bus.OnAudioPlay(block.data(), 32, 2), 32);
    for (float v : block) ASSERT_EQ(v, 0.0f);
    std::vector<float> rec = Filled(32 * 2, 0.3f);
    r.bus.OnAudioRecord(rec.data(), 32, 2);
    EXPECT_TRUE(target.blocks.empty());
}

TEST(AudioBus, WithAShortSourceAndVolumeHalfOnlyTheReturnedFramesAreScaledAndTheCountIsKept) {
    RunningBus r;
    SourceDouble source;
    source.value = 0.8f;
    source.produce = 10;
    r.bus.SetPlaySource(&source);
    r.bus.SetVolume(0.5f);
    std::vector<float> block = Filled(16 * 2, 9.0f);
    EXPECT_EQ(r.bus.OnAudioPlay(block.data(), 16, 2), 10);
    for (int f = 0; f < 10; ++f) {
        EXPECT_FLOAT_EQ(block[2 * f], (0.8f + f / 1000.0f) * 0.5f);
        EXPECT_FLOAT_EQ(block[2 * f + 1], (0.8f + f / 1000.0f) * 0.5f);
    }
    for (int i = 20; i < 32; ++i) EXPECT_EQ(block[i], 9.0f) << "beyond the returned frames";
}

TEST(AudioBus, AVolumeOfOnePointFiveLeavesSamplesUnchanged) {
    RunningBus r;
    SourceDouble source;
    source.value = 0.25f;
    r.bus.SetPlaySource(&source);
    r.bus.SetVolume(1.5f);
    std::vector<float> block(8 * 2);
    EXPECT_EQ(r.bus.OnAudioPlay(block.data(), 8, 2), 8);
    for (int f = 0; f < 8; ++f) EXPECT_EQ(block[2 * f], 0.25f + f / 1000.0f);
}

TEST(AudioBus, WithoutAPlaySourceOnAudioPlayReturnsZero) {
    RunningBus r;
    std::vector<float> block(8 * 2, 9.0f);
    EXPECT_EQ(r.bus.OnAudioPlay(block.data(), 8, 2), 0);
}

TEST(AudioBus, AddAudioTargetTwiceWithTheSameTargetLeavesOneEntry) {
    AudioBus bus;
    TargetDouble a;
    bus.AddAudioTarget(&a);
    bus.AddAudioTarget(&a);
    EXPECT_EQ(bus.TargetCount(), 1);
}

TEST(AudioBus, RemovingTheMiddleOfThreeTargetsKeepsTheOthersOrder) {
    AudioBus bus;
    TargetDouble a, b, c;
    bus.AddAudioTarget(&a);
    bus.AddAudioTarget(&b);
    bus.AddAudioTarget(&c);
    bus.RemoveAudioTarget(&b);
    ASSERT_EQ(bus.TargetCount(), 2);
    EXPECT_EQ(bus.Target(0), &a);
    EXPECT_EQ(bus.Target(1), &c);
    bus.RemoveAudioTarget(&b);  // absent: nothing
    EXPECT_EQ(bus.TargetCount(), 2);
    bus.RemoveAllAudioTargets();
    EXPECT_EQ(bus.TargetCount(), 0);
}

TEST(AudioBus, A33rdTargetIsRefusedQuietly) {
    AudioBus bus;
    std::vector<TargetDouble> targets(33);
    for (auto& t : targets) bus.AddAudioTarget(&t);
    EXPECT_EQ(bus.TargetCount(), 32);
    EXPECT_EQ(bus.Target(31), &targets[31]);
}

TEST(AudioBus, TargetsReceiveRecordedBlocksInListOrder) {
    RunningBus r;
    TargetDouble a, b;
    r.bus.AddAudioTarget(&a);
    r.bus.AddAudioTarget(&b);
    std::vector<float> rec = Filled(4 * 2, 0.3f);
    r.bus.OnAudioRecord(rec.data(), 4, 2);
    ASSERT_EQ(a.blocks.size(), 1u);
    ASSERT_EQ(b.blocks.size(), 1u);
    EXPECT_EQ(a.blocks[0].frames, 4);
    EXPECT_EQ(a.blocks[0].data, rec);
    r.bus.OnAudioRecord(rec.data(), 0, 2);  // zero frames: nothing
    EXPECT_EQ(a.blocks.size(), 1u);
}

TEST(AudioBus, ARecordSourceOverwritesTheBlockBeforeItIsDistributed) {
    RunningBus r;
    SourceDouble over;
    over.value = -0.75f;
    r.bus.SetRecordSource(&over);
    TargetDouble t;
    r.bus.AddAudioTarget(&t);
    std::vector<float> rec = Filled(4 * 2, 0.3f);
    r.bus.OnAudioRecord(rec.data(), 4, 2);
    ASSERT_EQ(t.blocks.size(), 1u);
    EXPECT_EQ(t.blocks[0].data[0], -0.75f);
}

TEST(AudioBus, DriverIndexOfAnUnknownNameReturnsMinusOne) {
    AudioBus bus;
    bus.AddDriver(new BusDevDouble, "CoreAudio");
    EXPECT_EQ(bus.DriverIndex("CoreAudio"), 0);
    EXPECT_EQ(bus.DriverIndex("coreaudio"), -1);
    EXPECT_EQ(bus.DriverIndex("Nothing"), -1);
    EXPECT_STREQ(bus.DriverName(0), "CoreAudio");
}

TEST(AudioBus, ADriverWithoutARecordingDeviceIsRefusedAndDeleted) {
    AudioBus bus;
    bool deleted = false;
    EXPECT_EQ(bus.AddDriver(new BusDevDouble(0, &deleted), "PlayOnly"), 0);
    EXPECT_TRUE(deleted);
    EXPECT_EQ(bus.DriverCount(), 0);
    EXPECT_EQ(bus.CurrentDriver(), nullptr);
}

TEST(AudioBus, ADriverWithARecordingDeviceIsAcceptedAndOwned) {
    bool deleted = false;
    {
        AudioBus bus;
        BusDevDouble* dev = new BusDevDouble(1, &deleted);
        EXPECT_EQ(bus.AddDriver(dev, "CoreAudio"), 1);
        EXPECT_EQ(bus.CurrentDriver(), dev);
        EXPECT_EQ(bus.SelectDriver(0), dev);
        EXPECT_FALSE(deleted);
    }
    EXPECT_TRUE(deleted);  // the bus deletes its drivers
}

TEST(AudioBus, A13thDriverIsRefusedAndDeleted) {
    AudioBus bus;
    for (int i = 0; i < 12; ++i) ASSERT_EQ(bus.AddDriver(new BusDevDouble, "d"), 1);
    bool deleted = false;
    EXPECT_EQ(bus.AddDriver(new BusDevDouble(1, &deleted), "extra"), 0);
    EXPECT_TRUE(deleted);
    EXPECT_EQ(bus.DriverCount(), 12);
}

TEST(AudioBus, EnablePlayBindsTheCurrentDriverAndDisablingUnbindsIt) {
    AudioBus bus;
    BusDevDouble* dev = new BusDevDouble;
    bus.AddDriver(dev, "Double");
    bus.EnablePlay(true);
    EXPECT_EQ(dev->GetAudioSource(), &bus);
    EXPECT_EQ(bus.PlayDriver(), dev);
    bus.EnablePlay(false);
    EXPECT_EQ(dev->GetAudioSource(), nullptr);
    EXPECT_EQ(bus.PlayDriver(), nullptr);
}

TEST(AudioBus, WithPeaksOnTheMessageCarriesTheSlotJustClosedZeroOneTwoThreeThenZero) {
    RunningBus r;
    XMsgQueue window;
    r.bus.SetPeak(&window, 1234, 0.0f);  // a zero delay posts on every block
    std::vector<float> rec = Filled(8 * 2, 0.1f);
    r.bus.OnAudioRecord(rec.data(), 8, 2);  // first block: counter 2 -> 1, no message
    EXPECT_TRUE(Drain(window).empty());
    for (int i = 0; i < 5; ++i) r.bus.OnAudioRecord(rec.data(), 8, 2);
    std::vector<XWindowMsg> msgs = Drain(window);
    ASSERT_EQ(msgs.size(), 5u);
    const long expected[] = {0, 1, 2, 3, 0};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(msgs[i].msg, 1234u);
        EXPECT_EQ(msgs[i].wParam, expected[i]);
        EXPECT_EQ(msgs[i].lParam, 2);
    }
}

TEST(AudioBus, PeaksKeepTheLargestAbsoluteSamplePerChannel) {
    RunningBus r;
    XMsgQueue window;
    r.bus.SetPeak(&window, 1, 10.0f);  // long delay: slot 0 accumulates
    std::vector<float> rec = {0.1f, -0.2f, -0.7f, 0.4f, 0.3f, 0.0f};
    r.bus.OnAudioRecord(rec.data(), 3, 2);
    EXPECT_FLOAT_EQ(r.bus.GetPeak(0)[0], 0.7f);
    EXPECT_FLOAT_EQ(r.bus.GetPeak(0)[1], 0.4f);
    EXPECT_EQ(r.bus.GetPeak(4), nullptr);
}

TEST(AudioBus, TheTimerPostsEveryEightBlocksForATenthOfASecondAt44100With512Frames) {
    RunningBus r(44100);
    SourceDouble source;
    r.bus.SetPlaySource(&source);
    XMsgQueue window;
    r.bus.SetTimer(&window, 77, 0.1f);
    std::vector<float> block(512 * 2);
    std::vector<int> posted;
    for (int i = 1; i <= 18; ++i) {
        r.bus.OnAudioPlay(block.data(), 512, 2);
        if (!Drain(window).empty()) posted.push_back(i);
    }
    // The first message comes on the second block, then every 8 blocks.
    EXPECT_EQ(posted, (std::vector<int>{2, 10, 18}));
}

TEST(AudioBus, TheTimerMessageCarriesItsCodeAndZeroParameters) {
    RunningBus r;
    SourceDouble source;
    r.bus.SetPlaySource(&source);
    XMsgQueue window;
    r.bus.SetTimer(&window, 2007, 0.0f);
    std::vector<float> block(4 * 2);
    r.bus.OnAudioPlay(block.data(), 4, 2);
    r.bus.OnAudioPlay(block.data(), 4, 2);
    std::vector<XWindowMsg> msgs = Drain(window);
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].msg, 2007u);
    EXPECT_EQ(msgs[0].wParam, 0);
    EXPECT_EQ(msgs[0].lParam, 0);
}

TEST(AudioBus, TheTimerWithAZeroRateDriverPostsOnEveryBlock) {
    AudioBus bus;  // no play driver: the rate is 0, so the cycle is 0
    SourceDouble source;
    bus.SetPlaySource(&source);
    bus.Start();
    XMsgQueue window;
    bus.SetTimer(&window, 5, 1.0f);
    std::vector<float> block(4 * 2);
    for (int i = 0; i < 4; ++i) bus.OnAudioPlay(block.data(), 4, 2);
    EXPECT_EQ(Drain(window).size(), 3u);
}

TEST(AudioBus, WithTheMonitorOnAndARingOf4SlotsARecordedBlockIsPlayedBack3BlocksLater) {
    RunningBus r;
    ASSERT_TRUE(r.bus.SetMonitorBuffer(4, 4, 2));
    r.bus.SetMonitor(true);
    ASSERT_TRUE(r.bus.IsMonitoring());
    std::vector<float> played(4 * 2);
    std::vector<float> heard;
    for (int i = 1; i <= 8; ++i) {
        // Each device cycle plays the oldest slot, then records into the newest.
        EXPECT_EQ(r.bus.OnAudioPlay(played.data(), 4, 2), 4);
        heard.push_back(played[0]);
        std::vector<float> rec = Filled(4 * 2, static_cast<float>(i));
        r.bus.OnAudioRecord(rec.data(), 4, 2);
    }
    // Block i comes back on the turn of block i + 3.
    EXPECT_EQ(heard, (std::vector<float>{0, 0, 0, 1, 2, 3, 4, 5}));
}

TEST(AudioBus, SetMonitorTrueBeforeSetMonitorBufferLeavesMonitoringOff) {
    AudioBus bus;
    bus.SetMonitor(true);
    EXPECT_FALSE(bus.IsMonitoring());
}

TEST(AudioBus, ASetPlaySourceSwitchesMonitoringOff) {
    RunningBus r;
    r.bus.SetMonitorBuffer(2, 4, 2);
    r.bus.SetMonitor(true);
    SourceDouble source;
    r.bus.SetPlaySource(&source);
    EXPECT_FALSE(r.bus.IsMonitoring());
}

TEST(AudioBus, DisablingRecordSwitchesMonitoringOff) {
    RunningBus r;
    r.bus.SetMonitorBuffer(2, 4, 2);
    r.bus.SetMonitor(true);
    r.bus.EnableRecord(false);
    EXPECT_FALSE(r.bus.IsMonitoring());
    EXPECT_EQ(r.dev->GetAudioTarget(), nullptr);
}

TEST(AudioBus, MoreThan32MonitorSlotsOrBlocksAreRefused) {
    AudioBus bus;
    EXPECT_FALSE(bus.SetMonitorBuffer(33, 4, 2));
    EXPECT_FALSE(bus.CreateRecBuffers(33, 4, 2));
    EXPECT_TRUE(bus.SetMonitorBuffer(32, 4, 2));
    EXPECT_TRUE(bus.CreateRecBuffers(32, 4, 2));
}

TEST(AudioBus, RegroupingHandsTargetsOneBufferOfBlocCountBlocks) {
    RunningBus r;
    TargetDouble t;
    r.bus.AddAudioTarget(&t);
    ASSERT_TRUE(r.bus.CreateRecBuffers(2, 4, 2));
    std::vector<float> one = Filled(4 * 2, 1.0f), two = Filled(4 * 2, 2.0f);
    r.bus.OnAudioRecord(one.data(), 4, 2);
    EXPECT_TRUE(t.blocks.empty());
    r.bus.OnAudioRecord(two.data(), 4, 2);
    ASSERT_EQ(t.blocks.size(), 1u);
    EXPECT_EQ(t.blocks[0].frames, 8);
    EXPECT_EQ(t.blocks[0].channels, 2);
    EXPECT_EQ(t.blocks[0].data[0], 1.0f);
    EXPECT_EQ(t.blocks[0].data[8], 2.0f);
    // The second buffer follows, then the first again.
    r.bus.OnAudioRecord(two.data(), 4, 2);
    r.bus.OnAudioRecord(one.data(), 4, 2);
    ASSERT_EQ(t.blocks.size(), 2u);
    EXPECT_EQ(t.blocks[1].data[0], 2.0f);
    EXPECT_EQ(t.blocks[1].data[8], 1.0f);
}

TEST(AudioBus, RegroupingWithOneChannelKeepsEverySecondFloatAndPassesTheDeviceChannelCount) {
    RunningBus r;
    TargetDouble t;
    r.bus.AddAudioTarget(&t);
    ASSERT_TRUE(r.bus.CreateRecBuffers(1, 4, 1));
    std::vector<float> rec = {1, -1, 2, -2, 3, -3, 4, -4};
    r.bus.OnAudioRecord(rec.data(), 4, 2);
    ASSERT_EQ(t.blocks.size(), 1u);
    EXPECT_EQ(t.blocks[0].channels, 2);  // the device's count, not the one kept
    EXPECT_EQ(t.blocks[0].data[0], 1.0f);
    EXPECT_EQ(t.blocks[0].data[1], 2.0f);
    EXPECT_EQ(t.blocks[0].data[2], 3.0f);
    EXPECT_EQ(t.blocks[0].data[3], 4.0f);
}

TEST(AudioBus, ADeviceBlockLargerThanARegroupingSlotIsCutToTheSlot) {
    RunningBus r;
    TargetDouble t;
    r.bus.AddAudioTarget(&t);
    ASSERT_TRUE(r.bus.CreateRecBuffers(1, 2, 2));
    std::vector<float> rec = Filled(64 * 2, 0.5f);
    r.bus.OnAudioRecord(rec.data(), 64, 2);  // must not write past the buffers
    ASSERT_EQ(t.blocks.size(), 1u);
    EXPECT_EQ(t.blocks[0].frames, 2);
}

TEST(AudioBus, DeleteRecBuffersSendsBlocksStraightToTheTargetsAgain) {
    RunningBus r;
    TargetDouble t;
    r.bus.AddAudioTarget(&t);
    r.bus.CreateRecBuffers(4, 4, 2);
    r.bus.DeleteRecBuffers();
    std::vector<float> rec = Filled(4 * 2, 0.5f);
    r.bus.OnAudioRecord(rec.data(), 4, 2);
    ASSERT_EQ(t.blocks.size(), 1u);
    EXPECT_EQ(t.blocks[0].frames, 4);
}

TEST(AudioBus, CloseDetachesEverythingAndStopsAndClosesTheDriverInBothDirections) {
    RunningBus r;
    SourceDouble source;
    r.bus.SetPlaySource(&source);
    XMsgQueue window;
    r.bus.SetTimer(&window, 5, 0.0f);
    r.bus.Close();
    EXPECT_TRUE(r.bus.IsMuted());
    EXPECT_EQ(r.bus.PlayDriver(), nullptr);
    EXPECT_EQ(r.bus.RecordDriver(), nullptr);
    EXPECT_EQ(r.dev->GetAudioSource(), nullptr);
    EXPECT_EQ(r.dev->stops, 1);
    EXPECT_EQ(r.dev->stopDir, 2);
    EXPECT_EQ(r.dev->closes, 1);
    EXPECT_EQ(r.dev->closeDir, 2);
    r.bus.Start();
    std::vector<float> block(4 * 2, 9.0f);
    EXPECT_EQ(r.bus.OnAudioPlay(block.data(), 4, 2), 0);  // no source any more
    EXPECT_EQ(source.calls, 0);
    EXPECT_TRUE(Drain(window).empty());
}

TEST(AudioBus, EverySetterWritesItsLogLine) {
    const char* tmp = std::getenv("VELOTUNE_TEST_TMP");
    std::string dir = tmp ? tmp : "/tmp";
    std::string cmd = "mkdir -p '" + dir + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    std::string path = dir + "/audiobus_log.txt";
    {
        AudioBus bus;
        bus.LogOpen(path.c_str(), "test");
        TargetDouble t;
        bus.Start();
        bus.Stop();
        bus.EnablePlay(true);
        bus.EnableRecord(false);
        bus.SetPlaySource(nullptr);
        bus.SetRecordSource(nullptr);
        bus.AddAudioTarget(&t);
        bus.RemoveAudioTarget(&t);
        bus.Close();
    }
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    const std::string log = text.str();
    for (const char* line :
         {"*** AudioBus::Start() ***\n", "*** AudioBus::Stop() ***\n",
          "*** AudioBus::EnablePlay(1) ***\n", "*** AudioBus::EnableRecord(0) ***\n",
          "*** AudioBus::SetPlaySource(0) ***\n", "*** AudioBus::SetRecordSource(0) ***\n",
          "*** AudioBus::AddAudioTarget(", "*** AudioBus::RemoveAudioTarget(",
          "*** AudioBus::Close() ***\n"})
        EXPECT_NE(log.find(line), std::string::npos) << line;
}
