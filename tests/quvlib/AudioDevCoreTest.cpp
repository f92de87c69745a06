#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "AudioBus.h"
#include "AudioDevCore.h"

namespace {

// Builds the description of one device side as the sound service would report it.
t_sideProbe Side(const char* name, int channels, int period = 1024, bool canFloat = true) {
    t_sideProbe s;
    std::memset(&s, 0, sizeof(s));
    s.present = true;
    std::strncpy(s.name, name, sizeof(s.name) - 1);
    s.channels = channels;
    s.canFloat = canFloat;
    s.bits = canFloat ? 32 : 16;
    s.rateOk[0] = s.rateOk[1] = true;
    s.periodSize = period;
    return s;
}

t_sideProbe Absent() {
    t_sideProbe s;
    std::memset(&s, 0, sizeof(s));
    return s;
}

// The driver with its platform layer replaced: devices come from the test, and
// opening, starting and stopping only record what the driver asked for.
class CoreDouble : public AudioDevCore {
  public:
    struct Device {
        t_sideProbe out, in;
    };
    std::vector<Device> devices;
    int listResult = 0;  // < 0: listing fails
    int openError = 0;
    int grantFrames = 0;       // 0: grant what is asked
    bool monoBuffers = false;  // the side delivers one buffer per channel
    std::vector<int> askedFrames;
    std::vector<int> probed;  // device ids in the order they were probed
    std::vector<int> openedIo;
    int threads = 0, runs = 0, stops = 0, releases = 0;

    using AudioDevCore::m_buffer_play;
    using AudioDevCore::m_channel;
    using AudioDevCore::m_state;
    using AudioDevCore::OnOpen;

  protected:
    int _listDevices() override {
        if (listResult < 0) return listResult;
        return static_cast<int>(devices.size());
    }
    void _probeDevice(int devId, t_sideProbe* out, t_sideProbe* in) override {
        probed.push_back(devId);
        if (devId < 1 || devId > static_cast<int>(devices.size())) return;  // nothing opens
        *out = devices[devId - 1].out;
        *in = devices[devId - 1].in;
    }
    int _openSide(int io, int, long, int channels, int* frames, t_ioBufferList* config) override {
        askedFrames.push_back(*frames);
        openedIo.push_back(io);
        if (openError) return openError;
        if (grantFrames) *frames = grantFrames;
        config->mNumberBuffers = 1;
        config->mBuffers[0] = t_ioBuffer{channels, *frames * channels * 4, nullptr};
        if (monoBuffers) {
            config->mNumberBuffers = channels;
            for (int b = 0; b < channels; ++b)
                config->mBuffers[b] = t_ioBuffer{1, *frames * 4, nullptr};
        }
        return 0;
    }
    int _startThread(int) override { return ++threads, 0; }
    int _runSide(int, bool run) override {
        if (run)
            ++runs;
        else
            ++stops;
        return 0;
    }
    void _releaseSide(int) override { ++releases; }
};

// A source double writing left = 0.25 + f/10000, right = -left for the first
// `produce` frames (all when negative).
class RampSource : public AudioSource {
  public:
    int produce = -1;
    int OnAudioPlay(float* buffer, int frames, int channels) override {
        int n = produce < 0 || produce > frames ? frames : produce;
        for (int f = 0; f < n; ++f) {
            buffer[f * channels] = 0.25f + f / 10000.0f;
            buffer[f * channels + 1] = -(0.25f + f / 10000.0f);
        }
        return n;
    }
};

class Recorder : public AudioTarget {
  public:
    std::vector<float> data;
    int frames = -1, channels = -1;
    void OnAudioRecord(float* buffer, int f, int c) override {
        data.assign(buffer, buffer + f * c);
        frames = f;
        channels = c;
    }
};

// A driver with one stereo device offering both sides, initialised.
struct OneDevice {
    CoreDouble* core = new CoreDouble;
    OneDevice(int outChannels = 2, int inChannels = 2) {
        core->devices.push_back({Side("default", outChannels), Side("default", inChannels)});
        core->Init();
    }
    ~OneDevice() { delete core; }
};

// One interleaved device buffer of `frames` frames and `channels` channels,
// filled with a marker so untouched samples can be told apart.
struct DeviceBuffer {
    std::vector<float> samples;
    t_ioBufferList list{};
    DeviceBuffer(int frames, int channels, float marker = 9.0f)
        : samples(static_cast<size_t>(frames) * channels, marker) {
        list.mNumberBuffers = 1;
        list.mBuffers[0] = t_ioBuffer{channels, frames * channels * 4, samples.data()};
    }
};

}  // namespace

