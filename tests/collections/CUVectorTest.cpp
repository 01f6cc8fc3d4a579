// CUVectorTest.cpp — the typed vectors' text forms and factories.
#include <VarnUtilityLib/CUVector.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

template <class T> std::string describe(CUSharedPtr<CUVector<T>> const& v) {
    return static_cast<char const*>(*v->Description());
}

} // namespace

TEST(CUVector, FactoriesGiveEmptyVectorsHeldOnce) {
    auto v = CreateCUVectorSInt32();
    ASSERT_TRUE(v);
    EXPECT_EQ(1, v->GetRetainCount());
    EXPECT_TRUE(v->empty());
    CUSharedPtr<CUObject> asObject = v;
    EXPECT_EQ(2, v->GetRetainCount());
    CUSharedPtr<CUVector<int>> back = asObject;
    EXPECT_EQ(v.get(), back.get());
    CUSharedPtr<CUVector<unsigned int>> wrong = asObject;
    EXPECT_FALSE(wrong);
}

TEST(CUVector, EmptyVectorIsTwoBraces) {
    EXPECT_EQ("{}", describe(CreateCUVectorUInt64()));
    EXPECT_EQ("{}", describe(CreateCUVectorSInt8()));
}

TEST(CUVector, EightBitValuesWidenWithTheirSign) {
    auto u8 = CreateCUVectorUInt8();
    u8->push_back(255);
    u8->push_back(0);
    EXPECT_EQ("{ 255, 0}", describe(u8));
    auto s8 = CreateCUVectorSInt8();
    s8->push_back(-128);
    EXPECT_EQ("{ -128}", describe(s8));
    s8->push_back(127);
    EXPECT_EQ("{ -128, 127}", describe(s8));
}

TEST(CUVector, SixteenAndThirtyTwoBitFormats) {
    auto s16 = CreateCUVectorSInt16();
    for (short v : {1, -2, 3}) {
        s16->push_back(v);
    }
    EXPECT_EQ("{ 1, -2, 3}", describe(s16));
    auto u16 = CreateCUVectorUInt16();
    u16->push_back(65535);
    EXPECT_EQ("{ 65535}", describe(u16));
    auto s32 = CreateCUVectorSInt32();
    s32->push_back(INT_MIN);
    s32->push_back(7);
    EXPECT_EQ("{ -2147483648, 7}", describe(s32));
    auto u32 = CreateCUVectorUInt32();
    u32->push_back(UINT_MAX);
    EXPECT_EQ("{ 4294967295}", describe(u32));
}

TEST(CUVector, SixtyFourBitExtremesPrintInFull) {
    auto s64 = CreateCUVectorSInt64();
    s64->push_back(LLONG_MIN);
    s64->push_back(LLONG_MAX);
    EXPECT_EQ("{ -9223372036854775808, 9223372036854775807}", describe(s64));
    auto u64 = CreateCUVectorUInt64();
    u64->push_back(ULLONG_MAX);
    EXPECT_EQ("{ 18446744073709551615}", describe(u64));
}

TEST(CUVector, UsedDirectlyAsAStandardVector) {
    CUVector<int> v;
    v.resize(3, 9);
    v[1] = 4;
    v.reserve(100);
    EXPECT_EQ(0, v.GetRetainCount());
    EXPECT_EQ("{ 9, 4, 9}", std::string(static_cast<char const*>(*v.Description())));
    v.clear();
    EXPECT_EQ("{}", std::string(static_cast<char const*>(*v.Description())));
}
