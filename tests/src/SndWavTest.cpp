// The RIFF/WAVE reader, on files written byte by byte by the tests.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "SoundFileBuilder.h"
#include "snd_wav.h"

using velotune_test::SoundFileBuilder;
using velotune_test::TestTempPath;
using velotune_test::WriteFileBytes;

namespace {

// Gives the tests a look at the fields the reader keeps to itself.
class WavProbe : public snd_wav {
  public:
    using snd_::m_bSwap;
    using snd_::m_file_pos;
    using snd_::m_hFile;
    using snd_wav::m_bFloat;
    using snd_wav::m_offset;
};

constexpr float kS8 = 1.0f / 127.0f;
constexpr float kS16 = 1.0f / 32767.0f;
constexpr float kS24 = 1.0f / 8388607.0f;

int Open(snd_wav& r, std::string path) {
    return r.OpenFile(&path[0]);
}

}  // namespace

// ---- well-formed files of every accepted format -------------------------------------

TEST(SndWav, OpensSixteenBitStereoAndDecodesItsFirstFrames) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 2, 44100, 16);  // "fmt ": PCM stereo 16-bit
    b.BeginChunk("data").I16(1000).I16(-1000).I16(32767).I16(-32768).I16(0).I16(5);
    b.EndChunk();  // "data": three frames
    WavProbe r;
    ASSERT_EQ(Open(r, b.Save("s16.wav")), 1);
    EXPECT_EQ(r.SampleRate(), 44100);
    EXPECT_EQ(r.SampleSize(), 3);
    EXPECT_EQ(r.BitDepth(), 16);
    EXPECT_EQ(r.Channel(), 2);
    EXPECT_FALSE(r.m_bFloat);
    EXPECT_EQ(r.m_offset, 44);
    float out[6];
    ASSERT_EQ(r.GetAudio(out, 3), 3);
    EXPECT_EQ(out[0], 1000 * kS16);
    EXPECT_EQ(out[1], -1000 * kS16);
    EXPECT_EQ(out[2], 1.0f);
    EXPECT_EQ(out[3], -32768 * kS16);
    EXPECT_EQ(out[5], 5 * kS16);
    EXPECT_EQ(r.GetAudio(out, 3), 0);
}

TEST(SndWav, ReadsEightBitDataAsSignedAlthoughWavStoresItUnsigned) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 8000, 8);                               // "fmt ": PCM mono 8-bit
    b.BeginChunk("data").Bytes({0x80, 0xFF, 0x00, 0x7F});  // "data": four samples
    b.EndChunk();
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("u8.wav")), 1);
    EXPECT_EQ(r.SampleRate(), 8000);
    EXPECT_EQ(r.SampleSize(), 4);
    EXPECT_EQ(r.BitDepth(), 8);
    float out[4];
    ASSERT_EQ(r.GetAudio(out, 4), 4);
    EXPECT_EQ(out[0], -128 * kS8);  // the WAV silence level comes out near -1
    EXPECT_EQ(out[1], -1 * kS8);
    EXPECT_EQ(out[2], 0.0f);
    EXPECT_EQ(out[3], 1.0f);
}

TEST(SndWav, ReadsTwentyFourBitDataAsAbout256TimesItsValue) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 2, 96000, 24);  // "fmt ": PCM stereo 24-bit
    b.BeginChunk("data").I24(1).I24(-1).I24(0x7FFFFF).I24(-0x800000);
    b.EndChunk();  // "data": two frames
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("s24.wav")), 1);
    EXPECT_EQ(r.SampleRate(), 96000);
    EXPECT_EQ(r.SampleSize(), 2);
    EXPECT_EQ(r.BitDepth(), 24);
    float out[4];
    ASSERT_EQ(r.GetAudio(out, 2), 2);
    EXPECT_EQ(out[0], static_cast<float>(0x100) * kS24);
    EXPECT_EQ(out[1], static_cast<float>(-1) * kS24);  // FF FF FF -> 0xFFFFFFFF
    EXPECT_EQ(out[2], static_cast<float>(0x7FFFFFFF) * kS24);
    EXPECT_EQ(out[3], static_cast<float>(INT32_MIN) * kS24);
}

