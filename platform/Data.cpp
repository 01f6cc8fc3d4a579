// Data.cpp — reference-counted byte blocks.
#include "platform/Data.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace varn::platform {

Data const* MakeData(void const* bytes, std::size_t length) noexcept {
    if (length > SIZE_MAX - sizeof(Data)) {
        return nullptr;
    }
    void* memory = std::malloc(sizeof(Data) + length);
    if (memory == nullptr) {
        return nullptr;
    }
    Data* data = new (memory) Data;
    data->refs.store(1, std::memory_order_relaxed);
    data->length = length;
    if (length != 0) {
        std::memcpy(static_cast<void*>(data + 1), bytes, length);
    }
    return data;
}

Data const* RetainData(Data const* data) noexcept {
    if (data != nullptr) {
        data->refs.fetch_add(1, std::memory_order_relaxed);
    }
    return data;
}

void ReleaseData(Data const* data) noexcept {
    if (data != nullptr && data->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        data->~Data();
        std::free(const_cast<Data*>(data));
    }
}

} // namespace varn::platform
