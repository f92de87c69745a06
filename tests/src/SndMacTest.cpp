#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "DamagedMp3.h"
#include "DecoderErrorText.h"
#include "SoundFileBuilder.h"
#include "SoundFileWriter.h"
#include "SparseSoundFile.h"
#include "snd_mac.h"

using testfiles::ErrorText;
using testfiles::TempPath;
using velotune_test::SoundFileBuilder;

namespace {

// Opens the reader's protected state to the tests.
class OpenSndMac : public snd_mac {
  public:
    bool DecoderOpen() const { return m_audio_file.IsOpen(); }
    FILE* Handle() const { return m_hFile; }
};

std::vector<char> PathBuffer(const std::string& path) {
    return std::vector<char>(path.c_str(), path.c_str() + path.size() + 1);
}

}  // namespace

TEST(SndMac, AWav16OpensWithItsRateSizeBitsAndChannelsAndDeliversTheSamples) {
    const std::string path = TempPath("sndmac-16.wav");
    std::vector<short> samples;
    for (int i = 0; i < 300; ++i) samples.push_back(static_cast<short>(i * 100 - 15000));
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, samples));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_EQ(r.SampleRate(), 44100);
    EXPECT_EQ(r.SampleSize(), 150);
    EXPECT_EQ(r.BitDepth(), 16);
    EXPECT_EQ(r.Channel(), 2);
    std::vector<float> buf(2 * 150);
    EXPECT_EQ(r.GetAudio(buf.data(), 150), 150);
    for (size_t i = 0; i < samples.size(); ++i) EXPECT_FLOAT_EQ(buf[i], samples[i] / 32768.0f) << i;
    EXPECT_EQ(r.GetAudio(buf.data(), 150), 0);
}

TEST(SndMac, AnAiff24OpensWithBitDepth24) {
    const std::string path = TempPath("sndmac-24.aiff");
    ASSERT_TRUE(testfiles::WriteInts(path, SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 96000, 1,
                                     {0x40000000, -0x40000000, 0x00000100}));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_EQ(r.SampleRate(), 96000);
    EXPECT_EQ(r.SampleSize(), 3);
    EXPECT_EQ(r.BitDepth(), 24);
    EXPECT_EQ(r.Channel(), 1);
    float buf[3];
    ASSERT_EQ(r.GetAudio(buf, 3), 3);
    EXPECT_FLOAT_EQ(buf[0], 0.5f);
    EXPECT_FLOAT_EQ(buf[1], -0.5f);
    EXPECT_FLOAT_EQ(buf[2], 1.0f / 8388608);
}

TEST(SndMac, ACompressedFileOpensWithBitDepthZeroAndIsDeliveredAsFloat) {
    const std::string path = TempPath("sndmac.mp3");
    const std::vector<float> sine = testfiles::Sine(22050, 1, 22050, 300, 0.5);
    ASSERT_TRUE(testfiles::WriteFloats(path, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 22050, 1,
                                       sine, 0.0));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_EQ(r.BitDepth(), 0);
    EXPECT_EQ(r.SampleRate(), 22050);
    EXPECT_EQ(r.Channel(), 1);
    EXPECT_EQ(r.SampleSize(), 22050);
    std::vector<float> buf(22050);
    ASSERT_EQ(r.GetAudio(buf.data(), 22050), 22050);
    float peak = 0;
    for (size_t i = 1000; i < buf.size(); ++i) peak = std::max(peak, std::abs(buf[i]));
    EXPECT_NEAR(peak, 0.5f, 0.05f);  // float samples in -1..1, not integer counts
    for (size_t i = 5000; i < 5020; ++i) EXPECT_NEAR(buf[i], sine[i], 0.03) << i;
}

TEST(SndMac, AZeroLengthFileIsRefusedQuietlyAndClosed) {
    const std::string path = TempPath("sndmac-empty.wav");
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, {}));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    EXPECT_EQ(r.OpenFile(p.data()), 0);
    EXPECT_FALSE(r.DecoderOpen());
    float buf[4];
    EXPECT_EQ(r.GetAudio(buf, 2), 0);
}

