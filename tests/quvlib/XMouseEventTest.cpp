#include <gtest/gtest.h>

#include "XMouseEvent.h"

TEST(XMouseEvent, ReadersAreRelativeToTheLocalOrigin) {
    XMouseEvent e;
    e.SetClick(50, 60, 1);
    e.SetLocal(10, 20);
    EXPECT_EQ(e.x_click(), 40);
    EXPECT_EQ(e.y_click(), 40);
    e.SetMouse(55, 58);
    EXPECT_EQ(e.x_mouse(), 45);
    EXPECT_EQ(e.y_mouse(), 38);
    EXPECT_EQ(e.x_diff(), 5);
    EXPECT_EQ(e.y_diff(), -2);
}

TEST(XMouseEvent, SetClickSetsTheMousePointAndButton) {
    XMouseEvent e;
    e.SetClick(3, 4, 2);
    EXPECT_EQ(e.m_x_mouse, 3);
    EXPECT_EQ(e.m_y_mouse, 4);
    EXPECT_EQ(e.Button(), 2);
}

TEST(XMouseEvent, ResetZeroesPointsAndKeysButKeepsTheButton) {
    XMouseEvent e;
    e.SetClick(3, 4, 3);
    e.SetLocal(1, 1);
    e.SetShiftKey(true);
    e.SetControlKey(true);
    e.Reset();
    EXPECT_EQ(e.m_x_click, 0);
    EXPECT_EQ(e.m_y_mouse, 0);
    EXPECT_EQ(e.m_x_local, 0);
    EXPECT_FALSE(e.ShiftKeyDown());
    EXPECT_FALSE(e.ControlKeyDown());
    EXPECT_EQ(e.Button(), 3);
}

TEST(XMouseEvent, AnyKeyDownIsShiftOrControl) {
    XMouseEvent e;
    EXPECT_FALSE(e.AnyKeyDown());
    e.SetControlKey(true);
    EXPECT_TRUE(e.AnyKeyDown());
    e.SetControlKey(false);
    e.SetShiftKey(true);
    EXPECT_TRUE(e.AnyKeyDown());
}
