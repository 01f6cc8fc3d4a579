// CUDictionary.cpp — the ordered map of keys to objects and its read operations.
//
// Comparing two keys is cheap after the first time: each text keeps its collation key, so a
// look-up costs a few byte comparisons per tree level.
#include "collections/DescriptionText.h"

#include <VarnUtilityLib/CUDictionary.h>
#include <VarnUtilityLib/CUMutableArray.h>

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
        keys->AddObject(CUSharedPtr<CUStringMac>(new CUStringMac(entry.first)));
    }
    return keys;
}

CUSharedPtr<CUObject> CUDictionary::ObjectForKey(CUSharedPtr<CUStringMac> key) {
    if (!key || static_cast<__CFString const*>(*key) == nullptr) {
        return CUSharedPtr<CUObject>();
    }
    auto found = m_map.find(*key);
    return found == m_map.end() ? CUSharedPtr<CUObject>() : found->second;
}

CUSharedPtr<CUStringMac> CUDictionary::Description() {
    varn::collections::DescriptionText text;
    text.Ascii("{").Ascii(CU_NEWLINE_CHAR);
    for (auto const& entry : m_map) {
        text.Ascii("\tKey:").Units(static_cast<__CFString const*>(entry.first));
        text.Ascii(",\tVal:").DescriptionOf(entry.second.get()).Ascii(CU_NEWLINE_CHAR);
    }
    text.Ascii("}");
    return text.Make();
}
