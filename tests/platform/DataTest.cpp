// DataTest.cpp — the platform's data blocks and the builder that grows one in place.
#include "platform/Data.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace vp = varn::platform;

// Growth over many blocks, past the large-block size, is the XML writer's: its large documents
// are written through one builder and must come back byte for byte.
TEST(PlatformData, BuilderHandsOverWhatWasWrittenAcrossGrowthAndStartsOverEmpty) {
    vp::DataBuilder builder;
    auto write = [&builder](std::string const& piece) {
        ASSERT_TRUE(builder.Reserve(piece.size()));
        std::memcpy(builder.End(), piece.data(), piece.size());
        builder.SetSize(builder.Size() + piece.size());
    };
    auto finish = [&builder] {
        vp::Data const* data = builder.Finish();
        EXPECT_EQ(builder.Size(), 0u);
        EXPECT_EQ(data->Bytes() == nullptr, data->length == 0);
        std::string bytes(reinterpret_cast<char const*>(data->Bytes()), data->length);
        vp::ReleaseData(data);
        return bytes;
    };
    std::string const large(5000, 'x'); // past the first block
    write("head");
    write(large);
    EXPECT_EQ(finish(), "head" + large);
    EXPECT_EQ(finish(), ""); // finished, the builder starts over empty
    write("keepme");
    builder.SetSize(4); // bytes dropped by setting the size back
    EXPECT_EQ(finish(), "keep");
}
