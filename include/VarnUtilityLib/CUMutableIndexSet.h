// CUMutableIndexSet.h — the index set with the operations that change it.
//
// Ownership, threads and errors as CUIndexSet; negative indexes are ignored.
#pragma once

#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUIndexSet.h>

/// The index set with the operations that change it.
class CU_EXPORT CUMutableIndexSet : public CUIndexSet {
  public:
    /// An empty set.
    CUMutableIndexSet();
    ~CUMutableIndexSet() override;

    /// A new empty set, initialised with Init(); null if Init() reports a failure.
    static CUSharedPtr<CUMutableIndexSet> Create();

    /// Adds `index`; a member again or a negative index changes nothing.
    void AddIndex(int index);

    /// Removes `index` if it is a member; otherwise (or for a negative index) nothing.
    void RemoveIndex(int index);

    /// Empties the set.
    void RemoveAllIndexes();
};