TEST(AudioDevCore, AMachineWhoseOnlyInputIsNamedISightShowsNoRecordingDevice) {
    CoreDouble* core = new CoreDouble;
    core->devices.push_back({Side("Built-in Output", 2), Absent()});
    core->devices.push_back({Absent(), Side("iSight", 1)});
    ASSERT_TRUE(core->Init());
    EXPECT_EQ(core->DeviceCount(1), 0);
    EXPECT_EQ(core->DeviceCount(0), 1);
    AudioBus bus;  // and the bus then refuses the driver
    EXPECT_EQ(bus.AddDriver(core, "CoreAudio"), 0);
    EXPECT_EQ(bus.DriverCount(), 0);
}

TEST(AudioDevCore, OnlyASideNamedExactlyISightIsSkipped) {
    OneDevice d;
    CoreDouble core;
    core.devices.push_back({Absent(), Side("iSight 2", 1)});
    core.devices.push_back({Absent(), Side("isight", 1)});
    ASSERT_TRUE(core.Init());
    EXPECT_EQ(core.ListMoreDevices(), 2);
    EXPECT_EQ(core.DeviceCount(1), 2);
}

TEST(AudioDevCore, ADeviceSideReportingA512FrameBufferIsOpenedWith1024FramesRequested) {
    CoreDouble core;
    core.devices.push_back({Side("default", 2, 512), Side("default", 2, 512)});
    ASSERT_TRUE(core.Init());
    EXPECT_EQ(core.DevInfoEx(0, 0)->bufferSize, 1024);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(core.Open(nullptr, &play, 44100, 32));
    ASSERT_EQ(core.askedFrames.size(), 1u);
    EXPECT_EQ(core.askedFrames[0], 1024);
    EXPECT_EQ(core.GetBufferSize(), 1024);
}

TEST(AudioDevCore, ALargerPeriodIsKeptAndTheGrantedSizeIsStored) {
    CoreDouble core;
    core.devices.push_back({Side("default", 2, 4096), Absent()});
    core.devices.push_back({Absent(), Side("mic", 2)});
    core.grantFrames = 2048;
    ASSERT_TRUE(core.Init());
    EXPECT_EQ(core.DevInfoEx(0, 0)->bufferSize, 4096);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(core.Open(nullptr, &play, 44100, 32));
    EXPECT_EQ(core.askedFrames[0], 4096);
    EXPECT_EQ(core.DevInfoEx(0, 0)->bufferSize, 2048);
    EXPECT_EQ(core.GetBufferSize(), 2048);
}

TEST(AudioDevCore, OnOpenWithTheSameRateAndDevicesDoesNothingAndSucceeds) {
    OneDevice d;
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(d.core->OnOpen(nullptr, &play, 44100, 32));
    ASSERT_EQ(d.core->openedIo.size(), 1u);
    ASSERT_EQ(d.core->State(), 2);
    DEVOPEN again{0, 2, 1};
    EXPECT_TRUE(d.core->OnOpen(nullptr, &again, 44100, 32));
    EXPECT_EQ(d.core->openedIo.size(), 1u);
    EXPECT_EQ(d.core->threads, 1);
    EXPECT_EQ(d.core->State(), 2);
    EXPECT_EQ(d.core->m_channel[kAudioPlay].offset, 1);  // the request is still taken
}

