// CUColor: channel order of the factories and the named colours.
#include <VarnUtilityLib/CUColor.h>

#include <gtest/gtest.h>

#include <array>

namespace {
using ARGB = std::array<int, 4>;
ARGB argb(CUColor const& c) {
    return {c.A(), c.R(), c.G(), c.B()};
}
} // namespace

TEST(CUColor, FactoriesTakeAlphaFirstAndNamedColoursHaveTheirExactValues) {
    EXPECT_EQ((ARGB{0, 0, 0, 0}), argb(CUColor()));
    EXPECT_TRUE(CUColor().Init(1, 2, 3, 4));
    struct {
        CUSharedPtr<CUColor> color;
        ARGB value;
    } const rows[] = {// clang-format off
        {CUColor::Create(10, 20, 30, 40), {10, 20, 30, 40}}, {CUColor::Create(20, 30, 40), {255, 20, 30, 40}},
        {CUColor::Red(), {255, 255, 0, 0}}, {CUColor::Black(), {255, 0, 0, 0}},
        {CUColor::Gray(), {255, 128, 128, 128}}, {CUColor::DarkGray(), {255, 169, 169, 169}},
        {CUColor::LightGray(), {255, 211, 211, 211}}, {CUColor::White(), {255, 255, 255, 255}}};
    // clang-format on
    for (auto const& row : rows) {
        EXPECT_EQ(row.value, argb(*row.color)) << "row " << &row - rows;
    }
}
