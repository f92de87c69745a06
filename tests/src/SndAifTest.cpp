// The FORM/AIFF reader and its 80-bit rate conversion, on files written byte by
// byte by the tests.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "SoundFileBuilder.h"
#include "snd_aif.h"

using velotune_test::SoundFileBuilder;
using velotune_test::TestTempPath;
using velotune_test::WriteFileBytes;

namespace {

// Gives the tests a look at the fields the reader keeps to itself.
class AifProbe : public snd_aif {
  public:
    using snd_::m_bSwap;
    using snd_::m_hFile;
    using snd_aif::m_offset;
};

constexpr float kS8 = 1.0f / 127.0f;
constexpr float kS16 = 1.0f / 32767.0f;
constexpr float kS24 = 1.0f / 8388607.0f;

int Open(snd_aif& r, std::string path) {
    return r.OpenFile(&path[0]);
}

uint32_t Ext(std::initializer_list<unsigned char> bytes) {
    unsigned char p[10] = {};
    int i = 0;
    for (unsigned char b : bytes) p[i++] = b;
    return snd_aif::Ieee2dw(p);
}

uint32_t ExtOf(uint32_t value) {
    SoundFileBuilder b(SoundFileBuilder::Order::Big);
    b.Ext80(value);
    std::vector<uint8_t> bytes = b.Data();
    return snd_aif::Ieee2dw(bytes.data());
}

// A mono 16-bit AIFF whose COMM says `rate`, holding the given samples.
SoundFileBuilder Mono16(uint32_t rate, std::initializer_list<int16_t> samples) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, static_cast<uint32_t>(samples.size()), 16, rate);  // "COMM"
    b.BeginAiffSsnd();                                               // "SSND": offset 0
    for (int16_t s : samples) b.I16(s);
    b.EndChunk();
    return b;
}

}  // namespace

// ---- Ieee2dw ---------------------------------------------------------------------

TEST(SndAif, Ieee2dwOf400EAC44GivesExactly44100) {
    EXPECT_EQ(Ext({0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0}), 44100u);
}

TEST(Ieee2dw, ConvertsTheCommonRates) {
    for (uint32_t rate : {8000u, 11025u, 22050u, 32000u, 44100u, 48000u, 96000u, 192000u, 1u})
        EXPECT_EQ(ExtOf(rate), rate);
}

TEST(Ieee2dw, ZeroExponentAndZeroMantissaGiveZero) {
    EXPECT_EQ(Ext({0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), 0u);
    EXPECT_EQ(Ext({0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0}), 0u);  // negative zero
}

TEST(Ieee2dw, InfinityAndNanGiveTheLargestValue) {
    EXPECT_EQ(Ext({0x7F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}), 0xFFFFFFFFu);
    EXPECT_EQ(Ext({0x7F, 0xFF, 0xC0, 0, 0, 0, 0, 0, 0, 1}), 0xFFFFFFFFu);
    EXPECT_EQ(Ext({0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0}), 0xFFFFFFFFu);
}

TEST(Ieee2dw, IgnoresTheSign) {
    EXPECT_EQ(Ext({0xC0, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0}), 44100u);
}

TEST(Ieee2dw, IgnoresTheLowHalfOfTheMantissa) {
    EXPECT_EQ(Ext({0x40, 0x0E, 0xAC, 0x44, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}), 44100u);
}

TEST(Ieee2dw, ValuesFrom2To31UpKeepTheirTopBit) {
    EXPECT_EQ(Ext({0x40, 0x1E, 0x80, 0, 0, 0, 0, 0, 0, 0}), 0x80000000u);
    EXPECT_EQ(Ext({0x40, 0x1E, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}), 0xFFFFFFFFu);
}

TEST(Ieee2dw, ValuesOf2To32AndMoreSaturate) {
    EXPECT_EQ(Ext({0x40, 0x1F, 0x80, 0, 0, 0, 0, 0, 0, 0}), 0xFFFFFFFFu);  // 2^32
    EXPECT_EQ(Ext({0x7F, 0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0}), 0xFFFFFFFFu);  // the largest
}

TEST(Ieee2dw, NegativeExponentsTruncateTowardZero) {
    EXPECT_EQ(Ext({0x3F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}), 1u);  // 1.0
    EXPECT_EQ(Ext({0x3F, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0}), 1u);  // 1.99
    EXPECT_EQ(Ext({0x3F, 0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0}), 0u);  // 0.5
    EXPECT_EQ(Ext({0x00, 0x01, 0x80, 0, 0, 0, 0, 0, 0, 0}), 0u);  // tiny
    EXPECT_EQ(Ext({0x00, 0x00, 0x80, 0, 0, 0, 0, 0, 0, 0}), 0u);  // denormal
}

// ---- well-formed files ---------------------------------------------------------------

TEST(SndAif, OpensSixteenBitStereoAndDecodesItsFirstFrames) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(2, 2, 16, 44100);  // "COMM": stereo, two frames, 16-bit, 44100 Hz
    b.BeginAiffSsnd().I16(1000).I16(-1000).I16(-32768).I16(32767).EndChunk();  // "SSND"
    AifProbe r;
    ASSERT_EQ(Open(r, b.Save("s16.aif")), 1);
    EXPECT_EQ(r.SampleRate(), 44100);
    EXPECT_EQ(r.SampleSize(), 2);
    EXPECT_EQ(r.BitDepth(), 16);
    EXPECT_EQ(r.Channel(), 2);
    float out[4];
    ASSERT_EQ(r.GetAudio(out, 5), 2);
    EXPECT_EQ(out[0], 1000 * kS16);
    EXPECT_EQ(out[1], -1000 * kS16);
    EXPECT_EQ(out[2], -32768 * kS16);
    EXPECT_EQ(out[3], 1.0f);
    EXPECT_EQ(r.GetAudio(out, 1), 0);
}

