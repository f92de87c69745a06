#include "snd_aif.h"

#include <cmath>

snd_aif::snd_aif() : m_offset(0) {}

int snd_aif::OnOpenFile(char* path) {
    // m_bSwap means "the file's byte order is not the host's": AIFF numbers are
    // big-endian, so on this little-endian host they are byte-reversed.
    if (!OpenRiff(path, !kHostBigEndian)) return 0;
    // A file too short for a container header is refused outright rather than
    // compared against the ids of the file this reader opened before. AIFF-C has
    // another form type and is refused here.
    if (!OpenChunk(0) || !ChunkCmp("FORM", "AIFF")) {
        CloseRiff();
        return 0;
    }

    const int rate = 44100;
    while (OpenChunk(1)) {
        if (ChunkCmp("COMM", nullptr)) {
            uint16_t channels = 0, bits = 0;
            uint32_t frames = 0;
            unsigned char extended[10] = {};
            GetNumber(&channels, 2, 1);
            GetNumber(&frames, 4, 1);
            GetNumber(&bits, 2, 1);
            GetNumber(extended, 1, 10);
            m_size = static_cast<int32_t>(frames);  // 2^31 frames and more: negative, nothing plays
            m_channel = channels;
            m_bits = bits;
            m_rate = static_cast<int32_t>(Ieee2dw(extended));
        }
        if (ChunkCmp("SSND", nullptr)) {
            uint32_t offset = 0;
            GetNumber(&offset, 4, 1);
            // Past the block size field (never read) and the offset; wrapped into
            // the int position as every position of the walk is.
            long long first = static_cast<long long>(GetPos()) + offset + 4;
            m_offset = static_cast<int32_t>(static_cast<uint32_t>(first));
        }
        if (ChunkCmp("MARK", nullptr)) {
            // Read and discarded, one marker at a time: any count is safe. The
            // markers end with the file: a damaged count of up to 65535 would
            // otherwise cost four reads and seeks past the end for each one.
            uint16_t count = 0;
            GetNumber(&count, 2, 1);
            for (int i = 0; i < count; ++i) {
                uint16_t id = 0;
                uint32_t position = 0;
                unsigned char length = 0;
                if (GetNumber(&id, 2, 1) < 2) break;
                GetNumber(&position, 4, 1);
                GetNumber(&length, 1, 1);
                // Count byte and name together take an even number of bytes.
                MovePos(length + (length % 2 == 0 ? 1 : 0));
            }
        }
        if (ChunkCmp("INST", nullptr)) {
            // Read and discarded: the instrument settings play no part in auditioning.
            unsigned char baseNote = 0, detune = 0;
            uint16_t playMode = 0, beginLoop = 0, endLoop = 0;
            GetNumber(&baseNote, 1, 1);
            GetNumber(&detune, 1, 1);
            MovePos(6);  // note and velocity ranges, gain
            GetNumber(&playMode, 2, 1);
            GetNumber(&beginLoop, 2, 1);
            GetNumber(&endLoop, 2, 1);
        }
    }

    // Deliberate: every AIFF file is reported (and so played) at 44100 Hz.
    m_rate = rate;
    SetPos(m_offset);
    return 1;
}

void snd_aif::OnCloseFile() {
    CloseRiff();
}

int snd_aif::OnGetAudio(float* buffer, int frames) {
    ReadSamp32(buffer, frames);
    return frames;  // the count asked for, not what the file gave
}

uint32_t snd_aif::Ieee2dw(unsigned char* p) {
    int e = ((p[0] & 0x7F) << 8) | p[1];
    uint32_t m = (static_cast<uint32_t>(p[2]) << 24) | (static_cast<uint32_t>(p[3]) << 16) |
                 (static_cast<uint32_t>(p[4]) << 8) | p[5];
    if (e == 0 && m == 0) return 0;
    // Infinity and NaN have no integer value: they give the largest one.
    if (e == 0x7FFF) return 0xFFFFFFFFu;
    double value = std::ldexp(static_cast<double>(m), e - 16414);
    // Converting a double at or above 2^32 to a 32-bit unsigned is undefined; such
    // rates saturate. Below 2^32 the truncating conversion is exact and defined,
    // the top bit included.
    if (value >= 4294967296.0) return 0xFFFFFFFFu;
    return static_cast<uint32_t>(value);
}