TEST(AudioDevCore, ReopeningAtAnotherRateReleasesThePreviousSidesFirst) {
    OneDevice d;
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(d.core->Open(nullptr, &play, 44100, 32));
    ASSERT_TRUE(d.core->Start(0));
    int before = d.core->releases;
    ASSERT_TRUE(d.core->Open(nullptr, &play, 48000, 32));
    EXPECT_GT(d.core->releases, before);  // nothing of the first open is left behind
    EXPECT_EQ(d.core->openedIo.size(), 2u);
    EXPECT_EQ(d.core->State(), 2);
}

TEST(AudioDevCore, ASourceReturning100Of1024FramesFills100FramesOfTheDeviceChannels) {
    OneDevice d;
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(d.core->Open(nullptr, &play, 44100, 32));
    RampSource source;
    source.produce = 100;
    d.core->SetAudioSource(&source);
    DeviceBuffer dev(1024, 2);
    d.core->HandleOutput(&dev.list);
    for (int f = 0; f < 100; ++f) {
        ASSERT_FLOAT_EQ(dev.samples[2 * f], 0.25f + f / 10000.0f);
        ASSERT_FLOAT_EQ(dev.samples[2 * f + 1], -(0.25f + f / 10000.0f));
    }
    for (int f = 100; f < 1024; ++f) {
        ASSERT_EQ(dev.samples[2 * f], 9.0f) << f;
        ASSERT_EQ(dev.samples[2 * f + 1], 9.0f) << f;
    }
    // The local block is zeroed behind the returned count.
    for (int i = 200; i < 2048; ++i) ASSERT_EQ(d.core->m_buffer_play[i], 0.0f);
}

TEST(AudioDevCore, HandleOutputWithoutASourceLeavesTheDeviceBufferAlone) {
    OneDevice d;
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(d.core->Open(nullptr, &play, 44100, 32));
    DeviceBuffer dev(1024, 2);
    d.core->HandleOutput(&dev.list);
    for (float v : dev.samples) ASSERT_EQ(v, 9.0f);
}

TEST(AudioDevCore, TheStereoPairGoesToTheDeviceChannelsAtTheOffset) {
    OneDevice d(4, 2);
    DEVOPEN play{0, 2, 2};
    ASSERT_TRUE(d.core->Open(nullptr, &play, 44100, 32));
    RampSource source;
    d.core->SetAudioSource(&source);
    DeviceBuffer dev(1024, 4);
    d.core->HandleOutput(&dev.list);
    EXPECT_EQ(dev.samples[0], 9.0f);
    EXPECT_EQ(dev.samples[1], 9.0f);
    EXPECT_FLOAT_EQ(dev.samples[2], 0.25f);
    EXPECT_FLOAT_EQ(dev.samples[3], -0.25f);
    EXPECT_FLOAT_EQ(dev.samples[4 * 10 + 2], 0.251f);
}

TEST(AudioDevCore, TheChannelMapWalksSeveralBuffersInOrder) {
    CoreDouble core;
    core.devices.push_back({Side("split", 3), Absent()});
    core.devices.push_back({Absent(), Side("mic", 2)});
    core.monoBuffers = true;
    ASSERT_TRUE(core.Init());
    DEVOPEN play{0, 2, 1};  // device channels 1 and 2: the second and third buffers
    ASSERT_TRUE(core.Open(nullptr, &play, 44100, 32));
    RampSource source;
    core.SetAudioSource(&source);
    std::vector<float> b0(1024, 9.0f), b1(1024, 9.0f), b2(1024, 9.0f);
    t_ioBufferList list{};
    list.mNumberBuffers = 3;
    list.mBuffers[0] = t_ioBuffer{1, 1024 * 4, b0.data()};
    list.mBuffers[1] = t_ioBuffer{1, 1024 * 4, b1.data()};
    list.mBuffers[2] = t_ioBuffer{1, 1024 * 4, b2.data()};
    core.HandleOutput(&list);
    EXPECT_EQ(b0[0], 9.0f);
    EXPECT_FLOAT_EQ(b1[0], 0.25f);
    EXPECT_FLOAT_EQ(b2[0], -0.25f);
    EXPECT_FLOAT_EQ(b1[1023], 0.25f + 1023 / 10000.0f);
}