TEST(SndAif, ReadsEightBitDataAsUnsignedMinus127AlthoughAiffStoresItSigned) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 4, 8, 44100);                                    // "COMM": mono 8-bit
    b.BeginAiffSsnd().Bytes({0x00, 0x7F, 0x80, 0xFF}).EndChunk();  // "SSND": four samples
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("s8.aif")), 1);
    EXPECT_EQ(r.BitDepth(), 8);
    float out[4];
    ASSERT_EQ(r.GetAudio(out, 4), 4);
    EXPECT_EQ(out[0], -1.0f);  // AIFF silence comes out at -1
    EXPECT_EQ(out[1], 0.0f);
    EXPECT_EQ(out[2], 1 * kS8);
    EXPECT_EQ(out[3], 128 * kS8);
}

TEST(SndAif, ReadsTwentyFourBitDataAsAbout256TimesItsValue) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 3, 24, 48000);                                   // "COMM": mono 24-bit
    b.BeginAiffSsnd().I24(1).I24(0x80).I24(-0x800000).EndChunk();  // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("s24.aif")), 1);
    float out[3];
    ASSERT_EQ(r.GetAudio(out, 3), 3);
    EXPECT_EQ(out[0], static_cast<float>(0x100) * kS24);
    EXPECT_EQ(out[1], static_cast<float>(0x80FF) * kS24);
    EXPECT_EQ(out[2], static_cast<float>(INT32_MIN) * kS24);
}

TEST(SndAif, PassesThirtyTwoBitSamplesThroughAsTheFilesBigEndianBytes) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(2, 1, 32, 44100);                           // "COMM": stereo 32-bit
    b.BeginAiffSsnd().I32(0x01020304).I32(-2).EndChunk();  // "SSND": one frame
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("s32.aif")), 1);
    float out[2];
    ASSERT_EQ(r.GetAudio(out, 1), 1);
    uint8_t raw[8];
    memcpy(raw, out, 8);
    const uint8_t expected[8] = {1, 2, 3, 4, 0xFF, 0xFF, 0xFF, 0xFE};
    EXPECT_EQ(memcmp(raw, expected, 8), 0);
}

TEST(SndAif, AFileWhoseCommSays22050OpensAt44100) {
    snd_aif r;
    ASSERT_EQ(Open(r, Mono16(22050, {1, 2}).Save("r22050.aif")), 1);
    EXPECT_EQ(r.SampleRate(), 44100);
    ASSERT_EQ(Open(r, Mono16(96000, {1, 2}).Save("r96000.aif")), 1);
    EXPECT_EQ(r.SampleRate(), 44100);
}