TEST(SndWav, PassesThirtyTwoBitIntegerSamplesThroughAsRawBytes) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 48000, 32);                                // "fmt ": PCM mono 32-bit
    b.BeginChunk("data").I32(0x01020304).I32(-2).EndChunk();  // "data": two samples
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("s32.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 2);
    EXPECT_EQ(r.BitDepth(), 32);
    float out[2];
    ASSERT_EQ(r.GetAudio(out, 2), 2);
    int32_t raw[2];
    memcpy(raw, out, 8);  // this host is little-endian, as the file is
    EXPECT_EQ(raw[0], 0x01020304);
    EXPECT_EQ(raw[1], -2);
}

TEST(SndWav, FormatTag3OpensAndItsSamplesReachThePlayerUnconverted) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(3, 2, 44100, 32);  // "fmt ": float stereo
    b.BeginChunk("data").F32(0.25f).F32(-0.5f).F32(1.5f).F32(-2.0f).EndChunk();  // "data"
    WavProbe r;
    ASSERT_EQ(Open(r, b.Save("f32.wav")), 1);
    EXPECT_TRUE(r.m_bFloat);
    EXPECT_EQ(r.SampleSize(), 2);
    EXPECT_EQ(r.Channel(), 2);
    float out[4];
    ASSERT_EQ(r.GetAudio(out, 2), 2);
    EXPECT_EQ(out[0], 0.25f);
    EXPECT_EQ(out[1], -0.5f);
    EXPECT_EQ(out[2], 1.5f);  // nothing clips
    EXPECT_EQ(out[3], -2.0f);
}

TEST(SndWav, SkipsExtraChunksAndALongerFmtChunk) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.Chunk("JUNK", {0, 0, 0, 0});  // "JUNK": 4 filler bytes
    b.WavFmt(1, 1, 22050, 16, 2);   // "fmt ": 18 bytes (cbSize 0)
    b.BeginChunk("LIST").Id("INFO").Chunk("INAM", {'h', 'i'}).EndChunk();  // "LIST"/"INFO"
    b.Chunk("fact", {3, 0, 0, 0});                                         // "fact": frame count
    b.BeginChunk("data").I16(-7).I16(8).I16(9).EndChunk();                 // "data": three samples
    b.Chunk("id3 ", {1, 2, 3, 4});                                         // "id3 ": after the data
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("extra.wav")), 1);
    EXPECT_EQ(r.SampleRate(), 22050);
    EXPECT_EQ(r.SampleSize(), 3);
    float out[3];
    ASSERT_EQ(r.GetAudio(out, 3), 3);
    EXPECT_EQ(out[0], -7 * kS16);
    EXPECT_EQ(out[2], 9 * kS16);
}

TEST(SndWav, ReadsAFileInSeveralRunsOfFrames) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);  // "fmt ": PCM mono 16-bit
    b.BeginChunk("data");       // "data": 100 samples 0..99
    for (int i = 0; i < 100; ++i) b.I16(static_cast<int16_t>(i * 100));
    b.EndChunk();
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("runs.wav")), 1);
    std::vector<float> all;
    float out[32];
    int n;
    while ((n = r.GetAudio(out, 32)) > 0) all.insert(all.end(), out, out + n);
    ASSERT_EQ(all.size(), 100u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(all[i], static_cast<float>(i * 100) * kS16) << i;
}

// ---- chunk order, odd sizes and skipped chunks ----------------------------------------

TEST(SndWav, DataChunkBeforeFmtIsFoundAllTheSame) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.BeginChunk("data").I16(111).I16(222).EndChunk();  // "data" first: two frames of mono
    b.WavFmt(1, 1, 32000, 16);                          // "fmt " after the data
    WavProbe r;
    ASSERT_EQ(Open(r, b.Save("datafirst.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 2);
    EXPECT_EQ(r.SampleRate(), 32000);
    EXPECT_EQ(r.m_offset, 20);
    float out[2];
    ASSERT_EQ(r.GetAudio(out, 2), 2);
    EXPECT_EQ(out[0], 111 * kS16);
    EXPECT_EQ(out[1], 222 * kS16);
}

TEST(SndWav, WhenTwoDataChunksArePresentTheLastOneWins) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);                             // "fmt "
    b.BeginChunk("data").I16(1).I16(2).I16(3).EndChunk();  // "data": three samples
    b.BeginChunk("data").I16(-40).I16(-50).EndChunk();     // "data": two samples, wins
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("twodata.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 2);
    float out[3] = {7, 7, 7};
    ASSERT_EQ(r.GetAudio(out, 3), 2);
    EXPECT_EQ(out[0], -40 * kS16);
    EXPECT_EQ(out[1], -50 * kS16);
    EXPECT_EQ(out[2], 7.0f);
}

TEST(SndWav, DataSizeNotAMultipleOfTheFrameSizeLeavesTheRemainderUnread) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 2, 44100, 16);  // "fmt ": stereo 16-bit, 4 bytes a frame
    b.BeginChunk("data").I16(10).I16(20).I16(30).I16(40).I16(50).EndChunk();  // 10 bytes
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("remainder.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 2);
    float out[6] = {7, 7, 7, 7, 7, 7};
    ASSERT_EQ(r.GetAudio(out, 3), 2);
    EXPECT_EQ(out[3], 40 * kS16);
    EXPECT_EQ(out[4], 7.0f);  // the fifth sample (the remainder) never arrives
    EXPECT_EQ(r.GetAudio(out, 3), 0);
    EXPECT_EQ(out[4], 7.0f);
}