TEST(AudioDevCore, AMonoDeviceGetsTheLeftChannelWithoutAnyWritePastItsBuffer) {
    OneDevice d(1, 1);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(d.core->Open(nullptr, &play, 44100, 32));
    RampSource source;
    d.core->SetAudioSource(&source);
    DeviceBuffer dev(1024, 1);
    d.core->HandleOutput(&dev.list);
    EXPECT_FLOAT_EQ(dev.samples[0], 0.25f);
    EXPECT_FLOAT_EQ(dev.samples[1], 0.2501f);
}

TEST(AudioDevCore, HandleInputCopiesTheStereoPairAtTheOffsetToTheTarget) {
    OneDevice d(2, 4);
    DEVOPEN rec{0, 2, 1};
    ASSERT_TRUE(d.core->Open(&rec, nullptr, 44100, 32));
    Recorder target;
    d.core->SetAudioTarget(&target);
    DeviceBuffer dev(1024, 4);
    for (int f = 0; f < 1024; ++f)
        for (int c = 0; c < 4; ++c) dev.samples[f * 4 + c] = static_cast<float>(c) + f / 10000.0f;
    d.core->HandleInput(&dev.list);
    EXPECT_EQ(target.frames, 1024);
    EXPECT_EQ(target.channels, 2);
    ASSERT_EQ(target.data.size(), 2048u);
    EXPECT_FLOAT_EQ(target.data[0], 1.0f);
    EXPECT_FLOAT_EQ(target.data[1], 2.0f);
    EXPECT_FLOAT_EQ(target.data[2 * 5], 1.0005f);
}

TEST(AudioDevCore, HogCodeReadsDevicePermissionsErrorAndAnUnknownCodeReadsUnknownError) {
    EXPECT_STREQ(AudioDevCore::_error(FourCC("!hog")), "device permissions error");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("abcd")), "unknown error");
    EXPECT_STREQ(AudioDevCore::_error(-1), "unknown error");
}

TEST(AudioDevCore, EveryCodeOfTheErrorTableReadsItsText) {
    EXPECT_STREQ(AudioDevCore::_error(0), "no error");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("what")), "unspecified audio hardware error");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("stop")), "audio hardware not running");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("who?")), "unknown property");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("!siz")), "bad property");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("!dev")), "bad device");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("!str")), "bad stream");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("nope")), "illegal operation");
    EXPECT_STREQ(AudioDevCore::_error(FourCC("!dat")), "unsupported format");
}

TEST(AudioDevCore, StatesGoFromNewToInitialisedOpenRunningAndBack) {
    CoreDouble core;
    core.devices.push_back({Side("default", 2), Side("default", 2)});
    EXPECT_EQ(core.State(), 0);
    ASSERT_TRUE(core.Init());
    EXPECT_EQ(core.State(), 1);
    DEVOPEN rec{0, 2, 0}, play{0, 2, 0};
    ASSERT_TRUE(core.Open(&rec, &play, 44100, 32));
    EXPECT_EQ(core.State(), 2);
    EXPECT_EQ(core.threads, 2);  // one IO thread per open side
    ASSERT_TRUE(core.Start(2));
    EXPECT_EQ(core.State(), 3);
    EXPECT_FALSE(core.Start(2));  // only from state 2
    ASSERT_TRUE(core.Stop(2));
    EXPECT_EQ(core.State(), 2);
    EXPECT_FALSE(core.Stop(2));  // only from state 3
    ASSERT_TRUE(core.Start(2));
    int releases = core.releases;
    ASSERT_TRUE(core.Close(2));  // running: stopped, then closed
    EXPECT_EQ(core.State(), 1);
    EXPECT_EQ(core.stops, 4);
    EXPECT_EQ(core.releases, releases + 2);
}

