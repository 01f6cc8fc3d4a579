// CUVector.h — a growable array of plain integers that is also a library object.
//
// CUVector<T> is a std::vector<T> (first base: appending, indexing, resizing... are used
// directly) and a CUObject (second base: it travels in CUSharedPtr and describes itself). It
// exists for eight element types, each made by a free factory.
//
// Description(): "{", then " %d," / " %u," / " %lld," / " %llu," per element but the last, the
// last without the comma, then "}" — "{ 1, -2, 3}" for the shorts 1, -2, 3. No line feed. An
// empty vector gives "{}".
//
// Ownership: count 0 at construction; the factories give count 1. Threads: no lock. Errors:
// nothing is thrown but std::bad_alloc when memory runs out.
#pragma once

#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUSharedPtr.h>

#include <vector>

/// A growable array of plain integers that is also a library object.
template <class T> class CU_EXPORT CUVector : public std::vector<T>, public CUObject {
  public:
    /// An empty vector.
    CUVector() = default;
    ~CUVector() override = default;

    /// The elements as text, e.g. "{ 255, 0}"; "{}" when empty.
    CUSharedPtr<CUStringMac> Description() override;
};

extern template class CUVector<signed char>;
extern template class CUVector<unsigned char>;
extern template class CUVector<short>;
extern template class CUVector<unsigned short>;
extern template class CUVector<int>;
extern template class CUVector<unsigned int>;
extern template class CUVector<long long>;
extern template class CUVector<unsigned long long>;

/// A new, empty vector of the type (count 1).
CU_EXPORT CUSharedPtr<CUVector<signed char>> CreateCUVectorSInt8();
CU_EXPORT CUSharedPtr<CUVector<unsigned char>> CreateCUVectorUInt8();
CU_EXPORT CUSharedPtr<CUVector<short>> CreateCUVectorSInt16();
CU_EXPORT CUSharedPtr<CUVector<unsigned short>> CreateCUVectorUInt16();
CU_EXPORT CUSharedPtr<CUVector<int>> CreateCUVectorSInt32();
CU_EXPORT CUSharedPtr<CUVector<unsigned int>> CreateCUVectorUInt32();
CU_EXPORT CUSharedPtr<CUVector<long long>> CreateCUVectorSInt64();
CU_EXPORT CUSharedPtr<CUVector<unsigned long long>> CreateCUVectorUInt64();
