// The fuzzer's bytes as a file that the readers can open by path.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace velotune_fuzz {

/// One anonymous in-memory file per process (memfd), rewritten for every input and
/// named by its /proc/self/fd path, so that the readers open it with fopen or the
/// decoder as they open any dropped file, and no input touches the disk.
class FuzzFile {
  public:
    FuzzFile() {
        m_fd = memfd_create("velotune-fuzz", 0);
        if (m_fd < 0) {
            perror("memfd_create");
            abort();
        }
        m_path = "/proc/self/fd/" + std::to_string(m_fd);
    }

    /// Replaces the file's content with `size` bytes of `data`.
    void Write(const uint8_t* data, size_t size) {
        if (ftruncate(m_fd, 0) != 0) abort();
        size_t done = 0;
        while (done < size) {
            ssize_t n = pwrite(m_fd, data + done, size - done, static_cast<off_t>(done));
            if (n <= 0) abort();
            done += static_cast<size_t>(n);
        }
    }

    /// The path that opens the file (a writable buffer: the readers take char*).
    char* Path() { return &m_path[0]; }

  private:
    int m_fd = -1;
    std::string m_path;
};

/// The reader's block buffer: at most this many floats, allocated once, so that a
/// header claiming thousands of channels still gets a block of at least one frame.
constexpr long kBufferFloats = 1L << 22;

/// Frames per GetAudio block: the player's 4096, fewer when the channels would not
/// fit the buffer.
inline int BlockFrames(int channels) {
    long per = channels > 0 ? channels : 1;
    long frames = kBufferFloats / per;
    if (frames > 4096) frames = 4096;
    if (frames < 1) frames = 1;
    return static_cast<int>(frames);
}

/// Most GetAudio calls per input. Inputs are a few kilobytes, so far fewer blocks
/// than this cover all of their sample bytes; a header that claims billions of
/// frames would otherwise keep the fuzzer reading past the end for minutes.
constexpr int kMaxBlocks = 2048;

/// Frames a hand-parsed file of `fileBytes` bytes can hold at `channels` channels
/// of `bits` bits, plus two blocks: reading on past that only repeats reads at the
/// end of the file. Headers may claim any size; this bounds the time per input.
inline long FramesInFile(size_t fileBytes, int channels, int bits) {
    long frameBytes = static_cast<long>(channels > 0 ? channels : 1) * (bits >= 8 ? bits / 8 : 1);
    return static_cast<long>(fileBytes) / frameBytes + 2L * BlockFrames(channels);
}

/// Reads `reader` (already opened) in blocks until GetAudio returns 0, or until
/// `maxFrames` frames or kMaxBlocks blocks were delivered, checking that no call
/// delivers more than asked or more than the sound has left.
template <class Reader>
void ReadAll(Reader& reader, float* buffer, long maxFrames) {
    int frames = BlockFrames(reader.Channel());
    long delivered = 0;
    for (int i = 0; i < kMaxBlocks && delivered < maxFrames; ++i) {
        int got = reader.GetAudio(buffer, frames);
        if (got < 0 || got > frames || (got > 0 && delivered + got > reader.SampleSize())) {
            fprintf(stderr, "GetAudio delivered %d frames of %d asked (%ld of %d before)\n", got,
                    frames, delivered, reader.SampleSize());
            abort();
        }
        if (got == 0) break;
        delivered += got;
    }
}

}  // namespace velotune_fuzz
