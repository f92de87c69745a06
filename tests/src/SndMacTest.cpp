#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "DamagedMp3.h"
#include "SoundFileWriter.h"
#include "snd_mac.h"

using testfiles::TempPath;

namespace {

// Opens the reader's protected state to the tests.
class OpenSndMac : public snd_mac {
  public:
    bool DecoderOpen() const { return m_audio_file.IsOpen(); }
    FILE* Handle() const { return m_hFile; }
    int SizeField() const { return m_size; }
};

template <typename Fn>
std::string ErrorText(Fn fn) {
    try {
        fn();
    } catch (const CAAudioFileError& e) {
        return e.what();
    }
    return "";
}

std::vector<char> PathBuffer(const std::string& path) {
    return std::vector<char>(path.c_str(), path.c_str() + path.size() + 1);
}

void Put32(std::vector<unsigned char>& b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<unsigned char>(v >> (8 * i)));
}
void Put16(std::vector<unsigned char>& b, uint16_t v) {
    b.push_back(static_cast<unsigned char>(v));
    b.push_back(static_cast<unsigned char>(v >> 8));
}
void PutId(std::vector<unsigned char>& b, const char* id) {
    b.insert(b.end(), id, id + 4);
}

// Header of an 8-bit mono WAV at 8000 Hz whose data chunk claims `frames` bytes.
std::vector<unsigned char> Wav8Header(uint32_t frames) {
    std::vector<unsigned char> b;
    PutId(b, "RIFF");
    Put32(b, 36 + frames);  // RIFF size: what follows "RIFF" and this field
    PutId(b, "WAVE");
    PutId(b, "fmt ");
    Put32(b, 16);
    Put16(b, 1);     // integer PCM
    Put16(b, 1);     // mono
    Put32(b, 8000);  // frames per second
    Put32(b, 8000);  // bytes per second
    Put16(b, 1);     // block align
    Put16(b, 8);     // bits
    PutId(b, "data");
    Put32(b, frames);
    return b;
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
    const std::vector<unsigned char> header = Wav8Header(frames);
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
    std::vector<unsigned char> b;
    auto be16 = [&](uint16_t v) {
        b.push_back(static_cast<unsigned char>(v >> 8));
        b.push_back(static_cast<unsigned char>(v));
    };
    auto be32 = [&](uint32_t v) {
        be16(static_cast<uint16_t>(v >> 16));
        be16(static_cast<uint16_t>(v));
    };
    PutId(b, "FORM");
    be32(0);  // patched below
    PutId(b, "AIFF");
    PutId(b, "COMM");  // common chunk: 1 channel, 4 frames, 16 bits, rate
    be32(18);
    be16(1);
    be32(4);
    be16(16);
    // 22050.9 as an 80-bit extended float: exponent 16383 + 14, then the 64-bit
    // mantissa 22050.9 * 2^49 with its leading one in the top bit.
    be16(16383 + 14);
    const uint64_t mantissa = static_cast<uint64_t>(22050.9L * (1ull << 49));
    be32(static_cast<uint32_t>(mantissa >> 32));
    be32(static_cast<uint32_t>(mantissa));
    PutId(b, "SSND");  // sound data: offset 0, block size 0, four big-endian samples
    be32(8 + 8);
    be32(0);
    be32(0);
    for (int16_t s : {100, -100, 200, -200}) be16(static_cast<uint16_t>(s));
    const uint32_t form = static_cast<uint32_t>(b.size() - 8);
    b[4] = static_cast<unsigned char>(form >> 24);
    b[5] = static_cast<unsigned char>(form >> 16);
    b[6] = static_cast<unsigned char>(form >> 8);
    b[7] = static_cast<unsigned char>(form);
    const std::string path = TempPath("sndmac-fractional.aiff");
    ASSERT_TRUE(testfiles::WriteBytes(path, b));

    OpenSndMac r;
    std::vector<char> p = PathBuffer(path);
    ASSERT_EQ(r.OpenFile(p.data()), 1);
    EXPECT_EQ(r.SampleRate(), 22050);
    EXPECT_EQ(r.SampleSize(), 4);
    float buf[4];
    ASSERT_EQ(r.GetAudio(buf, 4), 4);
    EXPECT_FLOAT_EQ(buf[3], -200 / 32768.0f);
}
