#include "snd_mac.h"

#include <cstdint>

snd_mac::snd_mac() = default;

snd_mac::~snd_mac() = default;

int snd_mac::OnOpenFile(char* path) {
    m_audio_file.Open(path);
    // Only the low 32 bits of the length are kept, as the int field holds them.
    m_size = static_cast<int>(static_cast<uint32_t>(m_audio_file.GetNumberFrames()));
    if (m_size == 0) {
        m_audio_file.Close();
        return 0;
    }
    const CAStreamBasicDescription fileFormat = m_audio_file.GetFileDataFormat();
    m_rate = static_cast<int>(fileFormat.mSampleRate);
    m_channel = static_cast<int>(fileFormat.mChannelsPerFrame);
    m_bits = static_cast<int>(fileFormat.mBitsPerChannel);

    CAStreamBasicDescription clientFormat = fileFormat;
    clientFormat.SetCanonical(static_cast<uint32_t>(m_channel), true);
    m_audio_file.SetClientFormat(clientFormat, nullptr);
    return 1;
}

void snd_mac::OnCloseFile() {
    m_audio_file.Close();
}

int snd_mac::OnGetAudio(float* buffer, int frames) {
    AudioBufferList list;
    list.mNumberBuffers = 1;
    // Deliberately 1 although the data interleaves m_channel channels: the buffer
    // is one interleaved run, and the client format gives the channel count.
    list.mBuffers[0].mNumberChannels = 1;
    list.mBuffers[0].mDataByteSize =
        static_cast<uint32_t>(m_channel) * static_cast<uint32_t>(frames) * sizeof(float);
    list.mBuffers[0].mData = buffer;
    uint32_t count = static_cast<uint32_t>(frames);
    m_audio_file.Read(count, &list);
    return static_cast<int>(count);
}
