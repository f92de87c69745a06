// Fuzzes the system-decoded reader: the input is a file, opened through the decoder
// glue and read to its end. The glue throws CAAudioFileError for a file the
// decoder refuses (the main window and the player catch it), so the harness
// catches it too; a crash, a leak or a sanitizer report is a finding.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "CAAudioFileError.h"
#include "FuzzFile.h"
#include "snd_mac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static velotune_fuzz::FuzzFile file;
    static std::vector<float> buffer(velotune_fuzz::kBufferFloats);
    file.Write(data, size);
    snd_mac reader;
    try {
        if (reader.OpenFile(file.Path()) == 1) {
            // Coded formats decode to many more frames than bytes: the block
            // budget alone bounds the reading.
            velotune_fuzz::ReadAll(reader, buffer.data(), reader.SampleSize());
        }
    } catch (const CAAudioFileError&) {
        // Refused or damaged: the file is skipped, as the main window skips it.
    }
    try {
        reader.OnCloseFile();
    } catch (const CAAudioFileError&) {
    }
    return 0;
}
