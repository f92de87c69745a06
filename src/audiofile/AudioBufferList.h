// The buffer list record into which the audio file service decodes.
#pragma once

#include <cstdint>

/// One buffer of a buffer list: how many channels it carries, its size in bytes and
/// where it is. The caller owns the memory.
struct AudioBuffer {
    uint32_t mNumberChannels;  ///< channels interleaved in this buffer
    uint32_t mDataByteSize;    ///< capacity on the way in, bytes written on the way out
    void* mData;               ///< the samples
};

/// A list of buffers; only the one-buffer form is used (interleaved data).
struct AudioBufferList {
    uint32_t mNumberBuffers;  ///< buffers in mBuffers (1 here)
    AudioBuffer mBuffers[1];  ///< the buffers
};
