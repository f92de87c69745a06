// The reader base: chunk walk, number reading, sample converters and GetAudio.
#include <gtest/gtest.h>
#include <dirent.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "SoundFileBuilder.h"
#include "snd_.h"

using velotune_test::SoundFileBuilder;
using velotune_test::TestTempPath;
using velotune_test::WriteFileBytes;

namespace {

// A reader that only opens the file, so that the tests can drive the base's
// machinery themselves.
class TestReader : public snd_ {
  public:
    int OnOpenFile(char* path) override {
        ++opens;
        return OpenRiff(path, swap) ? openResult : 0;
    }
    void OnCloseFile() override { CloseRiff(); }
    int OnGetAudio(float* buffer, int frames) override {
        ++calls;
        lastFrames = frames;
        if (fill) {
            for (int i = 0; i < frames * m_channel; ++i) buffer[i] = 0.5f;
        }
        return 0;  // GetAudio must not care
    }

    void SetShape(int size, int channels, int bits) {
        m_size = size;
        m_channel = channels;
        m_bits = bits;
    }
    void ForceOpen() { m_open = true; }

    using snd_::_byteswap;
    using snd_::ChunkCmp;
    using snd_::ChunkSize;
    using snd_::GetNumber;
    using snd_::GetPos;
    using snd_::m_audio_pos;
    using snd_::m_bSwap;
    using snd_::m_ckId;
    using snd_::m_ckType;
    using snd_::m_currentLevel;
    using snd_::m_file_pos;
    using snd_::m_hFile;
    using snd_::m_NextChunk;
    using snd_::m_open;
    using snd_::MovePos;
    using snd_::OpenChunk;
    using snd_::ReadSamp23;
    using snd_::ReadSamp32;
    using snd_::SetPos;

    bool swap = false;
    int openResult = 1;
    bool fill = false;
    int opens = 0;
    int calls = 0;
    int lastFrames = -1;
};

std::string SaveBytes(const std::string& name, const std::vector<uint8_t>& bytes) {
    std::string path = TestTempPath(name);
    EXPECT_TRUE(WriteFileBytes(path, bytes));
    return path;
}

uint32_t Bits(float f) {
    uint32_t u;
    memcpy(&u, &f, 4);
    return u;
}

int OpenDescriptors() {
    int n = 0;
    DIR* d = opendir("/proc/self/fd");
    while (d && readdir(d)) ++n;
    if (d) closedir(d);
    return n;
}

// Opens `bytes` as a file in a TestReader with the given sample shape, ready for
// the converters.
std::string OpenRaw(TestReader& r, const std::string& name, const std::vector<uint8_t>& bytes,
                    int channels, int bits) {
    std::string path = SaveBytes(name, bytes);
    EXPECT_EQ(r.OpenFile(&path[0]), 1);
    r.SetShape(1000, channels, bits);
    return path;
}

}  // namespace

// ---- GetAudio -------------------------------------------------------------------

TEST(Snd, GetAudioWithMoreFramesThanRemainReturnsOnlyTheRemainderThenZero) {
    TestReader r;
    std::string path = SaveBytes("ga.bin", {0});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.SetShape(10, 1, 16);
    float buf[64];
    EXPECT_EQ(r.GetAudio(buf, 6), 6);
    EXPECT_EQ(r.GetAudio(buf, 6), 4);
    EXPECT_EQ(r.lastFrames, 4);
    EXPECT_EQ(r.m_audio_pos, 10);
    EXPECT_EQ(r.GetAudio(buf, 6), 0);
    EXPECT_EQ(r.calls, 2);
}

TEST(Snd, GetAudioIgnoresTheCountThatOnGetAudioReturns) {
    TestReader r;  // its OnGetAudio always returns 0
    std::string path = SaveBytes("ign.bin", {0});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.SetShape(5, 2, 16);
    float buf[16];
    EXPECT_EQ(r.GetAudio(buf, 3), 3);
    EXPECT_EQ(r.m_audio_pos, 3);
}

TEST(Snd, GetAudioDeliversNothingWhenNotOpen) {
    TestReader r;
    r.SetShape(10, 1, 16);
    float buf[4] = {};
    EXPECT_EQ(r.GetAudio(buf, 4), 0);
    EXPECT_EQ(r.calls, 0);
}