TEST(SndWav, AnOddSizedChunkWithItsPadByteHidesTheDataThatFollows) {
    // The walk deliberately does not skip pad bytes: a standard pad makes the next
    // header unreadable, so the data chunk is not found and the sound has 0 frames.
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);                                   // "fmt "
    b.BeginChunk("note").Bytes({'a', 'b', 'c'}).EndChunk(true);  // "note": 3 bytes + pad
    b.BeginChunk("data").I16(1).I16(2).EndChunk();               // "data": after the pad
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("padded.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 0);
}

TEST(SndWav, AnOddSizedChunkWithoutAPadByteIsFollowedAtTheOddPosition) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);                      // "fmt "
    b.Chunk("note", {'a', 'b', 'c'});               // "note": 3 bytes, no pad
    b.BeginChunk("data").I16(1).I16(2).EndChunk();  // "data": at an odd offset
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("unpadded.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 2);
    float out[2];
    ASSERT_EQ(r.GetAudio(out, 2), 2);
    EXPECT_EQ(out[1], 2 * kS16);
}

TEST(SndWav, SmplChunkWithLoopsIsReadAndDiscarded) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);                // "fmt "
    b.WavSmpl(2);                             // "smpl": two loops
    b.BeginChunk("data").I16(-3).EndChunk();  // "data": one sample
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("smpl.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 1);
    float out[1];
    ASSERT_EQ(r.GetAudio(out, 1), 1);
    EXPECT_EQ(out[0], -3 * kS16);
}

TEST(SndWav, SmplChunkWithoutLoopsIsReadAndDiscarded) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavSmpl(0);                            // "smpl": no loops, before the format
    b.WavFmt(1, 1, 44100, 16);               // "fmt "
    b.BeginChunk("data").I16(9).EndChunk();  // "data": one sample
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("smpl0.wav")), 1);
    EXPECT_EQ(r.SampleRate(), 44100);
    EXPECT_EQ(r.SampleSize(), 1);
}

TEST(SndWav, ATruncatedSmplChunkStillLetsTheWalkEnd) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);                      // "fmt "
    b.BeginChunk("data").I16(4).EndChunk();         // "data": one sample
    b.BeginChunk("smpl").U32(0).U32(0).EndChunk();  // "smpl": cut after 8 bytes
    b.Finish().Truncate(b.Size() - 2);
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("smplcut.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 1);
}

// ---- rejected files ------------------------------------------------------------------

TEST(SndWav, RejectsFormatTagsOtherThan1And3AndClosesTheFile) {
    for (uint16_t tag : {0, 2, 6, 7, 0x55, 0xFFFE}) {
        SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
        b.WavFmt(tag, 2, 44100, 16);                    // "fmt ": an unaccepted tag
        b.BeginChunk("data").I16(1).I16(2).EndChunk();  // "data"
        WavProbe r;
        EXPECT_EQ(Open(r, b.Save("tag.wav")), 0) << tag;
        EXPECT_EQ(r.m_hFile, nullptr);
        float out[2];
        EXPECT_EQ(r.GetAudio(out, 1), 0);
    }
}

TEST(SndWav, RejectsAContainerThatIsNotRiffWave) {
    SoundFileBuilder avi = SoundFileBuilder::Riff("AVI ");  // "RIFF"/"AVI "
    avi.WavFmt(1, 1, 44100, 16);
    SoundFileBuilder aif = SoundFileBuilder::Form("AIFF");  // "FORM"/"AIFF"
    aif.AiffComm(1, 0, 16, 44100);
    SoundFileBuilder rifx(SoundFileBuilder::Order::Big);  // "RIFX"/"WAVE": big-endian WAV
    rifx.BeginChunk("RIFX").Id("WAVE");
    WavProbe r;
    EXPECT_EQ(Open(r, avi.Save("avi.wav")), 0);
    EXPECT_EQ(Open(r, aif.Save("aif.wav")), 0);
    EXPECT_EQ(Open(r, rifx.Save("rifx.wav")), 0);
    EXPECT_EQ(r.m_hFile, nullptr);
}

