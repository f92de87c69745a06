// The reader for every format the system decoder knows.
#pragma once

#include "CAAudioFile.h"
#include "snd_.h"

/// Reads any sound the system decoder can open (the main window uses it for every
/// sound), delivered as interleaved 32-bit float at the file's own rate and channel
/// count. It fills the common fields of snd_ and never uses m_hFile. Errors of the
/// decoder other than an empty file arrive as CAAudioFileError out of OpenFile and
/// GetAudio; this class catches none. One thread at a time, as for every snd_.
class snd_mac : public snd_ {
  public:
    /// A closed reader.
    snd_mac();
    /// Closes the decoder's file if it is still open.
    ~snd_mac() override;

    /// Opens `path` through the decoder and fills size, rate, bits and channels.
    /// Returns 0 for a file of no frames (closed again), 1 otherwise; throws
    /// CAAudioFileError when the decoder cannot open or describe the file.
    int OnOpenFile(char* path) override;
    /// Closes the decoder's file; does nothing when none is open.
    void OnCloseFile() override;
    /// Decodes `frames` frames into `buffer` (frames x Channel() floats); returns
    /// the frames the decoder delivered. Throws CAAudioFileError on a damaged stream.
    int OnGetAudio(float* buffer, int frames) override;

  protected:
    CAAudioFile m_audio_file;  // the decoder's file, owned by the reader
};
