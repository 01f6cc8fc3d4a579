// CUUUID: values, texts, the serial area and the three equality forms.
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUUUID.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <regex>

using varn::test::CodeOf;
using varn::test::Text;

namespace {

using Bytes = std::array<unsigned char, 16>;

Bytes bytesOf(CUUUID& uuid) {
    Bytes out;
    out.fill(0xEE); // so that bytes left unwritten show
    uuid.GetBytes(out.data());
    return out;
}

// The UUID at the end of the description.
std::string canonicalTail(CUUUID& uuid) {
    std::string text = Text(uuid.Description());
    return text.substr(text.rfind(' ') + 1);
}

} // namespace

TEST(CUUUID, WordsAreBigEndianTheTextIsUpperCaseCanonicalGroupsAndNewOnesAreRandom) {
    CUSharedPtr<CUUUID> null = CUUUID::CreateNull();
    EXPECT_EQ(Bytes{}, bytesOf(*null));
    std::string text = Text(null->Description());
    EXPECT_NE(std::string::npos, text.find("(0x0x")) << "starts with the object description";
    EXPECT_EQ(" 00000000-0000-0000-0000-000000000000", text.substr(text.size() - 37)) << text;
    CUSharedPtr<CUUUID> mixed = CUUUID::Create(0x01234567u, 0x89ABCDEFu, 0xFEDCBA98u, 0x76543210u);
    EXPECT_EQ("01234567-89AB-CDEF-FEDC-BA9876543210", canonicalTail(*mixed));
    std::regex v4("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::string const one = canonicalTail(*CUUUID::Create()),
                      two = canonicalTail(*CUUUID::Create());
    EXPECT_TRUE(std::regex_match(one, v4) && one != two) << "random, version 4: " << one << two;
}

TEST(CUUUID, NullHandleGivesANullUUIDReadingAsZerosAndNullBytesAreRejectedWithTwo) {
    CUUUID null(static_cast<__CFUUID const*>(nullptr));
    EXPECT_EQ(nullptr, null.GetUUIDRef());
    EXPECT_EQ(Bytes{}, bytesOf(null));
    std::string text = Text(null.Description());
    EXPECT_EQ(std::string::npos, text.find('-')) << "no UUID text for a null UUID: " << text;
    EXPECT_EQ(nullptr, CUUUID(null).GetUUIDRef());
    EXPECT_TRUE(CUUUID::Create(static_cast<__CFUUID const*>(nullptr)))
        << "a null handle is not an error";
    EXPECT_EQ(static_cast<unsigned int>(CUError_InvalidArgument),
              CodeOf([] { CUUUID rejected(static_cast<unsigned char const*>(nullptr)); }));
    EXPECT_FALSE(CUUUID::Create(static_cast<unsigned char const*>(nullptr)));
}

TEST(CUUUID, SerialAreaIsTheLastFiveBytes) {
    CUSharedPtr<CUUUID> uuid = CUUUID::Create();
    Bytes expected = bytesOf(*uuid);
    unsigned char serial[5] = {1, 2, 3, 4, 5};
    std::memcpy(expected.data() + 11, serial, 5);
    uuid->CorrectSerialArea(serial);
    EXPECT_EQ(expected, bytesOf(*uuid));
    EXPECT_FALSE(uuid->IsNotFillSerialArea());
    uuid->CorrectSerialArea(nullptr);
    EXPECT_EQ(expected, bytesOf(*uuid)) << "a null serial changes nothing";
    for (int i = 10; i < 16; ++i) {
        unsigned char bytes[16] = {};
        bytes[i] = 0x80;
        EXPECT_EQ(i == 10, CUUUID(bytes).IsNotFillSerialArea()) << "byte " << i;
    }
}

TEST(CUUUID, EveryFormMadeFromTheSameBytesIsEqualAndConvertsBackAndHandlesAreCopiedNeverKept) {
    unsigned char const raw[16] = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6};
    CFUUIDBytes record;
    std::memcpy(&record, raw, 16);
    __CFUUID const* handle = CUPlatformUUIDCreateWithBytes(record);
    CUUUID const model(record);
    CUUUID assigned;
    assigned = model;
    CUSharedPtr<CUUUID> const made[] = {
        CUUUID::Create(raw),
        CUUUID::Create(record),
        CUUUID::Create(handle),
        CUUUID::Create(model),
        CUSharedPtr<CUUUID>(new CUUUID(assigned)),
    };
    for (std::size_t i = 0; i < std::size(made); ++i) {
        ASSERT_TRUE(made[i]) << i;
        EXPECT_TRUE(*made[i] == model && *made[i] == record && *made[i] == handle) << i;
        EXPECT_NE(handle, made[i]->GetUUIDRef()) << i;
    }
    CUPlatformRelease(handle); // the objects keep working after the caller's handle is gone
    CUUUID& fromHandle = *made[2];
    CFUUIDBytes back = fromHandle;
    EXPECT_EQ(0, std::memcmp(&record, &back, 16));
    __CFUUID const* own = fromHandle;
    EXPECT_EQ(fromHandle.GetUUIDRef(), own);
    fromHandle.SetUUIDRef(own); // setting the handle it holds changes nothing
    EXPECT_EQ(own, fromHandle.GetUUIDRef());
}