TEST(SndWav, RejectsAnEmptyFileEvenAfterAGoodOne) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);               // "fmt "
    b.BeginChunk("data").I16(1).EndChunk();  // "data"
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("good.wav")), 1);
    std::string empty = TestTempPath("empty.wav");
    ASSERT_TRUE(WriteFileBytes(empty, {}));
    EXPECT_EQ(Open(r, empty), 0);
}

TEST(SndWav, RejectsAMissingFileAndAPathOf4000Bytes) {
    snd_wav r;
    EXPECT_EQ(Open(r, TestTempPath("missing.wav")), 0);
    EXPECT_EQ(Open(r, "/" + std::string(3995, 'x') + ".wav"), 0);
}

// ---- damaged files: the intended quiet answers ---------------------------------------

TEST(SndWav, WithoutADataChunkTheSoundHasZeroFrames) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 2, 44100, 16);  // "fmt " only
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("nodata.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 0);
    float out[2];
    EXPECT_EQ(r.GetAudio(out, 1), 0);
}

TEST(SndWav, WithoutAFmtChunkAFreshReaderHasZeroFrames) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.BeginChunk("data").I16(1).I16(2).EndChunk();  // "data" only
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("nofmt.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 0);
}

TEST(SndWav, WithoutAFmtChunkTheFormatOfThePreviousFileIsUsed) {
    SoundFileBuilder first = SoundFileBuilder::Riff("WAVE");
    first.WavFmt(1, 2, 48000, 16);                      // "fmt ": stereo 16-bit
    first.BeginChunk("data").I16(1).I16(2).EndChunk();  // "data": one frame
    SoundFileBuilder second = SoundFileBuilder::Riff("WAVE");
    second.BeginChunk("data").Zeros(12).EndChunk();  // "data" only: 12 bytes
    snd_wav r;
    ASSERT_EQ(Open(r, first.Save("first.wav")), 1);
    ASSERT_EQ(Open(r, second.Save("second.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 3);  // 12 bytes / 4 bytes a frame
    EXPECT_EQ(r.SampleRate(), 48000);
}

TEST(SndWav, FmtWithZeroChannelsGivesZeroFramesWithoutDividingByZero) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 0, 44100, 16);                 // "fmt ": 0 channels
    b.BeginChunk("data").Zeros(8).EndChunk();  // "data"
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("zeroch.wav")), 1);
    EXPECT_EQ(r.Channel(), 0);
    EXPECT_EQ(r.SampleSize(), 0);
    float out[1] = {7};
    EXPECT_EQ(r.GetAudio(out, 1), 0);
}

TEST(SndWav, FmtWithZeroBitsGivesZeroFramesWithoutDividingByZero) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 2, 44100, 0);                  // "fmt ": 0 bits
    b.BeginChunk("data").Zeros(8).EndChunk();  // "data"
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("zerobits.wav")), 1);
    EXPECT_EQ(r.BitDepth(), 0);
    EXPECT_EQ(r.SampleSize(), 0);
}

TEST(SndWav, FmtWithFourBitsMonoGivesZeroBytesPerFrameAndZeroFrames) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 4);                  // "fmt ": 4 bits, (1 x 4) / 8 = 0
    b.BeginChunk("data").Zeros(8).EndChunk();  // "data"
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("fourbits.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 0);
}

TEST(SndWav, SixtyFourBitFloatSamplesAreReadWithoutOverflowingTheBuffer) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(3, 2, 44100, 64);                                            // "fmt ": double stereo
    b.BeginChunk("data").F64(0.5).F64(-0.5).F64(0.25).F64(1).EndChunk();  // two frames
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("f64.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 2);
    EXPECT_EQ(r.BitDepth(), 64);
    std::vector<float> out(2 * 2);  // exactly what GetAudio may fill
    EXPECT_EQ(r.GetAudio(out.data(), 2), 2);
}

