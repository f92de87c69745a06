#include "XPlayList.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "../quvlib/ControlHostDouble.h"

namespace {
// The window double, also recording the tooltips a control asks for.
class TipHost : public ControlHostDouble {
  public:
    struct Tip {
        int x, y;
        std::string text;
    };
    std::vector<Tip> tips;
    void ShowToolTip(int x, int y, const char* text, bool, const char*) override {
        tips.push_back({x, y, text ? text : ""});
    }
};

// A list filling a control area of `w` x `h` pixels whose top-left is (left,
// top) in the window: rows (h - 20) / 14 are shown.
struct ListFixture {
    TipHost host;
    XPlayList list;
    ListFixture(int w = 300, int h = 300, int left = 0, int top = 0)
        : list(nullptr, XRect(0, 0, 0, 0), 5) {
        list.SetWindow(&host);
        list.PlaceIn(XRect(left, top, left + w - 1, top + h - 1));
    }
    // Adds entries named /snd/<i>.wav for i in [from, to).
    void AddRange(int from, int to) {
        for (int i = from; i < to; ++i) list.Add(Path(i).c_str(), 44100, 16, 2);
    }
    // What drawing would store: the first entry shown.
    void Layout() { list.m_first_visible = list.FirstShown(); }
    static std::string Path(int i) { return "/snd/" + std::to_string(i) + ".wav"; }
};

int Click(ListFixture& f, int localY, int localX = 10) {
    XMouseEvent e;
    e.SetClick(f.list.GetWindowRect().left + localX, f.list.GetWindowRect().top + localY, 1);
    return f.list.MouseDown(&e);
}
}  // namespace

TEST(XPlayList, ConstructionSetsTheListColoursAndAnEmptyRingWithNoChoice) {
    XPlayList list(nullptr, XRect(0, 0, 0, 35), 5);
    EXPECT_EQ(list.GetColorBack(), XColor(39, 44, 54, 255));
    EXPECT_EQ(list.GetColorFrame(), XColor(0, 0, 0, 255));
    EXPECT_EQ(list.GetColorText(), XColor(255, 255, 255, 255));
    EXPECT_EQ(list.GetCommand(), 5);
    EXPECT_EQ(list.m_test, 0);
    EXPECT_EQ(list.NextSlot(), 0);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.SelectIndex(), 0);
    EXPECT_EQ(list.NextInLine(), -1);
    for (int i = 0; i < XPlayList::kItems; ++i) EXPECT_STREQ(list.Entry(i).path, "");
}

TEST(XPlayList, AddCopiesThePathAndNumbersMakesTheEntryCurrentAndRedraws) {
    ListFixture f;
    f.list.Add("/a/one.wav", 48000, 24, 1);
    f.list.Add("/a/two.aif", 22050, 8, 2);
    EXPECT_EQ(f.list.Count(), 2);
    EXPECT_EQ(f.list.NextSlot(), 2);
    EXPECT_EQ(f.list.SelectIndex(), 1);
    const XPlayList::Item& first = f.list.Entry(0);
    EXPECT_STREQ(first.path, "/a/one.wav");
    EXPECT_EQ(first.rate, 48000);
    EXPECT_EQ(first.bits, 24);
    EXPECT_EQ(first.channels, 1);
    EXPECT_STREQ(f.list.Entry(1).path, "/a/two.aif");
    EXPECT_EQ(f.host.drawn.size(), 2u);
}

TEST(XPlayList, After51AddsTheCountIs50AndTheFirstEntryHasBeenOverwrittenByThe51st) {
    ListFixture f;
    f.AddRange(0, 51);
    EXPECT_EQ(f.list.Count(), 50);
    EXPECT_STREQ(f.list.Entry(0).path, ListFixture::Path(50).c_str());
    EXPECT_STREQ(f.list.Entry(1).path, ListFixture::Path(1).c_str());
    EXPECT_EQ(f.list.SelectIndex(), 0);
    EXPECT_EQ(f.list.NextSlot(), 1);
}

TEST(XPlayList, AfterFiftyAddsTheWriteSlotWrapsToZero) {
    ListFixture f;
    f.AddRange(0, 50);
    EXPECT_EQ(f.list.Count(), 50);
    EXPECT_EQ(f.list.NextSlot(), 0);
    EXPECT_EQ(f.list.SelectIndex(), 49);
}

