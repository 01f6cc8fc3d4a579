// CUStringMac.cpp — the string class over the platform text.
//
// Copies share the immutable platform text instead of formatting a new one: nothing can
// change a text in place, so a shared text and a fresh copy cannot be told apart.
#include <VarnUtilityLib/CUStringMac.h>

#include "platform/Text.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace text = varn::platform;

namespace {

constexpr unsigned int kEncodingUTF8 = 0x08000100;
constexpr unsigned int kEncodingUTF16 = 0x0100;
constexpr unsigned int kEncodingASCII = 0x0600;

text::Encoding encodingOf(_CUString_CharCode code) {
    switch (code) {
    case CUString_CharCode_UTF16:
        return text::Encoding::UTF16;
    case CUString_CharCode_ASCII:
        return text::Encoding::ASCII;
    default:
        return text::Encoding::UTF8;
    }
}

text::Text const* decode(char const* bytes, std::size_t count, _CUString_CharCode code) {
    if (bytes == nullptr) {
        return nullptr;
    }
    try {
        return text::Decode(bytes, count, encodingOf(code));
    } catch (...) {
        return nullptr; // out of memory: a null text, as for bytes that do not decode
    }
}

CUSharedPtr<CUStringMac> adopt(text::Text const* t) {
    if (t == nullptr) {
        return CUSharedPtr<CUStringMac>();
    }
    // The constructor from a handle takes its own share; drop the one we were given.
    CUSharedPtr<CUStringMac> result(new CUStringMac(t));
    text::Release(t);
    return result;
}

// The buffer of operator char const*: one pointer in the string (most strings are never
// converted, and a string is in every name and value of a document tree), with the buffer's
// capacity stored just before its bytes.
constexpr std::size_t kBufferHeader = sizeof(std::size_t);

std::size_t bufferCapacity(char const* buffer) {
    if (buffer == nullptr) {
        return 0;
    }
    std::size_t capacity;
    std::memcpy(&capacity, buffer - kBufferHeader, sizeof capacity);
    return capacity;
}

char* allocateBuffer(std::size_t capacity) {
    char* block = new char[kBufferHeader + capacity];
    std::memcpy(block, &capacity, sizeof capacity);
    return block + kBufferHeader;
}

void freeBuffer(char* buffer) {
    if (buffer != nullptr) {
        delete[](buffer - kBufferHeader);
    }
}

} // namespace

CUStringMac::CUStringMac() : m_pString(text::Retain(text::EmptyText())) {}

CUStringMac::CUStringMac(char const* s, _CUString_CharCode code)
    : m_pString(decode(s, s == nullptr ? 0 : std::strlen(s), code)) {}

CUStringMac::CUStringMac(char const* bytes, unsigned int count, _CUString_CharCode code)
    : m_pString(nullptr) {
    std::size_t n = count;
    if (bytes != nullptr && code != CUString_CharCode_UTF16) {
        auto const* zero = static_cast<char const*>(std::memchr(bytes, 0, n));
        if (zero != nullptr) {
            n = static_cast<std::size_t>(zero - bytes);
        }
    }
    m_pString = decode(bytes, n, code);
}

CUStringMac::CUStringMac(unsigned short* units, unsigned int byteLength) : m_pString(nullptr) {
    std::size_t count = byteLength / 2;
    if (units == nullptr && count != 0) {
        return;
    }
    try {
        m_pString = text::MakeText(reinterpret_cast<char16_t const*>(units), count);
    } catch (...) {
        m_pString = nullptr;
    }
}

CUStringMac::CUStringMac(__CFString const* t) : m_pString(nullptr) {
    if (t != nullptr) {
        m_pString = text::Retain(t);
    } else {
        m_pString = decode("(null)", 6, CUString_CharCode_UTF8);
    }
}

CUStringMac::CUStringMac(CUSharedPtr<CUStringMac> source)
    : m_pString(source ? text::Retain(static_cast<__CFString const*>(*source)) : nullptr) {}

CUStringMac::CUStringMac(CUStringMac const& source)
    : CUObject(source), m_pString(text::Retain(static_cast<__CFString const*>(source))) {}

