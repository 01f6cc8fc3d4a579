// CUIndexSet.cpp — membership and the ends of the set.
#include <VarnUtilityLib/CUIndexSet.h>

int const CUIndexSet::noIndex = -1;

CUIndexSet::CUIndexSet() = default;

CUIndexSet::~CUIndexSet() = default;

CUSharedPtr<CUIndexSet> CUIndexSet::Create() {
    return CUSharedPtr<CUIndexSet>(new CUIndexSet());
}

unsigned short CUIndexSet::Init() {
    return 0;
}

bool CUIndexSet::ContainsIndex(int index) {
    return index >= 0 && m_set.count(index) != 0;
}

int CUIndexSet::FirstIndex() {
    return m_set.empty() ? noIndex : *m_set.begin();
}

int CUIndexSet::LastIndex() {
    return m_set.empty() ? noIndex : *m_set.rbegin();
}