// A sparse WAV: its 8-bit mono data chunk claims 2^31 + 16 frames and the file is
// extended with a hole to that size, so the decoder believes it without any disk
// space being used. The 64-bit length's low 32 bits land in the int field.
TEST(SndMac, AFileOfMoreThan2To31FramesKeepsOnlyTheLow32BitsOfItsLength) {
    const uint32_t frames = 0x80000010u;
    const std::string path = TempPath("sndmac-huge.wav");
    SoundFileBuilder wav = SoundFileBuilder::Riff("WAVE");
    wav.WavFmt(1, 1, 8000, 8);                               // "fmt ": PCM, mono, 8 bits
    wav.BeginChunk("data").SizeOverride(frames).EndChunk();  // "data": claims every frame
    wav.SizeOverride(36 + frames);                           // the container agrees
    const std::vector<unsigned char> header = wav.Finish().Data();
    ASSERT_TRUE(testfiles::WriteBytes(path, header));
    ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(header.size()) + frames), 0);
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    int32_t expected;
    std::memcpy(&expected, &frames, sizeof expected);  // the same 32 bits, as a signed int
    EXPECT_EQ(r.SampleSize(), expected);
    EXPECT_LT(r.SampleSize(), 0);
    EXPECT_EQ(r.SampleRate(), 8000);
    EXPECT_EQ(r.BitDepth(), 8);
    r.OnCloseFile();
    unlink(path.c_str());
}

// Beyond 32 bits: a sparse RF64 claiming 2^32 + 100 frames gives 100, and one of
// exactly 2^32 frames gives 0 and is refused like an empty file.
TEST(SndMac, AFileOfMoreThan2To32FramesKeepsOnlyTheLow32BitsOfItsLength) {
    const std::string path = TempPath("sndmac-huge.rf64");
    ASSERT_TRUE(testfiles::WriteSparseRf64(path, (1ull << 32) + 100));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_EQ(r.SampleSize(), 100);
    float buf[100];
    EXPECT_EQ(r.GetAudio(buf, 100), 100);
    EXPECT_EQ(buf[99], -1.0f);  // the hole's zero bytes are unsigned 8-bit minimum
    r.OnCloseFile();
    ASSERT_TRUE(testfiles::WriteSparseRf64(path, 1ull << 32));
    EXPECT_EQ(r.OpenFile(p.data()), 0);
    EXPECT_FALSE(r.DecoderOpen());
    unlink(path.c_str());
}

TEST(SndMac, OnCloseFileOnAReaderWhoseOpenFailedDoesNothing) {
    const std::string path = TempPath("sndmac-missing.wav");
    unlink(path.c_str());
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    EXPECT_EQ(ErrorText([&] { r.OpenFile(p.data()); }), "locate audio file");
    EXPECT_EQ(ErrorText([&] { r.OnCloseFile(); }), "");
    EXPECT_FALSE(r.DecoderOpen());
}

TEST(SndMac, OnCloseFileClosesTheDecoderAndMayBeRepeated) {
    const std::string path = TempPath("sndmac-close.wav");
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 1,
                                       std::vector<short>(10, 5)));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_TRUE(r.DecoderOpen());
    r.OnCloseFile();
    EXPECT_FALSE(r.DecoderOpen());
    r.OnCloseFile();
}

TEST(SndMac, AFileTheDecoderCannotOpenThrowsOutOfOpenFile) {
    const std::string path = TempPath("sndmac-text.mp3");
    const char text[] = "not a sound at all\n";
    ASSERT_TRUE(
        testfiles::WriteBytes(path, std::vector<unsigned char>(text, text + sizeof text - 1)));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    EXPECT_EQ(ErrorText([&] { r.OpenFile(p.data()); }), "ExtAudioFileOpen failed");
}

