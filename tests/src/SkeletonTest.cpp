#include <gtest/gtest.h>

#include "FourCC.h"

TEST(FourCC, PacksTheFirstCharacterIntoTheTopByte) {
    EXPECT_EQ(FourCC("play"), 0x706C6179u);
    EXPECT_EQ(FourCC("fill"), 0x66696C6Cu);
}
