// CUMutableArray.cpp — the changing operations, all through the inherited sequence.
#include <VarnUtilityLib/CUMutableArray.h>

#include <cstddef>
#include <cstdint>

CUMutableArray::CUMutableArray() = default;

CUMutableArray::CUMutableArray(CUSharedPtr<CUArray> source) : CUArray(source) {}

CUMutableArray::~CUMutableArray() = default;

void CUMutableArray::AddObject(CUSharedPtr<CUObject> object) {
    GetInternalArray().push_back(std::move(object));
}

void CUMutableArray::AddObjectsFromArray(CUSharedPtr<CUArray> other) {
    if (!other) {
        return;
    }
    // The count is taken once, before anything is added, so adding an array to itself
    // copies what it held at the start and stops.
    std::uint32_t const count = static_cast<std::uint32_t>(other->Count());
    for (std::uint32_t i = 0; i < count; ++i) {
        AddObject(other->ObjectAtIndex(i));
    }
}

void CUMutableArray::InsertObjectAtIndex(CUSharedPtr<CUObject> object, unsigned long index) {
    std::vector<CUSharedPtr<CUObject>>& elements = GetInternalArray();
    if (index > elements.size()) {
        return;
    }
    elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(index), std::move(object));
}

void CUMutableArray::RemoveAllObjects() {
    GetInternalArray().clear();
}

void CUMutableArray::RemoveObjectAtIndex(unsigned long index) {
    RemoveAtIndex(index);
}

void CUMutableArray::RemoveObject(CUSharedPtr<CUObject> object) {
    if (!object) {
        return;
    }
    std::vector<CUSharedPtr<CUObject>>& elements = GetInternalArray();
    for (auto it = elements.begin(); it != elements.end(); ++it) {
        if (it->get() == object.get()) {
            elements.erase(it);
            return;
        }
    }
}

void CUMutableArray::SetArray(CUSharedPtr<CUArray> other) {
    RemoveAllObjects();
    AddObjectsFromArray(other);
}

void CUMutableArray::SortUsingDescriptor(CUSharedPtr<CUSortDescriptor> descriptor) {
    if (!descriptor) {
        return;
    }
    z_SortElements(GetInternalArray(), descriptor);
}
