// Placement and attach modes, checked with the rows of the main window's layout
// table: a 400 x 135 control area, then the window grown to 400 x 300.
#include <gtest/gtest.h>

#include "XControl.h"

namespace {

struct MainLayout {
    // The window's control area, inclusive pixel edges.
    XRect area{0, 0, 399, 134};
    XControl* playList = new XControl;
    XControl* panPlay = new XControl;
    XControl* progress = new XControl;
    XControl* txtRate = new XControl;
    XControl* stop = new XControl;
    XControl* info = new XControl;
    XControl* panSets = new XControl;
    XControl* done = new XControl;
    XControl* edtTime = new XControl;

    MainLayout() {
        // As the window builds it: rectangle, attach flags, then into the parent.
        playList->SetWindowRect(XRect(0, 0, 0, 35));
        playList->AttachTo(1, 1, 1, 1);
        playList->PlaceIn(area);

        panPlay->SetWindowRect(XRect(0, 35, 0, 0));
        panPlay->AttachTo(1, 0, 0, 1);
        panPlay->PlaceIn(area);

        progress->SetWindowRect(XRect(8, 13, 368, 16));
        panPlay->AddControl(progress);
        txtRate->SetWindowRect(XRect(5, 22, 100, 38));
        panPlay->AddControl(txtRate);
        stop->SetWindowRect(XRect(114, 56, 127, 69));
        panPlay->AddControl(stop);
        info->SetWindowRect(XRect(375, 5, 394, 24));
        panPlay->AddControl(info);

        panSets->SetWindowRect(XRect(0, 35, 0, 0));
        panSets->AttachTo(1, 0, 0, 1);
        panSets->PlaceIn(area);
        panSets->SetVisible(false);

        done->SetWindowRect(XRect(-45, 5, -5, 22));
        panSets->AddControl(done);
        // Added first, placed afterwards: the same result.
        panSets->AddControl(edtTime);
        edtTime->SetWindowRect(XRect(120, 22, 150, 38));
    }
    ~MainLayout() {
        delete playList;
        delete panPlay;
        delete panSets;
    }
    // What the window's ResizeControls does with the change of its size.
    void Resize(int dx, int dy) {
        area.right += dx;
        area.bottom += dy;
        for (XControl* c : {playList, panPlay, panSets}) c->Resize(dx, dy, area);
    }
};

}  // namespace

TEST(XControlLayout, MainWindowTableLaysOutInA400By135Window) {
    MainLayout m;
    EXPECT_EQ(m.playList->GetWindowRect(), XRect(0, 0, 399, 35));
    EXPECT_EQ(m.panPlay->GetWindowRect(), XRect(0, 35, 399, 134));
    EXPECT_EQ(m.panPlay->GetWindowRect().Height(), 100);
    EXPECT_EQ(m.panPlay->GetWindowRect().Width(), 400);
    EXPECT_EQ(m.progress->GetWindowRect(), XRect(8, 48, 368, 51));
    EXPECT_EQ(m.txtRate->GetWindowRect(), XRect(5, 57, 100, 73));
    EXPECT_EQ(m.stop->GetWindowRect(), XRect(114, 91, 127, 104));
    EXPECT_EQ(m.info->GetWindowRect(), XRect(375, 40, 394, 59));
    EXPECT_EQ(m.panSets->GetWindowRect(), XRect(0, 35, 399, 134));
    EXPECT_EQ(m.edtTime->GetWindowRect(), XRect(120, 57, 150, 73));
}

TEST(XControlLayout, NegativeLeftAndNonPositiveRightCountFromTheParentsRightEdge) {
    MainLayout m;
    // 40 pixels from left edge to right edge, the right edge 5 in from the panel's.
    EXPECT_EQ(m.done->GetWindowRect(), XRect(354, 40, 394, 57));
    EXPECT_EQ(m.done->GetWindowRect().right, m.info->GetWindowRect().right);
}

