// CUMutableArray.h — the array with the operations that change it.
//
// Every change goes through the inherited element sequence (GetInternalArray). Ownership,
// threads and errors as CUArray: no lock, no error code, out-of-range indexes and null
// arguments change nothing.
#pragma once

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUExport.h>

/// The array with the operations that change it.
class CU_EXPORT CUMutableArray : public CUArray {
  public:
    /// An empty array.
    CUMutableArray();

    /// A shallow copy of `source`; a null source gives an empty array.
    explicit CUMutableArray(CUSharedPtr<CUArray> source);

    ~CUMutableArray() override;

    /// Appends `object` (a null pointer is appended as a null element).
    void AddObject(CUSharedPtr<CUObject> object);

    /// Appends every element of `other` in order. The count is read once before the first
    /// append, so adding an array to itself doubles it. Null or empty: no change.
    void AddObjectsFromArray(CUSharedPtr<CUArray> other);

    /// Inserts before the element at `index`; index == Count() appends; index > Count() does
    /// nothing.
    void InsertObjectAtIndex(CUSharedPtr<CUObject> object, unsigned long index);

    /// Empties the array, releasing every element.
    void RemoveAllObjects();

    /// Removes the element at `index`; index >= Count() does nothing.
    void RemoveObjectAtIndex(unsigned long index);

    /// Removes the first element holding this very object (pointer identity). Null does
    /// nothing, so null elements are never removed this way.
    void RemoveObject(CUSharedPtr<CUObject> object);

    /// Empties this array, then appends the elements of `other`. Because the emptying comes
    /// first, passing this very array leaves it empty.
    void SetArray(CUSharedPtr<CUArray> other);

    /// Sorts this array in place, stably, by the descriptor; null does nothing.
    void SortUsingDescriptor(CUSharedPtr<CUSortDescriptor> descriptor);
};
