// The progress bar's redraws as the frame timer feeds it fractions.
#include <gtest/gtest.h>

#include "ControlHostDouble.h"
#include "XProgress.h"

TEST(XProgress, AFractionOnTheStepAlreadyShownDoesNotDrawTheBarAgain) {
    ControlHostDouble host;
    XProgress bar(nullptr, XRect(8, 13, 368, 16));
    PlaceControl(&bar, &host);
    bar.SetRangeInt(0, 380, 1, 0);
    bar.SetValueFlt(0.5f);  // step 190
    ASSERT_EQ(bar.GetValueInt(), 190);
    const size_t draws = host.drawn.size();
    ASSERT_GT(draws, 0u) << "a new step is drawn";
    bar.SetValueFlt(0.5001f);  // still step 190
    bar.SetValueFlt(0.5002f);
    EXPECT_EQ(host.drawn.size(), draws) << "nothing changed on the screen";
    EXPECT_FALSE(bar.IsDirty());
    bar.SetValueFlt(0.51f);  // step 194
    EXPECT_EQ(bar.GetValueInt(), 194);
    EXPECT_EQ(host.drawn.size(), draws + 1);
}
