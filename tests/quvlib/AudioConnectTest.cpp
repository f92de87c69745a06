#include <gtest/gtest.h>

#include <vector>

#include "AudioConnect.h"

namespace {

// A source holding a few stereo frames: it hands out what it has and then runs dry.
class ShortSource : public AudioSource {
  public:
    explicit ShortSource(int available) : m_available(available) {}
    int OnAudioPlay(float* buffer, int frames, int channels) override {
        const int n = frames < m_available ? frames : m_available;
        for (int f = 0; f < n; ++f)
            for (int c = 0; c < channels; ++c) buffer[f * channels + c] = 0.25f * (c + 1);
        m_available -= n;
        return n;
    }

  private:
    int m_available;
};

// A caller as the bus and the device drivers are: it silences behind the count.
int PullBlock(AudioSource& source, float* buffer, int frames, int channels) {
    const int got = source.OnAudioPlay(buffer, frames, channels);
    for (int i = got * channels; i < frames * channels; ++i) buffer[i] = 0.0f;
    return got;
}

}  // namespace

TEST(AudioConnect, ASourceThatReturnsFewerFramesThanAskedLeavesTheRestOfTheBlockToItsCaller) {
    ShortSource source(3);
    const float kUntouched = 7.0f;
    std::vector<float> block(8 * 2, kUntouched);
    EXPECT_EQ(source.OnAudioPlay(block.data(), 8, 2), 3);
    for (int f = 0; f < 3; ++f) {
        EXPECT_EQ(block[f * 2], 0.25f);
        EXPECT_EQ(block[f * 2 + 1], 0.5f);
    }
    // The source has not touched the rest: it is the caller's to silence.
    for (int i = 3 * 2; i < 8 * 2; ++i) EXPECT_EQ(block[i], kUntouched) << "sample " << i;

    // The caller then silences exactly the frames behind the count.
    ShortSource again(3);
    std::vector<float> pulled(8 * 2, kUntouched);
    EXPECT_EQ(PullBlock(again, pulled.data(), 8, 2), 3);
    EXPECT_EQ(pulled[5], 0.5f);
    for (int i = 3 * 2; i < 8 * 2; ++i) EXPECT_EQ(pulled[i], 0.0f);
    // Once dry, every block is the caller's.
    EXPECT_EQ(PullBlock(again, pulled.data(), 8, 2), 0);
    for (float v : pulled) EXPECT_EQ(v, 0.0f);
}

TEST(AudioConnect, SampleCOfFrameFStandsAtFTimesChannelsPlusC) {
    ShortSource source(4);
    std::vector<float> block(4 * 3, -1.0f);
    ASSERT_EQ(source.OnAudioPlay(block.data(), 4, 3), 4);
    for (int f = 0; f < 4; ++f)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(block[f * 3 + c], 0.25f * (c + 1));
}

TEST(AudioConnect, TheDefaultHooksOfSourceAndTargetDoNothing) {
    ShortSource source(2);
    source.OnMoveTo(12345);  // the base ignores it: the source still holds its 2 frames
    float block[4 * 2] = {};
    EXPECT_EQ(source.OnAudioPlay(block, 4, 2), 2);

    AudioTarget target;
    float rec[4] = {1.0f, 2.0f, 3.0f, 4.0f};
    target.OnAudioRecordStart();
    target.OnAudioRecord(rec, 2, 2);
    target.OnAudioRecordStop();
    EXPECT_EQ(rec[0], 1.0f);  // the block is read-only to a target that does nothing
    EXPECT_EQ(rec[3], 4.0f);
}
