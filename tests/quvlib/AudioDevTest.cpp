#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "AudioBus.h"
#include "AudioDev.h"

namespace {

// A driver double: its device lists are whatever the test adds, and it counts
// the calls the base makes into it.
class DevDouble : public AudioDev {
  public:
    int inits = 0, opens = 0, closes = 0;
    int initResult = 0;
    bool closeResult = true;
    int bufferSize = 512;
    DEVOPEN lastRec{-9, -9, -9}, lastPlay{-9, -9, -9};
    bool gotRec = false, gotPlay = false;

    void Add(const char* name, int dir, int channels = 2) {
        DEVINFO info;
        std::memset(&info, 0, sizeof(info));
        std::strncpy(info.name, name, sizeof(info.name) - 1);
        info.channelCount = channels;
        AddDevice(&info, dir);
    }

  protected:
    int OnInit() override { return ++inits, initResult; }
    bool OnOpen(DEVOPEN* rec, DEVOPEN* play, long, int) override {
        ++opens;
        gotRec = rec != nullptr;
        gotPlay = play != nullptr;
        if (rec) lastRec = *rec;
        if (play) lastPlay = *play;
        return true;
    }
    bool OnClose(int) override { return ++closes, closeResult; }
    int OnGetBufferSize() override { return bufferSize; }
};

class SilentSource : public AudioSource {
  public:
    int OnAudioPlay(float*, int, int) override { return 0; }
};

}  // namespace

TEST(AudioDev, OpenWithNothingFailsWithNothingToOpen) {
    DevDouble dev;
    dev.Add("card", 0);
    EXPECT_FALSE(dev.Open(nullptr, nullptr, 44100, 32));
    EXPECT_STREQ(dev.GetErrorMsg(), "Error: Nothing to open");
    EXPECT_EQ(dev.opens, 0);
}

TEST(AudioDev, OpenWithIndexMinusOneAndNoDefaultUsesDevice0) {
    DevDouble dev;
    dev.Add("first", 0);
    dev.Add("second", 0);
    DEVOPEN play{-1, 2, 0};
    ASSERT_TRUE(dev.Open(nullptr, &play, 44100, 32));
    EXPECT_EQ(dev.lastPlay.iDev, 0);
    EXPECT_EQ(dev.Current(0).device, 0);
}

TEST(AudioDev, OpenWithIndexMinusOneUsesTheDefaultDevice) {
    DevDouble dev;
    dev.Add("first", 1);
    dev.Add("second", 1);
    dev.SetDefault(1, 1);
    DEVOPEN rec{-1, 2, 0};
    ASSERT_TRUE(dev.Open(&rec, nullptr, 48000, 32));
    EXPECT_EQ(dev.lastRec.iDev, 1);
    EXPECT_EQ(dev.Current(1).device, 1);
    EXPECT_EQ(dev.Current(1).sampRate, 48000);
    EXPECT_EQ(dev.Current(1).recChannel, 2);
}

TEST(AudioDev, OpenBeyondTheRecordingListFailsWithRecordingOutOfRange) {
    DevDouble dev;
    dev.Add("in", 1);
    DEVOPEN rec{1, 2, 0};
    EXPECT_FALSE(dev.Open(&rec, nullptr, 44100, 32));
    EXPECT_STREQ(dev.GetErrorMsg(), "Error: Recording device out of range");
}

TEST(AudioDev, OpenBeyondThePlaybackListFailsWithPlaybackOutOfRange) {
    DevDouble dev;
    DEVOPEN play{0, 2, 0};
    EXPECT_FALSE(dev.Open(nullptr, &play, 44100, 32));
    EXPECT_STREQ(dev.GetErrorMsg(), "Error: Playback device out of range");
}

TEST(AudioDev, OpeningTwiceWithIdenticalRequestsAndRateCallsOnOpenOnce) {
    DevDouble dev;
    dev.Add("out", 0);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(dev.Open(nullptr, &play, 44100, 32));
    DEVOPEN again{0, 2, 0};
    ASSERT_TRUE(dev.Open(nullptr, &again, 44100, 32));
    EXPECT_EQ(dev.opens, 1);
    DEVOPEN other{0, 2, 1};
    ASSERT_TRUE(dev.Open(nullptr, &other, 44100, 32));
    EXPECT_EQ(dev.opens, 2);
    ASSERT_TRUE(dev.Open(nullptr, &other, 48000, 32));
    EXPECT_EQ(dev.opens, 3);
}