TEST(SndMac, AnMp3DamagedMidStreamThrowsOutOfGetAudioPartWay) {
    const std::string path = TempPath("sndmac-damaged.mp3");
    testfiles::DamagedMp3 made = {};
    ASSERT_TRUE(testfiles::WriteDamagedMp3(path, 3, &made));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_EQ(r.SampleSize(), made.claimedFrames);
    std::vector<float> buf(2 * 4096);
    long delivered = 0;
    const std::string text = ErrorText([&] {
        while (int n = r.GetAudio(buf.data(), 4096)) delivered += n;
    });
    EXPECT_EQ(text, "Couldn't read audio file");
    EXPECT_GT(delivered, 0);
    EXPECT_LT(delivered, made.claimedFrames);
}

TEST(SndMac, OnGetAudioReturnsTheFramesTheDecoderDeliveredWhichGetAudioIgnores) {
    const std::string path = TempPath("sndmac-short.wav");
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2,
                                       std::vector<short>(20, 1000)));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    std::vector<float> buf(2 * 30, 7.0f);
    // Asked for more than the file holds, the hook reports the 10 frames it got.
    EXPECT_EQ(r.OnGetAudio(buf.data(), 30), 10);
    EXPECT_FLOAT_EQ(buf[19], 1000 / 32768.0f);
}

TEST(SndMac, TheReaderNeverOpensItsOwnFileHandle) {
    const std::string path = TempPath("sndmac-handle.wav");
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 1,
                                       std::vector<short>(10, 5)));
    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_EQ(r.Handle(), nullptr);
    float buf[10];
    EXPECT_EQ(r.GetAudio(buf, 10), 10);
    EXPECT_EQ(r.Handle(), nullptr);
}

TEST(SndMac, OpeningASecondFileOnTheSameReaderReplacesTheFirst) {
    const std::string a = TempPath("sndmac-a.wav");
    const std::string b = TempPath("sndmac-b.aiff");
    ASSERT_TRUE(testfiles::WriteShorts(a, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2,
                                       std::vector<short>(20, 100)));
    ASSERT_TRUE(testfiles::WriteShorts(b, SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 32000, 1,
                                       std::vector<short>(7, -200)));
    OpenSndMac r;
    std::vector<char> pa = PathBuffer(a);
    std::vector<char> pb = PathBuffer(b);
    ASSERT_EQ(r.OpenFile(pa.data()), 1);
    float buf[20];
    EXPECT_EQ(r.GetAudio(buf, 3), 3);
    ASSERT_EQ(r.OpenFile(pb.data()), 1);
    EXPECT_EQ(r.SampleSize(), 7);
    EXPECT_EQ(r.SampleRate(), 32000);
    EXPECT_EQ(r.Channel(), 1);
    EXPECT_EQ(r.GetAudio(buf, 20), 7);
    EXPECT_FLOAT_EQ(buf[6], -200 / 32768.0f);
}

// An AIFF laid out by hand whose 80-bit rate is 22050.9 Hz. The decoder hands over
// whole hertz; the reader's int rate is the truncated 22050, never the rounded 22051.
TEST(SndMac, AnAiffWithAFractionalRateReportsTheRateTruncated) {
    SoundFileBuilder aiff = SoundFileBuilder::Form("AIFF");
    // "COMM": 1 channel, 4 frames, 16 bits, then 22050.9 as an 80-bit extended
    // float: exponent 16383 + 14 and the 64-bit mantissa 22050.9 * 2^49, whose
    // leading one sits in the top bit.
    aiff.BeginChunk("COMM").U16(1).U32(4).U16(16).U16(16383 + 14);
    aiff.Int(static_cast<uint64_t>(22050.9L * (1ull << 49)), 8).EndChunk();
    aiff.BeginAiffSsnd();  // "SSND": four big-endian samples
    for (int16_t s : {100, -100, 200, -200}) aiff.I16(s);
    aiff.EndChunk();
    const std::string path = TempPath("sndmac-fractional.aiff");
    ASSERT_TRUE(testfiles::WriteBytes(path, aiff.Finish().Data()));

    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_EQ(r.SampleRate(), 22050);
    EXPECT_EQ(r.SampleSize(), 4);
    float buf[4];
    ASSERT_EQ(r.GetAudio(buf, 4), 4);
    EXPECT_FLOAT_EQ(buf[3], -200 / 32768.0f);
}
