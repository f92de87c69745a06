#include "snd_wav.h"

#include <cstdint>

snd_wav::snd_wav() : m_offset(0), m_bFloat(false) {}

int snd_wav::OnOpenFile(char* path) {
    // m_bSwap means "the file's byte order is not the host's": WAV numbers are
    // little-endian, so on this little-endian host they are read as they stand.
    if (!OpenRiff(path, kHostBigEndian)) return 0;
    // A file too short for a container header is refused outright rather than
    // compared against the ids of the file this reader opened before.
    if (!OpenChunk(0) || !ChunkCmp("RIFF", "WAVE")) {
        CloseRiff();
        return 0;
    }

    int dataSize = 0;
    while (OpenChunk(1)) {
        if (ChunkCmp("fmt ", nullptr)) {
            uint16_t tag = 0, channels = 0, blockAlign = 0, bits = 0;
            uint32_t rate = 0, byteRate = 0;
            GetNumber(&tag, 2, 1);
            if (tag != 1 && tag != 3) {
                CloseRiff();
                return 0;
            }
            m_bFloat = tag == 3;
            GetNumber(&channels, 2, 1);
            GetNumber(&rate, 4, 1);
            GetNumber(&byteRate, 4, 1);
            GetNumber(&blockAlign, 2, 1);
            GetNumber(&bits, 2, 1);
            m_bits = bits;
            m_channel = channels;
            m_rate = static_cast<int32_t>(rate);
        }
        if (ChunkCmp("data", nullptr)) {
            // The last "data" chunk of the walk wins.
            dataSize = ChunkSize();
            m_offset = GetPos();
        }
        if (ChunkCmp("smpl", nullptr)) {
            // Read and discarded: the sampler settings play no part in auditioning.
            uint32_t unityNote = 0, pitchFraction = 0, loops = 0, samplerData = 0;
            uint32_t loopStart = 0, loopEnd = 0;
            MovePos(12);  // manufacturer, product, sample period
            GetNumber(&unityNote, 4, 1);
            GetNumber(&pitchFraction, 4, 1);
            MovePos(8);  // SMPTE format and offset
            GetNumber(&loops, 4, 1);
            GetNumber(&samplerData, 4, 1);
            if (loops >= 1) {
                MovePos(8);  // the first loop's identifier and type
                GetNumber(&loopStart, 4, 1);
                GetNumber(&loopEnd, 4, 1);
            }
        }
    }

    // A frame of 0 bytes (no channels or fewer than 8 bits in all) gives 0 frames.
    long bytesPerFrame = static_cast<long>(m_channel) * m_bits / 8;
    m_size = bytesPerFrame > 0 ? static_cast<int>(dataSize / bytesPerFrame) : 0;
    SetPos(static_cast<int>(m_offset));
    return 1;
}

void snd_wav::OnCloseFile() {
    CloseRiff();
}

int snd_wav::OnGetAudio(float* buffer, int frames) {
    ReadSamp23(buffer, frames);
    return frames;  // the count asked for, not what the file gave
}
