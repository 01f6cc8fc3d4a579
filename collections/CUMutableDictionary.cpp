// CUMutableDictionary.cpp — the changing operations of the dictionary.
#include <VarnUtilityLib/CUMutableDictionary.h>

CUMutableDictionary::CUMutableDictionary() = default;

CUMutableDictionary::CUMutableDictionary(CUSharedPtr<CUDictionary> source) : CUDictionary(source) {}

CUMutableDictionary::~CUMutableDictionary() = default;

void CUMutableDictionary::SetObjectForKey(CUSharedPtr<CUObject> object,
                                          CUSharedPtr<CUStringMac> key) {
    // A key without text compares neither less nor greater than any other: storing it would
    // make it the same key as every entry, so it is refused.
    if (!key || static_cast<__CFString const*>(*key) == nullptr) {
        return;
    }
    Map& entries = z_Entries();
    CUDictionaryKey stored(*key); // the dictionary's own copy of the caller's string
    auto at = entries.lower_bound(stored.info);
    if (at != entries.end() && !entries.key_comp()(stored.info, at->first)) {
        at->second = std::move(object);
        return;
    }
    entries.emplace_hint(at, std::move(stored), std::move(object));
}

void CUMutableDictionary::RemoveObjectForKey(CUSharedPtr<CUStringMac> key) {
    if (!key || static_cast<__CFString const*>(*key) == nullptr) {
        return;
    }
    CUDictionaryKeyInfo probe;
    probe.Fill(static_cast<__CFString const*>(*key));
    Map& entries = z_Entries();
    auto found = entries.find(probe);
    if (found != entries.end()) {
        entries.erase(found);
    }
}

void CUMutableDictionary::RemoveAllObjects() {
    z_Entries().clear();
}
