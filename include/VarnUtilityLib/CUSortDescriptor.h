// CUSortDescriptor.h — the comparator object by which arrays are sorted.
//
// An application derives from CUSortDescriptor and overrides CompareObject. The sign
// convention is this library's own and is the reverse of the usual one: CompareObject(a, b)
// returns a POSITIVE number when `a` is to stand before `b` in ascending order, a negative one
// when `b` is to stand before `a`, and 0 when the two rank equal. The base version returns 0
// for every pair, so sorting with a plain descriptor keeps the order.
//
// `comparer` is a non-owning pointer to the descriptor whose CompareObject is called. Every
// constructor but the copy constructor points it at the object itself; a copy keeps the
// source's pointer, so a copy (even one that copied only the base part) still calls the
// source's override and must not outlive the source. The sorting operations of CUArray copy
// the descriptor they are given and keep the caller's pointer alive while they sort.
//
// Ownership: count 0 at construction. Threads: no lock. Errors: nothing is thrown by the
// descriptor itself; an exception thrown by an override passes to the caller of the sort.
#pragma once

#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUSharedPtr.h>

class CUArray;
class CUMutableArray;

/// The comparator object by which arrays are sorted.
class CU_EXPORT CUSortDescriptor : public CUObject {
  public:
    /// Ascending; compares through itself.
    CUSortDescriptor();

    /// Ascending as given; compares through itself.
    explicit CUSortDescriptor(bool ascending);

    /// Copies the flag and the `comparer` pointer (not re-pointed at the copy).
    CUSortDescriptor(CUSortDescriptor const& other);

    ~CUSortDescriptor() override;

    /// The sort direction: true for ascending.
    bool Ascending() const { return ascending; }
    /// Sets the sort direction.
    void SetAscending(bool value) { ascending = value; }

    /// Positive when `a` comes before `b` in ascending order, negative when after, 0 when equal
    /// in rank. The base version returns 0. Null elements are passed as they are.
    virtual int CompareObject(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b);

    /// The comes-before predicate of the sort: CompareObject through `comparer`, then true when
    /// the result is > 0 (ascending) or < 0 (descending).
    bool operator()(CUSharedPtr<CUObject> const& a, CUSharedPtr<CUObject> const& b);

  protected:
    bool ascending;             ///< true for ascending order
    CUSortDescriptor* comparer; ///< whose CompareObject the sort calls (this object by default)

  private:
    friend class CUArray;
    friend class CUMutableArray;

    // The predicate over raw element pointers, as the sort uses it: one owner is taken on each
    // object for the duration of the CompareObject call, exactly as operator() does.
    bool z_ComesBefore(CUObject* a, CUObject* b) {
        int const result =
            comparer->CompareObject(CUSharedPtr<CUObject>(a), CUSharedPtr<CUObject>(b));
        return ascending ? result > 0 : result < 0;
    }
};
