// Data.cpp — reference-counted byte blocks.
#include "platform/Data.h"

#include "platform/SmallBlocks.h"

#include <malloc.h>

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
        FreeLarge(const_cast<Data*>(data));
    }
}

DataBuilder::~DataBuilder() {
    FreeLarge(m_block);
}

bool DataBuilder::Grow(std::size_t extra) noexcept {
    if (extra > SIZE_MAX / 2 - sizeof(Data) - m_size) {
        return false;
    }
    // Doubling while small, then half again: a large block's final size overshoots by less,
    // which keeps a document of some tens of megabytes under the allocator's threshold for
    // giving each block fresh pages of its own.
    std::size_t capacity = m_capacity < 4096 ? 4096 : m_capacity;
    while (capacity - m_size < extra) {
        capacity = capacity < (std::size_t{1} << 20) ? capacity * 2 : capacity + capacity / 2;
    }
    void* memory;
    if (capacity >= kMinLargeBlock && m_capacity < kMinLargeBlock) {
        // Turning large: the block kept from the last large output, if any, is taken whole
        // (its pages are in memory already) instead of growing into freshly mapped pages.
        memory = AllocateLarge(sizeof(Data) + capacity);
        if (memory == nullptr) {
            return false;
        }
        if (m_size != 0) {
            std::memcpy(static_cast<char*>(memory) + sizeof(Data), m_bytes, m_size);
        }
        std::free(m_block);
        capacity = ::malloc_usable_size(memory) - sizeof(Data);
    } else {
        memory = std::realloc(m_block, sizeof(Data) + capacity);
        if (memory == nullptr) {
            return false;
        }
    }
    m_block = static_cast<Data*>(memory);
    m_bytes = reinterpret_cast<char*>(m_block + 1);
    m_capacity = capacity;
    return true;
}

Data const* DataBuilder::Finish() noexcept {
    if (m_block == nullptr && !Grow(0)) {
        return nullptr;
    }
    // The unused tail is given back; shrinking in place cannot fail in practice, and the
    // larger block is as good if it does.
    void* memory = std::realloc(m_block, sizeof(Data) + m_size);
    Data* data = new (memory != nullptr ? memory : m_block) Data;
    data->refs.store(1, std::memory_order_relaxed);
    data->length = m_size;
    m_block = nullptr;
    m_bytes = nullptr;
    m_size = 0;
    m_capacity = 0;
    return data;
}

} // namespace varn::platform
