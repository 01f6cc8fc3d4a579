// CUDictionary.cpp — the ordered map of keys to objects and its read operations.
//
// Comparing two keys is cheap after the first time: each text keeps its collation key, so a
// look-up costs a few byte comparisons per tree level.
#include "collections/DescriptionText.h"

#include <VarnUtilityLib/CUDictionary.h>
#include <VarnUtilityLib/CUMutableArray.h>

#include "platform/Text.h"

#include <algorithm>
#include <cstring>

namespace platform = varn::platform;

void CUDictionaryKeyInfo::Fill(__CFString const* t) {
    text = t;
    if (t == nullptr) {
        return;
    }
    length = t->length;
    std::copy_n(t->Units(), std::min<std::uint32_t>(length, kUnits), units);
    generation = platform::CollationKeyPrefix(t, keyBytes, kKeyBytes, keySize);
}

CUDictionaryKey::CUDictionaryKey(CUStringMac const& source) : string(source) {
    info.Fill(static_cast<__CFString const*>(string));
}

// The copied string may hold another text object with the same units: point at the copy's.
CUDictionaryKey::CUDictionaryKey(CUDictionaryKey const& other)
    : info(other.info), string(other.string) {
    info.text = static_cast<__CFString const*>(string);
}

int CUDictionaryKeyOrder::Compare(CUDictionaryKeyInfo const& a, CUDictionaryKeyInfo const& b) {
    if (a.text == nullptr || b.text == nullptr) {
        return 0;
    }
    // Fast path. When the texts differ within their copied leading units, neither is a prefix
    // of the other, so the localized order is that of the collation keys; if those differ
    // within the copied bytes, that difference decides. Anything else (equal or prefix-related
    // texts, keys alike in their first bytes, keys from another locale) goes the full way.
    if (a.generation == b.generation && a.generation != 0) {
        std::uint32_t const n = std::min({a.length, b.length, CUDictionaryKeyInfo::kUnits});
        bool const samePrefix = std::equal(a.units, a.units + n, b.units);
        // Texts held whole in the copied units and equal there are the same text: equal in
        // any order, without reading the texts themselves (what a found key's last steps do).
        if (samePrefix && a.length == b.length && a.length <= CUDictionaryKeyInfo::kUnits) {
            return 0;
        }
        if (!samePrefix) {
            std::uint32_t const m =
                std::min({a.keySize, b.keySize, CUDictionaryKeyInfo::kKeyBytes});
            int const c = std::memcmp(a.keyBytes, b.keyBytes, m);
            if (c != 0) {
                return c < 0 ? -1 : 1;
            }
        }
    }
    try {
        return platform::CompareLocalized(a.text, b.text, false);
    } catch (...) {
        return 0; // as CUStringMac::operator<, which answers false when it cannot compare
    }
}

CUDictionary::CUDictionary() = default;

CUDictionary::CUDictionary(CUSharedPtr<CUDictionary> source) {
    if (source) {
        m_map = source->m_map;
    }
}

CUDictionary::~CUDictionary() = default;

unsigned long CUDictionary::Count() {
    return m_map.size();
}

CUSharedPtr<CUArray> CUDictionary::AllKeys() {
    CUSharedPtr<CUMutableArray> keys(new CUMutableArray());
    keys->GetInternalArray().reserve(m_map.size());
    for (auto const& entry : m_map) {
        keys->AddObject(CUSharedPtr<CUStringMac>(new CUStringMac(entry.first.string)));
    }
    return keys;
}

CUSharedPtr<CUObject> CUDictionary::ObjectForKey(CUSharedPtr<CUStringMac> key) {
    if (!key || static_cast<__CFString const*>(*key) == nullptr) {
        return CUSharedPtr<CUObject>();
    }
    CUDictionaryKeyInfo probe;
    probe.Fill(static_cast<__CFString const*>(*key));
    auto found = m_map.find(probe);
    return found == m_map.end() ? CUSharedPtr<CUObject>() : found->second;
}

CUSharedPtr<CUStringMac> CUDictionary::Description() {
    varn::collections::DescriptionText text;
    text.Ascii("{").Ascii(CU_NEWLINE_CHAR);
    for (auto const& entry : m_map) {
        text.Ascii("\tKey:").Units(static_cast<__CFString const*>(entry.first.string));
        text.Ascii(",\tVal:").DescriptionOf(entry.second.get()).Ascii(CU_NEWLINE_CHAR);
    }
    text.Ascii("}");
    return text.Make();
}
