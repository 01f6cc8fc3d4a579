// The allocation forms of CUObject and the block allocator beside it, through the shared
// library: every object made with new, placement new, over-aligned types and the standard
// allocator over the same blocks.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <new>
#include <vector>

namespace {

// A type whose alignment passes what the small blocks give: it takes the aligned forms.
struct alignas(64) WideObject : CUObject {
    unsigned char bytes[100] = {};
};

// A type made bigger than any small block: it goes to the global operator new and back.
struct LargeObject : CUObject {
    unsigned char bytes[4000] = {};
};

} // namespace

TEST(CUObject, AllocationFormsAreExported) {
    CUSharedPtr<CUObject> plain(new CUObject);
    CUSharedPtr<CUStringMac> string(new CUStringMac("text", CUString_CharCode_UTF8));
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(static_cast<void*>(string.get())) % 8);

    CUSharedPtr<WideObject> wide(new WideObject);
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(wide.get()) % 64);
    CUSharedPtr<LargeObject> large(new LargeObject);
    large->bytes[3999] = 1;

    alignas(CUStringMac) unsigned char storage[sizeof(CUStringMac)];
    auto* inPlace = new (storage) CUStringMac("here", CUString_CharCode_UTF8);
    EXPECT_EQ(4, inPlace->Length());
    inPlace->~CUStringMac();

    void* block = cu_detail::AllocateBlock(24);
    ASSERT_NE(nullptr, block);
    cu_detail::FreeBlock(block, 24);
    cu_detail::FreeBlock(nullptr, 24);

    std::map<int, int, std::less<int>, cu_detail::BlockAllocator<std::pair<int const, int>>> map;
    std::vector<long, cu_detail::BlockAllocator<long>> list(1000, 7);
    for (int i = 0; i < 100; ++i) {
        map[i] = i * 2;
    }
    EXPECT_EQ(198, map[99]);
    EXPECT_EQ(7000, [&] {
        long sum = 0;
        for (long v : list) {
            sum += v;
        }
        return sum;
    }());
    static_assert(
        std::is_same_v<
            CUDictionary::Map::allocator_type,
            cu_detail::BlockAllocator<std::pair<CUDictionaryKey const, CUSharedPtr<CUObject>>>>);
}
