// FuzzInput.h — reads integers of chosen sizes from a fuzzer's bytes, zeros once they run out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define CHECK(condition) ::varn::fuzz::CheckAt((condition), #condition, __LINE__)

namespace varn::fuzz {

/// Stops the run at the first broken property, naming it; libFuzzer keeps the input.
inline void CheckAt(bool condition, char const* what, int line) {
    if (!condition) {
        std::fprintf(stderr, "broken property at line %d: %s\n", line, what);
        std::abort();
    }
}

class FuzzInput {
  public:
    FuzzInput(std::uint8_t const* data, std::size_t size) : data_(data), size_(size) {}

    bool Empty() const { return at_ >= size_; }
    std::size_t Left() const { return size_ - at_; }

    std::uint8_t Byte() { return at_ < size_ ? data_[at_++] : 0; }

    std::uint64_t Unsigned(int bytes) {
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i) {
            value = (value << 8) | Byte();
        }
        return value;
    }

    /// A signed value: mostly small (near the data), sometimes any 64-bit value.
    std::int64_t Offset() {
        std::uint8_t kind = Byte();
        if (kind % 8 == 7) {
            return static_cast<std::int64_t>(Unsigned(8));
        }
        return static_cast<std::int16_t>(Unsigned(2));
    }

    /// Up to `count` bytes of the input (fewer when it runs out).
    std::size_t Take(std::size_t count, std::uint8_t const** bytes) {
        std::size_t n = count < Left() ? count : Left();
        *bytes = data_ + at_;
        at_ += n;
        return n;
    }

  private:
    std::uint8_t const* data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

} // namespace varn::fuzz
