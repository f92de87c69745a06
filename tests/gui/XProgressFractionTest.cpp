// A progress bar with an integer range fed fractions, as the main window feeds it.
#include <gtest/gtest.h>

#include "ControlCanvas.h"
#include "XProgress.h"

namespace {
const XColor kBlue(20, 20, 140, 255);

// The first column of row `y` from `from` on that is still white.
int FirstWhiteColumn(const ControlCanvas& canvas, int y, int from, int width) {
    for (int x = from; x < width; ++x)
        if (canvas.IsWhite(x, y)) return x;
    return width;
}
}  // namespace

TEST(XProgressFraction, AFractionLandsOnTheNearestStepOfTheIntegerRange) {
    XProgress bar(nullptr, XRect(8, 13, 368, 16));
    bar.SetRangeInt(0, 380, 1, 0);
    bar.SetValueFlt(0.5f);
    EXPECT_EQ(bar.GetValueInt(), 190);
    EXPECT_FLOAT_EQ(bar.GetValueNorm(), 0.5f);
    bar.SetValueFlt(0.25f);
    EXPECT_EQ(bar.GetValueInt(), 95);
    bar.SetValueFlt(1.0f);
    EXPECT_EQ(bar.GetValueInt(), 380);
}

TEST(XProgressFraction, FractionsOutsideZeroToOneAreHeldAtTheEnds) {
    XProgress bar(nullptr, XRect(0, 0, 99, 3));
    bar.SetRangeInt(0, 380, 1, 0);
    bar.SetValueFlt(1.5f);
    EXPECT_EQ(bar.GetValueInt(), 380);
    bar.SetValueFlt(-0.25f);
    EXPECT_EQ(bar.GetValueInt(), 0);
}

TEST(XProgressFraction, WithoutAnIntegerRangeTheFloatValueIsDrawnAsItIs) {
    XProgress bar(nullptr, XRect(0, 0, 99, 3));
    bar.SetRangeFlt(0, 1, 0, 0);
    bar.SetValueFlt(0.25f);
    EXPECT_EQ(bar.GetValueInt(), 0);
    EXPECT_FLOAT_EQ(bar.GetValueNorm(), 0.25f);
}

TEST(XProgressFraction, TheBarFollowsTheSoundFromEmptyToFull) {
    // The main window's bar: 361 columns wide, integer range 0..380.
    ControlCanvas canvas(380, 10);
    XProgress bar(nullptr, XRect(8, 2, 368, 5));
    bar.PlaceIn(XRect(0, 0, 379, 9));
    bar.SetColorFore(kBlue);
    bar.SetRangeInt(0, 380, 1, 0);
    int last = -1;
    for (int tenth = 0; tenth <= 10; ++tenth) {
        bar.SetValueFlt(static_cast<float>(tenth) / 10.0f);
        canvas.Clear();
        canvas.Draw(&bar);
        int end = FirstWhiteColumn(canvas, 3, 8, 380);
        if (tenth == 0) {
            EXPECT_EQ(end, 8) << "an empty bar draws nothing";
        } else {
            EXPECT_GT(end, last) << "at " << tenth << "/10 the bar must have grown";
            // 360 columns of width times the fraction, from column 8.
            EXPECT_NEAR(end, 8 + 36 * tenth, 1) << tenth;
        }
        last = end;
    }
    EXPECT_EQ(canvas.At(200, 3), kBlue);
}

TEST(XControlClear, ClearEmptiesTheLabelAndMarksTheControlForDrawing) {
    XProgress bar(nullptr, XRect(0, 0, 99, 9));
    bar.SetLabel("Rate: 44100 Hz");
    bar.SetDirty(false);
    bar.Clear();
    EXPECT_EQ(bar.GetLabel(), nullptr);
    EXPECT_TRUE(bar.IsDirty());
}
