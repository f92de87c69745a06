#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "UDir.h"

namespace {

// A fresh scratch folder for one test, ending in "/".
std::string Scratch(const std::string& name) {
    const char* base = getenv("VELOTUNE_TEST_TMP");
    std::string dir = base && *base ? base : VELOTUNE_BINARY_DIR "/testtmp";
    mkdir(dir.c_str(), 0777);
    dir += "/udir";
    mkdir(dir.c_str(), 0777);
    dir += "/" + name;
    std::string cmd = "rm -rf '" + dir + "'";
    if (system(cmd.c_str()) != 0) ADD_FAILURE() << cmd;
    mkdir(dir.c_str(), 0777);
    return dir + "/";
}

bool IsFolder(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

TEST(UDir, SettingAPathWithTwoTrailingBlanksGivesThePathWithItsSeparator) {
    UDir dir;
    EXPECT_EQ(dir.SetPath("/Users/x/Desktop  "), 1);
    EXPECT_STREQ(dir.GetPath(), "/Users/x/Desktop/");
    EXPECT_EQ(dir.GetDelim(), '/');
    EXPECT_TRUE(dir.IsPosix());
}

TEST(UDir, TheDefaultObjectHasAnEmptyPathAndABackslashSeparator) {
    UDir dir;
    EXPECT_STREQ(dir.GetPath(), "");
    EXPECT_EQ(dir.GetDelim(), '\\');
    EXPECT_TRUE(dir.IsPosix());
    EXPECT_EQ(dir.VerifPath(), 0);  // nothing to normalise
    EXPECT_STREQ(dir.GetPath(), "");
}

TEST(UDir, VerifPathReturnsTheLengthBeforeTheBlanksWereRemoved) {
    UDir dir;
    dir.SetPath("/a");
    EXPECT_STREQ(dir.GetPath(), "/a/");
    EXPECT_EQ(dir.VerifPath(), 3);
    EXPECT_STREQ(dir.GetPath(), "/a/");
}

TEST(UDir, APathNotStartingWithASlashGetsTheColonSeparator) {
    UDir dir;
    dir.SetPath("Disk:Users:x");
    EXPECT_STREQ(dir.GetPath(), "Disk:Users:x:");
    EXPECT_EQ(dir.GetDelim(), ':');
    EXPECT_FALSE(dir.IsPosix());
    // The constructors report the POSIX style whatever the path, deliberately.
    UDir made("Disk:Users:x");
    EXPECT_STREQ(made.GetPath(), "Disk:Users:x:");
    EXPECT_EQ(made.GetDelim(), ':');
    EXPECT_TRUE(made.IsPosix());
}

TEST(UDir, MakeFilePathWithAnExtensionWithOrWithoutItsDotOrWithNoneGivesPathAndName) {
    UDir dir("/tmp/logs");
    EXPECT_STREQ(dir.MakeFilePath("log", "txt"), "/tmp/logs/log.txt");
    EXPECT_STREQ(dir.MakeFilePath("log", ".txt"), "/tmp/logs/log.txt");
    EXPECT_STREQ(dir.MakeFilePath("log"), "/tmp/logs/log");
    EXPECT_STREQ(dir.MakeFilePath("log", nullptr), "/tmp/logs/log");
    EXPECT_STREQ(dir.MakeFilePath("log", ""), "/tmp/logs/log");
}

TEST(UDir, MakeAppPathAppendsTheAppExtension) {
    UDir dir("/Applications");
    EXPECT_STREQ(dir.MakeAppPath("Velotune"), "/Applications/Velotune.app");
}

TEST(UDir, CloseFolderGoesUpOneLevelAndLeavesTheRootAsItIs) {
    UDir dir("/a/b/");
    dir.CloseFolder();
    EXPECT_STREQ(dir.GetPath(), "/a/");
    dir.CloseFolder();
    EXPECT_STREQ(dir.GetPath(), "/");
    dir.CloseFolder();
    EXPECT_STREQ(dir.GetPath(), "/");
    UDir empty;
    empty.CloseFolder();
    EXPECT_STREQ(empty.GetPath(), "");
}

TEST(UDir, OpenFolderOfAMissingNameLeavesThePathAsItWas) {
    const std::string root = Scratch("open");
    UDir dir(root.c_str());
    EXPECT_FALSE(dir.OpenFolder("missing"));
    EXPECT_STREQ(dir.GetPath(), root.c_str());
}

TEST(UDir, OpenFolderOfAnExistingFolderMovesIntoIt) {
    const std::string root = Scratch("open-existing");
    mkdir((root + "sub").c_str(), 0777);
    UDir dir(root.c_str());
    EXPECT_TRUE(dir.OpenFolder("sub"));
    EXPECT_EQ(std::string(dir.GetPath()), root + "sub/");
}

TEST(UDir, OpenFolderOfAPlainFileIsNotAFolder) {
    const std::string root = Scratch("open-file");
    FILE* f = fopen((root + "plain").c_str(), "w");
    ASSERT_NE(f, nullptr);
    fclose(f);
    UDir dir(root.c_str());
    EXPECT_FALSE(dir.OpenFolder("plain"));
    EXPECT_STREQ(dir.GetPath(), root.c_str());
}

TEST(UDir, CreateFolderMakesAMissingFolderAndMovesIntoIt) {
    const std::string root = Scratch("create");
    UDir dir(root.c_str());
    EXPECT_TRUE(dir.CreateFolder("new"));
    EXPECT_EQ(std::string(dir.GetPath()), root + "new/");
    EXPECT_TRUE(IsFolder(root + "new"));
    // An existing folder is simply entered.
    dir.CloseFolder();
    EXPECT_TRUE(dir.CreateFolder("new"));
    EXPECT_EQ(std::string(dir.GetPath()), root + "new/");
}

TEST(UDir, CreateFolderThatFailsLeavesThePathAsItWas) {
    const std::string root = Scratch("create-fail");
    FILE* f = fopen((root + "plain").c_str(), "w");
    ASSERT_NE(f, nullptr);
    fclose(f);
    UDir dir((root + "plain/").c_str());  // a file cannot hold folders
    EXPECT_FALSE(dir.CreateFolder("sub"));
    EXPECT_EQ(std::string(dir.GetPath()), root + "plain/");
}

TEST(UDir, MakeSurePathExistCreatesEveryMissingFolder) {
    const std::string root = Scratch("deep");
    const std::string deep = root + "one/two/three";
    UDir dir(deep.c_str());
    EXPECT_TRUE(dir.MakeSurePathExist());
    EXPECT_TRUE(IsFolder(root + "one/two/three"));
    EXPECT_EQ(std::string(dir.GetPath()), deep + "/");
    // Again, with everything there.
    EXPECT_TRUE(dir.MakeSurePathExist());
    EXPECT_EQ(std::string(dir.GetPath()), deep + "/");
}

TEST(UDir, MakeSurePathExistStopsAtTheFirstFolderThatCannotBeMade) {
    const std::string root = Scratch("deep-fail");
    FILE* f = fopen((root + "plain").c_str(), "w");
    ASSERT_NE(f, nullptr);
    fclose(f);
    UDir dir((root + "plain/sub/more").c_str());
    EXPECT_FALSE(dir.MakeSurePathExist());
    EXPECT_FALSE(IsFolder(root + "plain/sub"));
}

TEST(UDir, MakeSurePathExistOnTheRootOrAnEmptyPathSucceeds) {
    UDir root("/");
    EXPECT_TRUE(root.MakeSurePathExist());
    EXPECT_STREQ(root.GetPath(), "/");
    UDir empty;
    EXPECT_TRUE(empty.MakeSurePathExist());
}

TEST(UDir, SubPathGivesTheComponentsBetweenTheSeparators) {
    UDir dir("/a/b/");
    EXPECT_EQ(dir.SubPathCount(), 3);
    EXPECT_STREQ(dir.SubPath(0), "");
    EXPECT_STREQ(dir.SubPath(1), "a");
    EXPECT_STREQ(dir.SubPath(2), "b");
    EXPECT_STREQ(dir.SubPath(3), "");   // past the last separator
    EXPECT_STREQ(dir.SubPath(-1), "");  // before the first
}

TEST(UDir, SubPathCountRecordsAtMostTwentySeparators) {
    std::string path;
    for (int i = 0; i < 25; ++i) path += "/" + std::to_string(i);
    UDir dir(path.c_str());
    EXPECT_EQ(dir.SubPathCount(), 20);
    EXPECT_STREQ(dir.SubPath(19), "18");
    EXPECT_STREQ(dir.SubPath(20), "");
}

TEST(UDir, SubPathBeforeSubPathCountIsEmpty) {
    UDir dir("/a/b/");
    EXPECT_STREQ(dir.SubPath(1), "");
}

TEST(UDir, AFourThousandBytePathIsRefusedAndLeavesThePathAsItWas) {
    const std::string huge = "/" + std::string(4000, 'x');
    UDir dir("/keep/");
    EXPECT_EQ(dir.SetPath(huge.c_str()), 0);
    EXPECT_STREQ(dir.GetPath(), "/keep/");
    UDir made(huge.c_str());
    EXPECT_STREQ(made.GetPath(), "");
    // Also as a name to move into, and as a file name.
    EXPECT_FALSE(dir.OpenFolder(huge.c_str() + 1));
    EXPECT_FALSE(dir.CreateFolder(huge.c_str() + 1));
    EXPECT_STREQ(dir.GetPath(), "/keep/");
    EXPECT_STREQ(dir.MakeFilePath(huge.c_str(), "txt"), "");
    EXPECT_STREQ(dir.MakeAppPath(huge.c_str()), "");
}

TEST(UDir, APathThatJustFitsIsKeptAndOneByteMoreIsRefused) {
    // 299 bytes with the separator, plus the terminator, is the room.
    const std::string fits = "/" + std::string(297, 'y');  // + "/" = 299
    UDir dir;
    EXPECT_EQ(dir.SetPath(fits.c_str()), 1);
    EXPECT_EQ(std::string(dir.GetPath()), fits + "/");
    const std::string over = "/" + std::string(298, 'y');
    UDir other("/keep/");
    EXPECT_EQ(other.SetPath(over.c_str()), 0);
    EXPECT_STREQ(other.GetPath(), "/keep/");
    // The full path plus a name longer than the result room gives an empty result.
    // 299 + 100 = 399 bytes fill the result room; one more gives an empty result.
    EXPECT_EQ(strlen(dir.MakeFilePath(std::string(100, 'n').c_str())), 399u);
    EXPECT_STREQ(dir.MakeFilePath(std::string(101, 'n').c_str()), "");
}

TEST(UDir, TheLocalPlaceIsTheFolderThatHoldsTheExecutable) {
    char exe[1024];
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    ASSERT_GT(n, 0);
    exe[n] = 0;
    std::string folder(exe);
    folder.erase(folder.rfind('/') + 1);
    UDir dir(kPathLocal);
    EXPECT_EQ(std::string(dir.GetPath()), folder);
}

TEST(UDir, TheSupportPlaceIsTheUserDataFolder) {
    UDir dir(kPathSupport);
    const std::string path = dir.GetPath();
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.front(), '/');
    EXPECT_EQ(path.back(), '/');
    const char* xdg = getenv("XDG_DATA_HOME");
    const char* home = getenv("HOME");
    if (xdg && *xdg == '/') {
        EXPECT_EQ(path, std::string(xdg) + (std::string(xdg).back() == '/' ? "" : "/"));
    } else if (home && *home) {
        EXPECT_EQ(path, std::string(home) + "/.local/share/");
    }
}

TEST(UDir, TheDesktopPlaceIsAnExistingFolderOrTheHomeFolder) {
    UDir dir(kPathDesktop);
    const std::string path = dir.GetPath();
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.back(), '/');
    const char* home = getenv("HOME");
    const bool isHome = home && path == std::string(home) + "/";
    EXPECT_TRUE(isHome || IsFolder(path)) << path;
}

TEST(UDir, AnUnknownPlaceLeavesThePath) {
    UDir dir("/keep/");
    EXPECT_EQ(dir.SetPath(static_cast<XPATH>(7)), 1);
    EXPECT_STREQ(dir.GetPath(), "/keep/");
}

TEST(UDir, FreeSpaceReportsTheRootFileSystem) {
    UDir dir;
    EXPECT_GT(dir.FreeSpace(), 0);
}
