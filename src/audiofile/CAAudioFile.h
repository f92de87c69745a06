// Reading and decoding of a sound file through the system's audio file decoder.
#pragma once

#include <cstdint>

#include "AudioBufferList.h"
#include "AudioChannelLayout.h"
#include "CAAudioFileError.h"
#include "CAStreamBasicDescription.h"

struct sf_private_tag;  // the decoder's handle; only CAAudioFile.cpp sees inside

/// One sound file opened for reading through the system decoder (every format it
/// knows: WAV, AIFF, MP3 and more), delivered as interleaved 32-bit float at the
/// file's own rate and channel count. Every failing step throws CAAudioFileError
/// with the step's text, followed by the decoder's reason where it gives one. Not thread-safe: one
/// thread at a time may use an object (the reader hands it from the main window's worker to the
/// player's fill worker, never concurrently). Never call it from the audio IO thread: it reads the
/// disk.
class CAAudioFile {
  public:
    /// A closed file.
    CAAudioFile();
    /// Closes the file if it is still open, quietly.
    ~CAAudioFile();
    CAAudioFile(const CAAudioFile&) = delete;
    CAAudioFile& operator=(const CAAudioFile&) = delete;

    /// Opens `path` for reading, closing (quietly) any file this object held.
    /// Throws "locate audio file" when the path is null or names nothing that can
    /// be found (with the system's reason), "ExtAudioFileOpen failed" when it is not
    /// a regular file (a folder, a pipe, a device: reason "not a file") or the
    /// decoder cannot open it (with the decoder's reason).
    void Open(const char* path);

    /// The file's length in frames. Throws "Couldn't get file's length" when no
    /// file is open or the decoder does not know the length.
    int64_t GetNumberFrames() const;

    /// The file's own format: rate, channels, format id ('lpcm' for integer and
    /// float samples, a coded id such as '.mp3' otherwise), bits per channel (0 for
    /// coded formats). Throws "Couldn't get file's data format" when no file is
    /// open or the decoder reports no usable rate or channel count.
    CAStreamBasicDescription GetFileDataFormat() const;

    /// Sets the format in which Read delivers. Only what the decoder gives is
    /// accepted: native 32-bit float, packed, interleaved, at the file's rate and
    /// channel count; anything else (or no open file) throws "Couldn't set client
    /// format". `layout` may be null; when given, it must name as many channels as
    /// the file has, else "Couldn't set client channel layout".
    void SetClientFormat(const CAStreamBasicDescription& format,
                         const AudioChannelLayout* layout = nullptr);

    /// Decodes up to `ioNumFrames` frames (fewer when the first buffer holds fewer)
    /// into the first buffer of `ioData`, interleaved; returns the frames decoded in
    /// `ioNumFrames` and the bytes written in the buffer's mDataByteSize. Fewer
    /// frames than asked, or 0, mean the end of the sound. The buffer's channel
    /// count field is not used: the client format says how many channels a frame
    /// has. Throws "Couldn't read audio file" when the decoder fails (a damaged
    /// stream), when no file is open or no client format was set, or when the
    /// buffer list is unusable.
    void Read(uint32_t& ioNumFrames, AudioBufferList* ioData);

    /// Closes the file; does nothing when none is open, so it may be called any
    /// number of times. Throws "ExtAudioFileClose failed" when the decoder reports
    /// a failure; the file is closed all the same.
    void Close();

    /// True between a successful Open and Close.
    bool IsOpen() const { return m_hSnd != nullptr; }

  private:
    sf_private_tag* m_hSnd;                 // the decoder's handle, null when closed
    int64_t m_frames;                       // length as the decoder reported it at open
    CAStreamBasicDescription m_fileFormat;  // the file's own format, filled at open
    bool m_bClientSet;                      // a client format has been accepted
    uint32_t m_clientChannels;              // channels of a client frame
};
