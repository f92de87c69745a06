// The queue of dropped paths: indices, cursor, the 16-bit length and one appender
// with one reader at the same time.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "SndList.h"

// Reads and sets the list's cursor, so that the tests can tell a step from the
// cursor from a restart at the head.
class SndListProbe {
  public:
    explicit SndListProbe(SndList& list) : m_list(list) {}
    int CursorIndex() const { return m_list.m_iCurrent; }
    const char* CursorText() const {
        // A node is its link followed at once by the text.
        return m_list.m_pCurrent
                   ? reinterpret_cast<const char*>(m_list.m_pCurrent) + sizeof(std::atomic<void*>)
                   : nullptr;
    }
    // Leaves the cursor's index at `index` but its node on the first item: a step
    // from the cursor then lands on the wrong item, a restart on the right one.
    void MisplaceCursor(int index) {
        m_list.m_pCurrent = m_list.m_pFirst;
        m_list.m_iCurrent = index;
    }

  private:
    SndList& m_list;
};

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// From the sanitizers' allocator interface (their runtime defines it; the
// compiler's own headers do not always declare it).
extern "C" size_t __sanitizer_get_current_allocated_bytes(void);
#endif

// Bytes of heap memory the process holds: the sanitizers' own count in their
// builds (they replace the allocator), the C library's count otherwise.
size_t HeapBytesInUse() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

int Add(SndList& list, std::string text) {
    return list.AddString(&text[0]);
}

void AddItems(SndList& list, int n) {
    for (int i = 0; i < n; ++i) Add(list, "item" + std::to_string(i));
}

}  // namespace

TEST(SndList, StartsEmptyWithoutACursor) {
    SndList list;
    SndListProbe probe(list);
    EXPECT_EQ(list.Size(), 0);
    EXPECT_EQ(probe.CursorIndex(), -1);
}

TEST(SndList, GetStringPastTheEndReturnsEmptyString) {
    SndList list;
    EXPECT_STREQ(list.GetString(0), "");
    AddItems(list, 3);
    EXPECT_STREQ(list.GetString(list.Size()), "");
    EXPECT_STREQ(list.GetString(1000), "");
    EXPECT_STREQ(list.GetString(2), "item2");
}

TEST(SndList, GetStringPastTheEndLeavesTheCursorWhereItWas) {
    SndList list;
    AddItems(list, 3);
    SndListProbe probe(list);
    list.GetString(1);
    list.GetString(3);
    EXPECT_EQ(probe.CursorIndex(), 1);
}

TEST(SndList, NegativeIndexGivesTheFirstItemsText) {
    SndList list;
    AddItems(list, 3);
    list.GetString(2);
    SndListProbe probe(list);
    EXPECT_STREQ(list.GetString(-1), "item0");
    EXPECT_EQ(probe.CursorIndex(), 0);  // reset to the head, no step taken
    EXPECT_STREQ(list.GetString(-1000), "item0");
}

TEST(SndList, NegativeIndexOfAnEmptyListGivesEmptyString) {
    SndList list;
    EXPECT_STREQ(list.GetString(-1), "");
}

TEST(SndList, ReadingInRisingOrderStepsOnFromTheCursor) {
    SndList list;
    AddItems(list, 5);
    SndListProbe probe(list);
    for (int i = 0; i < 5; ++i) {
        EXPECT_STREQ(list.GetString(i), ("item" + std::to_string(i)).c_str());
        EXPECT_EQ(probe.CursorIndex(), i);
    }
    // One step from the cursor, not a walk from the head: with the cursor's node
    // misplaced on item0 while it claims index 2, index 3 comes out as item1.
    probe.MisplaceCursor(2);
    EXPECT_STREQ(list.GetString(3), "item1");
}

TEST(SndList, ReadingBackwardsRestartsFromTheHeadEachTime) {
    SndList list;
    AddItems(list, 5);
    SndListProbe probe(list);
    for (int i = 4; i >= 0; --i)
        EXPECT_STREQ(list.GetString(i), ("item" + std::to_string(i)).c_str());
    // A restart ignores the cursor's node: misplaced at index 4, index 3 is right.
    probe.MisplaceCursor(4);
    EXPECT_STREQ(list.GetString(3), "item3");
    EXPECT_EQ(probe.CursorIndex(), 3);
}

TEST(SndList, ReadingTheSameIndexAgainDoesNotMove) {
    SndList list;
    AddItems(list, 3);
    SndListProbe probe(list);
    list.GetString(1);
    probe.MisplaceCursor(1);  // the node stays on item0
    EXPECT_STREQ(list.GetString(1), "item0");
}

TEST(SndList, AddStringReturnsSuccessiveIndicesAfterConstructionAndClear) {
    SndList list;
    EXPECT_EQ(Add(list, "a"), 0);
    EXPECT_EQ(Add(list, "b"), 1);
    EXPECT_EQ(Add(list, "c"), 2);
    EXPECT_EQ(list.Size(), 3);
    list.Clear();
    EXPECT_EQ(Add(list, "d"), 0);
    EXPECT_EQ(Add(list, "e"), 1);
    EXPECT_STREQ(list.GetString(0), "d");
}

TEST(SndList, AddStringCopiesTheText) {
    SndList list;
    char text[] = "/music/kick.wav";
    list.AddString(text);
    text[1] = 'X';
    EXPECT_STREQ(list.GetString(0), "/music/kick.wav");
}

