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
    CUDictionaryKey stored(*key); // the dictionary's own copy of the caller's string
    z_Store(std::move(stored), std::move(object));
}

void CUMutableDictionary::RemoveObjectForKey(CUSharedPtr<CUStringMac> key) {
    if (!key || static_cast<__CFString const*>(*key) == nullptr) {
        return;
    }
    CUDictionaryKeyInfo probe;
    probe.Fill(static_cast<__CFString const*>(*key));
    z_Remove(probe);
}

void CUMutableDictionary::RemoveAllObjects() {
    z_RemoveAll();
}
