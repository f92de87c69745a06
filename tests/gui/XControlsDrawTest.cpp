// Pixel tests of the standard controls: each is drawn through the drawing
// library into a white image surface, as the window draws it.
#include <gtest/gtest.h>

#include "../quvlib/ControlHostDouble.h"
#include "ControlCanvas.h"
#include "XButton.h"
#include "XCheckBox.h"
#include "XLabel.h"
#include "XPane.h"
#include "XProgress.h"
#include "XTextBox.h"
#include "XToggle.h"

namespace {
const XColor kRed(255, 0, 0, 255);
const XColor kBlack(0, 0, 0, 255);
const XColor kWhite(255, 255, 255, 255);

bool IsGreyAtLeast(XColor c, int level) {
    return c.red() == c.green() && c.green() == c.blue() && c.red() >= level;
}
}  // namespace

// ---- progress bar ----

TEST(XProgressDraw, AProgressValueOfZeroDrawsOnlyTheLabel) {
    ControlCanvas canvas(60, 20);
    XProgress bar(nullptr, XRect(0, 0, 49, 9));
    bar.PlaceIn(XRect(0, 0, 59, 19));
    bar.SetColorFore(kRed);
    bar.SetRangeFlt(0, 1, 0, 0);
    canvas.Draw(&bar);
    EXPECT_FALSE(canvas.Inked(XRect(0, 0, 59, 19)));
    bar.SetLabel("ok");
    canvas.Draw(&bar);
    EXPECT_TRUE(canvas.Inked(XRect(0, 0, 49, 9)));
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 50; ++x) {
            XColor c = canvas.At(x, y);
            EXPECT_EQ(c.red(), c.blue()) << x << "," << y;  // black text only: no red
        }
}

TEST(XProgressDraw, AProgressValueOfOneFillsTheWholeWidthLessOneColumn) {
    ControlCanvas canvas(60, 20);
    XProgress bar(nullptr, XRect(0, 0, 49, 9));
    bar.PlaceIn(XRect(0, 0, 59, 19));
    bar.SetColorFore(kRed);
    bar.SetRangeFlt(0, 1, 0, 0);
    bar.SetValueFlt(1.0f);
    canvas.Draw(&bar);
    for (int x = 0; x <= 48; ++x) EXPECT_FALSE(canvas.IsWhite(x, 5)) << x;
    EXPECT_EQ(canvas.At(20, 5), kRed);
    for (int y = 0; y <= 9; ++y) EXPECT_TRUE(canvas.IsWhite(49, y)) << y;
}

TEST(XProgressDraw, HalfAValueFillsHalfTheWidth) {
    ControlCanvas canvas(60, 20);
    XProgress bar(nullptr, XRect(0, 0, 50, 9));
    bar.PlaceIn(XRect(0, 0, 59, 19));
    bar.SetColorFore(kRed);
    bar.SetRangeInt(0, 10, 1, 0);
    bar.SetValueInt(5);
    canvas.Draw(&bar);
    EXPECT_FALSE(canvas.IsWhite(24, 5));
    EXPECT_TRUE(canvas.IsWhite(25, 5));
}

// ---- pane ----

TEST(XPaneDraw, PaneCornersAreRoundedAndTheFrameIsBlackWhenTransparent) {
    ControlCanvas canvas(40, 30);
    XPane pane(nullptr, XRect(0, 0, 29, 19));
    pane.PlaceIn(XRect(0, 0, 39, 29));
    pane.SetColorFore(kRed);
    canvas.Draw(&pane);
    // Corners cut in three steps.
    EXPECT_TRUE(canvas.IsWhite(0, 0));
    EXPECT_TRUE(canvas.IsWhite(0, 2));
    EXPECT_TRUE(canvas.IsWhite(2, 0));
    EXPECT_TRUE(canvas.IsWhite(29, 19));
    EXPECT_TRUE(canvas.IsWhite(0, 19));
    EXPECT_TRUE(canvas.IsWhite(29, 0));
    EXPECT_EQ(canvas.At(0, 3), kBlack);
    EXPECT_EQ(canvas.At(3, 0), kBlack);
    EXPECT_EQ(canvas.At(1, 1), kBlack);
    // Edges black, inside red.
    EXPECT_EQ(canvas.At(0, 10), kBlack);
    EXPECT_EQ(canvas.At(29, 10), kBlack);
    EXPECT_EQ(canvas.At(15, 0), kBlack);
    EXPECT_EQ(canvas.At(15, 19), kBlack);
    EXPECT_EQ(canvas.At(15, 10), kRed);
    EXPECT_EQ(canvas.At(2, 2), kRed);
    EXPECT_TRUE(canvas.IsWhite(30, 10));
}