TEST(AudioDevCore, OnCloseWithOnlyAPlaybackDeviceOpenDoesNothingAndReturnsFalse) {
    OneDevice d;
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(d.core->Open(nullptr, &play, 44100, 32));
    ASSERT_TRUE(d.core->Start(0));
    int stops = d.core->stops, releases = d.core->releases;
    EXPECT_FALSE(d.core->Close(2));
    EXPECT_EQ(d.core->State(), 3);
    EXPECT_EQ(d.core->stops, stops);
    EXPECT_EQ(d.core->releases, releases);
}

TEST(AudioDevCore, StartNeedsAnOpenDevice) {
    OneDevice d;
    EXPECT_FALSE(d.core->Start(0));
    EXPECT_EQ(d.core->State(), 1);
}

TEST(AudioDevCore, AFailedOpenReturnsFalseWithTheErrorTextAndNothingOpen) {
    OneDevice d;
    d.core->openError = -16;  // busy
    DEVOPEN play{0, 2, 0};
    EXPECT_FALSE(d.core->Open(nullptr, &play, 44100, 32));
    EXPECT_STRNE(d.core->GetErrorMsg(), "");
    EXPECT_EQ(d.core->State(), 1);
    EXPECT_FALSE(d.core->Start(0));
}

TEST(AudioDevCore, AMachineWithoutAnyDeviceFailsInitAndStaysNew) {
    CoreDouble empty;  // "default" opens on neither side
    EXPECT_FALSE(empty.Init());
    EXPECT_EQ(empty.State(), 0);
    EXPECT_EQ(empty.DeviceCount(0) + empty.DeviceCount(1), 0);
}

TEST(AudioDevCore, InitProbesDefaultAloneAndListMoreDevicesAddsTheOthersInOrder) {
    CoreDouble core;
    core.devices.push_back({Side("default", 2), Side("default", 2)});
    core.devices.push_back({Side("hw:0", 2), Absent()});
    core.devices.push_back({Absent(), Side("mic", 1)});
    ASSERT_TRUE(core.Init());
    EXPECT_EQ(core.probed, std::vector<int>({1}));  // nothing but "default" before the open
    EXPECT_EQ(core.DeviceCount(0), 1);
    EXPECT_EQ(core.DeviceCount(1), 1);
    EXPECT_EQ(core.State(), 1);
    EXPECT_EQ(core.ListMoreDevices(), 3);
    EXPECT_EQ(core.probed, std::vector<int>({1, 2, 3}));
    EXPECT_EQ(core.DeviceCount(0), 2);
    EXPECT_EQ(core.DeviceCount(1), 2);
    EXPECT_STREQ(core.DeviceName(1, 0), "hw:0");
    EXPECT_STREQ(core.DeviceName(1, 1), "mic");
    EXPECT_STREQ(core.DeviceName(0, 0), "default");  // still device 0
}

TEST(AudioDevCore, AFailedListingOfTheOtherDevicesReturnsMinusOneAndKeepsDefault) {
    CoreDouble core;
    core.devices.push_back({Side("default", 2), Side("default", 2)});
    core.listResult = -1;
    ASSERT_TRUE(core.Init());
    EXPECT_EQ(core.ListMoreDevices(), -1);
    EXPECT_EQ(core.DeviceCount(0), 1);
    EXPECT_EQ(core.DeviceCount(1), 1);
}

TEST(AudioDevCore, ListingTheOtherDevicesStopsBetweenTwoDevicesOnceCancelled) {
    CoreDouble core;
    for (int i = 0; i < 4; ++i) core.devices.push_back({Side("dev", 2), Side("dev", 2)});
    ASSERT_TRUE(core.Init());
    std::atomic<bool> cancel{true};
    core.ListMoreDevices(&cancel);
    EXPECT_EQ(core.probed, std::vector<int>({1}));
    EXPECT_EQ(core.DeviceCount(0), 1);
}

TEST(AudioDevCore, ASideThatDoesNotOpenOrHasNoChannelsIsSkipped) {
    CoreDouble core;
    core.devices.push_back({Absent(), Side("default", 2)});
    core.devices.push_back({Side("nothing", 0), Side("mic", 1)});
    ASSERT_TRUE(core.Init());
    core.ListMoreDevices();
    EXPECT_EQ(core.DeviceCount(0), 0);
    EXPECT_EQ(core.DeviceCount(1), 2);
    EXPECT_STREQ(core.DeviceName(1, 1), "mic");
}

