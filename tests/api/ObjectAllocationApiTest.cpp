// The allocation forms of CUObject through the shared library: objects made with new of
// small, large and over-aligned types, and placement new.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <new>

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
}