TEST(XPaneDraw, TheFrameColourIsUsedWhenSet) {
    ControlCanvas canvas(40, 30);
    XPane pane(nullptr, XRect(0, 0, 29, 19));
    pane.PlaceIn(XRect(0, 0, 39, 29));
    pane.SetColorFore(kRed);
    pane.SetColorFrame(XColor(0, 0, 255, 255));
    canvas.Draw(&pane);
    EXPECT_EQ(canvas.At(0, 10), XColor(0, 0, 255, 255));
}

TEST(XPaneDraw, TheTopOffsetLeavesRowsAboveIt) {
    ControlCanvas canvas(40, 30);
    XPane pane(nullptr, XRect(0, 0, 29, 19));
    pane.PlaceIn(XRect(0, 0, 39, 29));
    pane.SetColorFore(kRed);
    pane.SetTopOffset(5);
    canvas.Draw(&pane);
    EXPECT_FALSE(canvas.Inked(XRect(0, 0, 29, 4)));
    EXPECT_EQ(canvas.At(15, 5), kBlack);
    EXPECT_EQ(canvas.At(15, 12), kRed);
}

TEST(XPaneDraw, TheBackgroundPictureIsDrawnWhenSet) {
    ControlCanvas canvas(40, 30);
    XPane pane(nullptr, XRect(0, 0, 29, 19));
    pane.PlaceIn(XRect(0, 0, 39, 29));
    pane.SetColorFore(kRed);
    ASSERT_TRUE(pane.SetBackPic("btn_play.png"));
    canvas.Draw(&pane);
    // The picture covers the pane: no rounded red fill anywhere.
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x) EXPECT_NE(canvas.At(x, y), kRed) << x << "," << y;
}

// ---- buttons ----

TEST(XButtonDraw, ADisabledButtonDrawsItsLabelGrey) {
    ControlCanvas canvas(80, 24);
    XButton button(nullptr, XRect(0, 0, 69, 19), 1);
    button.PlaceIn(XRect(0, 0, 79, 23));
    button.SetColorFore(kWhite);
    button.SetLabel("Play");
    canvas.Draw(&button);
    XRect dark = canvas.DarkBox(100);
    EXPECT_LE(dark.left, dark.right);  // enabled: black text
    button.Disable();
    canvas.Clear();
    canvas.Draw(&button);
    bool text = false;
    for (int y = 1; y < 18; ++y)
        for (int x = 1; x < 68; ++x) {
            XColor c = canvas.At(x, y);
            if (c == kWhite) continue;
            text = true;
            EXPECT_TRUE(IsGreyAtLeast(c, 200)) << x << "," << y;
        }
    EXPECT_TRUE(text);
}

TEST(XButtonDraw, ThePressedLabelSinksByOnePixel) {
    ControlCanvas canvas(80, 24);
    XButton button(nullptr, XRect(0, 0, 69, 19), 1);
    button.PlaceIn(XRect(0, 0, 79, 23));
    button.SetColorFore(kWhite);
    button.SetLabel("Play");
    canvas.Draw(&button);
    XRect up = canvas.DarkBox(100);
    button.m_iVal = 1;
    canvas.Clear();
    canvas.Draw(&button);
    XRect down = canvas.DarkBox(100);
    ASSERT_LE(up.left, up.right);
    EXPECT_EQ(down.left, up.left + 1);
    EXPECT_EQ(down.top, up.top + 1);
}

TEST(XButtonDraw, AFlatButtonIsFilledInTheForeColourWithShadedBottomAndRight) {
    ControlCanvas canvas(40, 30);
    XButton button(nullptr, XRect(0, 0, 29, 19), 1);
    button.PlaceIn(XRect(0, 0, 39, 29));
    button.SetPositive();
    canvas.Draw(&button);
    EXPECT_EQ(canvas.At(10, 10), XColor(53, 110, 187, 255));
    EXPECT_EQ(canvas.At(10, 19), XColor(53, 110, 187, 255).Light(0.7f));
    EXPECT_EQ(canvas.At(29, 10), XColor(53, 110, 187, 255).Light(0.7f));
}