TEST(Snd, GetAudioAfterAFailedOpenDeliversNothing) {
    TestReader r;
    std::string path = SaveBytes("fail.bin", {0});
    r.openResult = 0;
    EXPECT_EQ(r.OpenFile(&path[0]), 0);
    EXPECT_FALSE(r.m_open);
    r.SetShape(10, 1, 16);
    float buf[4];
    EXPECT_EQ(r.GetAudio(buf, 4), 0);
}

TEST(Snd, GetAudioWithZeroOrNegativeFramesReturnsZero) {
    TestReader r;
    std::string path = SaveBytes("neg.bin", {0});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.SetShape(10, 1, 16);
    float buf[4];
    EXPECT_EQ(r.GetAudio(buf, 0), 0);
    EXPECT_EQ(r.GetAudio(buf, -5), 0);
    EXPECT_EQ(r.GetAudio(buf, INT32_MIN), 0);
    EXPECT_EQ(r.m_audio_pos, 0);
    EXPECT_EQ(r.calls, 0);
}

TEST(Snd, GetAudioWithAHugeFrameCountReturnsTheRemainder) {
    TestReader r;
    std::string path = SaveBytes("huge.bin", {0});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.SetShape(7, 1, 16);
    float buf[8];
    EXPECT_EQ(r.GetAudio(buf, INT32_MAX), 7);
    EXPECT_EQ(r.GetAudio(buf, INT32_MAX), 0);
}

TEST(Snd, GetAudioWithANegativeSizeReturnsZero) {
    TestReader r;
    std::string path = SaveBytes("negsize.bin", {0});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.SetShape(INT32_MIN, 1, 16);
    float buf[4];
    EXPECT_EQ(r.GetAudio(buf, 4), 0);
}

TEST(Snd, OpenFileRewindsTheCountersAndReturnsTheHookResult) {
    TestReader r;
    std::string path = SaveBytes("rew.bin", {1, 2, 3, 4});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.SetShape(10, 1, 16);
    float buf[10];
    r.GetAudio(buf, 10);
    uint8_t tmp[2];
    r.GetNumber(tmp, 1, 2);
    r.openResult = 7;
    EXPECT_EQ(r.OpenFile(&path[0]), 7);
    EXPECT_TRUE(r.m_open);
    EXPECT_EQ(r.m_audio_pos, 0);
    EXPECT_EQ(r.m_file_pos, 0);
    EXPECT_EQ(r.opens, 2);
}

TEST(Snd, OpenFileOfAMissingFileFails) {
    TestReader r;
    std::string path = TestTempPath("does-not-exist.wav");
    EXPECT_EQ(r.OpenFile(&path[0]), 0);
    EXPECT_EQ(r.m_hFile, nullptr);
}

TEST(Snd, OpenFileOfAPathOf4000BytesFailsQuietly) {
    TestReader r;
    std::string path = "/" + std::string(3999, 'a');
    ASSERT_EQ(path.size(), 4000u);
    EXPECT_EQ(r.OpenFile(&path[0]), 0);
    EXPECT_FALSE(r.m_open);
}

TEST(Snd, CloseFileClosesTheHandleWithoutTheHook) {
    TestReader r;
    std::string path = SaveBytes("close.bin", {0});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_NE(r.m_hFile, nullptr);
    r.CloseFile();
    EXPECT_EQ(r.m_hFile, nullptr);
    r.CloseFile();  // twice is harmless
    EXPECT_EQ(r.m_hFile, nullptr);
}