TEST(AudioDev, AnOffsetNotBelowTheChannelCountIsResetToZero) {
    DevDouble dev;
    dev.Add("out", 0, 2);
    DEVOPEN play{0, 2, 2};
    ASSERT_TRUE(dev.Open(nullptr, &play, 44100, 32));
    EXPECT_EQ(dev.lastPlay.offset, 0);
    EXPECT_EQ(dev.Current(0).playOffset, 0);
}

TEST(AudioDev, AChannelWithoutANameOnRecordingDevice0Index2IsNamedIn3) {
    DevDouble dev;
    dev.Add("in", 1, 4);
    EXPECT_STREQ(dev.DeviceChannelName(0, 1, 2), "in:3");
    dev.Add("out", 0, 4);
    EXPECT_STREQ(dev.DeviceChannelName(0, 0, 0), "out:1");
}

TEST(AudioDev, AStoredChannelNameIsReturnedAsItIs) {
    DevDouble dev;
    DEVINFO info;
    std::memset(&info, 0, sizeof(info));
    std::strcpy(info.name, "card");
    info.channelCount = 2;
    char left[] = "FL";
    info.channelName[0] = left;
    ASSERT_TRUE(dev.AddDevice(&info, 0));
    left[0] = 'X';  // the list keeps its own copy
    EXPECT_STREQ(dev.DeviceChannelName(0, 0, 0), "FL");
    EXPECT_STREQ(dev.DeviceChannelName(0, 0, 1), "out:2");
}

TEST(AudioDev, CloseUnbindsSourceAndTargetSoABusMustEnablePlaybackAgainAfterReopening) {
    AudioBus bus;
    DevDouble* dev = new DevDouble;
    dev->Add("in", 1);
    dev->Add("out", 0);
    ASSERT_EQ(bus.AddDriver(dev, "Double"), 1);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(dev->Open(nullptr, &play, 44100, 32));
    bus.EnablePlay(true);
    bus.EnableRecord(true);
    EXPECT_EQ(dev->GetAudioSource(), &bus);
    EXPECT_EQ(dev->GetAudioTarget(), &bus);
    ASSERT_TRUE(dev->Close(2));
    EXPECT_EQ(dev->GetAudioSource(), nullptr);
    EXPECT_EQ(dev->GetAudioTarget(), nullptr);
    DEVOPEN again{0, 2, 0};
    ASSERT_TRUE(dev->Open(nullptr, &again, 44100, 32));
    EXPECT_EQ(dev->GetAudioSource(), nullptr);
    bus.EnablePlay(true);
    EXPECT_EQ(dev->GetAudioSource(), &bus);
}

TEST(AudioDev, CloseForgetsTheRequestsSoTheSameOpenReachesTheDriverAgain) {
    DevDouble dev;
    dev.Add("out", 0);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(dev.Open(nullptr, &play, 44100, 32));
    ASSERT_TRUE(dev.Close(2));
    DEVOPEN again{0, 2, 0};
    ASSERT_TRUE(dev.Open(nullptr, &again, 44100, 32));
    EXPECT_EQ(dev.opens, 2);
}

TEST(AudioDev, AFailedCloseReturnsFalseButStillUnbindsTheSource) {
    DevDouble dev;
    dev.closeResult = false;
    SilentSource source;
    dev.SetAudioSource(&source);
    EXPECT_FALSE(dev.Close(0));
    EXPECT_EQ(dev.GetAudioSource(), nullptr);
}

TEST(AudioDev, InitCallsOnInitOnlyWhileNoDeviceIsKnown) {
    DevDouble dev;
    EXPECT_TRUE(dev.Init());
    EXPECT_EQ(dev.inits, 1);
    dev.Add("out", 0);
    EXPECT_TRUE(dev.Init());
    EXPECT_EQ(dev.inits, 1);
    DevDouble failing;
    failing.initResult = 2;
    EXPECT_FALSE(failing.Init());
}

TEST(AudioDev, QueriesWithAnotherDirectionCodeGiveNothing) {
    DevDouble dev;
    dev.Add("out", 0);
    EXPECT_EQ(dev.DeviceCount(2), 0);
    EXPECT_EQ(dev.DeviceCount(-1), 0);
    EXPECT_EQ(dev.GetDefault(5), -1);
    EXPECT_EQ(dev.GetDefault(0), -1);
    EXPECT_EQ(dev.DeviceIndex("out", 3), -1);
    EXPECT_EQ(dev.GetDevice(0, 7), nullptr);
}

