// CUPlatformData.cpp — the functions an application uses on platform data handles.
#include <VarnUtilityLib/CUPlatformTypes.h>

#include "platform/Data.h"

__CFData const* CUPlatformDataCreate(void const* bytes, std::size_t length) {
    if (bytes == nullptr && length != 0) {
        return nullptr;
    }
    return varn::platform::MakeData(bytes, length);
}

std::size_t CUPlatformDataGetLength(__CFData const* data) {
    return data == nullptr ? 0 : data->length;
}

unsigned char const* CUPlatformDataGetBytePtr(__CFData const* data) {
    return data == nullptr ? nullptr : data->Bytes();
}

__CFData const* CUPlatformDataRetain(__CFData const* data) {
    return varn::platform::RetainData(data);
}

void CUPlatformRelease(__CFData const* data) {
    varn::platform::ReleaseData(data);
}
