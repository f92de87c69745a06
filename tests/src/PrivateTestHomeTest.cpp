// Every test program runs with a home and XDG folders of its own, made by its main
// (tests/support/TestMain.cpp) however it is started, so that constructing the
// main window, which opens its log on the desktop, never touches the developer's
// own ~/Desktop/velotune.txt.
#include <gtest/gtest.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "MainDlg.h"
#include "QuvLog.h"
#include "UDir.h"

extern char** environ;

namespace {

std::string Env(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

bool IsFolder(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Runs this test program again with `env` as its whole environment and only the
// tests `filter` names; returns its exit status (-1 when it did not exit).
int RunSelf(const std::vector<std::string>& env, const std::string& filter) {
    char exe[4096];
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0) return -1;
    exe[n] = 0;
    std::string filterArg = "--gtest_filter=" + filter;
    std::vector<char*> argv = {exe, &filterArg[0], nullptr};
    std::vector<std::string> envCopy = env;
    std::vector<char*> envp;
    for (std::string& e : envCopy) envp.push_back(&e[0]);
    envp.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, exe, nullptr, nullptr, argv.data(), envp.data()) != 0) return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

}  // namespace

TEST(PrivateTestHome, HomeAndTheXdgFoldersAreAFreshFolderOfThisProgram) {
    const std::string home = Env("HOME");
    ASSERT_FALSE(home.empty());
    EXPECT_NE(home.find("/velotune-home."), std::string::npos) << home;
    EXPECT_TRUE(IsFolder(home + "/Desktop")) << home;
    if (const passwd* pw = getpwuid(getuid())) {
        EXPECT_NE(home, pw->pw_dir);
    }
    for (const char* name :
         {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"}) {
        const std::string folder = Env(name);
        EXPECT_EQ(folder.rfind(home + "/", 0), 0u) << name << " = " << folder;
        EXPECT_TRUE(IsFolder(folder)) << name << " = " << folder;
    }
    UDir desktop(kPathDesktop);
    EXPECT_EQ(std::string(desktop.GetPath()), home + "/Desktop/");
    UDir support(kPathSupport);
    EXPECT_EQ(std::string(support.GetPath()), home + "/.local/share/");
}

TEST(PrivateTestHome, TheMainWindowOpensItsLogOnThePrivateDesktop) {
    MainDlg dlg;
    EXPECT_EQ(std::string(QuvLog::LogPath()), Env("HOME") + "/Desktop/velotune.txt");
}

// The case of a developer running a test program from a shell: HOME is their own
// and no XDG variables are set. The program must leave their log alone.
TEST(PrivateTestHome, ATestProgramStartedWithTheUsersHomeLeavesTheUsersLogAlone) {
    const std::string userHome = Env("HOME") + "/user-home";
    ASSERT_EQ(mkdir(userHome.c_str(), 0700), 0);
    ASSERT_EQ(mkdir((userHome + "/Desktop").c_str(), 0700), 0);
    const std::string userLog = userHome + "/Desktop/velotune.txt";
    std::ofstream(userLog) << "the user's own log\n";

    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        if (entry.rfind("HOME=", 0) == 0 || entry.rfind("XDG_", 0) == 0) continue;
        env.push_back(entry);
    }
    env.push_back("HOME=" + userHome);
    // The child constructs the main window, as the main window tests do.
    EXPECT_EQ(RunSelf(env, "PrivateTestHome.TheMainWindowOpensItsLogOnThePrivateDesktop"), 0);
    EXPECT_EQ(ReadText(userLog), "the user's own log\n");
    struct stat st {};
    EXPECT_NE(stat((userHome + "/velotune.txt").c_str(), &st), 0);
}
