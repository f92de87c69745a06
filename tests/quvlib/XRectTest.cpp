#include <gtest/gtest.h>

#include "XRect.h"

TEST(XRect, ConstructorTakesLeftTopRightBottom) {
    XRect rc(1, 2, 3, 4);
    EXPECT_EQ(rc.left, 1);
    EXPECT_EQ(rc.top, 2);
    EXPECT_EQ(rc.right, 3);
    EXPECT_EQ(rc.bottom, 4);
}

TEST(XRect, WidthAndHeightCountBothEdges) {
    XRect rc(10, 20, 19, 24);
    EXPECT_EQ(rc.Width(), 10);
    EXPECT_EQ(rc.Height(), 5);
}

TEST(XRect, SetWidthAndSetHeightKeepTheTopLeft) {
    XRect rc(10, 20, 0, 0);
    rc.SetWidth(5);
    rc.SetHeight(3);
    EXPECT_EQ(rc, XRect(10, 20, 14, 22));
}

TEST(XRect, InsideTestIsInclusiveOnAllEdges) {
    XRect rc(10, 20, 19, 29);
    EXPECT_TRUE(rc.IsInside(10, 20));
    EXPECT_TRUE(rc.IsInside(19, 29));
    EXPECT_FALSE(rc.IsInside(9, 25));
    EXPECT_FALSE(rc.IsInside(20, 25));
    EXPECT_FALSE(rc.IsInside(15, 19));
    EXPECT_FALSE(rc.IsInside(15, 30));
}

TEST(XRect, OffsetMovesAllEdgesAndExpandGrowsEverySide) {
    XRect rc(0, 0, 9, 9);
    rc.Offset(5, -2);
    EXPECT_EQ(rc, XRect(5, -2, 14, 7));
    rc.Expand(2);
    EXPECT_EQ(rc, XRect(3, -4, 16, 9));
    rc.Expand(-3);
    EXPECT_EQ(rc, XRect(6, -1, 13, 6));
}
