#include "DropList.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
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

TEST(CDropList, APathLongerThan499BytesIsSkippedNotCutAndTheNextItemReadsWhole) {
    OpaqueDragRef drag;
    drag.uris = {"file:///first.wav", "file:///" + std::string(700, 'a'), "file:///b.wav"};
    CDropList list(&drag);
    EXPECT_STREQ(list.GetPath(0), "/first.wav");
    // Neither the cut path nor the previous result: nothing to open.
    EXPECT_STREQ(list.GetPath(1), "");
    EXPECT_STREQ(list.GetPath(2), "/b.wav");
}

TEST(CDropList, APathOfExactly499BytesIsKeptWhole) {
    std::string path = "/" + std::string(494, 'k') + ".wav";
    ASSERT_EQ(path.size(), 499u);
    OpaqueDragRef drag;
    drag.uris = {"file://" + path};
    CDropList list(&drag);
    EXPECT_EQ(std::string(list.GetPath(0)), path);
}

TEST(CDropList, ASkippedPathWritesOneLogLineWithItsLengthAndBeginning) {
    const std::string logPath = ScratchDir() + "/skip-log.txt";
    QuvLog log;
    log.LogOpen(logPath.c_str(), "drop");
    OpaqueDragRef drag;
    drag.uris = {"file:///" + std::string(600, 'q') + ".wav", "file:///short.wav"};
    CDropList list(&drag);
    list.GetPath(0);
    list.GetPath(1);
    std::ifstream in(logPath);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::string line = "*** CDropList: skipped a path of 605 bytes (at most 499 fit): /qqq";
    EXPECT_NE(text.find(line), std::string::npos) << text;
    EXPECT_EQ(text.find("skipped"), text.rfind("skipped")) << text;  // one line only
    EXPECT_EQ(text.find("short.wav"), std::string::npos) << text;
}

TEST(CDropList, ANullDragHasNoItems) {
    CDropList list(nullptr);
    EXPECT_EQ(list.m_count, 0);
    EXPECT_STREQ(list.GetPath(0), "");
}

TEST(CDropList, APathOf4000BytesIsSkippedWithoutOverflowingTheBuffer) {
    std::string name(4000, 'b');
    OpaqueDragRef drag;
    drag.uris = {"file:///" + name};
    CDropList list(&drag);
    EXPECT_STREQ(list.GetPath(0), "");
    EXPECT_EQ(sizeof list.m_path, static_cast<size_t>(CDropList::kPathSize));
}

TEST(CDropList, PercentEncodedNamesArriveAsTheirOwnBytes) {
    OpaqueDragRef drag;
    drag.uris = {"file:///s/100%25%20snare.wav", "file:///s/Kl%C3%A4nge%201.wav",
                 "file:///s/a%23b.aif"};
    CDropList list(&drag);
    EXPECT_EQ(std::string(list.GetPath(0)), "/s/100% snare.wav");
    EXPECT_EQ(std::string(list.GetPath(1)), "/s/Kl\xC3\xA4nge 1.wav");
    EXPECT_EQ(std::string(list.GetPath(2)), "/s/a#b.aif");
}

TEST(CDropList, AFolderGivenWithATrailingSlashGetsNoSecondOne) {
    std::string dir = ScratchDir();
    OpaqueDragRef drag;
    drag.uris = {"file://" + dir + "/"};
    CDropList list(&drag);
    EXPECT_EQ(std::string(list.GetPath(0)), dir + "/");
}

TEST(CDropList, AFolderOf498BytesEndsInSlashAndOneOf499BytesIsSkipped) {
    // Nested folders whose path is 498 bytes: the '/' still fits, as the last byte.
    std::string dir = ScratchDir() + "/deep";
    mkdir(dir.c_str(), 0755);
    while (dir.size() < 498) {
        // Never leave exactly one byte to fill: a component needs "/" and a letter.
        size_t remaining = 498 - dir.size();
        size_t part = std::min<size_t>(100, remaining - 1);
        if (remaining - 1 - part == 1) --part;
        dir += "/" + std::string(part, 'd');
        ASSERT_TRUE(mkdir(dir.c_str(), 0755) == 0 || errno == EEXIST) << dir;
    }
    ASSERT_EQ(dir.size(), 498u);
    OpaqueDragRef drag;
    drag.uris = {"file://" + dir};
    CDropList list(&drag);
    EXPECT_EQ(std::string(list.GetPath(0)), dir + "/");
    // A folder of 499 bytes fits, but not with its '/': read as a file it would be
    // walked as one, so it is skipped too.
    std::string longer = dir + "e";
    ASSERT_TRUE(mkdir(longer.c_str(), 0755) == 0 || errno == EEXIST) << longer;
    drag.uris = {"file://" + longer};
    CDropList list2(&drag);
    EXPECT_STREQ(list2.GetPath(0), "");
}

TEST(CDropList, AFileItemAfterAnOtherSchemeItemReplacesThePreviousResult) {
    OpaqueDragRef drag;
    drag.uris = {"http://example.org/a.wav", "file:///b.wav", "ftp://x/c.wav"};
    CDropList list(&drag);
    EXPECT_STREQ(list.GetPath(0), "");
    EXPECT_STREQ(list.GetPath(1), "/b.wav");
    EXPECT_STREQ(list.GetPath(2), "/b.wav");
}

TEST(CDropList, AFileOnAnotherHostHasNoLocalPathAndReturnsThePreviousResult) {
    OpaqueDragRef drag;
    drag.uris = {"file:///here.wav", "file://elsewhere.invalid/there.wav",
                 "file://localhost/local.wav"};
    CDropList list(&drag);
    EXPECT_STREQ(list.GetPath(0), "/here.wav");
    EXPECT_STREQ(list.GetPath(1), "/here.wav");
    EXPECT_STREQ(list.GetPath(2), "/local.wav");
}
