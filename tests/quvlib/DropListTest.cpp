#include "DropList.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {
std::string ScratchDir() {
    const char* tmp = std::getenv("VELOTUNE_TEST_TMP");
    std::string dir = std::string(tmp ? tmp : "/tmp") + "/droplist";
    mkdir(tmp ? tmp : "/tmp", 0755);
    mkdir(dir.c_str(), 0755);
    return dir;
}
}  // namespace

TEST(CDropList, CountsTheDroppedItems) {
    OpaqueDragRef drag;
    drag.uris = {"file:///a", "file:///b", "http://example.org/"};
    CDropList list(&drag);
    EXPECT_EQ(list.m_count, 3);
}

TEST(CDropList, ADroppedFolderYieldsItsPathEndingInSlashAFileNone) {
    std::string dir = ScratchDir();
    std::string file = dir + "/take one.wav";
    std::FILE* f = std::fopen(file.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fclose(f);
    OpaqueDragRef drag;
    drag.uris = {"file://" + dir, "file://" + dir + "/take%20one.wav"};
    CDropList list(&drag);
    EXPECT_EQ(std::string(list.GetPath(0)), dir + "/");
    EXPECT_EQ(std::string(list.GetPath(1)), file);
}

TEST(CDropList, GetPathForAnItemWithoutAFileUriReturnsThePreviousResult) {
    OpaqueDragRef drag;
    drag.uris = {"file:///nonexistent/x.aif", "http://example.org/y.aif"};
    CDropList list(&drag);
    EXPECT_EQ(std::string(list.GetPath(1)), "");
    EXPECT_EQ(std::string(list.GetPath(0)), "/nonexistent/x.aif");
    EXPECT_EQ(std::string(list.GetPath(1)), "/nonexistent/x.aif");
}

TEST(CDropList, AnIndexOutOfRangeReturnsThePreviousResult) {
    OpaqueDragRef drag;
    drag.uris = {"file:///z.wav"};
    CDropList list(&drag);
    list.GetPath(0);
    EXPECT_EQ(std::string(list.GetPath(5)), "/z.wav");
    EXPECT_EQ(std::string(list.GetPath(-1)), "/z.wav");
}

TEST(CDropList, ALongPathIsCutTo499Bytes) {
    OpaqueDragRef drag;
    drag.uris = {"file:///" + std::string(700, 'a')};
    CDropList list(&drag);
    EXPECT_EQ(std::string(list.GetPath(0)).size(), 499u);
}

TEST(CDropList, ANullDragHasNoItems) {
    CDropList list(nullptr);
    EXPECT_EQ(list.m_count, 0);
    EXPECT_STREQ(list.GetPath(0), "");
}
