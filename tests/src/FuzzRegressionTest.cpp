// Inputs the fuzz targets (fuzz/) found troublesome in the sound file readers,
// each kept as a test of the answer the reader must give.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "SoundFileBuilder.h"
#include "snd_aif.h"

using velotune_test::SoundFileBuilder;

namespace {

int Open(snd_& r, std::string path) {
    return r.OpenFile(&path[0]);
}

}  // namespace

// Found by snd_aif_fuzz: a "MARK" chunk whose count claims 65535 markers where the
// file holds one. The markers are read only as far as the file goes (the count
// once cost four reads and seeks past the end per missing marker), and the chunks
// after it are read as usual.
TEST(FuzzRegressionAif, AMarkCountBeyondTheFileStillOpensTheChunksThatFollow) {
    SoundFileBuilder aif = SoundFileBuilder::Form("AIFF");
    aif.BeginChunk("MARK").U16(0xFFFF);  // "MARK": 65535 markers claimed...
    aif.U16(1).U32(0).U8(1).U8('a');     // ...one present: id 1, position 0, "a"
    aif.EndChunk();
    aif.AiffComm(1, 3, 16, 22050);  // "COMM": mono, 3 frames, 16 bits
    aif.BeginAiffSsnd().I16(16383).I16(-32767).I16(1).EndChunk();  // "SSND"
    std::string path = aif.Save("fuzz_markcount.aif");

    snd_aif reader;
    ASSERT_EQ(Open(reader, path), 1);
    EXPECT_EQ(reader.Channel(), 1);
    EXPECT_EQ(reader.BitDepth(), 16);
    EXPECT_EQ(reader.SampleSize(), 3);
    float out[3] = {};
    EXPECT_EQ(reader.GetAudio(out, 8), 3);
    EXPECT_FLOAT_EQ(out[0], 16383.0f / 32767.0f);
    EXPECT_FLOAT_EQ(out[1], -1.0f);
    EXPECT_FLOAT_EQ(out[2], 1.0f / 32767.0f);
    EXPECT_EQ(reader.GetAudio(out, 8), 0);
}

// Found by snd_aif_fuzz: the same count as the last chunk, the file ending in the
// middle of a marker. The file opens with what "COMM" said.
TEST(FuzzRegressionAif, AMarkCountEndingInsideAMarkerAtTheFileEndStillOpens) {
    SoundFileBuilder aif = SoundFileBuilder::Form("AIFF");
    aif.AiffComm(2, 0, 8, 44100);        // "COMM": stereo, no frames, 8 bits
    aif.BeginChunk("MARK").U16(0xFFFF);  // "MARK": 65535 markers claimed,
    aif.U16(7).U8(0);                    // the file ends inside the first
    aif.EndChunk().Finish();
    std::string path = aif.Save("fuzz_markcut.aif");

    snd_aif reader;
    ASSERT_EQ(Open(reader, path), 1);
    EXPECT_EQ(reader.Channel(), 2);
    EXPECT_EQ(reader.SampleSize(), 0);
    float out[4] = {};
    EXPECT_EQ(reader.GetAudio(out, 2), 0);
}
