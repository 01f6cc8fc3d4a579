// Text.cpp — storage, conversions and literal operations of the platform text.
//
// The decoders are written by hand rather than taken from ICU because the string interface
// fixes details ICU does not share: a UTF-8 byte-order mark is dropped, a stray 0xA9 byte
// becomes U+FFFD instead of failing the whole conversion, UTF-16 without a byte-order mark is
// big-endian, and "ASCII" input accepts Latin-1 bytes.
#include "platform/Text.h"

#include "platform/SmallBlocks.h"
#include "platform/TextCollation.h"

#include <sys/single_threaded.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace varn::platform {
namespace {

// The empty text outlives every user: its count starts far from zero and it is never freed.
struct EmptyStorage {
    __CFString header{};
    char16_t terminator = 0;
};
EmptyStorage g_empty{{{1 << 30}, 0, {nullptr}}, 0};

// Bytes of the block of a text of `count` units.
std::size_t blockSize(std::size_t count) {
    return sizeof(__CFString) + count * sizeof(char16_t);
}

// Texts are small blocks: a document tree holds one for most of its values.
Text* allocate(std::size_t count) {
    if (count > UINT32_MAX) {
        throw std::bad_alloc();
    }
    void* block = AllocateSmall(blockSize(count));
    auto* text = static_cast<Text*>(block);
    text->refs.store(1, std::memory_order_relaxed);
    text->length = static_cast<std::uint32_t>(count);
    text->collationKey.store(nullptr, std::memory_order_relaxed);
    return text;
}

// Frees a text's block by its current length (see shrink for why that is its block's size).
void freeText(Text const* text) noexcept {
    FreeSmall(const_cast<Text*>(text), blockSize(text->length));
}

// A text made for `count` units that turned out to hold fewer (`units`, not 0): kept in its
// block when the block of the shorter length is the same one, since the free goes by the
// length; otherwise, or when `copy` asks for it to save the waste, copied to a block of its
// exact size.
Text const* shrink(Text* text, std::size_t count, std::size_t units, bool copy) {
    text->length = static_cast<std::uint32_t>(units);
    if (!copy && SameSmallBlock(blockSize(count), blockSize(units))) {
        return text;
    }
    Text const* exact = MakeText(text->Units(), units);
    FreeSmall(text, blockSize(count));
    return exact;
}

char16_t* mutableUnits(Text* text) {
    return reinterpret_cast<char16_t*>(text + 1);
}

bool isHigh(char16_t u) {
    return u >= 0xD800 && u <= 0xDBFF;
}
bool isLow(char16_t u) {
    return u >= 0xDC00 && u <= 0xDFFF;
}

// Strict UTF-8: overlong forms, encoded surrogates, values past U+10FFFF, bad lead or
// continuation bytes and a cut final sequence all fail the whole decode (kFailed). Writes at
// most `n` units to `out`: no byte sequence yields more units than it has bytes.
constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

std::size_t decodeUTF8(unsigned char const* p, std::size_t n, char16_t* out, bool dropMark = true) {
    std::size_t i = 0, k = 0;
    if (dropMark && n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF) {
        i = 3;
    }
    while (i < n) {
        unsigned char b = p[i];
        if (b < 0x80) {
            out[k++] = b;
            ++i;
            continue;
        }
        int extra;
        char32_t cp;
        unsigned char lo = 0x80, hi = 0xBF; // allowed range of the first continuation byte
        if (b >= 0xC2 && b <= 0xDF) {
            extra = 1;
            cp = b & 0x1F;
        } else if (b >= 0xE0 && b <= 0xEF) {
            extra = 2;
            cp = b & 0x0F;
            if (b == 0xE0)
                lo = 0xA0;
            if (b == 0xED)
                hi = 0x9F;
        } else if (b >= 0xF0 && b <= 0xF4) {
            extra = 3;
            cp = b & 0x07;
            if (b == 0xF0)
                lo = 0x90;
            if (b == 0xF4)
                hi = 0x8F;
        } else if (b == 0xA9) {
            out[k++] = 0xFFFD;
            ++i;
            continue;
        } else {
            return kFailed;
        }
        if (n - i <= static_cast<std::size_t>(extra)) {
            return kFailed;
        }
        for (int j = 1; j <= extra; ++j) {
            unsigned char c = p[i + j];
            unsigned char min = j == 1 ? lo : 0x80;
            unsigned char max = j == 1 ? hi : 0xBF;
            if (c < min || c > max) {
                return kFailed;
            }
            cp = (cp << 6) | (c & 0x3F);
        }
        i += extra + 1;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out[k++] = static_cast<char16_t>(0xD800 + (cp >> 10));
            out[k++] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
        } else {
            out[k++] = static_cast<char16_t>(cp);
        }
    }
    return k;
}

