// The allocation forms of CUObject through the shared library: new of small, large (past any
// small block) and over-aligned types, and placement new.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <new>

namespace {

template <std::size_t Size, std::size_t Align> struct alignas(Align) Sized : CUObject {
    unsigned char bytes[Size] = {};
};

} // namespace

TEST(CUObject, AllocationFormsAreExported) {
    CUSharedPtr<CUStringMac> string(new CUStringMac("text", CUString_CharCode_UTF8));
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(static_cast<void*>(string.get())) % 8);
    CUSharedPtr<Sized<100, 64>> wide(new Sized<100, 64>);
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(wide.get()) % 64);
    CUSharedPtr<Sized<4000, 8>> large(new Sized<4000, 8>);
    large->bytes[3999] = 1;
    alignas(CUStringMac) unsigned char storage[sizeof(CUStringMac)];
    auto* inPlace = new (storage) CUStringMac("here", CUString_CharCode_UTF8);
    EXPECT_EQ(4, inPlace->Length());
    inPlace->~CUStringMac();
}
