// CUVector: the typed vectors' factories and text forms.
#include <VarnUtilityLib/CUVector.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <type_traits>

namespace {

template <class T>
std::string describe(CUSharedPtr<CUVector<T>> v,
                     std::initializer_list<std::type_identity_t<T>> xs) {
    v->insert(v->end(), xs);
    return static_cast<char const*>(*v->Description());
}

} // namespace

TEST(CUVector, DescriptionPrintsEveryWidthInFull) {
    EXPECT_EQ("{}", describe(CreateCUVectorUInt64(), {}));
    EXPECT_EQ("{ 255, 0}", describe(CreateCUVectorUInt8(), {255, 0}));
    EXPECT_EQ("{ -128, 127}", describe(CreateCUVectorSInt8(), {-128, 127}));
    EXPECT_EQ("{ 1, -2, 3}", describe(CreateCUVectorSInt16(), {1, -2, 3}));
    EXPECT_EQ("{ 65535}", describe(CreateCUVectorUInt16(), {65535}));
    EXPECT_EQ("{ -2147483648, 7}", describe(CreateCUVectorSInt32(), {INT_MIN, 7}));
    EXPECT_EQ("{ 4294967295}", describe(CreateCUVectorUInt32(), {UINT_MAX}));
    EXPECT_EQ("{ -9223372036854775808, 9223372036854775807}",
              describe(CreateCUVectorSInt64(), {LLONG_MIN, LLONG_MAX}));
    EXPECT_EQ("{ 18446744073709551615}", describe(CreateCUVectorUInt64(), {ULLONG_MAX}));
}
