#include <gtest/gtest.h>

#include "XClass.h"
#include "XGui.h"
#include "XNode.h"
#include "XRegn.h"

TEST(XGui, ConstructionCountsUpAndDestructionDown) {
    int before = XGui::GetUseCount();
    {
        XGui a, b;
        EXPECT_EQ(XGui::GetUseCount(), before + 2);
    }
    EXPECT_EQ(XGui::GetUseCount(), before);
}

TEST(XNode, StartsWithNoWindowAndNoControl) {
    XNode n;
    EXPECT_EQ(n.GetWindow(), nullptr);
    EXPECT_EQ(n.GetControl(), nullptr);
    EXPECT_EQ(n.GetHost(), nullptr);
}

TEST(XClass, HasNameComparesTheWholeName) {
    XClass c("XTextBox");
    EXPECT_TRUE(c.HasName("XTextBox"));
    EXPECT_FALSE(c.HasName("XText"));
    EXPECT_FALSE(c.HasName(nullptr));
}

TEST(XClass, ColoursAreUnsetUntilSet) {
    XClass c("XLabel");
    EXPECT_EQ(c.GetColor(XClass::kText), nullptr);
    c.SetTextColor(XColor(255, 255, 255, 255));
    ASSERT_NE(c.GetColor(XClass::kText), nullptr);
    EXPECT_EQ(*c.GetColor(XClass::kText), XColor(255, 255, 255, 255));
    EXPECT_EQ(c.GetColor(XClass::kBack), nullptr);
    EXPECT_EQ(c.GetColor(7), nullptr);
}

TEST(XRegn, AddPointAppendsVertices) {
    XRegn r;
    r.AddPoint(1, 2);
    r.AddPoint(3, 4);
    r.AddPoint(1, 2);
    EXPECT_EQ(r.GetCount(), 3);
    EXPECT_EQ(r.GetX(1), 3);
    EXPECT_EQ(r.GetY(2), 2);
    EXPECT_EQ(r.GetX(9), 0);
}