TEST(SndWav, HugeBitsAndChannelsNeverOverflowTheBuffer) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 3, 44100, 65535);                   // "fmt ": 8191 bytes a sample
    b.BeginChunk("data").Zeros(200000).EndChunk();  // "data": a few frames' worth
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("hugebits.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 200000 / ((3 * 65535) / 8));
    ASSERT_GE(r.SampleSize(), 1);
    std::vector<float> out(3 * 1);
    EXPECT_EQ(r.GetAudio(out.data(), 1), 1);
}

TEST(SndWav, ChunkSizeFFFFFFFFOpensQuietly) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);                                           // "fmt "
    b.BeginChunk("JUNK").SizeOverride(0xFFFFFFFFu).Zeros(8).EndChunk();  // "JUNK": size -1
    b.BeginChunk("data").I16(1).EndChunk();                              // "data"
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("ffff.wav")), 1);
    // The walk reads its next header from inside the size field and never finds
    // the data chunk.
    EXPECT_EQ(r.SampleSize(), 0);
}

TEST(SndWav, DataSizeFFFFFFFFGivesZeroFrames) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);                                         // "fmt "
    b.BeginChunk("data").SizeOverride(0xFFFFFFFFu).I16(5).EndChunk();  // "data": size -1
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("dataffff.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 0);  // -1 / 2 truncates to 0
}

TEST(SndWav, ATruncatedFileStillReportsItsFramesAndLeavesTheBufferRestAsItWas) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);                                            // "fmt "
    b.BeginChunk("data").SizeOverride(200).I16(100).I16(200).EndChunk();  // claims 100 samples
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("trunc.wav")), 1);
    EXPECT_EQ(r.SampleSize(), 100);
    std::vector<float> out(10, 7.0f);
    EXPECT_EQ(r.GetAudio(out.data(), 10), 10);
    EXPECT_EQ(out[0], 100 * kS16);
    EXPECT_EQ(out[1], 200 * kS16);
    EXPECT_EQ(out[2], 7.0f);
    EXPECT_EQ(out[9], 7.0f);
    EXPECT_EQ(r.GetAudio(out.data(), 1000), 90);
}

TEST(SndWav, AFileCutInsideTheFmtChunkOpensQuietly) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 2, 44100, 16);  // "fmt ", cut after its channel count
    b.Finish().Truncate(24);
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("cutfmt.wav")), 1);
    EXPECT_EQ(r.Channel(), 2);
    EXPECT_EQ(r.SampleSize(), 0);
}

TEST(SndWav, OnGetAudioReturnsTheCountAskedForEvenPastTheEnd) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);               // "fmt "
    b.BeginChunk("data").I16(1).EndChunk();  // "data": one sample
    snd_wav r;
    ASSERT_EQ(Open(r, b.Save("onget.wav")), 1);
    float out[5];
    EXPECT_EQ(r.OnGetAudio(out, 5), 5);
}

TEST(SndWav, OnCloseFileClosesTheFile) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);  // "fmt "
    WavProbe r;
    ASSERT_EQ(Open(r, b.Save("close.wav")), 1);
    ASSERT_NE(r.m_hFile, nullptr);
    r.OnCloseFile();
    EXPECT_EQ(r.m_hFile, nullptr);
}

TEST(SndWav, ReadsItsLittleEndianNumbersUnswappedOnThisLittleEndianHost) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 0x00012345, 16);  // "fmt ": a rate whose bytes all differ
    WavProbe r;
    ASSERT_EQ(Open(r, b.Save("order.wav")), 1);
    EXPECT_FALSE(r.m_bSwap);
    EXPECT_EQ(r.SampleRate(), 0x12345);
}

TEST(SndWav, ChunksPastTheEndTheContainerClaimsAreNotRead) {
    SoundFileBuilder b = SoundFileBuilder::Riff("WAVE");
    b.WavFmt(1, 1, 44100, 16);  // "fmt ": ends at 36, where the container claims to end
    b.BeginChunk("data").I16(1).I16(2).EndChunk();  // "data": outside the claimed size
    std::vector<uint8_t> bytes = b.Finish().Data();
    bytes[4] = 28;  // RIFF size: "WAVE" plus the fmt chunk only
    bytes[5] = bytes[6] = bytes[7] = 0;
    std::string path = TestTempPath("short-riff.wav");
    ASSERT_TRUE(WriteFileBytes(path, bytes));
    snd_wav r;
    ASSERT_EQ(Open(r, path), 1);
    EXPECT_EQ(r.SampleSize(), 0);
}
