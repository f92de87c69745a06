// Fuzzes the WAV reader: the input is a file, opened and read to its end.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzFile.h"
#include "snd_wav.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static velotune_fuzz::FuzzFile file;
    static std::vector<float> buffer(velotune_fuzz::kBufferFloats);
    file.Write(data, size);
    // A new reader per input: nothing of the previous file may carry over.
    snd_wav reader;
    if (reader.OpenFile(file.Path()) == 1) {
        long most = velotune_fuzz::FramesInFile(size, reader.Channel(), reader.BitDepth());
        velotune_fuzz::ReadAll(reader, buffer.data(), most);
    }
    reader.OnCloseFile();
    return 0;
}
