#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "CAAudioFile.h"
#include "DamagedMp3.h"
#include "DecoderErrorText.h"
#include "SoundFileBuilder.h"
#include "SoundFileWriter.h"
#include "SparseSoundFile.h"
#include "StandardError.h"

using testfiles::ErrorMessage;
using testfiles::ErrorText;
using testfiles::TempPath;
using velotune_test::SoundFileBuilder;

namespace {

// Opens `path` with the canonical interleaved float client format, as the reader does.
void OpenCanonical(CAAudioFile& file, const std::string& path) {
    file.Open(path.c_str());
    CAStreamBasicDescription client = file.GetFileDataFormat();
    client.SetCanonical(client.mChannelsPerFrame, true);
    file.SetClientFormat(client, nullptr);
}

// Reads everything in blocks of `block` frames.
std::vector<float> ReadAll(CAAudioFile& file, uint32_t channels, uint32_t block = 4096) {
    std::vector<float> out;
    std::vector<float> buf(static_cast<size_t>(block) * channels);
    for (;;) {
        AudioBufferList list = {1, {{channels, static_cast<uint32_t>(buf.size() * 4), buf.data()}}};
        uint32_t frames = block;
        file.Read(frames, &list);
        out.insert(out.end(), buf.begin(), buf.begin() + static_cast<long>(frames) * channels);
        if (frames == 0) return out;
    }
}

// The descriptor this process holds open on `path`, or -1.
int FindOpenDescriptor(const std::string& path) {
    char want[PATH_MAX];
    if (!realpath(path.c_str(), want)) return -1;
    DIR* d = opendir("/proc/self/fd");
    if (!d) return -1;
    int found = -1;
    while (dirent* e = readdir(d)) {
        char link[PATH_MAX];
        const std::string p = std::string("/proc/self/fd/") + e->d_name;
        const ssize_t n = readlink(p.c_str(), link, sizeof link - 1);
        if (n <= 0) continue;
        link[n] = 0;
        if (std::strcmp(link, want) == 0) found = std::atoi(e->d_name);
    }
    closedir(d);
    return found;
}

struct PcmCase {
    const char* name;
    int format;
    uint32_t bits;
};

}  // namespace

// --- Opening --------------------------------------------------------------------

TEST(CAAudioFile, OpenOfAMissingPathThrowsLocateAudioFile) {
    CAAudioFile file;
    const std::string path = TempPath("no-such-file.wav");
    unlink(path.c_str());
    EXPECT_EQ(ErrorText([&] { file.Open(path.c_str()); }), "locate audio file");
    EXPECT_FALSE(file.IsOpen());
}

TEST(CAAudioFile, OpenOfANullPathThrowsLocateAudioFile) {
    CAAudioFile file;
    EXPECT_EQ(ErrorText([&] { file.Open(nullptr); }), "locate audio file");
}

TEST(CAAudioFile, OpenOfATextFileNamedMp3ThrowsExtAudioFileOpenFailed) {
    const std::string path = TempPath("text.mp3");
    const char text[] = "These are the liner notes, not a sound.\n";
    ASSERT_TRUE(
        testfiles::WriteBytes(path, std::vector<unsigned char>(text, text + sizeof text - 1)));
    CAAudioFile file;
    EXPECT_EQ(ErrorText([&] { file.Open(path.c_str()); }), "ExtAudioFileOpen failed");
    EXPECT_FALSE(file.IsOpen());
}

TEST(CAAudioFile, OpenOfAFolderThrowsExtAudioFileOpenFailed) {
    CAAudioFile file;
    EXPECT_EQ(ErrorText([&] { file.Open(testfiles::TempDir().c_str()); }),
              "ExtAudioFileOpen failed");
}

TEST(CAAudioFile, OpenOfAWavTruncatedInsideItsFormatChunkThrowsExtAudioFileOpenFailed) {
    const std::string path = TempPath("truncated-header.wav");
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 1,
                                       std::vector<short>(100, 1000)));
    std::vector<unsigned char> bytes = testfiles::ReadBytes(path);
    bytes.resize(20);  // "RIFF", size, "WAVE", "fmt ", size: the format itself is cut off
    ASSERT_TRUE(testfiles::WriteBytes(path, bytes));
    CAAudioFile file;
    EXPECT_EQ(ErrorText([&] { file.Open(path.c_str()); }), "ExtAudioFileOpen failed");
}

