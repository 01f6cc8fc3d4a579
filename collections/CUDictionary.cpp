// CUDictionary.cpp — the ordered map of keys to objects and its read operations.
//
// Comparing two keys is cheap after the first time: each text keeps its collation key, so a
// walk down the tree costs a few byte comparisons per level. Large dictionaries are looked up
// through the hash table of DictionaryIndex instead, which touches one or two entries.
#include "collections/DescriptionText.h"
#include "collections/DictionaryIndex.h"

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
    generation = platform::CollationKeyPrefix(t, keyBytes, kKeyBytes, keySize, hash);
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

namespace {

// Below this many entries the tree is walked: a few levels cost less than a table.
constexpr std::size_t kIndexedFrom = 32;

} // namespace

CUDictionary::CUDictionary(CUSharedPtr<CUDictionary> source) {
    if (source) {
        m_map = source->m_map;
        z_IndexAll();
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
    auto found = z_Find(probe);
    return found == m_map.end() ? CUSharedPtr<CUObject>() : found->second;
}

CUDictionary::Map::iterator CUDictionary::z_Find(CUDictionaryKeyInfo const& probe) {
    if (m_index && m_index->Generation() == probe.generation) {
        Map::iterator found;
        return m_index->Find(probe, found) ? found : m_map.end();
    }
    return m_map.find(probe);
}

void CUDictionary::z_Store(CUDictionaryKey&& key, CUSharedPtr<CUObject>&& value) {
    Map::iterator found;
    if (m_index && m_index->Generation() == key.info.generation && m_index->Find(key.info, found)) {
        found->second = std::move(value);
        return;
    }
    auto at = m_map.lower_bound(key.info);
    if (at != m_map.end() && !m_map.key_comp()(key.info, at->first)) {
        at->second = std::move(value);
        return;
    }
    at = m_map.emplace_hint(at, std::move(key), std::move(value));
    if (!m_index) {
        // Built once, as the dictionary reaches the size; a dictionary that lost its table to
        // a locale change is not scanned again on every insertion.
        if (m_map.size() == kIndexedFrom) {
            z_IndexAll();
        }
        return;
    }
    // A key made under another locale has a hash the table cannot hold; the tree alone answers
    // from then on (until the dictionary is emptied and grows again).
    if (m_index->Generation() != at->first.info.generation) {
        m_index.reset();
        return;
    }
    try {
        m_index->Insert(at);
    } catch (...) {
        m_index.reset(); // the entry is stored; only the short cut is lost
    }
}

void CUDictionary::z_Remove(CUDictionaryKeyInfo const& probe) {
    auto found = z_Find(probe);
    if (found == m_map.end()) {
        return;
    }
    if (m_index) {
        m_index->Erase(found);
    }
    m_map.erase(found);
}

void CUDictionary::z_RemoveAll() {
    m_index.reset();
    m_map.clear();
}

// Builds the table when every key belongs to the current generation of the first one;
// otherwise the dictionary goes without.
void CUDictionary::z_IndexAll() {
    m_index.reset();
    if (m_map.size() < kIndexedFrom) {
        return;
    }
    std::uint32_t const generation = m_map.begin()->first.info.generation;
    try {
        auto index = std::make_unique<varn::DictionaryIndex>(generation);
        for (auto entry = m_map.begin(); entry != m_map.end(); ++entry) {
            if (entry->first.info.generation != generation) {
                return;
            }
            index->Insert(entry);
        }
        m_index = std::move(index);
    } catch (...) {
        // Without memory for the table the tree answers alone.
    }
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