TEST(SndList, KeepsAnEmptyText) {
    SndList list;
    EXPECT_EQ(Add(list, ""), 0);
    EXPECT_EQ(Add(list, "x"), 1);
    EXPECT_STREQ(list.GetString(0), "");
    EXPECT_STREQ(list.GetString(1), "x");
}

TEST(SndList, KeepsATextOf32766Bytes) {
    SndList list;
    std::string text(32766, 'p');
    EXPECT_EQ(Add(list, text), 0);
    EXPECT_EQ(list.Size(), 1);
    EXPECT_EQ(strlen(list.GetString(0)), 32766u);
}

TEST(SndList, RefusesATextOf32767BytesWhoseLengthTurnsNegative) {
    SndList list;
    Add(list, "first");
    EXPECT_EQ(Add(list, std::string(32767, 'p')), 1);  // the count, nothing added
    EXPECT_EQ(list.Size(), 1);
    EXPECT_EQ(Add(list, std::string(65535, 'p')), 1);  // length 65536 narrows to 0
    EXPECT_EQ(list.Size(), 1);
}

TEST(SndList, ATextWhoseLengthWrapsPositiveIsCutToTheNarrowedLength) {
    SndList list;
    std::string text = std::string(10, 'a') + std::string(65536, 'b');  // 65547 with NUL
    EXPECT_EQ(Add(list, text), 0);
    EXPECT_STREQ(list.GetString(0), "aaaaaaaaaa");  // 65547 narrows to 11
}

TEST(SndList, ClearEmptiesTheListAndResetsTheCursor) {
    SndList list;
    AddItems(list, 4);
    list.GetString(3);
    list.Clear();
    SndListProbe probe(list);
    EXPECT_EQ(list.Size(), 0);
    EXPECT_EQ(probe.CursorIndex(), -1);
    EXPECT_EQ(probe.CursorText(), nullptr);
    EXPECT_STREQ(list.GetString(0), "");
    list.Clear();  // twice is harmless
    EXPECT_EQ(list.Size(), 0);
}

TEST(SndList, SelectItemPastTheEndPutsTheCursorOnTheFirstItem) {
    SndList list;
    AddItems(list, 2);
    SndListProbe probe(list);
    list.SelectItem(2);
    EXPECT_STREQ(probe.CursorText(), "item0");
    list.SelectItem(50);
    EXPECT_STREQ(probe.CursorText(), "item0");
}

TEST(SndList, ItemsAddedAfterSelectingPastTheEndAreReadCorrectly) {
    SndList list;
    AddItems(list, 2);
    list.SelectItem(2);  // off the end: the cursor falls back to the first item
    Add(list, "item2");
    Add(list, "item3");
    EXPECT_STREQ(list.GetString(2), "item2");
    EXPECT_STREQ(list.GetString(3), "item3");
}

TEST(SndList, SelectItemOnAnEmptyListThenAppendingReadsCorrectly) {
    SndList list;
    list.SelectItem(0);
    list.SelectItem(3);
    AddItems(list, 4);
    EXPECT_STREQ(list.GetString(3), "item3");
    EXPECT_STREQ(list.GetString(0), "item0");
}

TEST(SndList, AppendingWhileReadingKeepsTheCursorValid) {
    SndList list;
    AddItems(list, 2);
    EXPECT_STREQ(list.GetString(1), "item1");  // the cursor on the last item
    Add(list, "item2");
    EXPECT_STREQ(list.GetString(2), "item2");  // one step through the new link
}

TEST(SndList, DestroyingAFullListFreesEveryItem) {
    // Texts of 3000 bytes: blocks that large go straight back to the C library's
    // free pool when freed (no per-thread cache keeps them), so its count of bytes
    // in use returns exactly to where it was.
    const std::string text(3000, 'p');
    const size_t before = HeapBytesInUse();
    size_t filled = 0;
    {
        SndList list;
        for (int i = 0; i < 100; ++i) Add(list, text);
        filled = HeapBytesInUse();
    }
    // The measure sees the nodes, then sees every one of them go.
    EXPECT_GE(filled, before + 100 * text.size());
    EXPECT_EQ(HeapBytesInUse(), before);
}

TEST(SndList, OneAppenderAndOneReaderAtOnceSeeEveryItemWhole) {
    SndList list;
    const int kItems = 20000;
    std::atomic<bool> go{false};
    std::thread appender([&] {
        while (!go.load(std::memory_order_acquire)) {
        }
        for (int i = 0; i < kItems; ++i) {
            std::string text = "/drop/" + std::to_string(i) + std::string(i % 13, 'x') + ".wav";
            EXPECT_EQ(list.AddString(&text[0]), i);
        }
    });
    int mismatches = 0;
    int read = 0;
    go.store(true, std::memory_order_release);
    // The worker's loop: bounded by Size(), re-read at every step.
    while (read < kItems) {
        if (read < list.Size()) {
            std::string expected =
                "/drop/" + std::to_string(read) + std::string(read % 13, 'x') + ".wav";
            if (expected != list.GetString(read)) ++mismatches;
            // An index the appender never reaches stays past the end throughout.
            EXPECT_STREQ(list.GetString(kItems + 1), "");
            ++read;
        }
    }
    appender.join();
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(list.Size(), kItems);
    EXPECT_STREQ(list.GetString(kItems - 1), ("/drop/" + std::to_string(kItems - 1) +
                                              std::string((kItems - 1) % 13, 'x') + ".wav")
                                                 .c_str());
}