TEST(Snd, DestroyingAnOpenReaderClosesItsFile) {
    std::string path = SaveBytes("leak.bin", {0});
    int before = OpenDescriptors();
    {
        TestReader r;
        ASSERT_EQ(r.OpenFile(&path[0]), 1);
        EXPECT_EQ(OpenDescriptors(), before + 1);
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(Snd, ReopeningClosesTheOldHandleFirst) {
    std::string path = SaveBytes("reopen.bin", {0});
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    int open = OpenDescriptors();
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    EXPECT_EQ(OpenDescriptors(), open);
}

// ---- numbers and positions --------------------------------------------------------

TEST(Snd, GetNumberAdvancesBySizeTimesCountEvenPastTheEnd) {
    TestReader r;
    std::string path = SaveBytes("num.bin", {0x11, 0x22, 0x33});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    uint32_t v = 0xAAAAAAAA;
    EXPECT_EQ(r.GetNumber(&v, 4, 1), 3);  // only three bytes exist
    EXPECT_EQ(r.m_file_pos, 4);
    EXPECT_EQ(r.GetNumber(&v, 2, 1), 0);
    EXPECT_EQ(r.m_file_pos, 6);
    EXPECT_EQ(r.GetPos(), 6);
}

TEST(Snd, GetNumberLeavesUnreadBytesOfTheDestinationAsTheyWere) {
    TestReader r;
    std::string path = SaveBytes("short.bin", {0x11});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    uint8_t v[4] = {0xA0, 0xA1, 0xA2, 0xA3};
    EXPECT_EQ(r.GetNumber(v, 1, 4), 1);
    EXPECT_EQ(v[0], 0x11);
    EXPECT_EQ(v[1], 0xA1);
    EXPECT_EQ(v[3], 0xA3);
}

TEST(Snd, GetNumberReversesOnlyTheFirstElementWhenSwapping) {
    TestReader r;
    r.swap = true;
    std::string path = SaveBytes("swap.bin", {1, 2, 3, 4, 'a', 'b', 'c', 'd'});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    EXPECT_TRUE(r.m_bSwap);
    uint8_t v[4];
    EXPECT_EQ(r.GetNumber(v, 4, 1), 4);
    EXPECT_EQ(v[0], 4);
    EXPECT_EQ(v[3], 1);
    char code[4];
    EXPECT_EQ(r.GetNumber(code, 1, 4), 4);  // size 1: never reversed
    EXPECT_EQ(memcmp(code, "abcd", 4), 0);
}

TEST(Snd, GetNumberWithoutSwapKeepsTheFileOrder) {
    TestReader r;
    std::string path = SaveBytes("noswap.bin", {0x44, 0xAC, 0, 0});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    uint32_t v = 0;
    r.GetNumber(&v, 4, 1);
    uint8_t b[4];
    memcpy(b, &v, 4);
    EXPECT_EQ(b[0], 0x44);
    EXPECT_EQ(b[1], 0xAC);
}

TEST(Snd, ByteswapReversesAndKeepsTheMiddleOfAnOddCount) {
    uint8_t b[5] = {1, 2, 3, 4, 5};
    TestReader::_byteswap(b, 5);
    EXPECT_EQ(b[0], 5);
    EXPECT_EQ(b[1], 4);
    EXPECT_EQ(b[2], 3);
    EXPECT_EQ(b[4], 1);
    TestReader::_byteswap(b, 1);
    EXPECT_EQ(b[0], 5);
}

TEST(Snd, SetPosAndMovePosSeekTheFileAndTrackThePosition) {
    TestReader r;
    std::string path = SaveBytes("pos.bin", {10, 11, 12, 13, 14, 15, 16});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.SetPos(2);
    EXPECT_EQ(r.GetPos(), 2);
    r.MovePos(3);
    EXPECT_EQ(r.GetPos(), 5);
    uint8_t v = 0;
    r.GetNumber(&v, 1, 1);
    EXPECT_EQ(v, 15);
    r.MovePos(-4);
    r.GetNumber(&v, 1, 1);
    EXPECT_EQ(v, 12);
    EXPECT_EQ(r.GetPos(), 3);
}

// ---- the chunk walk ---------------------------------------------------------------

TEST(Snd, OddSizedSubChunkPutsTheNextHeaderAtTheOddPosition) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.Chunk("odd ", {1, 2, 3});  // "odd ": 3 bytes, no pad byte follows
    b.Chunk("next", {9});        // "next": starts at offset 23
    std::string path = b.Save("oddchunk.bin");
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_TRUE(r.OpenChunk(0));
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_TRUE(r.ChunkCmp("odd ", nullptr));
    EXPECT_EQ(r.m_NextChunk[1], 23);
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_TRUE(r.ChunkCmp("next", nullptr));
    EXPECT_EQ(r.GetPos(), 31);
}

TEST(Snd, OddSizedSubChunkWithAPadByteMakesTheWalkReadThePadAsTheNextId) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.BeginChunk("odd ").Bytes({1, 2, 3}).EndChunk(true);  // "odd ": 3 bytes + pad byte
    b.Chunk("next", {9});                                  // "next": after the pad
    std::string path = b.Save("oddpad.bin");
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_TRUE(r.OpenChunk(0));
    ASSERT_TRUE(r.OpenChunk(1));
    ASSERT_TRUE(r.OpenChunk(1));
    // The pad byte is taken as the first byte of the next id.
    EXPECT_EQ(r.m_ckId[0], 0);
    EXPECT_EQ(memcmp(r.m_ckId + 1, "nex", 3), 0);
}

