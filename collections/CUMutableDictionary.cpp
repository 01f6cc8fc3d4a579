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
    auto at = entries.lower_bound(*key);
    if (at != entries.end() && !(*key < at->first)) {
        at->second = std::move(object);
        return;
    }
    // The stored key is the dictionary's own copy of the caller's string.
    entries.emplace_hint(at, CUStringMac(*key), std::move(object));
}

void CUMutableDictionary::RemoveObjectForKey(CUSharedPtr<CUStringMac> key) {
    if (!key || static_cast<__CFString const*>(*key) == nullptr) {
        return;
    }
    z_Entries().erase(*key);
}

void CUMutableDictionary::RemoveAllObjects() {
    z_Entries().clear();
}
