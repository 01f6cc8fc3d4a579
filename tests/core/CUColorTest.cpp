// CUColorTest.cpp — channel order of the factories and the named colours.
#include <VarnUtilityLib/CUColor.h>

#include <gtest/gtest.h>

#include <array>

namespace {
std::array<int, 4> argb(CUSharedPtr<CUColor> const& c) {
    return {c->A(), c->R(), c->G(), c->B()};
}
} // namespace

TEST(CUColor, DefaultColourIsTransparentBlack) {
    CUColor color;
    EXPECT_EQ(0, color.A());
    EXPECT_EQ(0, color.R());
    EXPECT_EQ(0, color.G());
    EXPECT_EQ(0, color.B());
    EXPECT_EQ(0, color.GetRetainCount());
}

TEST(CUColor, FourArgumentFormsTakeAlphaFirst) {
    CUSharedPtr<CUColor> color = CUColor::Create(10, 20, 30, 40);
    ASSERT_TRUE(color);
    EXPECT_EQ(1, color->GetRetainCount());
    EXPECT_EQ((std::array<int, 4>{10, 20, 30, 40}), argb(color));
    CUColor plain;
    EXPECT_TRUE(plain.Init(1, 2, 3, 4));
    EXPECT_EQ(1, plain.A());
    EXPECT_EQ(2, plain.R());
    EXPECT_EQ(3, plain.G());
    EXPECT_EQ(4, plain.B());
}

TEST(CUColor, ThreeArgumentFormIsOpaqueRedGreenBlue) {
    CUSharedPtr<CUColor> color = CUColor::Create(20, 30, 40);
    ASSERT_TRUE(color);
    EXPECT_EQ((std::array<int, 4>{255, 20, 30, 40}), argb(color));
}

TEST(CUColor, NamedColoursHaveTheirExactValues) {
    EXPECT_EQ((std::array<int, 4>{255, 255, 0, 0}), argb(CUColor::Red()));
    EXPECT_EQ((std::array<int, 4>{255, 0, 0, 0}), argb(CUColor::Black()));
    EXPECT_EQ((std::array<int, 4>{255, 128, 128, 128}), argb(CUColor::Gray()));
    EXPECT_EQ((std::array<int, 4>{255, 169, 169, 169}), argb(CUColor::DarkGray()));
    EXPECT_EQ((std::array<int, 4>{255, 211, 211, 211}), argb(CUColor::LightGray()));
    EXPECT_EQ((std::array<int, 4>{255, 255, 255, 255}), argb(CUColor::White()));
    EXPECT_NE(CUColor::Red().get(), CUColor::Red().get()) << "each call makes a new colour";
}
