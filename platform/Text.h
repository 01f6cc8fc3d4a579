// Text.h — the platform's immutable Unicode text.
//
// A text is a reference-counted block of UTF-16 units that never changes after it is made, so
// copies of a string share one text. Its collation key is computed on the first localized
// comparison and kept with it. Encoders and decoders here reproduce, byte for byte, the
// conversions that CUStringMac's interface promises (strict UTF-8 with the BOM dropped,
// big-endian UTF-16 unless a byte-order mark says otherwise, Latin-1 for "ASCII" input...).
//
// Only portable types cross this header: the library's classes never see ICU.
#pragma once

#include <VarnUtilityLib/CUPlatformTypes.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace varn::platform {
struct CollationKey;
} // namespace varn::platform

// The text handle itself. Its UTF-16 units follow the header in the same allocation.
struct __CFString {
    mutable std::atomic<std::int32_t> refs;
    std::uint32_t length;
    mutable std::atomic<varn::platform::CollationKey const*> collationKey;

    char16_t const* Units() const noexcept { return reinterpret_cast<char16_t const*>(this + 1); }
};

namespace varn::platform {

using Text = __CFString;

/// Byte encodings the text layer converts to and from.
enum class Encoding {
    UTF8,
    UTF16,   ///< input: external representation (BOM honoured, big-endian without one);
             ///< output: host order, no BOM
    ASCII,   ///< input: bytes 0x80-0xFF taken as Latin-1; output: stops at the first non-ASCII
    UTF32LE, ///< output only (used to count scalar values)
};

/// The shared empty text. Never freed; retaining and releasing it is allowed.
Text const* EmptyText() noexcept;

Text const* Retain(Text const* text) noexcept;
void Release(Text const* text) noexcept;

/// A new text holding `count` units copied as they are (no validation). Count 0 gives the
/// shared empty text.
Text const* MakeText(char16_t const* units, std::size_t count);

/// A new text from a UTF-16 buffer that is moved in.
Text const* MakeText(std::u16string const& units);

/// Decodes `count` bytes; null when the bytes are not valid in `encoding`. Zero bytes give the
/// empty text.
Text const* Decode(char const* bytes, std::size_t count, Encoding encoding);

/// Decodes `count` bytes of strict UTF-8 taken as content: unlike Decode, a leading byte-order
/// mark is kept as the character U+FEFF. Null when the bytes are not strict UTF-8; zero bytes
/// give the empty text.
Text const* DecodeUTF8Content(char const* bytes, std::size_t count);

/// Worst-case number of bytes for `length` UTF-16 units in `encoding`.
std::uint64_t MaxBytesForEncoding(std::uint64_t length, Encoding encoding) noexcept;

/// Encodes the text into at most `capacity` bytes of `out` (out may be null to only count).
/// Whole characters only for UTF-8 and UTF-32; UTF-16 is cut per unit. Stops silently at what
/// the encoding cannot hold (an unpaired surrogate in UTF-8/UTF-32, a non-ASCII character in
/// ASCII). Returns the number of UTF-16 units converted and sets `bytesUsed`.
std::size_t Encode(Text const* text, Encoding encoding, char* out, std::size_t capacity,
                   std::size_t& bytesUsed) noexcept;

/// The whole text as UTF-8; false (and `out` untouched) when an unpaired surrogate stops it.
bool ToUTF8(Text const* text, std::string& out);

/// A new text over units [start, start + count) of `text`; the caller checked the range.
Text const* SubText(Text const* text, std::size_t start, std::size_t count);

/// A new text of `a` followed by `b`.
Text const* Concat(Text const* a, Text const* b);

/// A new text without the white space at both ends.
Text const* TrimWhitespace(Text const* text);

/// Whether `unit` is white space by the trimming rules (BMP units only).
bool IsTrimmableWhitespace(char16_t unit) noexcept;

/// True when the units of the two texts are identical.
bool SameUnits(Text const* a, Text const* b) noexcept;

/// Literal search for `pattern` (exact UTF-16 units); forward gives the first occurrence,
/// backwards the last. An empty pattern or text finds nothing. Returns false if not found.
bool FindLiteral(Text const* text, Text const* pattern, bool backwards, std::size_t& location,
                 std::size_t& length) noexcept;

/// Case-insensitive search: both sides are case-folded (with the Turkic rules when the
/// current locale asks for them) and matches must start and end on character boundaries.
/// The found range is in units of `text` and may differ in length from the pattern.
bool FindCaseInsensitive(Text const* text, Text const* pattern, bool backwards,
                         std::size_t& location, std::size_t& length);

/// True when `text` ends with `suffix`; an empty suffix gives false.
bool HasSuffix(Text const* text, Text const* suffix) noexcept;

/// The pieces of `text` between non-overlapping occurrences of `separator`, empty pieces
/// included; no occurrence (or an empty separator) gives the whole text as one piece.
std::vector<Text const*> Split(Text const* text, Text const* separator);

/// Localized comparison under the current locale: -1, 0 or 1. Identical units compare
/// equal; when one text is a prefix of the other the shorter is less; otherwise the
/// collator decides (primary, then secondary with case, then width and composition).
int CompareLocalized(Text const* a, Text const* b, bool caseInsensitive);

/// Copies up to `capacity` leading bytes of the text's collation key (the key that
/// CompareLocalized compares, cached with the text) into `out`. Sets `fullSize` to the whole
/// key's size and returns the locale generation the key belongs to (never 0), so that a
/// caller keeping the copy can tell when a locale change made it stale. Sets `hash` to a hash
/// of the whole key: texts that CompareLocalized finds equal have equal hashes under one
/// generation.
std::uint32_t CollationKeyPrefix(Text const* text, std::uint8_t* out, std::uint32_t capacity,
                                 std::uint32_t& fullSize, std::uint32_t& hash);

/// The ICU locale id that localized comparison uses, read from the environment once
/// (LC_ALL, LC_COLLATE, LANG; C and POSIX mean en_US_POSIX).
std::string CollationLocale();

/// Reads the environment again for the collation locale (tests pin a locale with it).
void ResetCollationLocale();

} // namespace varn::platform
