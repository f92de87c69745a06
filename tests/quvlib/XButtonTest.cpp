#include "XButton.h"

#include <gtest/gtest.h>

#include "ControlHostDouble.h"

namespace {
struct ButtonFixture : ::testing::Test {
    ControlHostDouble host;
    XButton button{nullptr, XRect(10, 10, 59, 29), 42};
    XMouseEvent e;
    void SetUp() override { PlaceControl(&button, &host); }
};
}  // namespace

TEST_F(ButtonFixture, PressSetsValueRedrawsAndKeepsTheMouse) {
    EXPECT_EQ(Press(&button, e, 20, 20), 1);
    EXPECT_EQ(button.GetValueInt(), 1);
    EXPECT_FALSE(host.drawn.empty());
    EXPECT_TRUE(host.commands.empty());
}

TEST_F(ButtonFixture, PressAndReleaseInsideSendsOneCommandWithZeroParameters) {
    Press(&button, e, 20, 20);
    Release(&button, e, 21, 21);
    ASSERT_EQ(host.commands.size(), 1u);
    EXPECT_EQ(host.commands[0].id, 42u);
    EXPECT_EQ(host.commands[0].wParam, 0);
    EXPECT_EQ(host.commands[0].lParam, 0);
    EXPECT_EQ(button.GetValueInt(), 0);
}

TEST_F(ButtonFixture, PressDragOutReleaseOutsideSendsNoCommandAndButtonIsDrawnUp) {
    Press(&button, e, 20, 20);
    size_t before = host.drawn.size();
    MoveTo(&button, e, 120, 20);
    EXPECT_EQ(button.GetValueInt(), 0);
    EXPECT_GT(host.drawn.size(), before);  // redrawn up when leaving
    Release(&button, e, 120, 20);
    EXPECT_TRUE(host.commands.empty());
    EXPECT_EQ(button.GetValueInt(), 0);
}

TEST_F(ButtonFixture, PressDragOutAndBackInReleaseSendsOneCommand) {
    Press(&button, e, 20, 20);
    MoveTo(&button, e, 120, 20);
    EXPECT_EQ(button.GetValueInt(), 0);
    MoveTo(&button, e, 30, 15);
    EXPECT_EQ(button.GetValueInt(), 1);
    Release(&button, e, 30, 15);
    EXPECT_EQ(host.commands.size(), 1u);
}

TEST_F(ButtonFixture, AButtonWithNoHoverPictureIsNotRedrawnOnEnterAndLeave) {
    button.MouseEnter();
    EXPECT_TRUE(button.m_bInside);
    button.MouseLeave();
    EXPECT_FALSE(button.m_bInside);
    EXPECT_TRUE(host.drawn.empty());
}

TEST_F(ButtonFixture, ACloseButtonIsRedrawnOnEnterAndLeave) {
    button.SetClose();
    EXPECT_EQ(button.m_stock_icon, 1);
    EXPECT_TRUE(button.IsTransparent());
    button.MouseEnter();
    button.MouseLeave();
    EXPECT_EQ(host.drawn.size(), 2u);
}

TEST_F(ButtonFixture, ADisabledButtonIsNeverPressed) {
    button.Disable();
    EXPECT_EQ(Press(&button, e, 20, 20), 0);
    EXPECT_EQ(button.GetValueInt(), 0);
    EXPECT_EQ(button.FindControl(20, 20), nullptr);
    Release(&button, e, 20, 20);
    EXPECT_TRUE(host.commands.empty());
}

TEST_F(ButtonFixture, SetPositiveGivesTheMainActionColours) {
    button.SetPositive();
    EXPECT_EQ(button.GetColorFore(), XColor(53, 110, 187, 255));
    EXPECT_EQ(button.GetColorText(), XColor(255, 255, 255, 255));
}

TEST(XButton, ConstructorTakesRectangleAndCommand) {
    XButton b(nullptr, XRect(1, 2, 30, 40), 7);
    EXPECT_EQ(b.GetCommand(), 7);
    EXPECT_EQ(b.GetWindowRect(), XRect(1, 2, 30, 40));
}

TEST_F(ButtonFixture, MovingOverAButtonThatIsNotPressedDoesNotPressIt) {
    button.m_rcButton = button.GetLocalRect();
    MoveTo(&button, e, 20, 20);
    EXPECT_EQ(button.GetValueInt(), 0);
    EXPECT_TRUE(host.drawn.empty());
}
