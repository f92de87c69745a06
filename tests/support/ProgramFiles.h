// Test helper for system tests of the finished program: what they need around
// it, the folders and tone files they hand it, and the order in which it will
// find them. Header-only.
#pragma once

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <string>
#include <vector>

#include "ProgramKit.h"
#include "SoundFileWriter.h"

namespace programkit {

/// Fails the calling test unless the test X server, the private sound server and
/// the built program are there; then removes the log of an earlier run.
inline void ExpectProgramEnvironment() {
    ASSERT_NE(getenv("DISPLAY"), nullptr) << "needs the test X server";
    ASSERT_NE(getenv("PULSE_SERVER"), nullptr) << "needs the private sound server";
    ASSERT_EQ(access(ProgramPath().c_str(), X_OK), 0) << ProgramPath();
    unlink(LogPath().c_str());
}

/// A folder of that name in the tests' scratch folder (made when missing).
inline std::string Folder(const std::string& name) {
    std::string dir = testfiles::TempPath(name);
    mkdir(dir.c_str(), 0755);
    return dir;
}

/// A tone of `hz` at half scale, 16-bit, written as `format` with `channels`
/// channels; returns its samples (left channel, as 16-bit values).
inline std::vector<short> WriteTone(const std::string& path, int format, double hz,
                                    double seconds, int channels = 2) {
    int frames = static_cast<int>(seconds * 44100);
    std::vector<float> f = testfiles::Sine(frames, channels, 44100, hz, 0.5);
    std::vector<short> s(f.size());
    for (size_t i = 0; i < f.size(); ++i) s[i] = static_cast<short>(std::lround(f[i] * 32767.0));
    EXPECT_TRUE(testfiles::WriteShorts(path, format, 44100, channels, s)) << path;
    std::vector<short> left(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i)
        left[static_cast<size_t>(i)] = s[static_cast<size_t>(i * channels)];
    return left;
}

/// The same as a 16-bit stereo WAV file.
inline std::vector<short> WriteTone(const std::string& path, double hz, double seconds) {
    return WriteTone(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, hz, seconds);
}

/// The names in `dir` the program takes (hidden ones left out), in the order the
/// folder lists them, which is the order a walk plays them in.
inline std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') names.push_back(e->d_name);
        closedir(d);
    }
    return names;
}

}  // namespace programkit
