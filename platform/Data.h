// Data.h — the platform's immutable block of bytes behind the public __CFData handle.
//
// A data block is reference counted and never changes after it is made; its bytes follow the
// header in the same allocation.
#pragma once

#include <VarnUtilityLib/CUPlatformTypes.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

struct __CFData {
    mutable std::atomic<std::int32_t> refs;
    std::size_t length;

    unsigned char const* Bytes() const noexcept {
        return length == 0 ? nullptr : reinterpret_cast<unsigned char const*>(this + 1);
    }
};

namespace varn::platform {

using Data = __CFData;

/// A new block holding a copy of `length` bytes (one owner); null when memory runs out.
Data const* MakeData(void const* bytes, std::size_t length) noexcept;

Data const* RetainData(Data const* data) noexcept;

/// Drops one owner; the last one frees the block. Null is ignored.
void ReleaseData(Data const* data) noexcept;

} // namespace varn::platform
