// CUArray.cpp — the element sequence, its read operations, sorting and the text form.
#include "collections/DescriptionText.h"
#include "collections/StableMergeSort.h"

#include <VarnUtilityLib/CUArray.h>

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

CUArray::CUArray() = default;

CUArray::CUArray(CUSharedPtr<CUArray> source) {
    if (source) {
        m_array = source->m_array;
    }
}

CUArray::~CUArray() = default;

unsigned long CUArray::Count() {
    return m_array.size();
}

CUSharedPtr<CUObject> CUArray::ObjectAtIndex(unsigned long index) {
    return index < m_array.size() ? m_array[index] : CUSharedPtr<CUObject>();
}

CUSharedPtr<CUObject> CUArray::LastObject() {
    return m_array.empty() ? CUSharedPtr<CUObject>() : m_array.back();
}

bool CUArray::RemoveAtIndex(unsigned long index) {
    if (index >= m_array.size()) {
        return false;
    }
    m_array.erase(m_array.begin() + static_cast<std::ptrdiff_t>(index));
    return true;
}

std::vector<CUSharedPtr<CUObject>>& CUArray::GetInternalArray() {
    return m_array;
}

CUSharedPtr<CUArray> CUArray::SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor> descriptor) {
    if (!descriptor) {
        return CUSharedPtr<CUArray>();
    }
    CUSharedPtr<CUArray> sorted(new CUArray());
    sorted->m_array = m_array;
    z_SortElements(sorted->m_array, descriptor);
    return sorted;
}

namespace {

// What the merge sort moves: the object (for the predicate) and where its element stood.
// Both are plain values, so a CompareObject that throws midway leaves nothing to release, and
// the elements themselves are only moved once the order is known.
struct SortEntry {
    CUObject* object;
    std::size_t index;
};

// The sort's predicate. Each comparison takes and drops a reference on both objects; those
// atomic instructions stall on an object that is not in the cache, so the merge announces the
// objects it will compare a few steps ahead (Prefetch) and their lines are loaded meanwhile.
template <class Compare> struct EntryBefore {
    Compare compare;
    bool operator()(SortEntry const& a, SortEntry const& b) { return compare(a, b); }
    void Prefetch(SortEntry const& e) const { __builtin_prefetch(e.object, 1); }
};

} // namespace

void CUArray::z_SortElements(std::vector<CUSharedPtr<CUObject>>& elements,
                             CUSharedPtr<CUSortDescriptor> const& descriptor) {
    std::size_t const n = elements.size();
    if (n < 2) {
        return;
    }
    // The copy compares through the caller's descriptor (its `comparer`); `descriptor` keeps
    // that one alive until we return.
    CUSortDescriptor copy(*descriptor);

    // The side table and the gathered copy cost about 32 bytes an element up front. Without
    // them the elements are sorted where they stand, slower but with the same order: a sort
    // never fails for want of memory.
    std::unique_ptr<SortEntry[]> entries(new (std::nothrow) SortEntry[n]);
    std::vector<CUSharedPtr<CUObject>> ordered;
    try {
        if (entries) {
            ordered.reserve(n);
        }
    } catch (std::bad_alloc const&) {
        entries.reset();
    }
    if (!entries) {
        varn::collections::StableMergeSortInPlace(
            elements.data(), n,
            [&copy](CUSharedPtr<CUObject> const& a, CUSharedPtr<CUObject> const& b) {
                return copy.z_ComesBefore(a.get(), b.get());
            });
        return;
    }
    for (std::size_t i = 0; i < n; ++i) {
        entries[i] = SortEntry{elements[i].get(), i};
    }
    auto compare = [&copy](SortEntry const& a, SortEntry const& b) {
        return copy.z_ComesBefore(a.object, b.object);
    };
    varn::collections::StableMergeSort(entries.get(), n, EntryBefore<decltype(compare)>{compare});

    // Gather the elements into their new order. Each step reads an independent slot, so the
    // processor overlaps the cache misses; following the permutation's cycles instead made
    // every miss wait for the previous one. Moves only: no reference count changes.
    for (std::size_t i = 0; i < n; ++i) {
        ordered.push_back(std::move(elements[entries[i].index]));
    }
    elements.swap(ordered);
}

CUSharedPtr<CUStringMac> CUArray::Description() {
    varn::collections::DescriptionText text;
    text.Ascii("{").Ascii(CU_NEWLINE_CHAR);
    for (CUSharedPtr<CUObject> const& element : m_array) {
        text.Ascii("\t").DescriptionOf(element.get()).Ascii(CU_NEWLINE_CHAR);
    }
    text.Ascii("}");
    return text.Make();
}
