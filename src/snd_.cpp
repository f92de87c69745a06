#include "snd_.h"

#include <cstdint>
#include <cstring>

namespace {

// Scale factors of the converters, as single-precision values (bit patterns
// 0x3C010204, 0x38000100 and 0x34000001).
constexpr float kScale8 = 1.0f / 127.0f;
constexpr float kScale16 = 1.0f / 32767.0f;
constexpr float kScale24 = 1.0f / 8388607.0f;

// Positions are int fields in the reader's records; sums of a position and a
// 32-bit size are computed wide and wrapped back into 32 bits, two's complement,
// so that a size such as 0xFFFFFFFF never overflows a signed addition.
int WrapToInt(long long value) {
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<unsigned long long>(value)));
}

// Turns the whole samples among `bytes` raw bytes at the start of `buffer` (b
// bytes each, most significant first when `bigEndian`) into floats in place. From
// the last sample back, so that no float overwrites bytes not yet converted.
// Samples of other sizes than 1, 2 or 3 bytes stay as read.
void ConvertInPlace(float* buffer, long bytes, int b, bool bigEndian) {
    if (b < 1 || b > 3) return;
    unsigned char* raw = reinterpret_cast<unsigned char*>(buffer);
    for (long i = bytes / b - 1; i >= 0; --i) {
        const unsigned char* p = raw + i * b;
        // hi, mid, lo: the sample's bytes from the most significant on.
        unsigned char hi = bigEndian ? p[0] : p[b - 1];
        unsigned char mid = b == 3 ? p[1] : (bigEndian ? p[b - 1] : p[0]);
        unsigned char lo = bigEndian ? p[b - 1] : p[0];
        float value;
        if (b == 1) {
            // Deliberately asymmetric: big-endian 8-bit data is unsigned with an
            // offset of 127 (byte 0 gives -1.0), little-endian 8-bit data is signed.
            int v = bigEndian ? static_cast<int>(hi) - 127 : static_cast<signed char>(hi);
            value = static_cast<float>(v) * kScale8;
        } else if (b == 2) {
            int16_t v = static_cast<int16_t>(static_cast<uint16_t>((hi << 8) | mid));
            value = static_cast<float>(v) * kScale16;
        } else {
            // Deliberate: the 24-bit value in the top three bytes (about 256 times
            // the sample), the low byte copying the top bit of the last sample byte.
            uint32_t u = (static_cast<uint32_t>(hi) << 24) | (static_cast<uint32_t>(mid) << 16) |
                         (static_cast<uint32_t>(lo) << 8) | ((lo & 0x80) ? 0xFFu : 0u);
            value = static_cast<float>(static_cast<int32_t>(u)) * kScale24;
        }
        memcpy(raw + i * 4, &value, 4);
    }
}

}  // namespace

snd_::snd_()
    : m_open(false),
      m_size(0),
      m_rate(0),
      m_bits(0),
      m_channel(0),
      m_bSwap(false),
      m_hFile(nullptr),
      m_file_pos(0),
      m_audio_pos(0),
      m_ckId{},
      m_ckType{},
      m_ckSize(0),
      m_NextChunk{},
      m_currentLevel(-1),
      m_ckStart{} {}

// Closing here keeps a reader that is destroyed while open from leaking its handle.
snd_::~snd_() {
    CloseFile();
}

int snd_::OpenFile(char* path) {
    CloseFile();
    m_file_pos = 0;
    m_audio_pos = 0;
    int result = OnOpenFile(path);
    m_open = result != 0;
    return result;
}

void snd_::CloseFile() {
    if (m_hFile) fclose(m_hFile);
    m_hFile = nullptr;
}

int snd_::GetAudio(float* buffer, int frames) {
    if (!m_open) return 0;
    long remain = static_cast<long>(m_size) - m_audio_pos;
    long n = frames < remain ? frames : remain;
    if (n < 1) return 0;
    OnGetAudio(buffer, static_cast<int>(n));  // its result is ignored on purpose
    m_audio_pos += n;
    return static_cast<int>(n);
}

bool snd_::OpenRiff(char* path, bool swap) {
    m_hFile = fopen(path, "rb");
    m_bSwap = swap;
    m_currentLevel = -1;
    memset(m_NextChunk, 0, sizeof(m_NextChunk));
    memset(m_ckStart, 0, sizeof(m_ckStart));
    return m_hFile != nullptr;
}

