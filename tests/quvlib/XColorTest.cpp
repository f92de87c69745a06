#include <gtest/gtest.h>

#include "XColor.h"

TEST(XColor, DefaultIsTransparentBlack) {
    XColor c;
    EXPECT_TRUE(c.IsTransparent());
    EXPECT_EQ(c.rgba(), 0u);
}

TEST(XColor, ChannelsAreClampedTo0To255) {
    XColor c(300, -5, 128, 255);
    EXPECT_EQ(c.red(), 255);
    EXPECT_EQ(c.green(), 0);
    EXPECT_EQ(c.blue(), 128);
    EXPECT_EQ(c.alpha(), 255);
}

TEST(XColor, PackedValueHasAlphaInTheTopByte) {
    EXPECT_EQ(XColor(0x12, 0x34, 0x56, 0x78).rgba(), 0x78123456u);
}

TEST(XColor, FloatChannelsAreDividedBy255) {
    XColor c(255, 0, 51, 102);
    EXPECT_FLOAT_EQ(c.fred(), 1.0f);
    EXPECT_FLOAT_EQ(c.fgreen(), 0.0f);
    EXPECT_FLOAT_EQ(c.fblue(), 0.2f);
    EXPECT_FLOAT_EQ(c.falpha(), 0.4f);
}

TEST(XColor, LightTruncatesCapsAt255AndKeepsAlpha) {
    XColor c(100, 200, 7, 99);
    EXPECT_EQ(c.Light(1.3f), XColor(130, 255, 9, 99));  // 9.1 truncated; 260 capped
    EXPECT_EQ(c.Light(0.7f), XColor(70, 140, 4, 99));   // 4.9 truncated toward zero
}

TEST(XColor, InverseFlipsColourChannelsOnly) {
    EXPECT_EQ(XColor(0, 100, 255, 10).Inverse(), XColor(255, 155, 0, 10));
}

TEST(XColor, ZeroAlphaIsTransparent) {
    EXPECT_TRUE(XColor(255, 255, 255, 0).IsTransparent());
    EXPECT_FALSE(XColor(0, 0, 0, 1).IsTransparent());
}
