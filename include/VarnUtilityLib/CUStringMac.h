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

/// The library's string: immutable Unicode text.
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

    // ---- Paths (POSIX, separator "/"). Each returns kCUStatusSuccess or kCUStatusFailure
    // (0x10001); on failure the output is left untouched unless stated. Positions are UTF-16
    // units; "last" searches backwards. Outputs are assigned with operator=.

    /// out = this + "/" + name, or this + name when this already ends with "/". `name` is
    /// taken as it is (appending "/b" to "a" gives "a//b"). Fails for a null text.
    virtual unsigned int PathAppend(CUStringMac const& name, CUStringMac& out);

    /// The parent path: drops one trailing "/" (except from "/" itself, which gives "/"), then
    /// keeps what stands before the last "/", at least one unit ("/a" gives "/"). Without a
    /// "/", out becomes the empty string AND the status is kCUStatusFailure.
    virtual unsigned int PathRemoveLastComponent(CUStringMac& out);

    /// What follows the last "/"; the empty string when the path ends with "/". Fails for a
    /// name without any "/".
    virtual unsigned int PathGetFileName(CUStringMac& out);

    /// PathGetFileName (through its virtual slot) cut before its last "." ("b.tar.gz" gives
    /// "b.tar", ".profile" gives the empty string); the name itself when it has no ".".
    virtual unsigned int PathGetFileNameNoExtension(CUStringMac& out);

    /// From the last "." of the WHOLE path to the end, dot included ("/a/b.txt" gives ".txt",
    /// "/a.d/b" gives ".d/b"). Fails when the path has no ".".
    virtual unsigned int PathGetExtension(CUStringMac& out);

    /// The last component without separators: "/" for "/", "b" for "/a/b" and "/a/b/". Fails
    /// for a text without "/" and for a single component with a trailing "/" ("abc/").
    virtual unsigned int PathGetLastComponent(CUStringMac& out);

    /// The components as a new array of strings: a leading "/" is its own first element, one
    /// trailing "/" is dropped, the rest is split at every "/" with empty pieces kept ("a//b"
    /// gives a, "", b). "/" gives "/" alone; the empty text gives one empty text. Fails when
    /// `out` is null or the text is null.
    virtual unsigned int PathComponents(CUSharedPtr<CUArray>* out);

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
    /// The same, for a modifiable operand: with it `a == b` has one best reading in C++20 instead
    /// of a tie with the reversed `b == a`.
    bool operator==(CUStringMac& other) {
        return operator==(static_cast<CUStringMac const&>(other));
    }

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

    /// PathComponents with the caller's separator (UTF-8) in place of "/". A leading separator
    /// is kept as the first element and the rest is taken from unit 1; one trailing unit is
    /// dropped when the text ends with the separator (both rules count one unit, as for "/",
    /// whatever the separator's length). Fails for a null `out`, a null text or separator.
    virtual unsigned int SplitComponents(CUSharedPtr<CUArray>* out, char const* separator);

    /// PathRemoveLastComponent with the caller's separator (UTF-8) in place of "/". A trailing
    /// separator drops one unit; the text is kept whole when its length is 1, whatever the
    /// separator's length. Fails for a null text or separator.
    virtual unsigned int RemoveLastComponent(CUStringMac& out, char const* separator);

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
    /// CreateWithFormat with the arguments in a va_list.
    static CUSharedPtr<CUStringMac> CreateWithFormatV(CUSharedPtr<CUStringMac> format,
                                                      va_list args);

    /// The platform encoding constant of a code: 0x08000100 (UTF-8), 0x0100 (UTF-16),
    /// 0x0600 (ASCII); any other code gives UTF-8's.
    static unsigned int ConvertCharCode(_CUString_CharCode code);

    /// Fills a file-name record from `name`: its length in UTF-16 units and its units, every
    /// ':' replaced by '/' (the record's convention). kCUStatusFailure for a null name or
    /// record and for a name longer than the record's 255 units; the status of the failed
    /// conversion if the name cannot be converted. Returns kCUStatusSuccess with the record
    /// untouched when the conversion buffer cannot be allocated.
    static unsigned int GetUnicodeFileName(CUSharedPtr<CUStringMac> name, HFSUniStr255* out);

  private:
    __CFString const* m_pString;
    char* m_buffer = nullptr; ///< UTF-8 of operator char const*, its capacity kept in front
};
