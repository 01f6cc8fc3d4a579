// CUIndexSet.h — a sorted set of distinct non-negative int indexes (rows chosen in a list...).
//
// Negative numbers are never members: every operation ignores them, and noIndex (-1) is the
// answer when there is no such index. CUMutableIndexSet adds the changing operations.
//
// Ownership: count 0 at construction; Create gives count 1. Threads: no lock. Errors: nothing
// is thrown but std::bad_alloc when memory runs out. Describes itself in the generic form of
// CUObject.
#pragma once

#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUSharedPtr.h>

#include <set>

/// A sorted set of distinct non-negative int indexes (rows chosen in a list...).
class CU_EXPORT CUIndexSet : public CUObject {
  public:
    /// The answer when there is no such index: -1 (all bits set).
    static int const noIndex;

    /// An empty set.
    CUIndexSet();
    ~CUIndexSet() override;

    /// A new empty set (Init is not called).
    static CUSharedPtr<CUIndexSet> Create();

    /// Initialisation hook: does nothing and returns 0 (success).
    unsigned short Init();

    /// True when `index` is a member; false for a negative index.
    bool ContainsIndex(int index);

    /// The smallest member (constant time); noIndex when the set is empty.
    int FirstIndex();

    /// The largest member; noIndex when the set is empty.
    int LastIndex();

  protected:
    /// The stored indexes, for the mutable subclass.
    std::set<int>& z_Indexes() { return m_set; }

  private:
    std::set<int> m_set;
};
