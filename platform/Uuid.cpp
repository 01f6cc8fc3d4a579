// Uuid.cpp — UUID records over libuuid.
#include "platform/Uuid.h"

#include <uuid/uuid.h>

#include <cstring>
#include <new>

namespace varn::platform {

static_assert(sizeof(CFUUIDBytes) == sizeof(uuid_t));

__CFUUID const* UuidCreateRandom() noexcept {
    uuid_t value;
    uuid_generate_random(value);
    CFUUIDBytes bytes;
    std::memcpy(&bytes, value, sizeof bytes);
    return UuidCreateWithBytes(bytes);
}

__CFUUID const* UuidCreateWithBytes(CFUUIDBytes const& bytes) noexcept {
    auto* uuid = new (std::nothrow) __CFUUID;
    if (uuid == nullptr) {
        return nullptr;
    }
    uuid->refs.store(1, std::memory_order_relaxed);
    uuid->bytes = bytes;
    return uuid;
}

__CFUUID const* UuidRetain(__CFUUID const* uuid) noexcept {
    if (uuid != nullptr) {
        uuid->refs.fetch_add(1, std::memory_order_relaxed);
    }
    return uuid;
}

void UuidRelease(__CFUUID const* uuid) noexcept {
    if (uuid != nullptr && uuid->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete uuid;
    }
}

std::string UuidUpperText(CFUUIDBytes const& bytes) {
    uuid_t value;
    std::memcpy(value, &bytes, sizeof value);
    char text[37];
    uuid_unparse_upper(value, text);
    return std::string(text, 36);
}

} // namespace varn::platform
