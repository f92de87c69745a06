// The FORM/AIFF reader.
#pragma once

#include <cstdint>

#include "snd_.h"

/// Reads FORM/AIFF files (AIFF-C is refused). 8-bit data is taken as unsigned with
/// an offset of 127, 16- and 24-bit data is converted, 32-bit data is delivered as
/// the file's raw big-endian bytes. Every file is reported as 44100 Hz, whatever
/// its header says.
/// Threads: as snd_ (one thread at a time, never the audio IO thread).
class snd_aif : public snd_ {
  public:
    snd_aif();
    /// Opens `path`; 1 when it is a FORM/AIFF file, 0 otherwise.
    int OnOpenFile(char* path) override;
    /// Closes the file.
    void OnCloseFile() override;
    /// Reads `frames` frames through the big-endian converter; returns `frames`.
    int OnGetAudio(float* buffer, int frames) override;

    /// Converts the 10 bytes of an 80-bit IEEE extended float at `p` (sign and
    /// 15-bit exponent, then the 64-bit mantissa) to an unsigned 32-bit integer,
    /// truncating toward zero. Only the top 32 bits of the mantissa count and the
    /// sign is ignored. Values below 1 give 0; values of 2^32 and more, infinity
    /// and NaN (exponent 0x7FFF) give 0xFFFFFFFF. Any thread.
    static uint32_t Ieee2dw(unsigned char* p);

  protected:
    int m_offset;  // absolute position of the first sample byte
};