TEST(CAAudioFile, AFailedOpenCarriesTheDecodersReasonAfterTheStepsText) {
    const std::string path = TempPath("reason.mp3");
    ASSERT_TRUE(testfiles::WriteBytes(path, std::vector<unsigned char>(3000, 'y')));
    const std::string reason = testfiles::DecoderOpenReason(path);
    ASSERT_FALSE(reason.empty());
    CAAudioFile file;
    EXPECT_EQ(ErrorMessage([&] { file.Open(path.c_str()); }), "ExtAudioFileOpen failed: " + reason);
    EXPECT_EQ(ErrorText([&] { file.Open(path.c_str()); }), "ExtAudioFileOpen failed");
}

TEST(CAAudioFile, AMissingPathCarriesTheSystemsReasonAndANullPathNone) {
    const std::string path = TempPath("no-such-file-either.wav");
    unlink(path.c_str());
    CAAudioFile file;
    EXPECT_EQ(ErrorMessage([&] { file.Open(path.c_str()); }),
              std::string("locate audio file: ") + strerror(ENOENT));
    EXPECT_EQ(ErrorMessage([&] { file.Open(nullptr); }), "locate audio file");
}

TEST(CAAudioFile, AFolderIsRefusedAsNotAFile) {
    CAAudioFile file;
    EXPECT_EQ(ErrorMessage([&] { file.Open(testfiles::TempDir().c_str()); }),
              "ExtAudioFileOpen failed: not a file");
}

TEST(CAAudioFile, AWavTruncatedInsideItsDataReportsOnlyTheFramesPresent) {
    const std::string path = TempPath("truncated-data.wav");
    std::vector<short> samples(1000);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<short>(i * 7);
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 1, samples));
    std::vector<unsigned char> bytes = testfiles::ReadBytes(path);
    bytes.resize(44 + 2 * 600);  // the header claims 1000 frames, 600 are there
    ASSERT_TRUE(testfiles::WriteBytes(path, bytes));
    CAAudioFile file;
    OpenCanonical(file, path);
    EXPECT_EQ(file.GetNumberFrames(), 600);
    const std::vector<float> got = ReadAll(file, 1);
    ASSERT_EQ(got.size(), 600u);
    EXPECT_FLOAT_EQ(got[599], 599 * 7 / 32768.0f);
}

TEST(CAAudioFile, OpenOfAnotherFileLetsTheFirstGo) {
    const std::string a = TempPath("first.wav");
    const std::string b = TempPath("second.wav");
    ASSERT_TRUE(testfiles::WriteShorts(a, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1,
                                       std::vector<short>(10, 1)));
    ASSERT_TRUE(testfiles::WriteShorts(b, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 2,
                                       std::vector<short>(40, 1)));
    CAAudioFile file;
    file.Open(a.c_str());
    file.Open(b.c_str());
    EXPECT_EQ(FindOpenDescriptor(a), -1);
    EXPECT_EQ(file.GetNumberFrames(), 20);
    EXPECT_EQ(file.GetFileDataFormat().mChannelsPerFrame, 2u);
}

// --- Length and format --------------------------------------------------------

TEST(CAAudioFile, GetNumberFramesOfAClosedFileThrowsCouldntGetFilesLength) {
    CAAudioFile file;
    EXPECT_EQ(ErrorText([&] { file.GetNumberFrames(); }), "Couldn't get file's length");
}

// A named pipe would block the opening thread until something writes to it (and
// the decoder's pipe path is unsafe for MP3), so it is refused before the decoder
// sees it. Were this to block, the test would hang instead of passing.
TEST(CAAudioFile, OpenOfANamedPipeThrowsExtAudioFileOpenFailedWithoutWaitingForAWriter) {
    const std::string fifo = TempPath("pipe.mp3");
    unlink(fifo.c_str());
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    CAAudioFile file;
    EXPECT_EQ(ErrorText([&] { file.Open(fifo.c_str()); }), "ExtAudioFileOpen failed");
    EXPECT_FALSE(file.IsOpen());
    unlink(fifo.c_str());
}

TEST(CAAudioFile, OpenOfADeviceThrowsExtAudioFileOpenFailed) {
    CAAudioFile file;
    EXPECT_EQ(ErrorText([&] { file.Open("/dev/zero"); }), "ExtAudioFileOpen failed");
}