TEST(SndAif, ARateOfInfinityStillOpensAt44100) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.BeginChunk("COMM").U16(1).U32(1).U16(16);  // "COMM" with an infinite rate
    b.Bytes({0x7F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}).EndChunk();
    b.BeginAiffSsnd().I16(3).EndChunk();  // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("inf.aif")), 1);
    EXPECT_EQ(r.SampleRate(), 44100);
}

TEST(SndAif, SsndBeforeCommIsFoundAllTheSame) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.BeginAiffSsnd().I16(-5).I16(6).EndChunk();  // "SSND" first
    b.AiffComm(1, 2, 16, 44100);                  // "COMM" after it
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("ssndfirst.aif")), 1);
    EXPECT_EQ(r.SampleSize(), 2);
    float out[2];
    ASSERT_EQ(r.GetAudio(out, 2), 2);
    EXPECT_EQ(out[0], -5 * kS16);
    EXPECT_EQ(out[1], 6 * kS16);
}

TEST(SndAif, AnSsndOffsetOfZeroPutsTheFirstSampleEightBytesAfterTheChunkHeader) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 1, 16, 44100);            // "COMM": 12 + 26 bytes, ends at 38
    b.BeginAiffSsnd(0).I16(77).EndChunk();  // "SSND" header at 38, samples at 38 + 8 + 8
    AifProbe r;
    ASSERT_EQ(Open(r, b.Save("off0.aif")), 1);
    EXPECT_EQ(r.m_offset, 54);
    float out[1];
    ASSERT_EQ(r.GetAudio(out, 1), 1);
    EXPECT_EQ(out[0], 77 * kS16);
}

TEST(SndAif, AnSsndOffsetSkipsThatManyBytesBeforeTheFirstSample) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 1, 16, 44100);            // "COMM"
    b.BeginAiffSsnd(6).I16(88).EndChunk();  // "SSND": 6 filler bytes before the sample
    AifProbe r;
    ASSERT_EQ(Open(r, b.Save("off6.aif")), 1);
    EXPECT_EQ(r.m_offset, 60);
    float out[1];
    ASSERT_EQ(r.GetAudio(out, 1), 1);
    EXPECT_EQ(out[0], 88 * kS16);
}

TEST(SndAif, AMarkChunkWithEvenAndOddNameLengthsIsSkippedCorrectly) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffMark({"ab", "odd", "", "loop start"});  // "MARK": lengths 2, 3, 0 and 10
    b.AiffComm(1, 1, 16, 44100);                  // "COMM" after the markers
    b.AiffInst();                                 // "INST"
    b.BeginAiffSsnd().I16(12).EndChunk();         // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("mark.aif")), 1);
    EXPECT_EQ(r.SampleSize(), 1);
    EXPECT_EQ(r.Channel(), 1);
    float out[1];
    ASSERT_EQ(r.GetAudio(out, 1), 1);
    EXPECT_EQ(out[0], 12 * kS16);
}

TEST(SndAif, AMarkChunkThatMisstatesItsNamesStillEndsAtItsRecordedEnd) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.BeginChunk("MARK").U16(3).U16(1).U32(0).U8(40).Zeros(3).EndChunk();  // names overrun
    b.AiffComm(1, 1, 16, 44100);                                           // "COMM"
    b.BeginAiffSsnd().I16(13).EndChunk();                                  // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("markbad.aif")), 1);
    EXPECT_EQ(r.SampleSize(), 1);
    float out[1];
    ASSERT_EQ(r.GetAudio(out, 1), 1);
    EXPECT_EQ(out[0], 13 * kS16);
}

TEST(SndAif, AMarkChunkWithMoreMarkersThanAnyFixedTableIsSafe) {
    std::vector<std::string> names;
    for (int i = 0; i < 300; ++i) names.push_back(std::string(i % 7, 'm'));
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffMark(names);                     // "MARK": 300 markers
    b.AiffComm(1, 1, 16, 44100);           // "COMM"
    b.BeginAiffSsnd().I16(14).EndChunk();  // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("manymarks.aif")), 1);
    EXPECT_EQ(r.SampleSize(), 1);
}

TEST(SndAif, AMarkCountOf65535InATinyChunkIsSafe) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.BeginChunk("MARK").U16(0xFFFF).EndChunk();  // "MARK": claims 65535 markers, holds none
    b.AiffComm(1, 1, 16, 44100);                  // "COMM"
    b.BeginAiffSsnd().I16(15).EndChunk();         // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("markcount.aif")), 1);
    EXPECT_EQ(r.SampleSize(), 1);
}