void snd_::CloseRiff() {
    if (m_hFile) fclose(m_hFile);
    m_hFile = nullptr;
}

bool snd_::OpenChunk(int level) {
    // m_NextChunk has kMaxLevel entries; a level outside them has no chunk to open.
    if (level < 0 || level >= kMaxLevel) return false;
    if (m_currentLevel >= level) {
        // A size that points back to or before the chunk's own header (negative
        // sizes from 0x80000000 up, or an end wrapped past 2^31) would make the walk
        // read the same headers for ever: such a chunk ends its level instead.
        if (m_NextChunk[level] <= m_ckStart[level]) return false;
        SetPos(m_NextChunk[level]);
    }
    if (level > 0 && m_currentLevel >= level && m_file_pos == m_NextChunk[level - 1]) return false;

    int start = GetPos();
    if (GetNumber(m_ckId, 1, 4) == 0) return false;
    m_ckId[4] = 0;
    GetNumber(&m_ckSize, 4, 1);

    m_currentLevel = level;
    m_ckStart[level] = start;
    // The size as it stands: an odd size deliberately does not skip a pad byte.
    m_NextChunk[level] = WrapToInt(static_cast<long long>(m_file_pos) + m_ckSize);

    m_ckType[0] = 0;
    if (ChunkCmp("FORM", nullptr) || ChunkCmp("LIST", nullptr) || ChunkCmp("RIFF", nullptr)) {
        GetNumber(m_ckType, 1, 4);
        m_ckType[4] = 0;
    }
    return true;
}

bool snd_::ChunkCmp(const char* id, const char* type) {
    if (memcmp(m_ckId, id, 4) != 0) return false;
    return type == nullptr || memcmp(m_ckType, type, 4) == 0;
}

int snd_::GetNumber(void* dest, int size, int count) {
    long want = static_cast<long>(size) * count;
    size_t got = 0;
    if (m_hFile && want > 0) got = fread(dest, 1, static_cast<size_t>(want), m_hFile);
    if (m_bSwap && size > 1) _byteswap(dest, size);
    // Advanced by what was asked, not by what was read: the walk relies on it.
    m_file_pos += want;
    return static_cast<int>(got);
}

void snd_::SetPos(int pos) {
    m_file_pos = pos;
    if (m_hFile) fseek(m_hFile, m_file_pos, SEEK_SET);
}

void snd_::MovePos(int delta) {
    m_file_pos += delta;
    if (m_hFile) fseek(m_hFile, m_file_pos, SEEK_SET);
}

void snd_::_byteswap(void* p, int n) {
    unsigned char* b = static_cast<unsigned char*>(p);
    for (int i = 0; i < n / 2; ++i) {
        unsigned char t = b[i];
        b[i] = b[n - 1 - i];
        b[n - 1 - i] = t;
    }
}

// Reads channel x frames samples of m_bits / 8 bytes each into the start of the
// float buffer and returns the bytes read. The read never writes past the buffer's
// frames x channels floats, however many bytes a sample claims. The callers convert
// only whole samples, so that after a short read the part of the buffer the file
// did not reach keeps what it held.
long snd_::ReadRaw(float* buffer, long frames, int* bytesPerSample) {
    int b = m_bits / 8;
    *bytesPerSample = b;
    long count = 0;
    if (!m_hFile || b <= 0 ||
        __builtin_mul_overflow(static_cast<long>(m_channel), frames, &count) || count <= 0)
        return 0;
    long want = 0;
    if (__builtin_mul_overflow(count, static_cast<long>(b < 4 ? b : 4), &want)) return 0;
    size_t got = fread(buffer, 1, static_cast<size_t>(want), m_hFile);
    m_file_pos += static_cast<long>(got);
    return static_cast<long>(got);
}

int snd_::ReadSamp32(float* buffer, long frames) {
    int b = 0;
    long got = ReadRaw(buffer, frames, &b);
    ConvertInPlace(buffer, got, b, true);
    return static_cast<int>(got);
}

int snd_::ReadSamp23(float* buffer, long frames) {
    int b = 0;
    long got = ReadRaw(buffer, frames, &b);
    ConvertInPlace(buffer, got, b, false);
    return static_cast<int>(got);
}
