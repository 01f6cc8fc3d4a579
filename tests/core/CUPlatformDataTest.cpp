// Data handles made from bytes, read back and released.
#include <VarnUtilityLib/CUPlatformTypes.h>

#include <gtest/gtest.h>

#include <string>

TEST(CUPlatformData, HoldsACopyOfTheBytesUntilTheLastRelease) {
    char bytes[] = {'a', '\0', 'b'};
    __CFData const* data = CUPlatformDataCreate(bytes, sizeof bytes);
    ASSERT_NE(nullptr, data);
    bytes[0] = 'z';
    EXPECT_EQ(3u, CUPlatformDataGetLength(data));
    EXPECT_EQ(std::string("a\0b", 3),
              std::string(reinterpret_cast<char const*>(CUPlatformDataGetBytePtr(data)), 3));
    EXPECT_EQ(data, CUPlatformDataRetain(data));
    CUPlatformRelease(data);
    EXPECT_EQ('\0', CUPlatformDataGetBytePtr(data)[1]); // the sanitizers catch a use after free
    CUPlatformRelease(data);
}

TEST(CUPlatformData, EmptyAndNullHandlesHaveNoBytes) {
    __CFData const* empty = CUPlatformDataCreate(nullptr, 0);
    ASSERT_NE(nullptr, empty);
    EXPECT_EQ(0u, CUPlatformDataGetLength(empty));
    EXPECT_EQ(nullptr, CUPlatformDataGetBytePtr(empty));
    CUPlatformRelease(empty);
    EXPECT_EQ(nullptr, CUPlatformDataCreate(nullptr, 4));
    EXPECT_EQ(0u, CUPlatformDataGetLength(nullptr));
    EXPECT_EQ(nullptr, CUPlatformDataGetBytePtr(nullptr));
    EXPECT_EQ(nullptr, CUPlatformDataRetain(nullptr));
    CUPlatformRelease(static_cast<__CFData const*>(nullptr));
}