TEST(AudioDev, DeviceIndexFindsTheFirstExactName) {
    DevDouble dev;
    dev.Add("default", 0);
    dev.Add("pulse", 0);
    dev.Add("pulse", 0);
    EXPECT_EQ(dev.DeviceIndex("pulse", 0), 1);
    EXPECT_EQ(dev.DeviceIndex("Pulse", 0), -1);
    EXPECT_STREQ(dev.DeviceName(1, 0), "pulse");
}

TEST(AudioDev, DeviceRatesZeroesTheOutputAndCopiesRatesWithinTheRange) {
    DevDouble dev;
    DEVINFO info;
    std::memset(&info, 0, sizeof(info));
    const int rates[] = {44100, 48000, 88200, 96000};
    for (int r : rates) info.rate[info.rateCount++] = r;
    dev.AddDevice(&info, 0);
    int out[4] = {7, 7, 7, 7};
    EXPECT_EQ(dev.DeviceRates(0, 0, out, 4, 48000, 88200), 2);
    EXPECT_EQ(out[0], 48000);
    EXPECT_EQ(out[1], 88200);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(out[3], 0);
    int one[1];
    EXPECT_EQ(dev.DeviceRates(0, 0, one, 1, 0, 100000), 1);
    EXPECT_EQ(one[0], 44100);
}

TEST(AudioDev, MatchingDevFindsTheLongestCommonPrefixInTheOtherDirection) {
    DevDouble dev;
    dev.Add("USB Audio", 0);
    dev.Add("Built-in Input", 1);
    dev.Add("USB Audio In", 1);
    dev.Add("USB Mic", 1);
    EXPECT_EQ(dev.MatchingDev(0, 0), 1);
    EXPECT_EQ(dev.MatchingDev(0, 1), -1);  // "Built-in Input" shares nothing with "USB Audio"
    EXPECT_EQ(dev.MatchingDev(2, 1), 0);
}

TEST(AudioDev, MatchingDevIsMinusOneWhenNoNameSharesTheFirstCharacter) {
    DevDouble dev;
    dev.Add("alpha", 0);
    dev.Add("beta", 1);
    dev.Add("gamma", 1);
    EXPECT_EQ(dev.MatchingDev(0, 0), -1);
    dev.Add("alto", 1);
    dev.Add("alpine", 1);
    EXPECT_EQ(dev.MatchingDev(0, 0), 3);  // "alpine" shares "alp", more than "alto"
}

TEST(AudioDev, TimeToBufferCountsBlocksAndGivesZeroForAZeroBufferSize) {
    DevDouble dev;
    dev.Add("out", 0);
    DEVOPEN play{0, 2, 0};
    ASSERT_TRUE(dev.Open(nullptr, &play, 44100, 32));
    EXPECT_EQ(dev.TimeToBuffer(0.1f), 8);  // 4410 / 512
    dev.bufferSize = 0;
    EXPECT_EQ(dev.TimeToBuffer(0.1f), 0);
}

TEST(AudioDev, SetErrorMsgCutsAnOverlongTextToTheBuffer) {
    DevDouble dev;
    std::string longText(1000, 'x');
    dev.SetErrorMsg(longText.c_str());
    EXPECT_EQ(std::strlen(dev.GetErrorMsg()), static_cast<size_t>(AudioDev::kErrSize - 1));
}

TEST(AudioDev, AddDeviceClampsTheChannelCountTo64) {
    DevDouble dev;
    dev.Add("wide", 0, 100);
    EXPECT_EQ(dev.DeviceChannelCount(0, 0), 64);
    EXPECT_STREQ(dev.DeviceChannelName(0, 0, 63), "out:64");
}

TEST(AudioDev, AddDeviceRefusesA65thDevice) {
    DevDouble dev;
    for (int i = 0; i < 64; ++i) dev.Add("d", 1);
    DEVINFO info;
    std::memset(&info, 0, sizeof(info));
    EXPECT_FALSE(dev.AddDevice(&info, 1));
    EXPECT_EQ(dev.DeviceCount(1), 64);
    EXPECT_FALSE(dev.AddDevice(&info, 2));
}

TEST(AudioDev, OpenClearsTheErrorOfAnEarlierFailure) {
    DevDouble dev;
    dev.Add("out", 0);
    EXPECT_FALSE(dev.Open(nullptr, nullptr, 44100, 32));
    DEVOPEN play{0, 2, 0};
    EXPECT_TRUE(dev.Open(nullptr, &play, 44100, 32));
    EXPECT_STREQ(dev.GetErrorMsg(), "");
}