TEST(AudioDevCore, ASideWithoutFloatSamplesIsStillOfferedWithTheErrorText) {
    CoreDouble core;
    core.devices.push_back({Side("hw16", 2, 1024, false), Side("hw16", 2, 1024, false)});
    ASSERT_TRUE(core.Init());
    EXPECT_EQ(core.DeviceCount(0), 1);
    EXPECT_EQ(core.DeviceBitDepth(0, 0), 16);
    EXPECT_STREQ(core.GetErrorMsg(), "ERROR - not LinearPCM & Float32");
}

TEST(AudioDevCore, TheFormatOfAFloatStereoSideReadsAsLinearPcmFloat32) {
    t_formatDesc f = AudioDevCore::FormatFromProbe(Side("default", 2));
    EXPECT_EQ(f.mFormatID, FourCC("lpcm"));
    EXPECT_TRUE(f.mFormatFlags & AudioDevCore::kFormatFlagIsFloat);
    EXPECT_EQ(f.mBytesPerFrame, 8u);
    EXPECT_EQ(f.mBytesPerPacket, 8u);
    EXPECT_EQ(f.mFramesPerPacket, 1u);
    EXPECT_EQ(f.mChannelsPerFrame, 2u);
    EXPECT_EQ(f.mBitsPerChannel, 32u);
    EXPECT_EQ(AudioDevCore::FormatFromProbe(Absent()).mFormatID, 0u);
}

TEST(AudioDevCore, RatesAndChannelNamesComeFromTheProbe) {
    CoreDouble core;
    t_sideProbe out = Side("default", 2);
    out.rateOk[1] = false;
    out.rateOk[3] = true;
    std::strcpy(out.chanName[0], "FL");
    core.devices.push_back({out, Side("default", 2)});
    ASSERT_TRUE(core.Init());
    int rates[4];
    EXPECT_EQ(core.DeviceRates(0, 0, rates, 4, 0, 200000), 2);
    EXPECT_EQ(rates[0], 44100);
    EXPECT_EQ(rates[1], 96000);
    EXPECT_STREQ(core.DeviceChannelName(0, 0, 0), "FL");
    EXPECT_STREQ(core.DeviceChannelName(0, 0, 1), "out:2");
    EXPECT_EQ(core.DeviceBitDepth(0, 0), 32);
}

TEST(AudioDevCore, EnumerationAndOpeningWriteTheTraceToTheLog) {
    const char* tmp = std::getenv("VELOTUNE_TEST_TMP");
    std::string dir = tmp ? tmp : "/tmp";
    ASSERT_EQ(std::system(("mkdir -p '" + dir + "'").c_str()), 0);
    std::string path = dir + "/audiodevcore_log.txt";
    {
        CoreDouble core;
        core.LogOpen(path.c_str(), "test");
        t_sideProbe out = Side("default", 2, 512);
        std::strcpy(out.chanName[1], "FR");
        core.devices.push_back({out, Side("default", 2)});
        ASSERT_TRUE(core.Init());
        DEVOPEN play{0, 2, 0};
        ASSERT_TRUE(core.Open(nullptr, &play, 44100, 32));
    }
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    const std::string log = text.str();
    for (const char* line : {">> AudioCore::OnInit()\n",
                             "Device count : 1\n",
                             "  Device(0)\n",
                             "    IO(0)\n",
                             "    IO(1)\n",
                             "      Name: default\n",
                             "      formatDesc.mFormatID: 1819304813\n",
                             "      formatDesc.mFormatFlags: 9\n",
                             "      formatDesc.mBytesPerPacket: 8\n",
                             "      formatDesc.mFramesPerPacket: 1\n",
                             "      formatDesc.mBytesPerFrame: 8\n",
                             "      formatDesc.mChannelsPerFrame: 2\n",
                             "      formatDesc.mBitsPerChannel: 32\n",
                             "      BitDepth: 32\n",
                             "      RateCount: 2\n",
                             "      BufferSize: 512\n",
                             "      BufferCount: 1\n",
                             "        ChannelCount[0]: 2\n",
                             "      Channel total: 2\n",
                             "      pDevInfoEx: 1024\n",
                             "Chan:1, Dev:1, io:0, size:0\n",
                             "Chan:2, Dev:1, io:0, size:3\n",
                             "        [2] FR\n",
                             ">> AudioInit done\n",
                             "AudioDevCore::OnOpen\n",
                             "Playback=0, offset=0\n",
                             " Device name: default\n",
                             " DevInfo.channels = 2\n"})
        EXPECT_NE(log.find(line), std::string::npos) << line;
}

