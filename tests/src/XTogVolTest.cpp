#include "XTogVol.h"

#include <gtest/gtest.h>

#include "../quvlib/ControlHostDouble.h"
#include "XPanel.h"

namespace {
// Adds the first `n` of the main window's three loudspeaker pictures.
void AddSlots(XTogVol& vol, int n) {
    const char* names[3] = {"icn_vol_l.png", "icn_vol_m.png", "icn_vol_h.png"};
    for (int i = 0; i < n; ++i) vol.AddPic(names[i]);
}
}  // namespace

TEST(XTogVol, LevelTwoIsShownAtStartWithoutAnyVolumeCommandHavingBeenSent) {
    ControlHostDouble host;
    XTogVol vol(nullptr, XRect(0, 0, 15, 15), 10);
    PlaceControl(&vol, &host);
    AddSlots(vol, 3);
    EXPECT_EQ(vol.m_pic_count, 3);
    EXPECT_TRUE(vol.m_pic[2].Exist());
    EXPECT_EQ(vol.GetValueInt(), 2);
    EXPECT_TRUE(host.commands.empty());
}

TEST(XTogVol, ClicksFromTheInitialLevelTwoGoToZeroOneTwoZeroAndSendTheseLevels) {
    ControlHostDouble host;
    XTogVol vol(nullptr, XRect(0, 0, 15, 15), 10);
    PlaceControl(&vol, &host);
    AddSlots(vol, 3);
    EXPECT_EQ(vol.GetValueInt(), 2);
    XMouseEvent e;
    int expected[] = {0, 1, 2, 0};
    for (int level : expected) {
        EXPECT_EQ(Press(&vol, e, 3, 3), 0);
        EXPECT_EQ(vol.GetValueInt(), level);
    }
    ASSERT_EQ(host.commands.size(), 4u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(host.commands[i].id, 10u);
        EXPECT_EQ(host.commands[i].wParam, expected[i]);
    }
}

TEST(XTogVol, WithOnePictureTheLevelIsAlwaysZero) {
    ControlHostDouble host;
    XTogVol vol(nullptr, XRect(0, 0, 15, 15), 10);
    PlaceControl(&vol, &host);
    AddSlots(vol, 1);
    XMouseEvent e;
    Press(&vol, e, 3, 3);
    Press(&vol, e, 3, 3);
    EXPECT_EQ(vol.GetValueInt(), 0);
    ASSERT_EQ(host.commands.size(), 2u);
    EXPECT_EQ(host.commands[1].wParam, 0);
}

TEST(XTogVol, WithTwoPicturesTheCycleIsTwoLong) {
    ControlHostDouble host;
    XTogVol vol(nullptr, XRect(0, 0, 15, 15), 10);
    PlaceControl(&vol, &host);
    AddSlots(vol, 2);
    XMouseEvent e;
    Press(&vol, e, 3, 3);
    EXPECT_EQ(vol.GetValueInt(), 0);
    Press(&vol, e, 3, 3);
    EXPECT_EQ(vol.GetValueInt(), 1);
    Press(&vol, e, 3, 3);
    EXPECT_EQ(vol.GetValueInt(), 0);
}

TEST(XTogVol, AClickBeforeAnyPictureStaysAtZero) {
    ControlHostDouble host;
    XTogVol vol(nullptr, XRect(0, 0, 15, 15), 10);
    PlaceControl(&vol, &host);
    XMouseEvent e;
    EXPECT_EQ(Press(&vol, e, 3, 3), 0);
    EXPECT_EQ(vol.GetValueInt(), 0);
    ASSERT_EQ(host.commands.size(), 1u);
    EXPECT_EQ(host.commands[0].wParam, 0);
}

TEST(XPanel, SetZoomHalfMovesHalfwayTowardTheMinimumRectangle) {
    XPanel panel(nullptr, XRect(0, 0, 100, 100), -1);
    panel.PlaceIn(XRect(0, 0, 199, 199));
    panel.SetMinRect(XRect(10, 10, 50, 50));
    panel.SetZoom(0.5f);
    EXPECT_EQ(panel.m_rcDraw, XRect(5, 5, 75, 75));
}

TEST(XPanel, ZoomOneIsTheFullRectangleAndZeroTheMinimum) {
    XPanel panel(nullptr, XRect(0, 0, 100, 100), -1);
    panel.PlaceIn(XRect(0, 0, 199, 199));
    panel.SetMinRect(XRect(10, 10, 50, 50));
    panel.SetZoom(1.0f);
    EXPECT_EQ(panel.m_rcDraw, XRect(0, 0, 100, 100));
    panel.SetZoom(0.0f);
    EXPECT_EQ(panel.m_rcDraw, XRect(10, 10, 50, 50));
}

TEST(XPanel, ConstructionSetsThePanelColours) {
    XPanel panel(nullptr, XRect(0, 0, 10, 10), 3);
    EXPECT_EQ(panel.GetColorBack(), XColor(0, 0, 0, 0));
    EXPECT_EQ(panel.GetColorFore(), XColor(20, 20, 40, 255));
    EXPECT_EQ(panel.GetColorText(), XColor(255, 255, 240, 255));
    EXPECT_EQ(panel.GetColorFrame(), XColor(0, 0, 0, 0));
    EXPECT_EQ(panel.GetCommand(), 3);
}
