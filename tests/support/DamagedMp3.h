// Test helper: an MP3 that opens well but fails part way through decoding, for
// showing that a reader throwing mid-sound is handled.
#pragma once

#include <string>
#include <vector>

#include "SoundFileWriter.h"

namespace testfiles {

/// What WriteDamagedMp3 made.
struct DamagedMp3 {
    long claimedFrames;  ///< the length the file's header announces (all of it)
    long damageByte;     ///< where the damage starts, in bytes from the file start
};

/// Writes a 44100 Hz stereo MP3 of `seconds` seconds of a 440 Hz sine (highest encoder quality)
/// and then wipes 4096 bytes from the middle of its frames with zeros. The header
/// (with its frame count) stays intact, so the file opens and reports its full
/// length; decoding runs well up to the damage and then fails, because the damage
/// is longer than the decoder will search for the next frame header. Returns false
/// (and leaves `out` alone) when the file could not be written.
inline bool WriteDamagedMp3(const std::string& path, int seconds = 3, DamagedMp3* out = nullptr) {
    const int rate = 44100;
    const int frames = rate * seconds;
    if (!WriteFloats(path, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, rate, 2,
                     Sine(frames, 2, rate, 440.0, 0.5), 0.0))
        return false;
    std::vector<unsigned char> bytes = ReadBytes(path);
    const size_t wipe = 4096;
    if (bytes.size() < 3 * wipe) return false;
    const size_t at = bytes.size() / 2;
    for (size_t i = at; i < at + wipe; ++i) bytes[i] = 0;
    if (!WriteBytes(path, bytes)) return false;
    if (out) {
        out->claimedFrames = frames;
        out->damageByte = static_cast<long>(at);
    }
    return true;
}

}  // namespace testfiles
