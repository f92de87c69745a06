// The RIFF/WAVE reader.
#pragma once

#include "snd_.h"

/// Reads RIFF/WAVE files: integer PCM (format tag 1) and IEEE float (tag 3).
/// 8-bit data is taken as signed, 16- and 24-bit data is converted, 32-bit data
/// (integer or float) is delivered as the file's raw little-endian bytes.
/// Threads: as snd_ (one thread at a time, never the audio IO thread).
class snd_wav : public snd_ {
  public:
    snd_wav();
    /// Opens `path`; 1 when it is a RIFF/WAVE file with tag 1 or 3 (or without a
    /// "fmt " chunk), 0 otherwise.
    int OnOpenFile(char* path) override;
    /// Closes the file.
    void OnCloseFile() override;
    /// Reads `frames` frames through the little-endian converter; returns `frames`.
    int OnGetAudio(float* buffer, int frames) override;

  protected:
    long m_offset;  // absolute position of the first byte of the "data" body
    bool m_bFloat;  // the format tag is 3; recorded only
};
