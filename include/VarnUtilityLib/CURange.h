// CURange.h — a span of positions: a location and a length.
#pragma once

/// A span of positions (bytes in a stream, UTF-16 units in a string), copied by value.
/// A location of kCURangeNoLocation means that no location is set (nothing found).
struct _CURange {
    unsigned long long location; ///< first position
    unsigned long long length;   ///< number of positions
};

/// The location that marks "none": the largest signed 64-bit value.
inline constexpr unsigned long long kCURangeNoLocation = 0x7fffffffffffffffULL;
