// The common base of every sound file reader.
#pragma once

#include <cstdio>

/// Abstract sound file reader: a frame count, a rate, a bit depth, a channel count
/// and GetAudio, which delivers the next run of frames as interleaved 32-bit floats.
/// It also carries the chunk machinery of the hand-written RIFF/IFF parsers.
/// A reader is used by one thread at a time (the main window's worker, then the
/// player's fill worker); it must outlive the player's use of it.
class snd_ {
public:
    snd_();
    virtual ~snd_();

    /// Closes any open file, rewinds the counters and opens `path` through the
    /// reader's OnOpenFile. Returns 1 on success, 0 on failure.
    int OpenFile(char* path);
    /// Closes m_hFile if open (does not call OnCloseFile).
    void CloseFile();
    /// Delivers up to `frames` frames into `buffer` (frames x Channel() floats).
    /// Returns the frames delivered; 0 when not open or exhausted.
    int GetAudio(float* buffer, int frames);
    /// Length in frames.
    int SampleSize() { return m_size; }
    /// Sample rate in Hz.
    int SampleRate() { return m_rate; }
    /// Bits per sample as stored (0 for formats without a fixed depth).
    int BitDepth() { return m_bits; }
    /// Interleaved channels.
    int Channel() { return m_channel; }

    /// Reader hook: opens the file; 1 success, 0 failure.
    virtual int OnOpenFile(char* path) = 0;
    /// Reader hook: closes the reader's own resources.
    virtual void OnCloseFile() = 0;
    /// Reader hook: writes `frames` frames into `buffer`.
    virtual int OnGetAudio(float* buffer, int frames) = 0;

protected:
    bool OpenRiff(char* path, bool swap);
    void CloseRiff();
    bool OpenChunk(int level);
    bool ChunkCmp(const char* id, const char* type);
    int ChunkSize() { return m_ckSize; }
    int GetNumber(void* dest, int size, int count);
    void SetPos(int pos);
    void MovePos(int delta);
    int GetPos() { return static_cast<int>(m_file_pos); }
    static void _byteswap(void* p, int n);
    int ReadSamp32(float* buffer, long frames);
    int ReadSamp23(float* buffer, long frames);

    bool m_open;
    int m_size;
    int m_rate;
    int m_bits;
    int m_channel;
    bool m_bSwap;  // the file's numbers are in the other byte order than the host's
    FILE* m_hFile;
    long m_file_pos;
    long m_audio_pos;
    char m_ckId[6];
    char m_ckType[6];
    int m_ckSize;
    int m_NextChunk[40];
    int m_currentLevel;
};
