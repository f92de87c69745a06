// The entry of every test program. Before GoogleTest starts (and so before any
// test can read HOME or open the log that the main window writes to the desktop),
// the process gets a home folder and XDG folders of its own: a fresh folder under
// $VELOTUNE_TEST_TMP (or the system's temporary folder), removed when the program
// ends. So a test program started by hand from a developer's shell, by CTest or by
// tests/scripts/with-test-env.sh never reads or writes the developer's files. The
// program's children (the system tests run the finished program) inherit it.
// XDG_RUNTIME_DIR is left as it is: it holds sockets of the running session (the
// sound server's), not files of the user's.
#include <ftw.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "MainApp.h"

namespace {

std::string g_home;  // the private home, removed at exit
pid_t g_owner = 0;   // the process that made it

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    remove(path);
    return 0;
}

void RemoveHome() {
    // Only the process that made the folder removes it: a forked child that
    // ends through exit must not pull it from under its parent.
    if (!g_home.empty() && getpid() == g_owner)
        nftw(g_home.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

void MakeFolder(const std::string& path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        std::perror(path.c_str());
        std::exit(2);
    }
}

// Makes the private home with the folders a desktop session has, and points HOME
// and the XDG user folders at it. The desktop is $HOME/Desktop (no user-dirs.dirs
// in the private config folder names another).
void UsePrivateHome() {
    const char* base = std::getenv("VELOTUNE_TEST_TMP");
    if (!base || !*base) base = std::getenv("TMPDIR");
    if (!base || !*base) base = "/tmp";
    MakeFolder(base);
    std::string pattern = std::string(base) + "/velotune-home.XXXXXX";
    if (!mkdtemp(&pattern[0])) {
        std::perror(pattern.c_str());
        std::exit(2);
    }
    g_home = pattern;
    g_owner = getpid();
    std::atexit(RemoveHome);
    const struct {
        const char* variable;
        const char* folder;
    } places[] = {{"XDG_CONFIG_HOME", "/.config"},
                  {"XDG_DATA_HOME", "/.local/share"},
                  {"XDG_STATE_HOME", "/.local/state"},
                  {"XDG_CACHE_HOME", "/.cache"}};
    MakeFolder(g_home + "/Desktop");
    MakeFolder(g_home + "/.local");
    for (const auto& place : places) {
        MakeFolder(g_home + place.folder);
        setenv(place.variable, (g_home + place.folder).c_str(), 1);
    }
    setenv("HOME", g_home.c_str(), 1);
    // Started by hand, without CTest's scratch folder: the tests' scratch files go
    // into the private home too, and leave with it.
    if (!std::getenv("VELOTUNE_TEST_TMP") || !*std::getenv("VELOTUNE_TEST_TMP")) {
        MakeFolder(g_home + "/scratch");
        setenv("VELOTUNE_TEST_TMP", (g_home + "/scratch").c_str(), 1);
    }
    // Read by the test scripts' programs, not by the toolkit: kept consistent.
    setenv("XDG_DESKTOP_DIR", (g_home + "/Desktop").c_str(), 1);
}

}  // namespace

int main(int argc, char** argv) {
    UsePrivateHome();
    // The application's name and pictures, as the program sets them at start-up,
    // for the tests that make its windows and controls without its application
    // object.
    MainApp::Identify();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