TEST(XPlayList, APathLongerThanAnEntryIsRefusedAndChangesNothing) {
    for (size_t size : {size_t{512}, size_t{4000}}) {
        ListFixture f;
        ASSERT_TRUE(f.list.Add("/first.wav", 44100, 16, 2));
        ASSERT_TRUE(f.list.Add("/second.wav", 48000, 24, 1));
        std::string longPath = "/" + std::string(size - 5, 'x') + ".wav";
        ASSERT_EQ(longPath.size(), size);
        EXPECT_FALSE(f.list.Add(longPath.c_str(), 22050, 8, 2)) << size;
        EXPECT_EQ(f.list.Count(), 2) << size;
        EXPECT_EQ(f.list.NextSlot(), 2) << size;
        EXPECT_EQ(f.list.SelectIndex(), 1) << size;
        EXPECT_STREQ(f.list.Entry(0).path, "/first.wav");
        EXPECT_STREQ(f.list.Entry(1).path, "/second.wav");
        EXPECT_EQ(f.list.Entry(2).path[0], 0) << size;  // nothing cut into the next entry
        // The newest entry is still the current one: nothing to play on to.
        EXPECT_EQ(f.list.NextPath(), nullptr) << size;
    }
}

TEST(XPlayList, APathOfExactlyTheLongestLengthIsKeptWhole) {
    ListFixture f;
    std::string path = "/" + std::string(506, 'y') + ".wav";
    ASSERT_EQ(path.size(), static_cast<size_t>(XPlayList::kMaxPath));
    EXPECT_TRUE(f.list.Add(path.c_str(), 1, 2, 3));
    EXPECT_EQ(std::string(f.list.Entry(0).path), path);
}

TEST(XPlayList, AddOfANullPathStoresAnEmptyPath) {
    ListFixture f;
    f.list.Add("/old.wav", 1, 1, 1);
    f.list.m_next = 0;
    f.list.Add(nullptr, 8000, 8, 1);
    EXPECT_STREQ(f.list.Entry(0).path, "");
    EXPECT_EQ(f.list.Entry(0).rate, 8000);
    EXPECT_EQ(f.list.Count(), 2);
}

TEST(XPlayList, AddOfAPathTakenFromTheRingItselfCopiesIt) {
    ListFixture f;
    f.AddRange(0, 3);
    f.list.Select(0);
    char* again = f.list.NextPath();
    f.list.m_next = 0;  // the entry overwrites itself
    f.list.Add(again, 11025, 16, 2);
    EXPECT_STREQ(f.list.Entry(0).path, ListFixture::Path(0).c_str());
}

TEST(XPlayList, NextPathAfterASingleAddWithNoChoiceMadeReturnsNull) {
    ListFixture f;
    f.list.Add("/only.wav", 44100, 16, 2);
    EXPECT_EQ(f.list.NextPath(), nullptr);
    // Deliberately left one past the newest entry until the next Add.
    EXPECT_EQ(f.list.SelectIndex(), 1);
}

TEST(XPlayList, TheAddAfterNextPathReturnedNullMakesTheNewEntryCurrent) {
    ListFixture f;
    f.list.Add("/a.wav", 44100, 16, 2);
    ASSERT_EQ(f.list.NextPath(), nullptr);
    f.list.Add("/b.wav", 44100, 16, 2);
    EXPECT_EQ(f.list.SelectIndex(), 1);
    EXPECT_EQ(f.list.NextPath(), nullptr);
    EXPECT_EQ(f.list.SelectIndex(), 2);
}

TEST(XPlayList, NextPathWithoutAChoiceReturnsTheEntryAfterTheCurrentOneUpToTheNewest) {
    ListFixture f;
    f.AddRange(0, 3);
    f.list.Select(0);
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(0).c_str());
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(1).c_str());
    EXPECT_EQ(f.list.SelectIndex(), 1);
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(2).c_str());
    EXPECT_EQ(f.list.NextPath(), nullptr);
}

TEST(XPlayList, NextPathAfterSelectReturnsTheChosenEntryAndClearsTheChoice) {
    ListFixture f;
    f.AddRange(0, 4);
    f.host.drawn.clear();
    f.list.Select(1);
    EXPECT_EQ(f.list.NextInLine(), 1);
    EXPECT_EQ(f.list.SelectIndex(), 3);  // the choice does not move the current entry
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(1).c_str());
    EXPECT_EQ(f.list.SelectIndex(), 1);
    EXPECT_EQ(f.list.NextInLine(), -1);
    EXPECT_EQ(f.host.drawn.size(), 2u);  // Select and NextPath each redraw
}

