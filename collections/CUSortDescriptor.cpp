// CUSortDescriptor.cpp — the base comparator: every pair ranks equal.
#include <VarnUtilityLib/CUSortDescriptor.h>

CUSortDescriptor::CUSortDescriptor() : ascending(true), comparer(this) {}

CUSortDescriptor::CUSortDescriptor(bool isAscending) : ascending(isAscending), comparer(this) {}

// The pointer is copied, not re-aimed: a sliced copy must still reach the override of the
// descriptor it was made from.
CUSortDescriptor::CUSortDescriptor(CUSortDescriptor const& other)
    : CUObject(other), ascending(other.ascending), comparer(other.comparer) {}

CUSortDescriptor::~CUSortDescriptor() = default;

int CUSortDescriptor::CompareObject(CUSharedPtr<CUObject>, CUSharedPtr<CUObject>) {
    return 0;
}

bool CUSortDescriptor::operator()(CUSharedPtr<CUObject> const& a, CUSharedPtr<CUObject> const& b) {
    int const result = comparer->CompareObject(a, b);
    return ascending ? result > 0 : result < 0;
}
