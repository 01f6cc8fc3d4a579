// CUArray.h — the ordered, index-addressed collection of objects.
//
// Elements are CUSharedPtr<CUObject> (a null element is allowed), stored contiguously in
// insertion order; each holds one reference on its object, dropped when the element leaves or
// the array dies. Copies of arrays are shallow. CUMutableArray adds the changing operations.
//
// Sorting is stable: a merge sort over the elements with a temporary buffer of as many
// entries, merging in place by rotation when no (or too small a) buffer can be had; runs of up
// to 8 are ordered by insertion. Only the descriptor's predicate compares; objects are never
// copied. If CompareObject throws, the exception passes to the caller, nothing leaks, and the
// array keeps all its elements (in this implementation, in their order before the sort).
//
// Ownership: count 0 at construction; operations returning CUSharedPtr give count 1.
// Threads: no lock; concurrent reads are safe, a change during another use is the caller's to
// prevent. Errors: no error code is thrown; out-of-range indexes and null arguments give null,
// false or no change. Memory exhaustion propagates as std::bad_alloc, the array unchanged.
#pragma once

#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUSharedPtr.h>
#include <VarnUtilityLib/CUSortDescriptor.h>

#include <vector>

/// The ordered, index-addressed collection of objects.
class CU_EXPORT CUArray : public CUObject {
  public:
    /// An empty array.
    CUArray();

    /// A shallow copy: the same objects in the same order, one more reference each. A null
    /// source gives an empty array.
    explicit CUArray(CUSharedPtr<CUArray> source);

    ~CUArray() override;

    /// Number of elements.
    unsigned long Count();

    /// The element at `index` (a new reference); null when index >= Count().
    CUSharedPtr<CUObject> ObjectAtIndex(unsigned long index);

    /// The last element; null when the array is empty.
    CUSharedPtr<CUObject> LastObject();

    /// Removes the element at `index`, moving later ones down; false (no change) when
    /// index >= Count().
    bool RemoveAtIndex(unsigned long index);

    /// A new array holding these elements sorted stably by the descriptor; this array is
    /// unchanged. A null descriptor gives a null pointer (not an empty array).
    CUSharedPtr<CUArray> SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor> descriptor);

    /// "{", a line feed, then per element a tab, its Description() ("<NULL>" for a null
    /// element or a null description) and a line feed, then "}".
    CUSharedPtr<CUStringMac> Description() override;

    /// The element sequence itself, for reading or changing it directly.
    std::vector<CUSharedPtr<CUObject>>& GetInternalArray();

  protected:
    /// Sorts `elements` in place (stable); shared by the in-place and the copying forms.
    static void z_SortElements(std::vector<CUSharedPtr<CUObject>>& elements,
                               CUSharedPtr<CUSortDescriptor> const& descriptor);

  private:
    std::vector<CUSharedPtr<CUObject>> m_array;
};