TEST(XPlayList, NextPathWalksOnAcrossTheRingEndAfterTheRingWrapped) {
    ListFixture f;
    f.AddRange(0, 52);  // entries 50 and 51 sit in slots 0 and 1
    f.list.Select(48);
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(48).c_str());
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(49).c_str());
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(50).c_str());
    EXPECT_EQ(f.list.SelectIndex(), 0);
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(51).c_str());
    EXPECT_EQ(f.list.NextPath(), nullptr);
}

TEST(XPlayList, SelectWithANegativeIndexClearsTheChoice) {
    ListFixture f;
    f.AddRange(0, 3);
    f.list.Select(0);
    f.list.Select(-1);
    EXPECT_EQ(f.list.NextInLine(), -1);
    EXPECT_EQ(f.list.NextPath(), nullptr);  // the current entry, 2, is the newest
}

TEST(XPlayList, SelectPastTheRingIsIgnored) {
    ListFixture f;
    f.AddRange(0, 3);
    f.list.Select(1);
    f.host.drawn.clear();
    f.list.Select(50);
    f.list.Select(1000);
    EXPECT_EQ(f.list.NextInLine(), 1);
    EXPECT_TRUE(f.host.drawn.empty());
}

TEST(XPlayList, NextWhenTheCurrentEntryIsTheNewestDoesNothing) {
    ListFixture f;
    f.AddRange(0, 3);
    f.host.drawn.clear();
    f.list.Next();
    EXPECT_EQ(f.list.NextInLine(), -1);
    EXPECT_TRUE(f.host.drawn.empty());
}

TEST(XPlayList, NextChoosesTheEntryAfterTheCurrentOne) {
    ListFixture f;
    f.AddRange(0, 4);
    f.list.Select(1);
    ASSERT_NE(f.list.NextPath(), nullptr);  // entry 1 is now current
    f.list.Next();
    EXPECT_EQ(f.list.NextInLine(), 2);
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(2).c_str());
}

TEST(XPlayList, NextTwiceBeforeThePlayerMovesOnChoosesTheSameEntry) {
    ListFixture f;
    f.AddRange(0, 5);
    f.list.Select(0);
    ASSERT_NE(f.list.NextPath(), nullptr);
    f.list.Next();
    f.list.Next();
    EXPECT_EQ(f.list.NextInLine(), 1);
}

TEST(XPlayList, NextDoesNothingOnceTheWriteSlotHasWrappedToZero) {
    ListFixture f;
    f.AddRange(0, 50);  // m_next is 0: m_select < m_next - 1 never holds
    f.list.Select(10);
    ASSERT_NE(f.list.NextPath(), nullptr);
    f.list.Next();
    EXPECT_EQ(f.list.NextInLine(), -1);
}

TEST(XPlayList, PrevWithNoChoiceChoosesTheEntryBeforeTheCurrentOne) {
    ListFixture f;
    f.AddRange(0, 4);
    f.list.Prev();
    EXPECT_EQ(f.list.NextInLine(), 2);
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(2).c_str());
}

TEST(XPlayList, PrevWithAPendingChoiceAboveZeroStepsBackFromTheChoice) {
    ListFixture f;
    f.AddRange(0, 6);
    f.list.Prev();
    f.list.Prev();
    f.list.Prev();
    EXPECT_EQ(f.list.NextInLine(), 2);
}

TEST(XPlayList, PrevWithAPendingChoiceOfZeroGoesToTheEntryBeforeTheCurrentOne) {
    ListFixture f;
    f.AddRange(0, 6);  // current entry 5
    f.list.Select(0);
    f.list.Prev();
    EXPECT_EQ(f.list.NextInLine(), 4);
}

TEST(XPlayList, PrevWithTheCurrentEntryAtZeroGivesMinusOneWhichIsNoChoice) {
    ListFixture f;
    f.AddRange(0, 3);
    f.list.Select(0);
    ASSERT_STREQ(f.list.NextPath(), ListFixture::Path(0).c_str());
    f.list.Prev();
    EXPECT_EQ(f.list.NextInLine(), -1);
    // No choice: the walk goes on after the current entry.
    EXPECT_STREQ(f.list.NextPath(), ListFixture::Path(1).c_str());
}

