#include "XToggle.h"

#include <gtest/gtest.h>

#include "ControlHostDouble.h"
#include "XCheckBox.h"

TEST(XToggle, AToggleClickedTwiceReturnsToItsFirstStateAndSendsTwoCommandsWithOneThenZero) {
    ControlHostDouble host;
    XToggle toggle(nullptr, XRect(0, 0, 19, 19), 5);
    PlaceControl(&toggle, &host);
    XMouseEvent e;
    EXPECT_EQ(Press(&toggle, e, 5, 5), 0);  // never keeps the mouse
    EXPECT_EQ(toggle.GetValueInt(), 1);
    EXPECT_EQ(Press(&toggle, e, 5, 5), 0);
    EXPECT_EQ(toggle.GetValueInt(), 0);
    ASSERT_EQ(host.commands.size(), 2u);
    EXPECT_EQ(host.commands[0].id, 5u);
    EXPECT_EQ(host.commands[0].wParam, 1);
    EXPECT_EQ(host.commands[1].wParam, 0);
}

TEST(XToggle, APressRedrawsTheToggle) {
    ControlHostDouble host;
    XToggle toggle(nullptr, XRect(0, 0, 19, 19), 5);
    PlaceControl(&toggle, &host);
    XMouseEvent e;
    Press(&toggle, e, 5, 5);
    EXPECT_FALSE(host.drawn.empty());
}

TEST(XCheckBox, APressTogglesTheValueAndSendsItWithoutKeepingTheMouse) {
    ControlHostDouble host;
    XCheckBox box(nullptr, XRect(0, 0, 99, 19), 9);
    PlaceControl(&box, &host);
    XMouseEvent e;
    EXPECT_EQ(Press(&box, e, 3, 10), 0);
    EXPECT_EQ(box.GetValueInt(), 1);
    Press(&box, e, 3, 10);
    EXPECT_EQ(box.GetValueInt(), 0);
    ASSERT_EQ(host.commands.size(), 2u);
    EXPECT_EQ(host.commands[0].wParam, 1);
    EXPECT_EQ(host.commands[1].wParam, 0);
}

TEST(XCheckBox, TheBoxIsFourteenPixelsAtTheBottomLeftOneUp) {
    XRect box = XCheckBox::BoxOf(XRect(0, 0, 99, 19));
    EXPECT_EQ(box, XRect(0, 4, 14, 18));
}
