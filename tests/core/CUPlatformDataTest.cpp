// Data, text and UUID handles made from bytes, read back and released; null handles are empty.
#include <VarnUtilityLib/CUPlatformTypes.h>

#include <gtest/gtest.h>

#include <string>

TEST(CUPlatformData, HoldsACopyOfTheBytesUntilTheLastReleaseAndNullHasNone) {
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

TEST(CUPlatformData, StringAndUuidHandlesCarryTheirContents) {
    __CFString const* utf8 = CUPlatformStringCreateWithUTF8("h\xC3\xA9", 3);
    __CFString const* utf16 = CUPlatformStringCreateWithUTF16(u"h\u00E9", 2);
    for (__CFString const* text : {utf8, utf16}) {
        ASSERT_NE(nullptr, text);
        EXPECT_EQ(2u, CUPlatformStringGetLength(text));
        EXPECT_EQ(u'\u00E9', CUPlatformStringGetUnits(text)[1]);
        EXPECT_EQ(text, CUPlatformStringRetain(text));
        CUPlatformRelease(text);
        CUPlatformRelease(text);
    }
    EXPECT_EQ(nullptr, CUPlatformStringCreateWithUTF8(nullptr, 1));
    EXPECT_EQ(nullptr, CUPlatformStringCreateWithUTF16(nullptr, 1));
    EXPECT_EQ(0u, CUPlatformStringGetLength(nullptr));
    EXPECT_EQ(nullptr, CUPlatformStringGetUnits(nullptr));
    __CFUUID const* random = CUPlatformUUIDCreate(); // those made from bytes: CUUUIDTest
    EXPECT_EQ(0x40, CUPlatformUUIDGetBytes(random).byte6 & 0xF0) << "version 4";
    EXPECT_EQ(random, CUPlatformUUIDRetain(random));
    CUPlatformRelease(random);
    CUPlatformRelease(random);
    CFUUIDBytes const none = CUPlatformUUIDGetBytes(nullptr);
    EXPECT_EQ(0, none.byte0 | none.byte15);
}