TEST(SndAif, AnInstChunkIsReadAndDiscarded) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffInst();                                // "INST" first
    b.AiffComm(2, 1, 16, 44100);                 // "COMM"
    b.BeginAiffSsnd().I16(1).I16(2).EndChunk();  // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("inst.aif")), 1);
    EXPECT_EQ(r.Channel(), 2);
    EXPECT_EQ(r.SampleSize(), 1);
}

TEST(SndAif, SkipsUnknownAndOddSizedChunks) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.Chunk("FVER", {0xA2, 0x80, 0x51, 0x40});  // "FVER": a version stamp
    b.AiffComm(1, 1, 16, 44100);                // "COMM"
    b.Chunk("NAME", {'o', 'd', 'd'});           // "NAME": 3 bytes, no pad
    b.BeginAiffSsnd().I16(16).EndChunk();       // "SSND" at an odd offset
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("oddaif.aif")), 1);
    float out[1];
    ASSERT_EQ(r.GetAudio(out, 1), 1);
    EXPECT_EQ(out[0], 16 * kS16);
}

// ---- rejected files -----------------------------------------------------------------

TEST(SndAif, RejectsAiffC) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFC");
    b.Chunk("FVER", {0xA2, 0x80, 0x51, 0x40});  // "FVER"
    b.AiffComm(1, 1, 16, 44100);                // "COMM" (the compression type omitted)
    AifProbe r;
    EXPECT_EQ(Open(r, b.Save("aifc.aif")), 0);
    EXPECT_EQ(r.m_hFile, nullptr);
}

TEST(SndAif, RejectsRiffWaveAndOtherContainers) {
    SoundFileBuilder wav = SoundFileBuilder::Riff("WAVE");
    wav.WavFmt(1, 1, 44100, 16);  // "fmt "
    SoundFileBuilder eightsvx = SoundFileBuilder::Form("8SVX");
    snd_aif r;
    EXPECT_EQ(Open(r, wav.Save("wav.aif")), 0);
    EXPECT_EQ(Open(r, eightsvx.Save("8svx.aif")), 0);
}

TEST(SndAif, RejectsAnEmptyFileAMissingFileAndAPathOf4000Bytes) {
    snd_aif r;
    ASSERT_EQ(Open(r, Mono16(44100, {1}).Save("good.aif")), 1);
    std::string empty = TestTempPath("empty.aif");
    ASSERT_TRUE(WriteFileBytes(empty, {}));
    EXPECT_EQ(Open(r, empty), 0);
    EXPECT_EQ(Open(r, TestTempPath("missing.aif")), 0);
    EXPECT_EQ(Open(r, "/" + std::string(3995, 'y') + ".aif"), 0);
}

// ---- damaged files: the intended quiet answers ---------------------------------------

TEST(SndAif, WithoutSsndAFreshReaderReadsFromTheStartOfTheFile) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 2, 16, 44100);  // "COMM" only
    AifProbe r;
    ASSERT_EQ(Open(r, b.Save("nossnd.aif")), 1);
    EXPECT_EQ(r.m_offset, 0);
    float out[2];
    ASSERT_EQ(r.GetAudio(out, 2), 2);
    EXPECT_EQ(out[0], static_cast<float>(static_cast<int16_t>(0x464F)) * kS16);  // "FO"
}

TEST(SndAif, WithoutCommAFreshReaderHasZeroFrames) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.BeginAiffSsnd().I16(1).EndChunk();  // "SSND" only
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("nocomm.aif")), 1);
    EXPECT_EQ(r.SampleSize(), 0);
    EXPECT_EQ(r.SampleRate(), 44100);
}

TEST(SndAif, AFrameCountOf2To31OrMoreDeliversNothing) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 0x80000000u, 16, 44100);  // "COMM": 2^31 frames
    b.BeginAiffSsnd().I16(1).EndChunk();    // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("hugeframes.aif")), 1);
    EXPECT_LT(r.SampleSize(), 0);
    float out[1];
    EXPECT_EQ(r.GetAudio(out, 1), 0);
}

TEST(SndAif, ZeroChannelsReadNothing) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(0, 4, 16, 44100);          // "COMM": no channels
    b.BeginAiffSsnd().I16(1).EndChunk();  // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("zeroch.aif")), 1);
    float out[1] = {7.0f};
    EXPECT_EQ(r.GetAudio(out, 1), 1);  // frames are counted, nothing is read
    EXPECT_EQ(out[0], 7.0f);
}

