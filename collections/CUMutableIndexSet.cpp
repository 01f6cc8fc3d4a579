// CUMutableIndexSet.cpp — adding and removing indexes; negatives are never members.
#include <VarnUtilityLib/CUMutableIndexSet.h>

CUMutableIndexSet::CUMutableIndexSet() = default;

CUMutableIndexSet::~CUMutableIndexSet() = default;

CUSharedPtr<CUMutableIndexSet> CUMutableIndexSet::Create() {
    CUSharedPtr<CUMutableIndexSet> set(new CUMutableIndexSet());
    if (set->Init() != 0) {
        set.Reset();
    }
    return set;
}

void CUMutableIndexSet::AddIndex(int index) {
    if (index >= 0) {
        z_Indexes().insert(index);
    }
}

void CUMutableIndexSet::RemoveIndex(int index) {
    if (index >= 0) {
        z_Indexes().erase(index);
    }
}

void CUMutableIndexSet::RemoveAllIndexes() {
    z_Indexes().clear();
}
