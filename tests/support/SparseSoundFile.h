// Test helper: sound files that claim billions of frames without using disk space.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <string>

#include "SoundFileBuilder.h"
#include "SoundFileWriter.h"

namespace testfiles {

/// Writes an 8-bit mono RF64 file at 44100 Hz whose 64-bit sizes claim `frames`
/// frames, and extends it with a hole to the full size: the data reads as zero bytes
/// (-1.0 as unsigned 8-bit samples) and takes no disk space, so the decoder believes the length.
/// Returns false when the file could not be made. Remove it with unlink when done.
inline bool WriteSparseRf64(const std::string& path, uint64_t frames) {
    using velotune_test::SoundFileBuilder;
    SoundFileBuilder rf64(SoundFileBuilder::Order::Little);
    const uint64_t headerSize = 12 + 36 + 24 + 8;
    rf64.Id("RF64").U32(0xFFFFFFFF).Id("WAVE");  // container: the real size is in ds64
    rf64.BeginChunk("ds64");
    rf64.Int(headerSize - 8 + frames, 8);  // RIFF size
    rf64.Int(frames, 8);                   // data size
    rf64.Int(frames, 8);                   // sample count
    rf64.U32(0);                           // no table
    rf64.EndChunk();
    rf64.WavFmt(1, 1, 44100, 8);      // "fmt ": PCM, mono, 8 bits
    rf64.Id("data").U32(0xFFFFFFFF);  // "data": the real size is in ds64
    if (rf64.Size() != headerSize || !WriteBytes(path, rf64.Data())) return false;
    return truncate(path.c_str(), static_cast<off_t>(headerSize + frames)) == 0;
}

}  // namespace testfiles
