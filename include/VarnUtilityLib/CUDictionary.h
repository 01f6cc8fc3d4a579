// CUDictionary.h — objects stored under text keys, kept in key order.
//
// An ordered, balanced tree from CUStringMac keys to CUSharedPtr<CUObject> values. Keys are
// ordered by CUStringMac::operator< (localized, case-sensitive comparison of the current
// locale); two keys are the same key when neither is less than the other, so texts that
// collate equal (for instance ones that differ only by ignorable characters) share one entry.
// The dictionary stores its own copy of each key, made when the entry is created; changing the
// caller's string later touches neither the key nor the order. A null value is stored as such.
// A key without text (a string built from invalid bytes) cannot be ordered: it is never stored
// and never found.
//
// Ownership: count 0 at construction; operations returning CUSharedPtr give count 1. Each
// value holds one reference, dropped when the entry goes or the dictionary dies.
// Threads: no lock; concurrent reads are safe, a change during another use is the caller's to
// prevent. Errors: no error code is thrown; null keys are ignored or answered with null.
// Memory exhaustion propagates as std::bad_alloc with the other entries kept.
#pragma once

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUSharedPtr.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <cstdint>
#include <map>

/// What a dictionary keeps beside each key so that most comparisons need no memory outside
/// the tree node: the key's length, its first units and the leading bytes of its collation
/// key. The order it gives is exactly that of CUStringMac::operator<.
struct CU_EXPORT CUDictionaryKeyInfo {
    static constexpr unsigned kUnits = 16;    ///< leading UTF-16 units kept
    static constexpr unsigned kKeyBytes = 24; ///< leading collation-key bytes kept

    /// Records `text` (not retained; may be null) and copies what the comparison needs.
    void Fill(__CFString const* text);

    // What the fast comparison reads comes first, so that in a tree node it shares the cache
    // lines of the node's links.
    std::uint32_t generation = 0;          ///< locale generation of keyBytes; 0 when not filled
    std::uint32_t length = 0;              ///< UTF-16 units
    std::uint32_t keySize = 0;             ///< bytes of the whole collation key
    char16_t units[kUnits] = {};           ///< the first units of the text
    std::uint8_t keyBytes[kKeyBytes] = {}; ///< the first bytes of the collation key
    __CFString const* text = nullptr;      ///< the key's text, not retained
};

/// A stored key: the dictionary's own copy of the caller's string, with its comparison data.
struct CU_EXPORT CUDictionaryKey {
    /// Copies `source`'s text and fills the comparison data.
    explicit CUDictionaryKey(CUStringMac const& source);
    /// Shares the other key's text and copies its comparison data.
    CUDictionaryKey(CUDictionaryKey const& other);
    CUDictionaryKey& operator=(CUDictionaryKey const&) = delete;

    CUDictionaryKeyInfo info; ///< comparison data of `string` (first: see its field order)
    CUStringMac string;       ///< the dictionary's copy of the key
};

/// The key order of dictionaries: CUStringMac::operator< (localized, case-sensitive).
struct CU_EXPORT CUDictionaryKeyOrder {
    using is_transparent = void; ///< lookups may pass a CUDictionaryKeyInfo

    /// -1, 0 or 1 as CUStringMac's localized order; keys without text compare equal.
    static int Compare(CUDictionaryKeyInfo const& a, CUDictionaryKeyInfo const& b);

    /// True when `a` orders before `b`.
    bool operator()(CUDictionaryKey const& a, CUDictionaryKey const& b) const {
        return Compare(a.info, b.info) < 0;
    }
    /// \overload
    bool operator()(CUDictionaryKeyInfo const& a, CUDictionaryKey const& b) const {
        return Compare(a, b.info) < 0;
    }
    /// \overload
    bool operator()(CUDictionaryKey const& a, CUDictionaryKeyInfo const& b) const {
        return Compare(a.info, b) < 0;
    }
};

/// Objects stored under text keys, kept in key order.
class CU_EXPORT CUDictionary : public CUObject {
  public:
    /// Keys in collation order, each with its value.
    using Map = std::map<CUDictionaryKey, CUSharedPtr<CUObject>, CUDictionaryKeyOrder>;

    /// An empty dictionary.
    CUDictionary();

    /// A copy of every entry of `source`: new key strings with the same texts, the same value
    /// objects with one more reference each. `source` must not be null (a null source is
    /// taken as an empty dictionary).
    explicit CUDictionary(CUSharedPtr<CUDictionary> source);

    ~CUDictionary() override;

    /// Number of entries, null values included.
    unsigned long Count();

    /// A new array of new strings, one copy of each key, in ascending key order; an empty
    /// dictionary gives an empty array (never null).
    CUSharedPtr<CUArray> AllKeys();

    /// The value stored under `key` (a new reference). Null for a null key, an absent key or
    /// a present key whose value is null.
    CUSharedPtr<CUObject> ObjectForKey(CUSharedPtr<CUStringMac> key);

    /// "{", a line feed, then per entry in key order a tab, "Key:", the key, ",\t", "Val:",
    /// the value's Description() ("<NULL>" for a null value or description) and a line feed,
    /// then "}".
    CUSharedPtr<CUStringMac> Description() override;

  protected:
    /// The stored entries, for the mutable subclass.
    Map& z_Entries() { return m_map; }

  private:
    Map m_map;
};