TEST(XButtonDraw, TheCloseButtonDrawsASmallX) {
    ControlCanvas canvas(30, 30);
    XButton button(nullptr, XRect(0, 0, 15, 15), 1);
    button.PlaceIn(XRect(0, 0, 29, 29));
    button.SetClose();
    canvas.Draw(&button);
    EXPECT_FALSE(canvas.IsWhite(4, 4));   // top-left end of the X
    EXPECT_FALSE(canvas.IsWhite(11, 4));  // top-right end
    EXPECT_FALSE(canvas.IsWhite(7, 7));   // the crossing
    EXPECT_TRUE(canvas.IsWhite(7, 4));    // between the arms
    EXPECT_TRUE(canvas.IsWhite(0, 0));    // transparent around it
}

TEST(XButtonDraw, APictureButtonDrawsThePressedPictureWhenPressed) {
    ControlCanvas canvas(60, 60);
    XButton button(nullptr, XRect(0, 0, 40, 40), 1);
    button.PlaceIn(XRect(0, 0, 59, 59));
    button.SetPics("btn_play.png", "btn_pause.png", nullptr);
    EXPECT_TRUE(button.IsTransparent());
    canvas.Draw(&button);
    ControlCanvas normal(60, 60);
    normal.Draw(&button);
    button.m_iVal = 1;
    ControlCanvas pressed(60, 60);
    pressed.Draw(&button);
    bool differs = false;
    for (int y = 0; y < 40 && !differs; ++y)
        for (int x = 0; x < 40 && !differs; ++x) differs = normal.At(x, y) != pressed.At(x, y);
    EXPECT_TRUE(differs);
}

// ---- toggle ----

TEST(XToggleDraw, OffIsGreyAndOnIsTheForeColour) {
    ControlCanvas canvas(40, 30);
    XToggle toggle(nullptr, XRect(0, 0, 29, 19), 1);
    toggle.PlaceIn(XRect(0, 0, 39, 29));
    toggle.SetColorFore(XColor(0, 0, 200, 255));
    canvas.Draw(&toggle);
    XColor off = canvas.At(15, 15);
    EXPECT_EQ(off.red(), off.blue());
    EXPECT_TRUE(canvas.Inked(XRect(0, 0, 29, 19)));
    toggle.m_iVal = 1;
    canvas.Draw(&toggle);
    XColor on = canvas.At(15, 15);
    EXPECT_EQ(on.red(), 0);
    EXPECT_GT(on.blue(), 100);
}

// ---- check box ----

TEST(XCheckBoxDraw, TheBoxHasTwoBlackOutlinesAtTheBottomLeft) {
    ControlCanvas canvas(100, 24);
    XCheckBox box(nullptr, XRect(0, 0, 99, 19), 1);
    box.PlaceIn(XRect(0, 0, 99, 23));
    canvas.Draw(&box);
    // Box (0, 4) - (14, 18), second outline (1, 5) - (13, 17).
    for (int x = 0; x <= 14; ++x) {
        EXPECT_EQ(canvas.At(x, 4), kBlack) << x;
        EXPECT_EQ(canvas.At(x, 18), kBlack) << x;
    }
    for (int y = 4; y <= 18; ++y) {
        EXPECT_EQ(canvas.At(0, y), kBlack) << y;
        EXPECT_EQ(canvas.At(14, y), kBlack) << y;
        EXPECT_EQ(canvas.At(1, y < 5 ? 5 : (y > 17 ? 17 : y)), kBlack) << y;
    }
    EXPECT_EQ(canvas.At(13, 10), kBlack);
    EXPECT_FALSE(canvas.Inked(XRect(2, 6, 12, 16)));  // unchecked: empty inside
    EXPECT_FALSE(canvas.Inked(XRect(0, 0, 99, 3)));
    EXPECT_FALSE(canvas.Inked(XRect(0, 19, 99, 23)));
    EXPECT_FALSE(canvas.Inked(XRect(15, 0, 99, 23)));  // no label
}

