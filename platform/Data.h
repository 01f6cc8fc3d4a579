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

/// Bytes appended into a block that becomes a data handle without being copied. The block
/// grows by reallocation, which moves a large block by remapping its pages, not by copying.
class DataBuilder {
  public:
    DataBuilder() = default;
    DataBuilder(DataBuilder const&) = delete;
    DataBuilder& operator=(DataBuilder const&) = delete;
    ~DataBuilder();

    /// Room for `extra` more bytes at End(); false when memory runs out (nothing changes).
    bool Reserve(std::size_t extra) noexcept { return m_capacity - m_size >= extra || Grow(extra); }
    /// Where the next bytes go (valid up to the room last reserved).
    char* End() noexcept { return m_bytes + m_size; }
    /// Bytes written so far.
    std::size_t Size() const noexcept { return m_size; }
    /// Sets the count of bytes written: forward after writing at End(), or back to drop bytes.
    void SetSize(std::size_t size) noexcept { m_size = size; }
    /// The bytes written so far.
    char const* Bytes() const noexcept { return m_bytes; }
    /// Hands the bytes over as a data handle with one owner; the builder is empty afterwards.
    /// Null when memory runs out.
    Data const* Finish() noexcept;

  private:
    bool Grow(std::size_t extra) noexcept;

    Data* m_block = nullptr;
    char* m_bytes = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

} // namespace varn::platform
