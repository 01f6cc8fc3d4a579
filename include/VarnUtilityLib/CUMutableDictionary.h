// CUMutableDictionary.h — the dictionary with the operations that change it.
//
// Ownership, threads and errors as CUDictionary: no lock, no error code; null keys change
// nothing.
#pragma once

#include <VarnUtilityLib/CUDictionary.h>
#include <VarnUtilityLib/CUExport.h>

/// The dictionary with the operations that change it.
class CU_EXPORT CUMutableDictionary : public CUDictionary {
  public:
    /// An empty dictionary.
    CUMutableDictionary();

    /// A copy of every entry of `source` (see CUDictionary(CUSharedPtr<CUDictionary>)).
    explicit CUMutableDictionary(CUSharedPtr<CUDictionary> source);

    ~CUMutableDictionary() override;

    /// Stores `object` under `key` (object first, key second): the entry is found or created
    /// (a created entry copies the key), and its old value is released. A null object is
    /// stored as a null value, not a removal. A null key changes nothing.
    void SetObjectForKey(CUSharedPtr<CUObject> object, CUSharedPtr<CUStringMac> key);

    /// Removes the entry for `key`, releasing its value and key. A null or absent key changes
    /// nothing.
    void RemoveObjectForKey(CUSharedPtr<CUStringMac> key);

    /// Removes every entry.
    void RemoveAllObjects();
};