TEST(CAAudioFile, GetFileDataFormatOfAClosedFileThrowsCouldntGetFilesDataFormat) {
    CAAudioFile file;
    EXPECT_EQ(ErrorText([&] { file.GetFileDataFormat(); }), "Couldn't get file's data format");
}

// Each integer and float layout the encoder writes: rate, length, depth, channels,
// format id and the first samples against what was written.
TEST(CAAudioFile, PcmFilesReportTheirFormatAndDecodeToTheWrittenValues) {
    const PcmCase cases[] = {
        {"wav-u8.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 8},
        {"wav-16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16},
        {"wav-24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 24},
        {"wav-32.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32, 32},
        {"aiff-s8.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, 8},
        {"aiff-16.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 16},
        {"aiff-24.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 24},
        // Little-endian AIFF is written as AIFF-C with the 'sowt' compression type.
        {"aifc-sowt.aifc", SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, 16},
    };
    // Values with zeros below the top byte survive every depth exactly.
    const std::vector<int> values = {0,         0x40000000, -0x40000000, 0x7F000000,
                                     INT32_MIN, 0x01000000, -0x01000000, 0x20000000};
    for (const PcmCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = TempPath(c.name);
        ASSERT_TRUE(testfiles::WriteInts(path, c.format, 22050, 2, values));
        CAAudioFile file;
        OpenCanonical(file, path);
        EXPECT_EQ(file.GetNumberFrames(), 4);
        const CAStreamBasicDescription fmt = file.GetFileDataFormat();
        EXPECT_EQ(fmt.mSampleRate, 22050.0);
        EXPECT_EQ(fmt.mChannelsPerFrame, 2u);
        EXPECT_EQ(fmt.mBitsPerChannel, c.bits);
        EXPECT_EQ(fmt.mFormatID, kAudioFormatLinearPCM);
        EXPECT_EQ(fmt.mBytesPerFrame, 2 * c.bits / 8);
        const std::vector<float> got = ReadAll(file, 2);
        ASSERT_EQ(got.size(), values.size());
        for (size_t i = 0; i < values.size(); ++i)
            EXPECT_FLOAT_EQ(got[i], static_cast<float>(values[i] / 2147483648.0)) << i;
    }
}

TEST(CAAudioFile, FloatFilesReportTheirDepthAndDecodeExactly) {
    const PcmCase cases[] = {
        {"wav-float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 32},
        {"wav-double.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 64},
        {"aifc-float.aifc", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 32},
    };
    const std::vector<float> values = {0.0f, 0.25f, -0.5f, 0.999f, -1.0f, 0.125f};
    for (const PcmCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = TempPath(c.name);
        ASSERT_TRUE(testfiles::WriteFloats(path, c.format, 48000, 1, values));
        CAAudioFile file;
        OpenCanonical(file, path);
        EXPECT_EQ(file.GetNumberFrames(), 6);
        const CAStreamBasicDescription fmt = file.GetFileDataFormat();
        EXPECT_EQ(fmt.mSampleRate, 48000.0);
        EXPECT_EQ(fmt.mBitsPerChannel, c.bits);
        EXPECT_TRUE(fmt.IsFloat());
        EXPECT_EQ(ReadAll(file, 1), values);
    }
}

// A WAV laid out by hand: a three-channel 16-bit file with an odd-sized chunk (and
// its pad byte) between the format and the data.
TEST(CAAudioFile, AHandMadeWavWithAnOddSizedChunkDecodesItsThreeChannels) {
    SoundFileBuilder wav = SoundFileBuilder::Riff("WAVE");
    wav.WavFmt(1, 3, 11025, 16);         // "fmt ": PCM, 3 channels, 16 bits
    wav.Chunk("note", {'a', 'b', 'c'});  // odd-sized unknown chunk
    wav.U8(0);                           // its pad byte
    const int16_t samples[] = {100, -200, 300, 32767, -32768, 0};
    wav.BeginChunk("data");  // "data": two frames
    for (int16_t s : samples) wav.I16(s);
    wav.EndChunk();
    const std::string path = TempPath("hand-three-channels.wav");
    ASSERT_TRUE(testfiles::WriteBytes(path, wav.Finish().Data()));

    CAAudioFile file;
    OpenCanonical(file, path);
    EXPECT_EQ(file.GetNumberFrames(), 2);
    EXPECT_EQ(file.GetFileDataFormat().mChannelsPerFrame, 3u);
    EXPECT_EQ(file.GetFileDataFormat().mSampleRate, 11025.0);
    const std::vector<float> got = ReadAll(file, 3);
    ASSERT_EQ(got.size(), 6u);
    for (int i = 0; i < 6; ++i) EXPECT_FLOAT_EQ(got[i], samples[i] / 32768.0f) << i;
}

TEST(CAAudioFile, AnMp3ReportsTheMp3IdNoBitDepthAndDecodesCloseToTheWrittenSine) {
    const std::string path = TempPath("sine.mp3");
    const std::vector<float> sine = testfiles::Sine(44100, 2, 44100, 440, 0.5);
    ASSERT_TRUE(testfiles::WriteFloats(path, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 44100, 2,
                                       sine, 0.5));
    CAAudioFile file;
    OpenCanonical(file, path);
    // The encoder's length tag makes the decoder drop its padding: the length is exact.
    EXPECT_EQ(file.GetNumberFrames(), 44100);
    const CAStreamBasicDescription fmt = file.GetFileDataFormat();
    EXPECT_EQ(fmt.mFormatID, kAudioFormatMPEGLayer3);
    EXPECT_EQ(fmt.mBitsPerChannel, 0u);
    EXPECT_EQ(fmt.mBytesPerFrame, 0u);
    EXPECT_EQ(fmt.mFramesPerPacket, 1152u);
    EXPECT_EQ(fmt.mSampleRate, 44100.0);
    EXPECT_EQ(fmt.mChannelsPerFrame, 2u);
    const std::vector<float> got = ReadAll(file, 2);
    ASSERT_EQ(got.size(), sine.size());
    // Lossy, but sample-aligned: the first samples after the onset follow the sine.
    for (size_t i = 2000; i < 2040; ++i) EXPECT_NEAR(got[i], sine[i], 0.02) << i;
}

// --- Client format ------------------------------------------------------------

class CAAudioFileClient : public ::testing::Test {
  protected:
    void SetUp() override {
        path = TempPath("client.wav");
        ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2,
                                           std::vector<short>(200, 0)));
        file.Open(path.c_str());
        canonical = file.GetFileDataFormat();
        canonical.SetCanonical(2, true);
    }
    std::string path;
    CAAudioFile file;
    CAStreamBasicDescription canonical;
};

TEST_F(CAAudioFileClient, TheCanonicalInterleavedFormatIsAcceptedAndReadDeliversInIt) {
    EXPECT_NO_THROW(file.SetClientFormat(canonical, nullptr));
    AudioChannelLayout stereo = {kAudioChannelLayoutTag_Stereo, 0, 0};
    EXPECT_NO_THROW(file.SetClientFormat(canonical, &stereo));
    // Read refuses to run without an accepted client format; with it, the file's
    // 100 silent stereo frames arrive as 200 floats.
    std::vector<float> got;
    EXPECT_NO_THROW(got = ReadAll(file, 2));
    EXPECT_EQ(got.size(), 200u);
    EXPECT_EQ(std::count(got.begin(), got.end(), 0.0f), 200);
}

TEST_F(CAAudioFileClient, AnotherChannelCountThrowsCouldntSetClientFormat) {
    CAStreamBasicDescription mono = canonical;
    mono.SetCanonical(1, true);
    EXPECT_EQ(ErrorText([&] { file.SetClientFormat(mono, nullptr); }),
              "Couldn't set client format");
}

TEST_F(CAAudioFileClient, NonInterleavedThrowsCouldntSetClientFormat) {
    CAStreamBasicDescription split = canonical;
    split.SetCanonical(2, false);
    EXPECT_EQ(ErrorText([&] { file.SetClientFormat(split, nullptr); }),
              "Couldn't set client format");
}

TEST_F(CAAudioFileClient, IntegerSamplesThrowCouldntSetClientFormat) {
    CAStreamBasicDescription ints = file.GetFileDataFormat();  // the file's own 16-bit format
    EXPECT_EQ(ErrorText([&] { file.SetClientFormat(ints, nullptr); }),
              "Couldn't set client format");
}

TEST_F(CAAudioFileClient, AnotherRateThrowsCouldntSetClientFormat) {
    CAStreamBasicDescription other = canonical;
    other.mSampleRate = 48000;
    EXPECT_EQ(ErrorText([&] { file.SetClientFormat(other, nullptr); }),
              "Couldn't set client format");
}

TEST_F(CAAudioFileClient, AClosedFileThrowsCouldntSetClientFormat) {
    file.Close();
    EXPECT_EQ(ErrorText([&] { file.SetClientFormat(canonical, nullptr); }),
              "Couldn't set client format");
}

TEST_F(CAAudioFileClient, ALayoutOfAnotherChannelCountThrowsCouldntSetClientChannelLayout) {
    AudioChannelLayout mono = {kAudioChannelLayoutTag_Mono, 0, 0};
    EXPECT_EQ(ErrorText([&] { file.SetClientFormat(canonical, &mono); }),
              "Couldn't set client channel layout");
    AudioChannelLayout bitmap = {kAudioChannelLayoutTag_UseChannelBitmap, 0x7, 0};
    EXPECT_EQ(ErrorText([&] { file.SetClientFormat(canonical, &bitmap); }),
              "Couldn't set client channel layout");
    AudioChannelLayout described = {kAudioChannelLayoutTag_UseChannelDescriptions, 0, 2};
    file.SetClientFormat(canonical, &described);
}

// --- Reading ------------------------------------------------------------------

TEST_F(CAAudioFileClient, ReadBeforeAClientFormatThrowsCouldntReadAudioFile) {
    float buf[8];
    AudioBufferList list = {1, {{2, sizeof buf, buf}}};
    uint32_t frames = 4;
    EXPECT_EQ(ErrorText([&] { file.Read(frames, &list); }), "Couldn't read audio file");
}

TEST_F(CAAudioFileClient, ReadOfAClosedFileThrowsCouldntReadAudioFile) {
    file.SetClientFormat(canonical, nullptr);
    file.Close();
    float buf[8];
    AudioBufferList list = {1, {{2, sizeof buf, buf}}};
    uint32_t frames = 4;
    EXPECT_EQ(ErrorText([&] { file.Read(frames, &list); }), "Couldn't read audio file");
    EXPECT_EQ(ErrorText([&] { file.Read(frames, nullptr); }), "Couldn't read audio file");
}

TEST_F(CAAudioFileClient, ReadStopsAtTheBufferSizeAndIgnoresTheChannelField) {
    file.SetClientFormat(canonical, nullptr);
    float buf[10] = {};
    // Room for 3 stereo frames; the channel field says 1, as the reader fills it.
    AudioBufferList list = {1, {{1, 3 * 2 * 4, buf}}};
    uint32_t frames = 5;
    file.Read(frames, &list);
    EXPECT_EQ(frames, 3u);
    EXPECT_EQ(list.mBuffers[0].mDataByteSize, 24u);
}

TEST_F(CAAudioFileClient, ReadAtTheEndReturnsTheRemainderThenZero) {
    file.SetClientFormat(canonical, nullptr);
    std::vector<float> buf(2 * 150);
    AudioBufferList list = {1, {{1, static_cast<uint32_t>(buf.size() * 4), buf.data()}}};
    uint32_t frames = 60;
    file.Read(frames, &list);
    EXPECT_EQ(frames, 60u);
    frames = 150;
    list.mBuffers[0].mDataByteSize = static_cast<uint32_t>(buf.size() * 4);
    file.Read(frames, &list);
    EXPECT_EQ(frames, 40u);
    frames = 150;
    file.Read(frames, &list);
    EXPECT_EQ(frames, 0u);
}

TEST(CAAudioFile, ReadOfAnMp3DamagedMidStreamThrowsCouldntReadAudioFileAfterTheGoodPart) {
    const std::string path = TempPath("damaged.mp3");
    testfiles::DamagedMp3 made = {};
    ASSERT_TRUE(testfiles::WriteDamagedMp3(path, 3, &made));
    CAAudioFile file;
    OpenCanonical(file, path);
    EXPECT_EQ(file.GetNumberFrames(), made.claimedFrames);
    std::vector<float> buf(2 * 1024);
    long delivered = 0;
    const std::string text = ErrorText([&] {
        for (;;) {
            AudioBufferList list = {1, {{1, static_cast<uint32_t>(buf.size() * 4), buf.data()}}};
            uint32_t frames = 1024;
            file.Read(frames, &list);
            delivered += frames;
            if (frames == 0) return;
        }
    });
    EXPECT_EQ(text, "Couldn't read audio file");
    EXPECT_GT(delivered, 0);
    EXPECT_LT(delivered, made.claimedFrames);
    // The decoder's reason follows the step's text.
    CAAudioFile again;
    OpenCanonical(again, path);
    const std::string message = ErrorMessage([&] {
        for (;;) {
            AudioBufferList list = {1, {{1, static_cast<uint32_t>(buf.size() * 4), buf.data()}}};
            uint32_t frames = 1024;
            again.Read(frames, &list);
            if (frames == 0) return;
        }
    });
    EXPECT_EQ(message.rfind("Couldn't read audio file: ", 0), 0u) << message;
    EXPECT_GT(message.size(), std::string("Couldn't read audio file: ").size()) << message;
}

TEST(CAAudioFile, AnMp3WithAShortDamageIsResynchronisedAndEndsEarlyWithoutAnError) {
    const std::string path = TempPath("scratched.mp3");
    ASSERT_TRUE(testfiles::WriteFloats(path, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 44100, 2,
                                       testfiles::Sine(3 * 44100, 2, 44100, 440, 0.5), 0.5));
    std::vector<unsigned char> bytes = testfiles::ReadBytes(path);
    for (size_t i = bytes.size() / 2; i < bytes.size() / 2 + 100; ++i) bytes[i] = 0;
    ASSERT_TRUE(testfiles::WriteBytes(path, bytes));
    CAAudioFile file;
    OpenCanonical(file, path);
    const std::vector<float> got = ReadAll(file, 2);
    EXPECT_LT(got.size(), 2u * 3 * 44100);
    EXPECT_GT(got.size(), 2u * 2 * 44100);
}

// --- Closing ------------------------------------------------------------------

TEST(CAAudioFile, CloseIsIdempotent) {
    const std::string path = TempPath("close-twice.wav");
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 1,
                                       std::vector<short>(10, 0)));
    CAAudioFile file;
    file.Close();
    file.Open(path.c_str());
    EXPECT_TRUE(file.IsOpen());
    file.Close();
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(FindOpenDescriptor(path), -1);
    file.Close();
}

// The descriptor is closed behind the decoder's back, so its own close fails.
TEST(CAAudioFile, CloseThatTheSystemRefusesThrowsExtAudioFileCloseFailedOnce) {
    const std::string path = TempPath("close-fails.wav");
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 1,
                                       std::vector<short>(10, 0)));
    CAAudioFile file;
    file.Open(path.c_str());
    const int fd = FindOpenDescriptor(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(close(fd), 0);
    EXPECT_EQ(ErrorMessage([&] { file.Close(); }),
              std::string("ExtAudioFileClose failed: ") + strerror(EBADF));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(ErrorText([&] { file.Close(); }), "");
}

// --- Length beyond 32 bits ----------------------------------------------------

// A sparse RF64 file whose 64-bit sizes claim 2^32 + 100 one-byte frames: the hole
// takes no disk space and the full 64-bit length comes through.
TEST(CAAudioFile, ASparseRf64OfMoreThan2To32FramesReportsThe64BitLength) {
    const uint64_t frames = (1ull << 32) + 100;
    const std::string path = TempPath("huge.rf64");
    ASSERT_TRUE(testfiles::WriteSparseRf64(path, frames));
    CAAudioFile file;
    OpenCanonical(file, path);
    EXPECT_EQ(file.GetNumberFrames(), static_cast<int64_t>(frames));
    EXPECT_EQ(file.GetFileDataFormat().mBitsPerChannel, 8u);
    file.Close();
    unlink(path.c_str());
}

// --- The terminal ---------------------------------------------------------------

TEST(CAAudioFile, BrokenMp3sLeaveTheTerminalQuiet) {
    const std::string damaged = TempPath("quiet-damaged.mp3");
    ASSERT_TRUE(testfiles::WriteDamagedMp3(damaged, 3));
    const std::string text = TempPath("quiet-text.mp3");
    ASSERT_TRUE(testfiles::WriteBytes(text, std::vector<unsigned char>(3000, 'y')));
    bool readFailed = false;
    const std::string printed = testfiles::StandardErrorOf([&] {
        CAAudioFile file;
        EXPECT_EQ(ErrorText([&] { file.Open(text.c_str()); }), "ExtAudioFileOpen failed");
        OpenCanonical(file, damaged);
        readFailed = !ErrorText([&] { ReadAll(file, 2); }).empty();
    });
    EXPECT_TRUE(readFailed) << "the damage is still reported, through the exception";
    EXPECT_EQ(printed, "");
}
