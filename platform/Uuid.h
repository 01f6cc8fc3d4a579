// Uuid.h — the platform's immutable UUID object, over libuuid.
//
// A UUID handle is a reference-counted record of 16 bytes (CFUUIDBytes order, byte 0 first).
// Making one returns null when memory cannot be had; no version or variant bits are checked.
#pragma once

#include <VarnUtilityLib/CUPlatformTypes.h>

#include <atomic>
#include <cstdint>
#include <string>

struct __CFUUID {
    mutable std::atomic<std::int32_t> refs;
    CFUUIDBytes bytes;
};

namespace varn::platform {

/// A new random (version 4) UUID, count 1; null when memory cannot be had.
__CFUUID const* UuidCreateRandom() noexcept;

/// A new UUID holding the 16 bytes as they are, count 1; null when memory cannot be had.
__CFUUID const* UuidCreateWithBytes(CFUUIDBytes const& bytes) noexcept;

/// Adds one owner; null is returned as it is.
__CFUUID const* UuidRetain(__CFUUID const* uuid) noexcept;

/// Drops one owner; the last one frees the record. Null is ignored.
void UuidRelease(__CFUUID const* uuid) noexcept;

/// The canonical text: 36 characters, upper-case hexadecimal in groups of 8-4-4-4-12.
std::string UuidUpperText(CFUUIDBytes const& bytes);

} // namespace varn::platform
