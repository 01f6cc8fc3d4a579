// CUStringMac.h — the library's string: immutable Unicode text.
//
// Every name, path, message and text value the library takes or gives is a CUStringMac,
// usually in a CUSharedPtr<CUStringMac>. A string holds one immutable platform text (UTF-16
// units, shared between copies) that may be null: a string built from bytes that are not
// valid in the chosen encoding holds no text, and every operation defines its answer for that
// case. Operations that make new text return a new string; only assignment replaces the text.
//
// Ownership: count 0 at construction; CreateWithFormat and the operations returning
// CUSharedPtr<CUStringMac> give count 1.
// Threads: no lock. One string may be read from several threads at once through every
// operation except `operator char const*`, assignment and destruction.
// Errors: nothing throws. Failures are a null text, a null pointer, false, an empty result, a
// "not found" range or the status kCUStatusFailure (0x10001), as each operation states.
#pragma once

#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUPlatformTypes.h>
#include <VarnUtilityLib/CURange.h>
#include <VarnUtilityLib/CUSharedPtr.h>

#include <cstdarg>
#include <string>
#include <vector>

class CUArray;

/// Byte encoding of a char buffer. Values other than these three mean UTF-8.
enum _CUString_CharCode : int {
    CUString_CharCode_UTF8 = 0,
    CUString_CharCode_UTF16 = 1, ///< in: BOM honoured, big-endian without; out: host order, no BOM
    CUString_CharCode_ASCII = 2, ///< in: bytes 0x80-0xFF read as Latin-1; out: stops at non-ASCII
};

/// How Equals and Find compare. Other values make Equals false and Find find nothing.
enum _CUStringComparison : int {
    CUStringComparison_CaseSensitive = 0,
    CUStringComparison_CaseInsensitive = 1,
};

class CU_EXPORT CUStringMac : public virtual CUObject {
  public:
    /// The empty string.
    CUStringMac();

    /// Text from the bytes up to the first zero byte, in `code`. A UTF-8 byte-order mark is
    /// dropped; UTF-16 honours a byte-order mark and is big-endian without one. Bytes that are
    /// not valid give a null text.
    CUStringMac(char const* text, _CUString_CharCode code);

    /// Text from `count` bytes in `code`. For every code but UTF-16 the count is first cut at
    /// the first zero byte; UTF-16 takes all `count` bytes.
    CUStringMac(char const* bytes, unsigned int count, _CUString_CharCode code);

    /// Text from UTF-16 units taken as they are. `byteLength` is in bytes: byteLength / 2 units.
    CUStringMac(unsigned short* units, unsigned int byteLength);

    /// A copy of a platform text. A null handle gives the text "(null)", as the platform's
    /// formatting of a null object does. The caller's handle is neither retained nor released.
    CUStringMac(__CFString const* text);

    /// A copy of the pointed string's text; a null pointer gives a null text.
    CUStringMac(CUSharedPtr<CUStringMac> source);

    /// A copy of the source's text (shared, not duplicated); a null text stays null.
    CUStringMac(CUStringMac const& source);

    ~CUStringMac() override;

    /// A new string with the same text: a string describes itself by its text.
    CUSharedPtr<CUStringMac> Description() override;

    /// Converts into `buffer` in `code`.
    /// - buffer null: sets `size` to the worst-case byte count for the text and a terminator
    ///   (3, 2 or 1 bytes per UTF-16 unit plus one character for UTF-8, UTF-16, ASCII).
    /// - otherwise: zeroes all `size` bytes, then converts whole characters into at most
    ///   `size` minus one character's worst case, so the result is always terminated; text that
    ///   does not fit is cut. `size` is not updated.
    /// Returns kCUStatusFailure for a null text or a non-null buffer with `size` 0.
    virtual unsigned int GetString(char* buffer, _CUString_CharCode code, unsigned int& size);

    /// True when both texts exist, `how` is 0 or 1, and the localized comparison (with or
    /// without case) finds them equal.
    virtual bool Equals(CUStringMac const& other, _CUStringComparison how);

    /// Number of UTF-16 units; 0 for a null text.
    virtual int Length();

    /// Number of Unicode characters (a surrogate pair counts once); counting stops at the
    /// first unpaired surrogate. 0 for a null text.
    virtual int CountOfChars();

    /// This text followed by `right`. Empty when this text or `right`'s text is null.
    virtual CUStringMac operator+(CUStringMac const& right);

    /// Releases this text first, then takes a copy of the source's text. Assigning a string
    /// to itself therefore leaves it with a null text. Returns *this.
    virtual CUStringMac& operator=(CUStringMac const& source);

    /// Equals(other, case-sensitive).
    virtual bool operator==(CUStringMac const& other);

    /// Localized, case-sensitive order of the current locale; false when either text is null.
    /// The order by which sorted containers key strings.
    virtual bool operator<(CUStringMac const& other) const;

    /// UTF-8 text owned by the string, valid until the next call of this operator, assignment
    /// or destruction. Null for a null text that was never converted before.
    virtual operator char const*();

    /// The held platform text, not retained (may be null).
    virtual operator __CFString const*() const;

    /// The text as UTF-8 into `out`; kCUStatusFailure (out unchanged) for a null text or a text
    /// with an unpaired surrogate.
    virtual unsigned int GetString(std::string& out);

    /// The held platform text, not retained (may be null).
    virtual __CFString const* GetCFStringRef();

    /// First occurrence of `what` in UTF-16 units. Case-sensitive search matches units exactly;
    /// case-insensitive search folds case and may return a range of another length than
    /// `what`. Not found (or null text, null `what`, empty pattern, bad `how`): location
    /// kCURangeNoLocation and length 0.
    _CURange Find(CUSharedPtr<CUStringMac> what, _CUStringComparison how);

    /// The units [start, start + length); null when either is negative, the text is null or
    /// the range passes the end. A surrogate pair may be cut.
    CUSharedPtr<CUStringMac> SubString(int start, int length);

    /// The units from `start` to the end; null past the end, empty at the end.
    CUSharedPtr<CUStringMac> SubString(int start);

    /// The text without white space at both ends; null for a null text.
    CUSharedPtr<CUStringMac> Trim();

    /// A new string formatted by the C library's printf rules; null for a null format or when
    /// memory cannot be had.
    static CUSharedPtr<CUStringMac> CreateWithFormat(CUSharedPtr<CUStringMac> format, ...);
    static CUSharedPtr<CUStringMac> CreateWithFormatV(CUSharedPtr<CUStringMac> format,
                                                      va_list args);

    /// The platform encoding constant of a code: 0x08000100 (UTF-8), 0x0100 (UTF-16),
    /// 0x0600 (ASCII); any other code gives UTF-8's.
    static unsigned int ConvertCharCode(_CUString_CharCode code);

  private:
    __CFString const* m_pString;
    std::vector<char> m_buffer;
};