// External-representation UTF-16: a leading FEFF (in host order) selects little-endian and
// FFFE big-endian, both consumed; without a mark the bytes are big-endian. A last odd byte is
// ignored; a single byte is not text at all.
bool decodeUTF16(unsigned char const* p, std::size_t n, std::u16string& out) {
    if (n == 1) {
        return false;
    }
    std::size_t units = n / 2;
    std::size_t first = 0;
    bool little = false;
    char16_t host = static_cast<char16_t>(p[0] | (p[1] << 8));
    if (host == 0xFEFF) {
        little = true;
        first = 1;
    } else if (host == 0xFFFE) {
        first = 1;
    }
    out.resize(units - first);
    for (std::size_t u = first; u < units; ++u) {
        unsigned char b0 = p[2 * u], b1 = p[2 * u + 1];
        out[u - first] =
            little ? static_cast<char16_t>(b0 | (b1 << 8)) : static_cast<char16_t>((b0 << 8) | b1);
    }
    return true;
}

} // namespace

Text const* EmptyText() noexcept {
    return &g_empty.header;
}

// While the process runs one thread (the C library's flag, which turns 0 before a second
// thread starts) counts change without bus-locked instructions: names shared by a whole
// document are retained and released once per node.
Text const* Retain(Text const* text) noexcept {
    if (text == nullptr) {
        return text;
    }
    if (__libc_single_threaded != 0) {
        text->refs.store(text->refs.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    } else {
        text->refs.fetch_add(1, std::memory_order_relaxed);
    }
    return text;
}

void Release(Text const* text) noexcept {
    if (text == nullptr) {
        return;
    }
    if (__libc_single_threaded != 0) {
        std::int32_t const left = text->refs.load(std::memory_order_relaxed) - 1;
        text->refs.store(left, std::memory_order_relaxed);
        if (left != 0) {
            return;
        }
    } else if (text->refs.fetch_sub(1, std::memory_order_acq_rel) != 1) {
        return;
    }
    FreeCollationKey(text->collationKey.load(std::memory_order_acquire));
    freeText(text);
}

Text const* MakeText(char16_t const* units, std::size_t count) {
    if (count == 0) {
        return Retain(EmptyText());
    }
    Text* text = allocate(count);
    std::memcpy(mutableUnits(text), units, count * sizeof(char16_t));
    return text;
}

Text const* MakeText(std::u16string const& units) {
    return MakeText(units.data(), units.size());
}

Text const* Decode(char const* bytes, std::size_t count, Encoding encoding) {
    if (count == 0) {
        return Retain(EmptyText());
    }
    auto const* p = reinterpret_cast<unsigned char const*>(bytes);
    if (encoding == Encoding::ASCII) {
        Text* text = allocate(count);
        std::copy(p, p + count, mutableUnits(text));
        return text;
    }
    if (encoding == Encoding::UTF8) {
        // Decoded in place into a block sized for the worst case (one unit per byte); a
        // block that turned out much too large is copied down to size.
        Text* text = allocate(count);
        std::size_t units = decodeUTF8(p, count, mutableUnits(text));
        if (units == kFailed || units == 0) {
            FreeSmall(text, blockSize(count));
            return units == 0 ? Retain(EmptyText()) : nullptr;
        }
        if (units == count) {
            return text;
        }
        return shrink(text, count, units, count - units > 256 && units < count / 2);
    }
    if (encoding != Encoding::UTF16) {
        return nullptr;
    }
    std::u16string units;
    if (!decodeUTF16(p, count, units)) {
        return nullptr;
    }
    return MakeText(units);
}

Text const* DecodeUTF8Content(char const* bytes, std::size_t count) {
    if (count == 0) {
        return Retain(EmptyText());
    }
    auto const* p = reinterpret_cast<unsigned char const*>(bytes);
    Text* text = allocate(count);
    char16_t* out = mutableUnits(text);
    // Names and most text are ASCII: widen until the first other byte, which starts a
    // sequence of its own, and decode the rest from there.
    std::size_t ascii = 0;
    while (ascii < count && p[ascii] < 0x80) {
        out[ascii] = p[ascii];
        ++ascii;
    }
    if (ascii == count) {
        return text;
    }
    std::size_t rest = decodeUTF8(p + ascii, count - ascii, out + ascii, false);
    if (rest == kFailed) {
        FreeSmall(text, blockSize(count));
        return nullptr;
    }
    std::size_t const units = ascii + rest;
    if (units == count) {
        return text;
    }
    // Multi-byte sequences left the block too large; a text kept in a tree for long is worth
    // the copy once the waste passes a few allocation granules.
    return shrink(text, count, units, count - units >= 16);
}

std::uint64_t MaxBytesForEncoding(std::uint64_t length, Encoding encoding) noexcept {
    switch (encoding) {
    case Encoding::UTF8:
        return length * 3;
    case Encoding::UTF16:
        return length * 2;
    case Encoding::UTF32LE:
        return length * 4;
    case Encoding::ASCII:
        break;
    }
    return length;
}

std::size_t Encode(Text const* text, Encoding encoding, char* out, std::size_t capacity,
                   std::size_t& bytesUsed) noexcept {
    bytesUsed = 0;
    if (text == nullptr) {
        return 0;
    }
    char16_t const* u = text->Units();
    std::size_t const n = text->length;
    auto* dst = reinterpret_cast<unsigned char*>(out);
    std::size_t used = 0;
    std::size_t i = 0;
    switch (encoding) {
    case Encoding::UTF16: {
        std::size_t count = std::min(n, capacity / 2);
        if (dst != nullptr) {
            for (std::size_t k = 0; k < count; ++k) {
                dst[2 * k] = static_cast<unsigned char>(u[k] & 0xFF);
                dst[2 * k + 1] = static_cast<unsigned char>(u[k] >> 8);
            }
        } else {
            count = n;
        }
        bytesUsed = count * 2;
        return count;
    }
    case Encoding::ASCII:
        while (i < n && u[i] < 0x80 && (dst == nullptr || used < capacity)) {
            if (dst != nullptr) {
                dst[used] = static_cast<unsigned char>(u[i]);
            }
            ++used;
            ++i;
        }
        bytesUsed = used;
        return i;
    case Encoding::UTF8:
    case Encoding::UTF32LE:
        break;
    }
    bool const utf8 = encoding == Encoding::UTF8;
    while (i < n) {
        char32_t cp = u[i];
        std::size_t width = 1;
        if (isHigh(u[i])) {
            if (i + 1 >= n || !isLow(u[i + 1])) {
                break;
            }
            cp = 0x10000 + ((cp - 0xD800) << 10) + (u[i + 1] - 0xDC00);
            width = 2;
        } else if (isLow(u[i])) {
            break;
        }
        std::size_t need = utf8 ? (cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4) : 4;
        if (dst != nullptr) {
            if (capacity - used < need) {
                break;
            }
            unsigned char* d = dst + used;
            if (!utf8) {
                d[0] = cp & 0xFF;
                d[1] = (cp >> 8) & 0xFF;
                d[2] = (cp >> 16) & 0xFF;
                d[3] = 0;
            } else if (need == 1) {
                d[0] = static_cast<unsigned char>(cp);
            } else if (need == 2) {
                d[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
                d[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
            } else if (need == 3) {
                d[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
                d[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
                d[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
            } else {
                d[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
                d[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
                d[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
                d[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
            }
        }
        used += need;
        i += width;
    }
    bytesUsed = used;
    return i;
}

bool ToUTF8(Text const* text, std::string& out) {
    if (text == nullptr) {
        return false;
    }
    std::size_t used = 0;
    std::size_t units = Encode(text, Encoding::UTF8, nullptr, 0, used);
    if (units != text->length) {
        return false;
    }
    std::string result(used, '\0');
    Encode(text, Encoding::UTF8, result.data(), used, used);
    out = std::move(result);
    return true;
}

Text const* SubText(Text const* text, std::size_t start, std::size_t count) {
    if (start == 0 && count == text->length) {
        return Retain(text);
    }
    return MakeText(text->Units() + start, count);
}

Text const* Concat(Text const* a, Text const* b) {
    if (b->length == 0) {
        return Retain(a);
    }
    if (a->length == 0) {
        return Retain(b);
    }
    Text* text = allocate(std::size_t{a->length} + b->length);
    std::memcpy(mutableUnits(text), a->Units(), a->length * sizeof(char16_t));
    std::memcpy(mutableUnits(text) + a->length, b->Units(), b->length * sizeof(char16_t));
    return text;
}

bool IsTrimmableWhitespace(char16_t u) noexcept {
    return (u >= 0x0009 && u <= 0x000D) || u == 0x0020 || u == 0x0085 || u == 0x00A0 ||
           u == 0x1680 || (u >= 0x2000 && u <= 0x200B) || u == 0x2028 || u == 0x2029 ||
           u == 0x202F || u == 0x205F || u == 0x3000;
}

Text const* TrimWhitespace(Text const* text) {
    char16_t const* u = text->Units();
    std::size_t begin = 0, end = text->length;
    while (begin < end && IsTrimmableWhitespace(u[begin])) {
        ++begin;
    }
    while (end > begin && IsTrimmableWhitespace(u[end - 1])) {
        --end;
    }
    return SubText(text, begin, end - begin);
}

bool SameUnits(Text const* a, Text const* b) noexcept {
    return a == b || (a->length == b->length &&
                      std::memcmp(a->Units(), b->Units(), a->length * sizeof(char16_t)) == 0);
}

bool FindLiteral(Text const* text, Text const* pattern, bool backwards, std::size_t& location,
                 std::size_t& length) noexcept {
    std::size_t const n = text->length, m = pattern->length;
    if (m == 0 || n == 0 || m > n) {
        return false;
    }
    char16_t const* t = text->Units();
    char16_t const* p = pattern->Units();
    if (!backwards) {
        auto it = std::search(t, t + n, p, p + m);
        if (it == t + n) {
            return false;
        }
        location = static_cast<std::size_t>(it - t);
    } else {
        auto it = std::find_end(t, t + n, p, p + m);
        if (it == t + n) {
            return false;
        }
        location = static_cast<std::size_t>(it - t);
    }
    length = m;
    return true;
}

bool HasSuffix(Text const* text, Text const* suffix) noexcept {
    std::size_t const n = text->length, m = suffix->length;
    return m != 0 && m <= n &&
           std::memcmp(text->Units() + (n - m), suffix->Units(), m * sizeof(char16_t)) == 0;
}

std::vector<Text const*> Split(Text const* text, Text const* separator) {
    std::vector<Text const*> pieces;
    std::size_t const n = text->length, m = separator->length;
    if (n == 0 || m == 0) {
        pieces.push_back(Retain(text));
        return pieces;
    }
    char16_t const* t = text->Units();
    char16_t const* s = separator->Units();
    try {
        std::size_t start = 0;
        char16_t const* pos = t;
        while (true) {
            char16_t const* hit = std::search(pos, t + n, s, s + m);
            if (hit == t + n) {
                break;
            }
            std::size_t at = static_cast<std::size_t>(hit - t);
            pieces.push_back(MakeText(t + start, at - start));
            start = at + m;
            pos = t + start;
        }
        pieces.push_back(MakeText(t + start, n - start));
    } catch (...) {
        for (Text const* piece : pieces) {
            Release(piece);
        }
        throw;
    }
    return pieces;
}

} // namespace varn::platform