CUStringMac::~CUStringMac() {
    text::Release(m_pString);
    freeBuffer(m_buffer);
}

CUSharedPtr<CUStringMac> CUStringMac::Description() {
    return CUSharedPtr<CUStringMac>(new CUStringMac(*this));
}

unsigned int CUStringMac::ConvertCharCode(_CUString_CharCode code) {
    switch (code) {
    case CUString_CharCode_UTF16:
        return kEncodingUTF16;
    case CUString_CharCode_ASCII:
        return kEncodingASCII;
    default:
        return kEncodingUTF8;
    }
}

unsigned int CUStringMac::GetString(char* buffer, _CUString_CharCode code, unsigned int& size) {
    if (m_pString == nullptr || (buffer != nullptr && size == 0)) {
        return kCUStatusFailure;
    }
    text::Encoding const encoding = encodingOf(code);
    if (buffer == nullptr) {
        std::uint64_t need =
            text::MaxBytesForEncoding(std::uint64_t{m_pString->length} + 1, encoding);
        if (need > UINT_MAX) {
            return kCUStatusFailure;
        }
        size = static_cast<unsigned int>(need);
        return kCUStatusSuccess;
    }
    std::memset(buffer, 0, size);
    std::uint64_t reserve = text::MaxBytesForEncoding(1, encoding);
    if (size > reserve) {
        std::size_t used = 0;
        text::Encode(m_pString, encoding, buffer, size - reserve, used);
    }
    return kCUStatusSuccess;
}

unsigned int CUStringMac::GetString(std::string& out) {
    if (m_pString == nullptr) {
        return kCUStatusFailure;
    }
    try {
        return text::ToUTF8(m_pString, out) ? kCUStatusSuccess : kCUStatusFailure;
    } catch (...) {
        return kCUStatusFailure;
    }
}

CUStringMac::operator char const*() {
    unsigned int size = 0;
    // Both steps go through the virtual GetString, so a subclass's conversion is honoured. The
    // buffer is reused while it is large enough and zeroed up to the size asked for; without a
    // conversion the previous buffer (or null, if there never was one) is returned.
    if (!CUStatusFailed(GetString(nullptr, CUString_CharCode_UTF8, size))) {
        if (bufferCapacity(m_buffer) < size) {
            char* fresh = allocateBuffer(size);
            freeBuffer(m_buffer);
            m_buffer = fresh;
        }
        std::memset(m_buffer, 0, size);
        GetString(m_buffer, CUString_CharCode_UTF8, size);
    }
    return m_buffer;
}

CUStringMac::operator __CFString const*() const {
    return m_pString;
}

__CFString const* CUStringMac::GetCFStringRef() {
    return m_pString;
}

int CUStringMac::Length() {
    return m_pString == nullptr ? 0 : static_cast<int>(m_pString->length);
}

int CUStringMac::CountOfChars() {
    if (m_pString == nullptr) {
        return 0;
    }
    std::size_t bytes = 0;
    text::Encode(m_pString, text::Encoding::UTF32LE, nullptr, 0, bytes);
    return static_cast<int>(bytes / 4);
}

bool CUStringMac::Equals(CUStringMac const& other, _CUStringComparison how) {
    __CFString const* theirs = other;
    if (m_pString == nullptr || theirs == nullptr ||
        (how != CUStringComparison_CaseSensitive && how != CUStringComparison_CaseInsensitive)) {
        return false;
    }
    try {
        return text::CompareLocalized(m_pString, theirs,
                                      how == CUStringComparison_CaseInsensitive) == 0;
    } catch (...) {
        return false;
    }
}

bool CUStringMac::operator==(CUStringMac const& other) {
    return Equals(other, CUStringComparison_CaseSensitive);
}

bool CUStringMac::operator<(CUStringMac const& other) const {
    __CFString const* theirs = other;
    if (m_pString == nullptr || theirs == nullptr) {
        return false;
    }
    try {
        return text::CompareLocalized(m_pString, theirs, false) < 0;
    } catch (...) {
        return false;
    }
}

