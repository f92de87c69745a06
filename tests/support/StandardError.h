// Test helper: what the process writes to its standard error while a call runs.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "SoundFileWriter.h"

namespace testfiles {

/// Runs `fn` with file descriptor 2 sent to a file and returns what was written
/// there (the toolkit's and the decoder's messages go straight to it).
template <typename Fn>
std::string StandardErrorOf(Fn fn) {
    const std::string path = TempPath("stderr.txt");
    fflush(stderr);
    const int saved = dup(2);
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 2);
    close(fd);
    fn();
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace testfiles