TEST(Snd, OpenChunkAfterTheLastSubChunkEndingAtTheContainerEndReturnsFalse) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.Chunk("aaaa", {1, 2});  // "aaaa": 2 bytes
    b.Chunk("bbbb", {3, 4});  // "bbbb": ends where the container ends
    std::vector<uint8_t> bytes = b.Finish().Data();
    bytes.insert(bytes.end(), {'c', 'c', 'c', 'c', 0, 0, 0, 0});  // trailing chunk outside
    std::string path = SaveBytes("contend.bin", bytes);
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_TRUE(r.OpenChunk(0));
    EXPECT_TRUE(r.ChunkCmp("RIFF", "TEST"));
    ASSERT_TRUE(r.OpenChunk(1));
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_TRUE(r.ChunkCmp("bbbb", nullptr));
    EXPECT_FALSE(r.OpenChunk(1));
}

TEST(Snd, OpenChunkAtTheEndOfTheFileReturnsFalse) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.Chunk("aaaa", {1, 2});  // "aaaa": 2 bytes
    std::vector<uint8_t> bytes = b.Finish().Data();
    bytes[4] = 0xF0;  // container claims far more than the file holds
    std::string path = SaveBytes("eof.bin", bytes);
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_TRUE(r.OpenChunk(0));
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_FALSE(r.OpenChunk(1));
}

TEST(Snd, OpenChunkOfAnEmptyFileReturnsFalse) {
    std::string path = SaveBytes("empty.bin", {});
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    EXPECT_FALSE(r.OpenChunk(0));
}

TEST(Snd, OpenChunkReadsAFormTypeOnlyForFormListAndRiff) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.BeginChunk("LIST").Id("INFO").Chunk("INAM", {'x', 0}).EndChunk();  // "LIST"/"INFO"
    b.Chunk("abcd", {'W', 'A', 'V', 'E'});  // "abcd": body looks like a type, is not one
    std::string path = b.Save("list.bin");
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_TRUE(r.OpenChunk(0));
    EXPECT_EQ(r.m_currentLevel, 0);
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_TRUE(r.ChunkCmp("LIST", "INFO"));
    EXPECT_EQ(r.ChunkSize(), 14);
    ASSERT_TRUE(r.OpenChunk(2));  // into the list
    EXPECT_TRUE(r.ChunkCmp("INAM", nullptr));
    EXPECT_STREQ(r.m_ckType, "");
    EXPECT_FALSE(r.OpenChunk(2));  // the list has no more children
    ASSERT_TRUE(r.OpenChunk(1));   // back out: the walk goes on at level 1
    EXPECT_TRUE(r.ChunkCmp("abcd", nullptr));
    EXPECT_STREQ(r.m_ckType, "");
    EXPECT_FALSE(r.ChunkCmp("abcd", "WAVE"));
}

TEST(Snd, OpenChunkRecordsWhereEachLevelEnds) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.Chunk("aaaa", {1, 2, 3, 4});  // "aaaa": 4 bytes
    std::string path = b.Save("levels.bin");
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    EXPECT_EQ(r.m_currentLevel, -1);
    ASSERT_TRUE(r.OpenChunk(0));
    EXPECT_EQ(r.m_NextChunk[0], 24);  // 8 + size 16
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_EQ(r.m_NextChunk[1], 24);
    EXPECT_EQ(r.ChunkSize(), 4);
}

