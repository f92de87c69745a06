// Builds RIFF/WAVE and FORM/AIFF files byte by byte for the reader tests.
//
// Every fixture is written in the test that uses it, one call (and one comment)
// per chunk, so that a reader of the test sees the exact bytes on disk:
//
//     SoundFileBuilder wav = SoundFileBuilder::Riff("WAVE");
//     wav.WavFmt(1, 2, 44100, 16);            // "fmt ": PCM, stereo, 44100 Hz, 16 bits
//     wav.BeginChunk("data").I16(1).I16(-1);  // "data": one stereo frame
//     wav.EndChunk();
//     std::string path = wav.Save("stereo16.wav");
//
// Numbers are written in the builder's byte order: little-endian for Riff(), big-
// endian for Form(). Chunk sizes are patched when a chunk ends; a size can be
// forced (SizeOverride) to build damaged files, a pad byte after an odd body is
// written only when asked for, and Truncate cuts the finished file anywhere.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace velotune_test {

/// Path of a scratch file `name` in the test scratch folder ($VELOTUNE_TEST_TMP,
/// else /tmp), created if missing. The process id is part of the file name, so
/// tests that run in parallel never share a file.
inline std::string TestTempPath(const std::string& name) {
    const char* dir = getenv("VELOTUNE_TEST_TMP");
    std::string folder = dir && *dir ? dir : "/tmp";
    mkdir(folder.c_str(), 0777);  // an existing folder is fine
    return folder + "/" + std::to_string(static_cast<long>(getpid())) + "_" + name;
}

/// Writes `bytes` to `path`; returns false when the file could not be written.
inline bool WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = bytes.empty() || fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return fclose(f) == 0 && ok;
}

/// Byte-by-byte builder of chunked sound files (see the file comment).
class SoundFileBuilder {
  public:
    /// Byte order of the numbers the builder writes.
    enum class Order { Little, Big };

    /// An empty stream without a container.
    explicit SoundFileBuilder(Order order) : m_order(order) {}

    /// A "RIFF" container of form type `form`, little-endian numbers; the
    /// container stays open until Finish (or Save).
    static SoundFileBuilder Riff(const char* form = "WAVE") {
        SoundFileBuilder b(Order::Little);
        b.BeginChunk("RIFF").Id(form);
        return b;
    }
    /// A "FORM" container of form type `form`, big-endian numbers.
    static SoundFileBuilder Form(const char* form = "AIFF") {
        SoundFileBuilder b(Order::Big);
        b.BeginChunk("FORM").Id(form);
        return b;
    }

    // ---- plain bytes and numbers ------------------------------------------------

    /// Four characters as they stand (an id or a form type).
    SoundFileBuilder& Id(const char* code) {
        for (int i = 0; i < 4; ++i) m_bytes.push_back(static_cast<uint8_t>(code[i]));
        return *this;
    }
    /// One byte.
    SoundFileBuilder& U8(uint8_t v) {
        m_bytes.push_back(v);
        return *this;
    }
    /// Literal bytes.
    SoundFileBuilder& Bytes(std::initializer_list<uint8_t> bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }
    /// `n` zero bytes.
    SoundFileBuilder& Zeros(size_t n) {
        m_bytes.insert(m_bytes.end(), n, 0);
        return *this;
    }
    /// The low `n` bytes (1 to 8) of `v` in the builder's byte order.
    SoundFileBuilder& Int(uint64_t v, int n) {
        for (int i = 0; i < n; ++i) {
            int shift = m_order == Order::Little ? 8 * i : 8 * (n - 1 - i);
            m_bytes.push_back(static_cast<uint8_t>(v >> shift));
        }
        return *this;
    }
    SoundFileBuilder& U16(uint16_t v) { return Int(v, 2); }
    SoundFileBuilder& U32(uint32_t v) { return Int(v, 4); }
    SoundFileBuilder& I16(int16_t v) { return Int(static_cast<uint16_t>(v), 2); }
    /// A 24-bit sample: the low three bytes of `v`.
    SoundFileBuilder& I24(int32_t v) { return Int(static_cast<uint32_t>(v), 3); }
    SoundFileBuilder& I32(int32_t v) { return Int(static_cast<uint32_t>(v), 4); }
    /// A 32-bit IEEE float in the builder's byte order.
    SoundFileBuilder& F32(float v) {
        uint32_t u;
        memcpy(&u, &v, 4);
        return Int(u, 4);
    }
    /// A 64-bit IEEE float in the builder's byte order.
    SoundFileBuilder& F64(double v) {
        uint64_t u;
        memcpy(&u, &v, 8);
        return Int(u, 8);
    }
    /// A whole number as an 80-bit IEEE extended float (always big-endian, as AIFF
    /// stores it): sign and 15-bit exponent, then the 64-bit mantissa with its
    /// explicit integer bit. 44100 gives 40 0E AC 44 00 00 00 00 00 00.
    SoundFileBuilder& Ext80(uint32_t value) {
        uint16_t exponent = 0;
        uint32_t mantissa = value;
        if (value != 0) {
            exponent = 16383 + 31;
            while (!(mantissa & 0x80000000u)) {
                mantissa <<= 1;
                --exponent;
            }
        }
        U8(static_cast<uint8_t>(exponent >> 8)).U8(static_cast<uint8_t>(exponent));
        for (int shift = 24; shift >= 0; shift -= 8) U8(static_cast<uint8_t>(mantissa >> shift));
        return Zeros(4);
    }

    // ---- chunks -------------------------------------------------------------------

