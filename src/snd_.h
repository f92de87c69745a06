// The common base of every sound file reader.
#pragma once

#include <cstdio>

/// Abstract sound file reader: a frame count, a rate, a bit depth, a channel count
/// and GetAudio, which delivers the next run of frames as interleaved 32-bit floats.
/// It also carries the chunk machinery of the hand-written RIFF/IFF parsers.
/// Threads: a reader is used by one thread at a time (the main window's worker, then
/// the player's fill worker); it must outlive the player's use of it. No member may
/// be called on the audio IO thread (they read files).
class snd_ {
  public:
    snd_();
    /// Closes the file if one is still open. Any thread that owns the reader.
    virtual ~snd_();

    /// Closes any open file, rewinds the counters and opens `path` through the
    /// reader's OnOpenFile. Returns 1 on success, 0 on failure.
    int OpenFile(char* path);
    /// Closes m_hFile if open (does not call OnCloseFile).
    void CloseFile();
    /// Delivers up to `frames` frames into `buffer` (frames x Channel() floats).
    /// Returns the frames delivered; 0 when not open, exhausted or `frames` < 1.
    /// A short read of a damaged file still counts the frames asked for.
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

    /// Number of chunk nesting levels the walker records (entries of m_NextChunk).
    static constexpr int kMaxLevel = 40;

  protected:
    /// Opens `path` ("rb"), sets m_bSwap, m_currentLevel = -1 and clears
    /// m_NextChunk. Does not reset m_file_pos. Returns whether the file opened.
    bool OpenRiff(char* path, bool swap);
    /// Closes m_hFile if open.
    void CloseRiff();
    /// Reads the header of the next chunk at nesting `level` (0 <= level < 40);
    /// false at the end of the enclosing chunk, at end of file or for a level
    /// outside the recorded range.
    bool OpenChunk(int level);
    /// True when the last chunk's id is `id` and (when `type` is given) its form
    /// type is `type`.
    bool ChunkCmp(const char* id, const char* type);
    /// Size field of the last chunk opened.
    int ChunkSize() { return m_ckSize; }
    /// Reads size x count bytes into `dest`, reversing the first `size` bytes when
    /// m_bSwap is set and size > 1; advances m_file_pos by size x count whatever was
    /// read. Returns the bytes actually read.
    int GetNumber(void* dest, int size, int count);
    /// Seeks to absolute position `pos`.
    void SetPos(int pos);
    /// Seeks `delta` bytes on from m_file_pos.
    void MovePos(int delta);
    /// The tracked absolute position.
    int GetPos() { return static_cast<int>(m_file_pos); }
    /// Reverses `n` bytes in place.
    static void _byteswap(void* p, int n);
    /// Reads `frames` frames of big-endian integer samples and converts them in
    /// place to floats (4-byte samples stay raw). Returns the bytes read.
    int ReadSamp32(float* buffer, long frames);
    /// The same for little-endian samples.
    int ReadSamp23(float* buffer, long frames);

    /// True when the host stores numbers most significant byte first. A reader
    /// passes "file byte order differs from the host's" to OpenRiff as `swap`.
    static constexpr bool kHostBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

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
    int m_NextChunk[kMaxLevel];
    int m_currentLevel;

  private:
    long ReadRaw(float* buffer, long frames, int* bytesPerSample);

    int m_ckStart[kMaxLevel];  // header position of the chunk last opened per level
};
