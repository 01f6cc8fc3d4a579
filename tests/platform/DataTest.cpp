// DataTest.cpp — the platform's data blocks and the builder that grows one in place.
#include "platform/Data.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace vp = varn::platform;

TEST(PlatformData, BuilderHandsOverWhatWasWrittenAcrossGrowthAndStartsOverEmpty) {
    vp::DataBuilder builder;
    std::string expected;
    // Enough to grow the block many times over, in pieces of varying size.
    for (int i = 0; i < 20000; ++i) {
        std::string piece = std::to_string(i) + (i % 7 == 0 ? std::string(100, 'x') : "");
        ASSERT_TRUE(builder.Reserve(piece.size()));
        std::memcpy(builder.End(), piece.data(), piece.size());
        builder.SetSize(builder.Size() + piece.size());
        expected += piece;
    }
    vp::Data const* data = builder.Finish();
    ASSERT_NE(data, nullptr);
    ASSERT_EQ(data->length, expected.size());
    EXPECT_EQ(std::memcmp(data->Bytes(), expected.data(), expected.size()), 0);
    EXPECT_EQ(builder.Size(), 0u);
    vp::ReleaseData(data);

    // Finished, the builder starts over: empty, then with bytes dropped by setting the size back.
    data = builder.Finish();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->length, 0u);
    EXPECT_EQ(data->Bytes(), nullptr);
    vp::ReleaseData(data);
    ASSERT_TRUE(builder.Reserve(6));
    std::memcpy(builder.End(), "keepme", 6);
    builder.SetSize(4);
    data = builder.Finish();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(data->Bytes()), data->length), "keep");
    vp::ReleaseData(data);
}