    /// Writes the id and a size placeholder; the size is patched by EndChunk.
    /// Chunks nest: the container itself is the outermost open chunk.
    SoundFileBuilder& BeginChunk(const char* id) {
        Id(id);
        m_open.push_back(OpenChunk{m_bytes.size(), false, 0});
        return Zeros(4);
    }
    /// Makes the innermost open chunk's size field `size` instead of its body
    /// length (for damaged files: 0xFFFFFFFF, sizes past the end, and so on).
    SoundFileBuilder& SizeOverride(uint32_t size) {
        m_open.back().forced = true;
        m_open.back().size = size;
        return *this;
    }
    /// Ends the innermost open chunk: its size field gets the body length (or the
    /// forced size). With `pad`, a zero byte follows an odd-sized body, as the
    /// RIFF and IFF rules ask; by default no pad byte is written.
    SoundFileBuilder& EndChunk(bool pad = false) {
        OpenChunk c = m_open.back();
        m_open.pop_back();
        size_t body = m_bytes.size() - (c.sizeAt + 4);
        uint32_t size = c.forced ? c.size : static_cast<uint32_t>(body);
        PatchU32(c.sizeAt, size);
        if (pad && (body & 1)) U8(0);
        return *this;
    }
    /// A whole chunk with a body of literal bytes.
    SoundFileBuilder& Chunk(const char* id, std::initializer_list<uint8_t> body) {
        return BeginChunk(id).Bytes(body).EndChunk();
    }

    // ---- WAV chunks -----------------------------------------------------------------

    /// "fmt ": format tag, channels, rate, byte rate, block align, bits; then
    /// `extra` zero bytes inside the chunk (a longer header that readers skip).
    SoundFileBuilder& WavFmt(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits,
                             size_t extra = 0) {
        uint16_t align = static_cast<uint16_t>(channels * ((bits + 7) / 8));
        BeginChunk("fmt ").U16(tag).U16(channels).U32(rate).U32(rate * align).U16(align).U16(bits);
        return Zeros(extra).EndChunk();
    }
    /// "smpl": manufacturer, product, period, unity note 60, pitch fraction, SMPTE
    /// format and offset, `loops` loops (id, type, start, end, fraction, play count
    /// each) and no sampler data.
    SoundFileBuilder& WavSmpl(uint32_t loops) {
        BeginChunk("smpl").U32(0).U32(0).U32(22676).U32(60).U32(0).U32(0).U32(0);
        U32(loops).U32(0);
        for (uint32_t i = 0; i < loops; ++i)
            U32(i).U32(0).U32(10 * i).U32(10 * i + 5).U32(0).U32(0);
        return EndChunk();
    }

    // ---- AIFF chunks ----------------------------------------------------------------

    /// "COMM": channels, frames, bits, the rate as an 80-bit extended float.
    SoundFileBuilder& AiffComm(uint16_t channels, uint32_t frames, uint16_t bits, uint32_t rate) {
        return BeginChunk("COMM").U16(channels).U32(frames).U16(bits).Ext80(rate).EndChunk();
    }
    /// Opens "SSND" and writes its offset and block size fields (plus `offset`
    /// filler bytes); the caller writes the samples and calls EndChunk.
    SoundFileBuilder& BeginAiffSsnd(uint32_t offset = 0, uint32_t blockSize = 0) {
        return BeginChunk("SSND").U32(offset).U32(blockSize).Zeros(offset);
    }
    /// "MARK": one marker per name (id i+1, position 100 i), each name as a count
    /// byte and its characters, padded with a zero to an even length of count byte
    /// plus name.
    SoundFileBuilder& AiffMark(const std::vector<std::string>& names) {
        BeginChunk("MARK").U16(static_cast<uint16_t>(names.size()));
        for (size_t i = 0; i < names.size(); ++i) {
            U16(static_cast<uint16_t>(i + 1)).U32(static_cast<uint32_t>(100 * i));
            U8(static_cast<uint8_t>(names[i].size()));
            for (char c : names[i]) U8(static_cast<uint8_t>(c));
            if (names[i].size() % 2 == 0) U8(0);
        }
        return EndChunk();
    }
    /// "INST": base note 60, detune 0, note and velocity ranges, gain, sustain and
    /// release loops (20 bytes).
    SoundFileBuilder& AiffInst() {
        BeginChunk("INST").U8(60).U8(0).U8(0).U8(127).U8(1).U8(127).I16(0);
        U16(1).U16(1).U16(2);  // sustain loop: forward, markers 1 and 2
        U16(0).U16(0).U16(0);  // release loop: none
        return EndChunk();
    }

    // ---- the finished file ---------------------------------------------------------

    /// Ends every chunk still open (the container last).
    SoundFileBuilder& Finish() {
        while (!m_open.empty()) EndChunk();
        return *this;
    }
    /// Cuts the bytes written so far to `n` (a truncated file). Finish first.
    SoundFileBuilder& Truncate(size_t n) {
        if (n < m_bytes.size()) m_bytes.resize(n);
        return *this;
    }
    /// Bytes written so far.
    size_t Size() const { return m_bytes.size(); }
    /// The bytes (Finish first for a complete file).
    const std::vector<uint8_t>& Data() const { return m_bytes; }
    /// Finishes the file, writes it to TestTempPath(name) and returns that path.
    std::string Save(const std::string& name) {
        Finish();
        std::string path = TestTempPath(name);
        if (!WriteFileBytes(path, m_bytes)) return std::string();
        return path;
    }

  private:
    struct OpenChunk {
        size_t sizeAt;  // offset of the size field
        bool forced;
        uint32_t size;
    };

    void PatchU32(size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i) {
            int shift = m_order == Order::Little ? 8 * i : 8 * (3 - i);
            m_bytes[at + i] = static_cast<uint8_t>(v >> shift);
        }
    }

    Order m_order;
    std::vector<uint8_t> m_bytes;
    std::vector<OpenChunk> m_open;
};

}  // namespace velotune_test
