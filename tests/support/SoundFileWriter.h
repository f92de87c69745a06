// Test helper: sound files written by the system decoder's own encoder, so that a
// test knows exactly what was stored. Header-only; any test folder may use it.
#pragma once

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace testfiles {

/// The scratch folder of the tests (created when missing).
inline std::string TempDir() {
    const char* env = std::getenv("VELOTUNE_TEST_TMP");
    std::string dir = env && *env ? env : std::string(VELOTUNE_BINARY_DIR) + "/testtmp";
    mkdir(dir.c_str(), 0755);
    return dir;
}

/// A path in the scratch folder. The process id is part of the name, since the
/// tests of one suite may run in parallel processes.
inline std::string TempPath(const std::string& name) {
    return TempDir() + "/" + std::to_string(getpid()) + "-" + name;
}

/// Writes the interleaved `samples` with `write` (one of sf_writef_short/int/float)
/// as `format` (SF_FORMAT_... major | subtype); `quality` 0..1, when not negative,
/// is the coded formats' compression level. False when the encoder refuses.
template <typename Sample>
bool WriteSamples(const std::string& path, int format, int rate, int channels,
                  const std::vector<Sample>& samples,
                  sf_count_t (*write)(SNDFILE*, const Sample*, sf_count_t), double quality) {
    SF_INFO info = {};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) return false;
    if (quality >= 0) sf_command(f, SFC_SET_COMPRESSION_LEVEL, &quality, sizeof quality);
    const sf_count_t frames = static_cast<sf_count_t>(samples.size()) / channels;
    const bool ok = write(f, samples.data(), frames) == frames;
    return sf_close(f) == 0 && ok;
}

/// 16-bit values, stored exactly by 16-bit and deeper formats.
inline bool WriteShorts(const std::string& path, int format, int rate, int channels,
                        const std::vector<short>& samples) {
    return WriteSamples(path, format, rate, channels, samples, sf_writef_short, -1);
}

/// 32-bit integer values (the encoder keeps the top bits that the subtype stores).
inline bool WriteInts(const std::string& path, int format, int rate, int channels,
                      const std::vector<int>& samples) {
    return WriteSamples(path, format, rate, channels, samples, sf_writef_int, -1);
}

/// Float values in -1..1 (stored exactly by float formats, encoded by coded ones at
/// compression level `quality`, 0..1).
inline bool WriteFloats(const std::string& path, int format, int rate, int channels,
                        const std::vector<float>& samples, double quality = -1) {
    return WriteSamples(path, format, rate, channels, samples, sf_writef_float, quality);
}

/// `frames` frames of a sine of `hz` at `rate`, amplitude `amp`, the same value on
/// every one of `channels` channels, interleaved.
inline std::vector<float> Sine(int frames, int channels, int rate, double hz, double amp) {
    std::vector<float> s(static_cast<size_t>(frames) * channels);
    for (int i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            s[static_cast<size_t>(i) * channels + c] =
                static_cast<float>(amp * std::sin(2 * M_PI * hz * i / rate));
    return s;
}

/// Reads a whole file into bytes.
inline std::vector<unsigned char> ReadBytes(const std::string& path) {
    std::vector<unsigned char> bytes;
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        unsigned char buf[65536];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) bytes.insert(bytes.end(), buf, buf + n);
        std::fclose(f);
    }
    return bytes;
}

/// Writes bytes to a file; true when all were written.
inline bool WriteBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace testfiles
