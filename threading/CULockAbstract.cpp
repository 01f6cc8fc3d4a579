// CULockAbstract.cpp — the do-nothing lock that the real locks override.
#include <VarnUtilityLib/CULockAbstract.h>

CULockAbstract::~CULockAbstract() = default;

void CULockAbstract::Lock() {}

void CULockAbstract::Unlock() {}