TEST(Snd, OpenChunkOutsideTheFortyLevelsReturnsFalse) {
    // The container and 38 nested lists (levels 0 to 38), the innermost holding one
    // chunk at level 39, the deepest recorded level.
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    for (int i = 1; i < 39; ++i) b.BeginChunk("LIST").Id("deep");
    b.Chunk("leaf", {1});
    std::string path = b.Save("deep.bin");
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    for (int level = 0; level < 39; ++level) ASSERT_TRUE(r.OpenChunk(level)) << level;
    ASSERT_TRUE(r.OpenChunk(39));
    EXPECT_TRUE(r.ChunkCmp("leaf", nullptr));
    EXPECT_FALSE(r.OpenChunk(40));
    EXPECT_FALSE(r.OpenChunk(1000));
    EXPECT_FALSE(r.OpenChunk(-1));
    EXPECT_EQ(r.m_currentLevel, 39);
}

TEST(Snd, ChunkSizeFFFFFFFFEndsOneByteBeforeTheBodyWithoutOverflow) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.BeginChunk("huge").SizeOverride(0xFFFFFFFFu).Bytes({1, 2, 3, 4}).EndChunk();  // "huge"
    std::string path = b.Save("ffff.bin");
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_TRUE(r.OpenChunk(0));
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_EQ(r.ChunkSize(), -1);
    EXPECT_EQ(r.m_NextChunk[1], 19);  // position 20 after the header, plus -1
    // The next header is read from inside the size field: bytes FF 01 02 03.
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_EQ(static_cast<uint8_t>(r.m_ckId[0]), 0xFF);
    EXPECT_EQ(r.m_ckId[1], 1);
    // Whatever follows, the walk ends.
    int guard = 0;
    while (r.OpenChunk(1) && guard < 100) ++guard;
    EXPECT_LT(guard, 100);
}

TEST(Snd, ChunkEndWrappingPast2GigabytesStaysAnIntAndEndsTheWalk) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.BeginChunk("big ").SizeOverride(0x7FFFFFFFu).Bytes({1}).EndChunk();  // "big "
    std::string path = b.Save("wrap.bin");
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_TRUE(r.OpenChunk(0));
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_EQ(r.m_NextChunk[1], static_cast<int>(0x80000013u - 0x100000000ll));
    EXPECT_FALSE(r.OpenChunk(1));
}

TEST(Snd, ChunkWhoseSizePointsBackAtItsOwnHeaderEndsTheWalkInsteadOfLooping) {
    SoundFileBuilder b = SoundFileBuilder::Riff("TEST");
    b.Chunk("aaaa", {1, 2});                                    // "aaaa": ordinary
    b.BeginChunk("loop").SizeOverride(0xFFFFFFF8u).EndChunk();  // "loop": size -8
    b.Chunk("zzzz", {3});                                       // "zzzz": never reached
    std::string path = b.Save("loop.bin");
    TestReader r;
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    ASSERT_TRUE(r.OpenChunk(0));
    ASSERT_TRUE(r.OpenChunk(1));
    ASSERT_TRUE(r.OpenChunk(1));
    EXPECT_TRUE(r.ChunkCmp("loop", nullptr));
    EXPECT_FALSE(r.OpenChunk(1));
}

TEST(Snd, OpenRiffDoesNotResetTheTrackedPosition) {
    TestReader r;
    std::string path = SaveBytes("keep.bin", {1, 2, 3, 4});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.m_file_pos = 99;
    r.CloseFile();
    ASSERT_EQ(r.OnOpenFile(&path[0]), 1);  // the hook alone: OpenRiff
    EXPECT_EQ(r.m_file_pos, 99);
    EXPECT_EQ(r.m_currentLevel, -1);
}

// ---- sample converters -----------------------------------------------------------

TEST(Snd, ScaleFactorsHaveTheirExactSinglePrecisionValues) {
    EXPECT_EQ(Bits(1.0f / 127.0f), 0x3C010204u);
    EXPECT_EQ(Bits(1.0f / 32767.0f), 0x38000100u);
    EXPECT_EQ(Bits(1.0f / 8388607.0f), 0x34000001u);
}

