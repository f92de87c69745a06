#include <gtest/gtest.h>

#include "CAStreamBasicDescription.h"

TEST(CAStreamBasicDescription, DefaultIsAllZero) {
    CAStreamBasicDescription d;
    EXPECT_EQ(d.mSampleRate, 0.0);
    EXPECT_EQ(d.mFormatID, 0u);
    EXPECT_EQ(d.mChannelsPerFrame, 0u);
    EXPECT_EQ(d.mBitsPerChannel, 0u);
}

TEST(CAStreamBasicDescription, SetCanonicalInterleavedGivesPackedFloatFramesOfEveryChannel) {
    AudioStreamBasicDescription plain = {};
    plain.mSampleRate = 22050;
    plain.mFormatID = kAudioFormatMPEGLayer3;
    plain.mFramesPerPacket = 1152;
    CAStreamBasicDescription d(plain);
    d.SetCanonical(3, true);
    EXPECT_EQ(d.mFormatID, kAudioFormatLinearPCM);
    EXPECT_EQ(d.mFormatFlags, kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked);
    EXPECT_EQ(d.mBitsPerChannel, 32u);
    EXPECT_EQ(d.mChannelsPerFrame, 3u);
    EXPECT_EQ(d.mBytesPerFrame, 12u);
    EXPECT_EQ(d.mBytesPerPacket, 12u);
    EXPECT_EQ(d.mFramesPerPacket, 1u);
    EXPECT_TRUE(d.IsFloat());
    EXPECT_TRUE(d.IsInterleaved());
}

TEST(CAStreamBasicDescription, SetCanonicalKeepsTheSampleRate) {
    CAStreamBasicDescription d;
    d.mSampleRate = 44100.5;
    d.SetCanonical(2, true);
    EXPECT_EQ(d.mSampleRate, 44100.5);
}

TEST(CAStreamBasicDescription, SetCanonicalNonInterleavedGivesOneChannelPerBuffer) {
    CAStreamBasicDescription d;
    d.SetCanonical(2, false);
    EXPECT_EQ(d.mFormatFlags, kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked |
                                  kAudioFormatFlagIsNonInterleaved);
    EXPECT_EQ(d.mBytesPerFrame, 4u);
    EXPECT_EQ(d.mChannelsPerFrame, 2u);
    EXPECT_FALSE(d.IsInterleaved());
}