TEST(XCheckBoxDraw, TheCheckMarkIsFilledInTheForeColourAndOutlinedInBlack) {
    ControlCanvas canvas(100, 24);
    XCheckBox box(nullptr, XRect(0, 0, 99, 19), 1);
    box.PlaceIn(XRect(0, 0, 99, 23));
    box.SetColorFore(kRed);
    box.m_iVal = 1;
    canvas.Draw(&box);
    // Around (cx, cy) = (7, 10): the mark's foot and its long arm are red inside.
    EXPECT_EQ(canvas.At(7, 13), kRed);
    EXPECT_EQ(canvas.At(12, 8), kRed);
    EXPECT_EQ(canvas.At(4, 10), kRed);
    // Its vertices are outlined black: the tip (15, 2) and the bottom (7, 16).
    EXPECT_EQ(canvas.At(15, 2), kBlack);
    EXPECT_EQ(canvas.At(7, 16), kBlack);
    // Outside the mark the box stays empty.
    EXPECT_TRUE(canvas.IsWhite(3, 15));
}

TEST(XCheckBoxDraw, TheLabelStandsRightOfTheBox) {
    ControlCanvas canvas(100, 24);
    XCheckBox box(nullptr, XRect(0, 0, 99, 19), 1);
    box.PlaceIn(XRect(0, 0, 99, 23));
    box.SetLabel("Loop");
    canvas.Draw(&box);
    XRect text = canvas.DarkBox(100);
    EXPECT_EQ(text.left, 0);  // the box itself
    EXPECT_TRUE(canvas.Inked(XRect(20, 7, 60, 20)));
    EXPECT_FALSE(canvas.Inked(XRect(15, 0, 19, 23)));
}

// ---- labels and text boxes ----

TEST(XLabelDraw, ALabelIsDrawnLeftJustifiedInTheTextColour) {
    ControlCanvas canvas(100, 20);
    XLabel label(nullptr, XRect(0, 0, 99, 19), -1);
    label.PlaceIn(XRect(0, 0, 99, 19));
    label.SetJustify(1);  // ignored: a label is always left-justified
    label.SetColorText(kRed);
    label.SetLabel("Name");
    canvas.Draw(&label);
    EXPECT_TRUE(canvas.Inked(XRect(0, 0, 10, 19)));
    EXPECT_FALSE(canvas.Inked(XRect(60, 0, 99, 19)));
    bool red = false;
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 60; ++x) red = red || canvas.At(x, y) == kRed;
    EXPECT_TRUE(red);
}

TEST(XLabelDraw, ALabelWithoutTextDrawsNothing) {
    ControlCanvas canvas(100, 20);
    XLabel label(nullptr, XRect(0, 0, 99, 19), -1);
    label.PlaceIn(XRect(0, 0, 99, 19));
    canvas.Draw(&label);
    EXPECT_FALSE(canvas.Inked(XRect(0, 0, 99, 19)));
}

TEST(XTextBoxDraw, TheFormattedValueIsDrawn) {
    ControlCanvas canvas(100, 20);
    XTextBox box(nullptr, XRect(0, 0, 99, 19), -1);
    box.PlaceIn(XRect(0, 0, 99, 19));
    canvas.Draw(&box);
    EXPECT_FALSE(canvas.Inked(XRect(0, 0, 99, 19)));
    box.SetFormatString("%d bits");
    box.SetValueInt(24);
    canvas.Draw(&box);
    EXPECT_TRUE(canvas.Inked(XRect(0, 0, 99, 19)));
}

TEST(XButtonDraw, AButtonWithAHoverPictureIsRedrawnOnEnterAndLeaveAndShowsIt) {
    ControlHostDouble host;
    XButton button(nullptr, XRect(0, 0, 40, 40), 1);
    PlaceControl(&button, &host);
    button.SetPics("btn_play.png", "btn_pause.png", "btn_stop.png");
    ControlCanvas normal(60, 60), hover(60, 60);
    normal.Draw(&button);
    button.MouseEnter();
    EXPECT_EQ(host.drawn.size(), 1u);
    hover.Draw(&button);
    button.MouseLeave();
    EXPECT_EQ(host.drawn.size(), 2u);
    bool differs = false;
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x) differs = differs || normal.At(x, y) != hover.At(x, y);
    EXPECT_TRUE(differs);
}