TEST(Snd, EightBitSample0x80GivesPlusOneThroughReadSamp32AndMinus128ThroughReadSamp23) {
    TestReader be, le;
    OpenRaw(be, "s8be.bin", {0x80}, 1, 8);
    OpenRaw(le, "s8le.bin", {0x80}, 1, 8);
    float a = 0, b = 0;
    EXPECT_EQ(be.ReadSamp32(&a, 1), 1);
    EXPECT_EQ(le.ReadSamp23(&b, 1), 1);
    EXPECT_EQ(a, 1.0f * (1.0f / 127.0f));
    EXPECT_EQ(b, -128.0f * (1.0f / 127.0f));
}

TEST(Snd, ReadSamp32TakesEightBitDataAsUnsignedMinus127) {
    TestReader r;
    OpenRaw(r, "u8.bin", {0x00, 0x7F, 0xFF}, 1, 8);
    float out[3];
    EXPECT_EQ(r.ReadSamp32(out, 3), 3);
    EXPECT_EQ(out[0], -1.0f);
    EXPECT_EQ(out[1], 0.0f);
    EXPECT_EQ(out[2], 128.0f * (1.0f / 127.0f));
}

TEST(Snd, ReadSamp23TakesEightBitDataAsSigned) {
    TestReader r;
    OpenRaw(r, "s8.bin", {0x00, 0x7F, 0xFF}, 1, 8);
    float out[3];
    EXPECT_EQ(r.ReadSamp23(out, 3), 3);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(out[1], 1.0f);
    EXPECT_EQ(out[2], -1.0f * (1.0f / 127.0f));
}

TEST(Snd, SixteenBitSample0x8000GivesMinus32768Over32767) {
    TestReader be, le;
    OpenRaw(be, "s16be.bin", {0x80, 0x00, 0x7F, 0xFF}, 2, 16);
    OpenRaw(le, "s16le.bin", {0x00, 0x80, 0xFF, 0x7F}, 2, 16);
    float a[2], b[2];
    EXPECT_EQ(be.ReadSamp32(a, 1), 4);
    EXPECT_EQ(le.ReadSamp23(b, 1), 4);
    const float expected = -32768.0f * (1.0f / 32767.0f);
    EXPECT_EQ(a[0], expected);
    EXPECT_EQ(b[0], expected);
    EXPECT_LT(a[0], -1.0f);
    EXPECT_EQ(a[1], 1.0f);
    EXPECT_EQ(b[1], 1.0f);
}

TEST(Snd, TwentyFourBitSamplesComeOutAbout256TimesTheirValue) {
    TestReader be, le;
    // Values 1, 0x80 (low byte top bit set), 0x7FFFFF and -1.
    OpenRaw(be, "s24be.bin", {0, 0, 1, 0, 0, 0x80, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 1, 24);
    OpenRaw(le, "s24le.bin", {1, 0, 0, 0x80, 0, 0, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF}, 1, 24);
    float a[4], b[4];
    EXPECT_EQ(be.ReadSamp32(a, 4), 12);
    EXPECT_EQ(le.ReadSamp23(b, 4), 12);
    const float s = 1.0f / 8388607.0f;
    const float expected[4] = {static_cast<float>(0x100) * s, static_cast<float>(0x80FF) * s,
                               static_cast<float>(0x7FFFFFFF) * s, -1.0f * s};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(a[i], expected[i]) << i;
        EXPECT_EQ(b[i], expected[i]) << i;
    }
    EXPECT_NEAR(a[2], 256.0f, 0.01f);
}

TEST(Snd, FourByteSamplesPassThroughAsTheFileBytes) {
    TestReader be, le;
    OpenRaw(be, "s32be.bin", {1, 2, 3, 4, 5, 6, 7, 8}, 2, 32);
    OpenRaw(le, "s32le.bin", {1, 2, 3, 4, 5, 6, 7, 8}, 2, 32);
    uint8_t a[8], b[8];
    float fa[2], fb[2];
    EXPECT_EQ(be.ReadSamp32(fa, 1), 8);
    EXPECT_EQ(le.ReadSamp23(fb, 1), 8);
    memcpy(a, fa, 8);
    memcpy(b, fb, 8);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(a[i], i + 1);
        EXPECT_EQ(b[i], i + 1);
    }
}