// ---- the playback queue's marks ----

namespace {
long Ms(double ms) {
    return static_cast<long>(44100 * ms / 1000.0);
}
}  // namespace

TEST(AudioDevCoreQueuePolicy, OnACalmMachineTheMarksAreTheShortOnes) {
    AudioDevCore::QueuePolicy p(44100);
    EXPECT_EQ(p.Low(), Ms(AudioDevCore::kQueueLowMs));
    EXPECT_EQ(p.High(), Ms(AudioDevCore::kQueueHighMs));
    p.Late(0.5, 1000);  // noise
    EXPECT_EQ(p.WatermarkMs(), 0);
}

TEST(AudioDevCoreQueuePolicy, ALateWakeUpRaisesBothMarksByTwiceTheLateness) {
    AudioDevCore::QueuePolicy p(44100);
    p.Late(7, 1000);
    EXPECT_EQ(p.WatermarkMs(), 14);
    EXPECT_EQ(p.Low(), Ms(AudioDevCore::kQueueLowMs + 14));
    EXPECT_EQ(p.High(), Ms(AudioDevCore::kQueueHighMs + 14));
    p.Late(3, 1100);  // a smaller one keeps the larger watermark
    EXPECT_EQ(p.WatermarkMs(), 14);
    p.Late(100, 1200);  // never beyond the ceiling
    EXPECT_EQ(p.WatermarkMs(), AudioDevCore::QueuePolicy::kMostMs);
}

TEST(AudioDevCoreQueuePolicy, EachUnderrunRaisesTheWatermarkUpToItsCeiling) {
    AudioDevCore::QueuePolicy p(44100);
    p.Underrun(1000);
    EXPECT_EQ(p.WatermarkMs(), AudioDevCore::QueuePolicy::kRaiseMs);
    for (int i = 0; i < 20; ++i) p.Underrun(1000 + i);
    EXPECT_EQ(p.WatermarkMs(), AudioDevCore::QueuePolicy::kMostMs);
}

TEST(AudioDevCoreQueuePolicy, AfterACalmSpellTheWatermarkComesDownStepByStep) {
    using P = AudioDevCore::QueuePolicy;
    P p(44100);
    p.Late(5, 0);
    ASSERT_EQ(p.WatermarkMs(), 10);
    p.Tick(P::kCalmMs - 1);  // not calm long enough
    EXPECT_EQ(p.WatermarkMs(), 10);
    p.Tick(P::kCalmMs);
    EXPECT_EQ(p.WatermarkMs(), 10 - P::kLowerMs);
    p.Tick(P::kCalmMs + 1);  // the next step needs another calm spell
    EXPECT_EQ(p.WatermarkMs(), 10 - P::kLowerMs);
    for (int i = 2; i < 20; ++i) p.Tick(i * P::kCalmMs);
    EXPECT_EQ(p.WatermarkMs(), 0);
    EXPECT_EQ(p.Low(), Ms(AudioDevCore::kQueueLowMs));
}

TEST(AudioDevCoreQueuePolicy, TheMarksScaleWithTheRate) {
    AudioDevCore::QueuePolicy p(88200);
    EXPECT_EQ(p.Low(), static_cast<long>(88200 * AudioDevCore::kQueueLowMs / 1000.0));
}