TEST(XPlayList, PrevAfterTheLastEntryWasPlayedOutChoosesTheNewest) {
    ListFixture f;
    f.AddRange(0, 3);
    ASSERT_EQ(f.list.NextPath(), nullptr);  // current is one past the newest
    f.list.Prev();
    EXPECT_EQ(f.list.NextInLine(), 2);
}

TEST(XPlayList, FileNameIsThePartOfThePathAfterItsLastSlash) {
    ListFixture f;
    f.list.Add("/home/me/drums/kick 01.wav", 44100, 16, 2);
    f.list.Add("snare.aif", 44100, 16, 2);
    f.list.Add("/home/me/folder/", 44100, 16, 2);
    EXPECT_STREQ(f.list.FileName(0), "kick 01.wav");
    EXPECT_STREQ(f.list.FileName(1), "snare.aif");
    EXPECT_STREQ(f.list.FileName(2), "");
    EXPECT_STREQ(f.list.FileName(3), "");  // an empty entry
}

TEST(XPlayList, FileNameOutsideTheRingIsEmpty) {
    ListFixture f;
    f.AddRange(0, 50);
    EXPECT_STREQ(f.list.FileName(-1), "");
    EXPECT_STREQ(f.list.FileName(50), "");
    EXPECT_STREQ(f.list.Entry(50).path, "");
    EXPECT_STREQ(f.list.Entry(-3).path, "");
}

TEST(XPlayList, RowsShownFollowTheControlHeight) {
    ListFixture tall(300, 20 + 14 * 6);  // six rows below the header
    tall.AddRange(0, 10);
    EXPECT_EQ(tall.list.RowCount(), 7);
    EXPECT_EQ(tall.list.ShownCount(), 6);
    EXPECT_EQ(tall.list.FirstShown(), 4);
    ListFixture few(300, 20 + 14 * 6);
    few.AddRange(0, 2);
    EXPECT_EQ(few.list.ShownCount(), 2);
    EXPECT_EQ(few.list.FirstShown(), 0);
    ListFixture flat(300, 5);  // shorter than the header: no rows at all
    flat.AddRange(0, 3);
    EXPECT_EQ(flat.list.RowCount(), 0);
    EXPECT_EQ(flat.list.ShownCount(), 0);
    EXPECT_EQ(flat.list.FirstShown(), 3);
}

TEST(XPlayList, ItemIndexMapsRowsOf14BelowTheHeaderToEntries) {
    ListFixture f;
    f.AddRange(0, 3);
    f.Layout();
    EXPECT_EQ(f.list.ItemIndex(19), -1);
    EXPECT_EQ(f.list.ItemIndex(20), 0);
    EXPECT_EQ(f.list.ItemIndex(33), 0);
    EXPECT_EQ(f.list.ItemIndex(34), 1);
    EXPECT_EQ(f.list.ItemIndex(61), 2);
    EXPECT_EQ(f.list.ItemIndex(62), -1);
}

TEST(XPlayList, ItemIndexWrapsRoundTheRing) {
    ListFixture f;      // 300 high: 20 rows shown
    f.AddRange(0, 53);  // slots 0..2 hold the three newest entries
    f.Layout();
    ASSERT_EQ(f.list.m_first_visible, 33);
    EXPECT_EQ(f.list.ItemIndex(20), 33);
    EXPECT_EQ(f.list.ItemIndex(20 + 14 * 16), 49);
    EXPECT_EQ(f.list.ItemIndex(20 + 14 * 17), 0);
    EXPECT_EQ(f.list.ItemIndex(20 + 14 * 19), 2);
}

TEST(XPlayList, ItemIndexInTheStripBelowTheLastRowShownIsNoEntry) {
    ListFixture f(300, 20 + 14 * 3 + 9);  // three rows and a 9-pixel strip
    f.AddRange(0, 10);
    f.Layout();
    EXPECT_EQ(f.list.ItemIndex(20 + 14 * 2), 9);  // the newest, last row shown
    EXPECT_EQ(f.list.ItemIndex(20 + 14 * 3), -1);
    EXPECT_EQ(f.list.ItemIndex(20 + 14 * 3 + 8), -1);
}