TEST(Snd, StereoSamplesStayInterleavedInTheFileOrder) {
    TestReader r;
    OpenRaw(r, "inter.bin", {0x01, 0x00, 0xFF, 0xFF, 0x02, 0x00, 0xFE, 0xFF}, 2, 16);
    float out[4];
    EXPECT_EQ(r.ReadSamp23(out, 2), 8);
    const float s = 1.0f / 32767.0f;
    EXPECT_EQ(out[0], 1 * s);
    EXPECT_EQ(out[1], -1 * s);
    EXPECT_EQ(out[2], 2 * s);
    EXPECT_EQ(out[3], -2 * s);
}

TEST(Snd, ShortReadLeavesTheRestOfTheBufferAsItWas) {
    TestReader r;
    OpenRaw(r, "trunc.bin", {0x00, 0x40, 0x00}, 1, 16);  // one and a half samples
    float out[4] = {7.0f, 7.0f, 7.0f, 7.0f};
    EXPECT_EQ(r.ReadSamp23(out, 4), 3);
    EXPECT_EQ(out[0], 16384.0f * (1.0f / 32767.0f));
    EXPECT_EQ(out[2], 7.0f);
    EXPECT_EQ(out[3], 7.0f);
}

TEST(Snd, SamplesWiderThanFourBytesNeverOverflowTheBuffer) {
    TestReader r;
    std::vector<uint8_t> bytes(64);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i);
    OpenRaw(r, "wide.bin", bytes, 2, 64);
    // Exactly frames x channels floats: AddressSanitizer reports any write past it.
    std::vector<float> out(2 * 2);
    int got = r.ReadSamp23(out.data(), 2);
    EXPECT_EQ(got, 16);
    uint8_t raw[16];
    memcpy(raw, out.data(), 16);
    EXPECT_EQ(raw[0], 0);
    EXPECT_EQ(raw[15], 15);
    std::vector<float> out2(2 * 2);
    EXPECT_EQ(r.ReadSamp32(out2.data(), 2), 16);
}

TEST(Snd, ZeroBitsOrZeroChannelsReadNothing) {
    TestReader r;
    OpenRaw(r, "zero.bin", {1, 2, 3, 4}, 1, 0);
    float out[2] = {7.0f, 7.0f};
    EXPECT_EQ(r.ReadSamp23(out, 2), 0);
    EXPECT_EQ(out[0], 7.0f);
    r.SetShape(10, 0, 16);
    EXPECT_EQ(r.ReadSamp32(out, 2), 0);
    EXPECT_EQ(out[0], 7.0f);
    r.SetShape(10, 1, 7);  // fewer than 8 bits: zero bytes per sample
    EXPECT_EQ(r.ReadSamp32(out, 2), 0);
}

TEST(Snd, NegativeOrHugeFrameCountsReadNothing) {
    TestReader r;
    OpenRaw(r, "negframes.bin", {1, 2, 3, 4}, 2, 16);
    float out[2] = {7.0f, 7.0f};
    EXPECT_EQ(r.ReadSamp23(out, -1), 0);
    r.SetShape(10, 0x7FFFFFFF, 16);
    EXPECT_EQ(r.ReadSamp32(out, 0x7FFFFFFFFFFFFFFFL), 0);  // the sample count overflows
    EXPECT_EQ(out[0], 7.0f);
}

TEST(Snd, GetAudioOfATruncatedFileStillReportsTheFramesAskedFor) {
    // The test reader fills 0.5 where it is asked to, whatever the file holds.
    TestReader r;
    r.fill = true;
    std::string path = SaveBytes("truncga.bin", {});
    ASSERT_EQ(r.OpenFile(&path[0]), 1);
    r.SetShape(4, 1, 16);
    float out[4] = {};
    EXPECT_EQ(r.GetAudio(out, 4), 4);
    EXPECT_EQ(out[3], 0.5f);
}