TEST(SndAif, SixtyFourBitSamplesNeverOverflowTheBuffer) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(2, 2, 64, 44100);                                           // "COMM": 64-bit
    b.BeginAiffSsnd().F64(0.5).F64(-0.5).F64(0.25).F64(-0.25).EndChunk();  // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("s64.aif")), 1);
    std::vector<float> out(2 * 2);  // exactly what GetAudio may fill
    EXPECT_EQ(r.GetAudio(out.data(), 2), 2);
}

TEST(SndAif, ATruncatedFileStillReportsItsFramesAndLeavesTheBufferRestAsItWas) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 50, 16, 44100);                  // "COMM": 50 frames claimed
    b.BeginAiffSsnd().I16(21).I16(22).EndChunk();  // "SSND": two present
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("trunc.aif")), 1);
    std::vector<float> out(8, 7.0f);
    EXPECT_EQ(r.GetAudio(out.data(), 8), 8);
    EXPECT_EQ(out[1], 22 * kS16);
    EXPECT_EQ(out[2], 7.0f);
    EXPECT_EQ(out[7], 7.0f);
}

TEST(SndAif, AFileCutInsideCommOpensQuietly) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(2, 10, 16, 22050);  // "COMM", cut inside its rate
    b.Finish().Truncate(24);
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("cutcomm.aif")), 1);
    EXPECT_EQ(r.Channel(), 2);
    EXPECT_EQ(r.SampleRate(), 44100);
}

TEST(SndAif, ChunkSizeFFFFFFFFOpensQuietly) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 1, 16, 44100);                                         // "COMM"
    b.BeginChunk("APPL").SizeOverride(0xFFFFFFFFu).Zeros(8).EndChunk();  // size -1
    b.BeginAiffSsnd().I16(1).EndChunk();                                 // "SSND"
    snd_aif r;
    ASSERT_EQ(Open(r, b.Save("ffff.aif")), 1);
    EXPECT_EQ(r.SampleSize(), 1);
}

TEST(SndAif, AnSsndOffsetNear4GigabytesWrapsWithoutOverflow) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(1, 1, 16, 44100);                                     // "COMM"
    b.BeginChunk("SSND").U32(0xFFFFFFF0u).U32(0).I16(1).EndChunk();  // offset field ends at 50
    AifProbe r;
    ASSERT_EQ(Open(r, b.Save("ssndwrap.aif")), 1);
    EXPECT_EQ(r.m_offset, static_cast<int>(50ll + 0xFFFFFFF0ll + 4 - 0x100000000ll));
    float out[1] = {7.0f};
    EXPECT_EQ(r.GetAudio(out, 1), 1);
}

TEST(SndAif, OnGetAudioReturnsTheCountAskedFor) {
    snd_aif r;
    ASSERT_EQ(Open(r, Mono16(44100, {1}).Save("onget.aif")), 1);
    float out[4];
    EXPECT_EQ(r.OnGetAudio(out, 4), 4);
}

TEST(SndAif, OnCloseFileClosesTheFile) {
    AifProbe r;
    ASSERT_EQ(Open(r, Mono16(44100, {1}).Save("close.aif")), 1);
    ASSERT_NE(r.m_hFile, nullptr);
    r.OnCloseFile();
    EXPECT_EQ(r.m_hFile, nullptr);
}

TEST(SndAif, ReversesItsBigEndianNumbersOnThisLittleEndianHost) {
    SoundFileBuilder b = SoundFileBuilder::Form("AIFF");
    b.AiffComm(3, 0x00012345, 16, 44100);  // "COMM": a frame count whose bytes all differ
    AifProbe r;
    ASSERT_EQ(Open(r, b.Save("order.aif")), 1);
    EXPECT_TRUE(r.m_bSwap);
    EXPECT_EQ(r.SampleSize(), 0x12345);
    EXPECT_EQ(r.Channel(), 3);
}

TEST(SoundFileBuilder, WritesTheRate44100AsTheTenBytesAiffUses) {
    SoundFileBuilder b(SoundFileBuilder::Order::Big);
    b.Ext80(44100);
    const std::vector<uint8_t> expected = {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(b.Data(), expected);
}