TEST(XControlLayout, GrowingTheWindowStretchesThePlaylistAndMovesThePanelsDown) {
    MainLayout m;
    m.Resize(0, 165);  // 400 x 300
    EXPECT_EQ(m.playList->GetWindowRect(), XRect(0, 0, 399, 200));
    EXPECT_EQ(m.panPlay->GetWindowRect(), XRect(0, 200, 399, 299));
    EXPECT_EQ(m.panSets->GetWindowRect(), XRect(0, 200, 399, 299));
    EXPECT_EQ(m.panPlay->GetWindowRect().Height(), 100);
    // Children ride along with their panel.
    EXPECT_EQ(m.progress->GetWindowRect(), XRect(8, 213, 368, 216));
    EXPECT_EQ(m.stop->GetWindowRect(), XRect(114, 256, 127, 269));
    EXPECT_EQ(m.info->GetWindowRect(), XRect(375, 205, 394, 224));
    EXPECT_EQ(m.done->GetWindowRect(), XRect(354, 205, 394, 222));
    EXPECT_EQ(m.edtTime->GetWindowRect(), XRect(120, 222, 150, 238));
}

TEST(XControlLayout, ShrinkingBackRestoresTheFirstLayout) {
    MainLayout m;
    m.Resize(0, 165);
    m.Resize(0, -165);
    EXPECT_EQ(m.playList->GetWindowRect(), XRect(0, 0, 399, 35));
    EXPECT_EQ(m.panPlay->GetWindowRect(), XRect(0, 35, 399, 134));
    EXPECT_EQ(m.done->GetWindowRect(), XRect(354, 40, 394, 57));
}

TEST(XControlLayout, APanelAttachedToTheRightFollowsItAndAStretchedOneWidens) {
    XRect area(0, 0, 199, 99);
    XControl follow, stretch, fixed;
    follow.SetWindowRect(XRect(-30, 0, -10, 10));
    follow.AttachTo(0, 1, 1, 0);
    follow.PlaceIn(area);
    stretch.SetWindowRect(XRect(10, 10, 0, 20));
    stretch.AttachTo(1, 1, 1, 0);
    stretch.PlaceIn(area);
    fixed.SetWindowRect(XRect(10, 10, 20, 20));  // default attach: top-left
    fixed.PlaceIn(area);
    area.right += 50;
    for (XControl* c : {&follow, &stretch, &fixed}) c->Resize(50, 0, area);
    EXPECT_EQ(follow.GetWindowRect(), XRect(219, 0, 239, 10));
    EXPECT_EQ(stretch.GetWindowRect(), XRect(10, 10, 249, 20));
    EXPECT_EQ(fixed.GetWindowRect(), XRect(10, 10, 20, 20));
}

TEST(XControlLayout, AStretchedParentResizesItsStretchedChildren) {
    XRect area(0, 0, 199, 99);
    XControl* child = new XControl;
    XControl parent;
    parent.SetWindowRect(XRect(0, 0, 0, 0));
    parent.AttachTo(1, 1, 1, 1);
    parent.PlaceIn(area);
    child->SetWindowRect(XRect(5, 5, -5, -5));
    child->AttachTo(1, 1, 1, 1);
    parent.AddControl(child);
    EXPECT_EQ(child->GetWindowRect(), XRect(5, 5, 194, 94));
    area.bottom += 20;
    parent.Resize(0, 20, area);
    EXPECT_EQ(child->GetWindowRect(), XRect(5, 5, 194, 114));
}

TEST(XControlLayout, AnUnplacedControlKeepsItsNumbersAsGiven) {
    XControl c;
    c.SetWindowRect(XRect(3, 4, 30, 40));
    EXPECT_EQ(c.GetWindowRect(), XRect(3, 4, 30, 40));
    EXPECT_EQ(c.GetLocalRect(), XRect(0, 0, 27, 36));
}
