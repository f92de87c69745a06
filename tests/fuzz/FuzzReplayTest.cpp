// Replays the inputs of every fuzz target (fuzz/) through the target's own entry
// function: every seed the campaign starts from (fuzz/FuzzSeeds.cpp) and every
// input kept under fuzz/regressions/<target>/. The harnesses check their
// properties with abort(); in the sanitizer build the address and undefined
// behaviour checks run as in the campaign. Deterministic and quick, unlike the
// time-boxed campaign of `make fuzz`.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FuzzSeeds.h"

// The harnesses' entry functions, each compiled under its own name
// (tests/CMakeLists.txt renames LLVMFuzzerTestOneInput per harness).
extern "C" int FuzzOneSndWav(const uint8_t* data, size_t size);
extern "C" int FuzzOneSndAif(const uint8_t* data, size_t size);
extern "C" int FuzzOneSndMac(const uint8_t* data, size_t size);
extern "C" int FuzzOneDropList(const uint8_t* data, size_t size);
extern "C" int FuzzOneEditBox(const uint8_t* data, size_t size);

namespace {

using Entry = int (*)(const uint8_t*, size_t);

// The regular files of `dir` (none when it does not exist), sorted.
std::vector<std::string> FilesIn(const std::string& dir) {
    std::vector<std::string> files;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d)) {
            const std::string path = dir + "/" + e->d_name;
            struct stat st {};
            if (e->d_name[0] != '.' && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))
                files.push_back(path);
        }
        closedir(d);
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
}

// The seeds, written once per process into the test's private home.
const std::string& SeedDir() {
    static const std::string dir = [] {
        const char* home = std::getenv("HOME");
        std::string d = std::string(home ? home : "/tmp") + "/fuzz-seeds";
        velotune_fuzz::WriteSeeds(d);
        return d;
    }();
    return dir;
}

std::string RegressionDir(const std::string& target) {
    return std::string(VELOTUNE_SOURCE_DIR) + "/fuzz/regressions/" + target;
}

// Runs `entry` over every seed and kept input of `target`; the name of each input
// goes to the output first, so that a harness that aborts names its input.
// Returns how many inputs ran.
size_t Replay(const std::string& target, Entry entry) {
    std::vector<std::string> inputs = FilesIn(SeedDir() + "/" + target);
    for (const std::string& kept : FilesIn(RegressionDir(target))) inputs.push_back(kept);
    for (const std::string& path : inputs) {
        std::printf("replaying %s\n", path.c_str());
        std::fflush(stdout);
        const std::vector<uint8_t> bytes = ReadBytes(path);
        EXPECT_EQ(entry(bytes.data(), bytes.size()), 0) << path;
    }
    return inputs.size();
}

// Every target has seeds of its own, and every kept input is replayed on top.
void ExpectAllReplayed(const std::string& target, Entry entry, size_t minSeeds) {
    const size_t kept = FilesIn(RegressionDir(target)).size();
    const size_t seeds = FilesIn(SeedDir() + "/" + target).size();
    EXPECT_GE(seeds, minSeeds) << target;
    EXPECT_EQ(Replay(target, entry), seeds + kept) << target;
}

}  // namespace

TEST(FuzzReplay, TheTargetsAreTheOnesTheSeedWriterKnows) {
    std::vector<std::string> names(std::begin(velotune_fuzz::kTargets),
                                   std::end(velotune_fuzz::kTargets));
    EXPECT_EQ(names,
              (std::vector<std::string>{"snd_wav", "snd_aif", "snd_mac", "droplist", "editbox"}));
    // Everything under fuzz/regressions is a target's folder: a misspelt folder or
    // a file beside them would never be replayed.
    const std::string kept = std::string(VELOTUNE_SOURCE_DIR) + "/fuzz/regressions";
    DIR* d = opendir(kept.c_str());
    ASSERT_NE(d, nullptr) << kept;
    while (dirent* e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        EXPECT_NE(std::find(names.begin(), names.end(), e->d_name), names.end()) << e->d_name;
        struct stat st {};
        EXPECT_TRUE(stat((kept + "/" + e->d_name).c_str(), &st) == 0 && S_ISDIR(st.st_mode))
            << e->d_name;
    }
    closedir(d);
}

TEST(FuzzReplay, TheWavReaderRunsCleanOverEverySeedAndKeptInput) {
    ExpectAllReplayed("snd_wav", FuzzOneSndWav, 10);
}

TEST(FuzzReplay, TheAiffReaderRunsCleanOverEverySeedAndKeptInput) {
    ExpectAllReplayed("snd_aif", FuzzOneSndAif, 9);
}

TEST(FuzzReplay, TheDecodedReaderRunsCleanOverEverySeedAndKeptInput) {
    ExpectAllReplayed("snd_mac", FuzzOneSndMac, 20);
}

TEST(FuzzReplay, TheDropListRunsCleanOverEverySeedAndKeptInput) {
    ExpectAllReplayed("droplist", FuzzOneDropList, 12);
}

TEST(FuzzReplay, TheEditFieldRunsCleanOverEverySeedAndKeptInput) {
    ExpectAllReplayed("editbox", FuzzOneEditBox, 4);
}