TEST(XPlayList, AClickOnAnEntrySendsTheCommandWithTheEntryIndex) {
    ListFixture f(300, 200, 7, 30);  // placed away from the window's top-left
    f.AddRange(0, 53);
    f.Layout();
    EXPECT_EQ(Click(f, 20), 0);                // the list does not keep the mouse
    EXPECT_EQ(Click(f, 20 + 14 * 11 + 5), 0);  // row 11, the last of 12 shown
    ASSERT_EQ(f.host.commands.size(), 2u);
    EXPECT_EQ(f.host.commands[0].id, 5u);
    EXPECT_EQ(f.host.commands[0].wParam, f.list.m_first_visible);
    EXPECT_EQ(f.host.commands[1].wParam, 2);  // the newest, in slot 2
    EXPECT_EQ(f.host.commands[1].lParam, 0);
}

TEST(XPlayList, AClickOnTheHeaderOrBelowTheLastEntryDoesNothing) {
    ListFixture f(300, 200, 0, 30);
    f.AddRange(0, 3);
    f.Layout();
    Click(f, 0);
    Click(f, 19);
    Click(f, 20 + 14 * 3);  // the first row below the last entry
    Click(f, 199);
    EXPECT_TRUE(f.host.commands.empty());
    EXPECT_EQ(f.list.NextInLine(), -1);
    Click(f, 20 + 14 * 3 - 1);  // the last entry's bottom line still counts
    ASSERT_EQ(f.host.commands.size(), 1u);
    EXPECT_EQ(f.host.commands[0].wParam, 2);
}

TEST(XPlayList, AClickOnAnEmptyListDoesNothing) {
    ListFixture f;
    f.Layout();
    Click(f, 25);
    EXPECT_TRUE(f.host.commands.empty());
}

TEST(XPlayList, ATooltipOverAnEntryShowsItsFullPathBelowThePointer) {
    ListFixture f(300, 200, 10, 40);
    f.list.Add("/music/loops/a.wav", 44100, 16, 2);
    f.list.Add("/music/loops/b.wav", 44100, 16, 2);
    f.Layout();
    f.list.ToolTip(10 + 50, 40 + 36);  // window coordinates of the second row
    ASSERT_EQ(f.host.tips.size(), 1u);
    EXPECT_EQ(f.host.tips[0].text, "/music/loops/b.wav");
    EXPECT_EQ(f.host.tips[0].x, 60);
    EXPECT_EQ(f.host.tips[0].y, 40 + 36 + 20);
}

TEST(XPlayList, NoTooltipOverTheHeaderOrBelowTheEntries) {
    ListFixture f;
    f.list.Add("/music/a.wav", 44100, 16, 2);
    f.Layout();
    f.list.ToolTip(50, 10);
    f.list.ToolTip(50, 40);
    EXPECT_TRUE(f.host.tips.empty());
    EXPECT_EQ(f.list.OnToolTip(50, 10), 0);
}

TEST(XPlayList, EveryChoiceRedrawsTheList) {
    ListFixture f;
    f.AddRange(0, 5);
    f.list.Select(0);
    ASSERT_NE(f.list.NextPath(), nullptr);
    f.host.drawn.clear();
    f.list.Select(3);
    f.list.Prev();
    f.list.Next();
    ASSERT_EQ(f.host.drawn.size(), 3u);
    for (XControl* c : f.host.drawn) EXPECT_EQ(c, &f.list);
}

TEST(XPlayList, NextPathThatReturnsNullDoesNotRedraw) {
    ListFixture f;
    f.AddRange(0, 2);
    f.host.drawn.clear();
    EXPECT_EQ(f.list.NextPath(), nullptr);
    EXPECT_TRUE(f.host.drawn.empty());
}

TEST(XPlayList, ADragFromAnEntryCarriesItsFileAndFromTheHeaderOrBelowNothing) {
    ListFixture f(300, 300, 10, 40);
    f.AddRange(0, 3);
    f.Layout();
    // Window coordinates: the list's top-left is (10, 40).
    EXPECT_EQ(f.list.DragOutPath(20, 40 + 19), nullptr) << "the header";
    ASSERT_NE(f.list.DragOutPath(20, 40 + 20), nullptr);
    EXPECT_EQ(std::string(f.list.DragOutPath(20, 40 + 20)), ListFixture::Path(0));
    EXPECT_EQ(std::string(f.list.DragOutPath(200, 40 + 34)), ListFixture::Path(1));
    EXPECT_EQ(std::string(f.list.DragOutPath(20, 40 + 61)), ListFixture::Path(2));
    EXPECT_EQ(f.list.DragOutPath(20, 40 + 62), nullptr) << "below the last entry";
}