_CURange CUStringMac::Find(CUSharedPtr<CUStringMac> what, _CUStringComparison how) {
    _CURange notFound{kCURangeNoLocation, 0};
    if (m_pString == nullptr || !what ||
        (how != CUStringComparison_CaseSensitive && how != CUStringComparison_CaseInsensitive)) {
        return notFound;
    }
    __CFString const* pattern = *what;
    if (pattern == nullptr) {
        return notFound;
    }
    std::size_t location = 0, length = 0;
    bool found = false;
    try {
        found = how == CUStringComparison_CaseSensitive
                    ? text::FindLiteral(m_pString, pattern, false, location, length)
                    : text::FindCaseInsensitive(m_pString, pattern, false, location, length);
    } catch (...) {
        found = false;
    }
    return found ? _CURange{location, length} : notFound;
}

CUSharedPtr<CUStringMac> CUStringMac::SubString(int start, int length) {
    if (start < 0 || length < 0 || m_pString == nullptr) {
        return CUSharedPtr<CUStringMac>();
    }
    auto const end = static_cast<unsigned int>(start) + static_cast<unsigned int>(length);
    if (static_cast<unsigned int>(Length()) < end) {
        return CUSharedPtr<CUStringMac>();
    }
    try {
        return adopt(text::SubText(m_pString, static_cast<std::size_t>(start),
                                   static_cast<std::size_t>(length)));
    } catch (...) {
        return CUSharedPtr<CUStringMac>();
    }
}

CUSharedPtr<CUStringMac> CUStringMac::SubString(int start) {
    return SubString(start, Length() - start);
}

CUSharedPtr<CUStringMac> CUStringMac::Trim() {
    if (m_pString == nullptr) {
        return CUSharedPtr<CUStringMac>();
    }
    try {
        return adopt(text::TrimWhitespace(m_pString));
    } catch (...) {
        return CUSharedPtr<CUStringMac>();
    }
}

CUStringMac CUStringMac::operator+(CUStringMac const& right) {
    CUStringMac result;
    __CFString const* theirs = right;
    if (m_pString == nullptr || theirs == nullptr) {
        return result;
    }
    try {
        __CFString const* joined = text::Concat(m_pString, theirs);
        text::Release(result.m_pString);
        result.m_pString = joined;
    } catch (...) {
        // the join could not be made: the result stays empty
    }
    return result;
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): self-assignment yields a null text by design
CUStringMac& CUStringMac::operator=(CUStringMac const& source) {
    // Released before the source is read: self-assignment ends with a null text, which is the
    // documented behaviour.
    text::Release(m_pString);
    m_pString = nullptr;
    m_pString = text::Retain(static_cast<__CFString const*>(source));
    return *this;
}

CUSharedPtr<CUStringMac> CUStringMac::CreateWithFormat(CUSharedPtr<CUStringMac> format, ...) {
    va_list args;
    va_start(args, format);
    CUSharedPtr<CUStringMac> result = CreateWithFormatV(format, args);
    va_end(args);
    return result;
}

CUSharedPtr<CUStringMac> CUStringMac::CreateWithFormatV(CUSharedPtr<CUStringMac> format,
                                                        va_list args) {
    if (!format) {
        return CUSharedPtr<CUStringMac>();
    }
    CUStringMac copy(format);
    char const* pattern = copy;
    if (pattern == nullptr) {
        return CUSharedPtr<CUStringMac>();
    }
    va_list measure;
    va_copy(measure, args);
    int needed = std::vsnprintf(nullptr, 0, pattern, measure);
    va_end(measure);
    if (needed < 0) {
        return CUSharedPtr<CUStringMac>();
    }
    std::unique_ptr<char, decltype(&std::free)> buffer(
        static_cast<char*>(std::calloc(static_cast<std::size_t>(needed) + 1, 1)), &std::free);
    if (!buffer) {
        return CUSharedPtr<CUStringMac>();
    }
    va_list fill;
    va_copy(fill, args);
    std::vsnprintf(buffer.get(), static_cast<std::size_t>(needed) + 1, pattern, fill);
    va_end(fill);
    return CUSharedPtr<CUStringMac>(new CUStringMac(buffer.get(), CUString_CharCode_UTF8));
}
