// CUMemoryStream.cpp — the read-only stream over borrowed or owned memory.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUMemoryStream.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// No object may be larger than PTRDIFF_MAX bytes: a request past that fails here, as malloc
// would fail it, without asking the allocator.
unsigned char* allocate(unsigned long long size) {
    if (size > static_cast<unsigned long long>(PTRDIFF_MAX)) {
        return nullptr;
    }
    return static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(size)));
}

} // namespace

CUMemoryStream::CUMemoryStream() : m_pBuffer(nullptr), m_bOwnsBuffer(false) {}

CUMemoryStream::CUMemoryStream(unsigned long long size) : CUMemoryStream() {
    InitByMemorySize(size);
}

CUMemoryStream::CUMemoryStream(void* data, unsigned long long size, bool noCopy)
    : CUMemoryStream() {
    if (data == nullptr) {
        return;
    }
    if (noCopy) {
        m_pBuffer = static_cast<unsigned char*>(data);
    } else {
        m_pBuffer = allocate(size);
        if (m_pBuffer == nullptr) {
            return;
        }
        std::memcpy(m_pBuffer, data, static_cast<std::size_t>(size));
        m_bOwnsBuffer = true;
    }
    m_nLength = size;
    m_readableRange = _CURange{0, size};
}

CUMemoryStream::CUMemoryStream(CUStream* source, _CURange& range) : CUMemoryStream() {
    InitByStreamAndRange(source, range);
}

CUMemoryStream::CUMemoryStream(CUSharedPtr<CUStream> source, _CURange& range)
    : CUMemoryStream(source.get(), range) {}

CUMemoryStream::~CUMemoryStream() {
    if (m_bOwnsBuffer) {
        std::free(m_pBuffer);
    }
}

CUMemoryStream* CUMemoryStream::CreateMemoryStream(CUStream* source, _CURange& range) {
    try {
        return new CUMemoryStream(source, range);
    } catch (...) {
        // The factory reports failure as null; a failed constructor has already been freed.
        return nullptr;
    }
}

CUMemoryStream* CUMemoryStream::CreateMemoryStream(CUSharedPtr<CUStream> source, _CURange& range) {
    return CreateMemoryStream(source.get(), range);
}

CUSharedPtr<CUMemoryStream> CUMemoryStream::CreateMemoryStreamPtr(CUStream* source,
                                                                  _CURange& range) {
    return CUSharedPtr<CUMemoryStream>(CreateMemoryStream(source, range));
}

CUSharedPtr<CUMemoryStream> CUMemoryStream::CreateMemoryStreamPtr(CUSharedPtr<CUStream> source,
                                                                  _CURange& range) {
    return CreateMemoryStreamPtr(source.get(), range);
}

void* CUMemoryStream::InitByMemorySize(unsigned long long size) {
    m_pBuffer = allocate(size);
    if (m_pBuffer != nullptr) {
        m_nLength = size;
        m_bOwnsBuffer = true;
        m_readableRange = _CURange{0, size};
    }
    return m_pBuffer;
}

unsigned long long CUMemoryStream::InitByStreamAndRange(CUStream* source, _CURange& range) {
    m_bOwnsBuffer = false;
    m_pBuffer = allocate(range.length);
    if (m_pBuffer != nullptr) {
        m_nLength = range.length;
        m_bOwnsBuffer = true;
        m_readableRange = _CURange{0, range.length};
    }
    if (source != nullptr && range.length != 0) {
        unsigned long long const count =
            source->Read(m_pBuffer, range.length, static_cast<long long>(range.location),
                         CUStream_Seek_Origin_Begin);
        m_nLength = count;
        if (count == range.length) {
            return count;
        }
    }
    UnInit();
    // Deliberately the enumeration type, not unsigned int: callers catch it apart from the
    // codes that every other operation throws.
    throw CUError_NotReady;
}

void* CUMemoryStream::GetPtr() {
    return m_pBuffer;
}

void CUMemoryStream::UnInit() {
    if (m_bOwnsBuffer) {
        std::free(m_pBuffer);
    }
    m_pBuffer = nullptr;
}

bool CUMemoryStream::CanRead() {
    return m_pBuffer != nullptr && m_nLength != 0;
}

unsigned long long CUMemoryStream::Read(unsigned char* out, unsigned long long count,
                                        long long offset, CUStream_Seek_Origin origin) {
    CUAutoLock lock(m_spLock);
    if (out == nullptr || m_pBuffer == nullptr) {
        return 0;
    }
    _CURange const r = CalcReadRange(count, offset, origin);
    if (r.length == 0) {
        return 0;
    }
    std::memcpy(out, m_pBuffer + r.location, static_cast<std::size_t>(r.length));
    return r.length;
}
