// CUStream.cpp — the stream base: readable range, read-range arithmetic and the lock.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CURecursiveLock.h>
#include <VarnUtilityLib/CUStream.h>

CUStream::CUStream()
    : m_readableRange{0, 0}, m_nLength(0), m_nPosition(0), m_spLock(new CURecursiveLock) {}

CUStream::~CUStream() = default;

bool CUStream::CanRead() {
    return false;
}

bool CUStream::CanWrite() {
    return false;
}

bool CUStream::CanSeek() {
    return false;
}

unsigned long long CUStream::Read(unsigned char*, unsigned long long, long long,
                                  CUStream_Seek_Origin) {
    throw static_cast<unsigned int>(CUError_NotSupported);
}

unsigned long long CUStream::Write(unsigned char*, unsigned long long, long long,
                                   CUStream_Seek_Origin) {
    throw static_cast<unsigned int>(CUError_NotSupported);
}

unsigned long long CUStream::Seek(long long, CUStream_Seek_Origin) {
    throw static_cast<unsigned int>(CUError_NotSupported);
}

unsigned long long CUStream::WriteCFData(__CFData const* data, long long offset,
                                         CUStream_Seek_Origin origin) {
    CUAutoLock lock(m_spLock);
    unsigned char const* bytes = CUPlatformDataGetBytePtr(data);
    if (bytes == nullptr) {
        return 0;
    }
    // Write takes a mutable buffer for historical reasons; no stream writes into it.
    return Write(const_cast<unsigned char*>(bytes), CUPlatformDataGetLength(data), offset, origin);
}

CUStream& CUStream::operator=(CUStream const& other) {
    CUObject::operator=(other);
    m_readableRange = _CURange{0, 0};
    m_nLength = 0;
    m_nPosition = 0;
    m_spLock = CUSharedPtr<CULockAbstract>();
    return *this;
}

unsigned long long CUStream::Length() {
    return m_nLength;
}

void CUStream::SetLength(unsigned long long) {
    throw static_cast<unsigned int>(CUError_NotSupported);
}

unsigned long long CUStream::Position() {
    throw static_cast<unsigned int>(CUError_NotSupported);
}

unsigned long long CUStream::SetPosition(unsigned long long position) {
    return Seek(static_cast<long long>(position), CUStream_Seek_Origin_Begin);
}

unsigned int CUStream::SetReadaleRange(_CURange const& range) {
    CUAutoLock lock(m_spLock);
    unsigned long long const length = m_nLength;
    if (!CanRead() || range.location == kCURangeNoLocation ||
        length < range.location + range.length) {
        return kCUStatusFailure;
    }
    m_readableRange = range;
    return kCUStatusSuccess;
}

void CUStream::ResetReadaleRange() {
    CUAutoLock lock(m_spLock);
    SetReadaleRange(_CURange{0, m_nLength});
}

_CURange CUStream::CalcReadRange(unsigned long long count, long long offset,
                                 CUStream_Seek_Origin origin) {
    if (count == 0) {
        return _CURange{0, 0};
    }
    // Unsigned arithmetic throughout: a negative offset from Begin is a huge start that lies
    // past any range and so reads nothing.
    unsigned long long const off = static_cast<unsigned long long>(offset);
    unsigned long long start;
    switch (origin) {
    case CUStream_Seek_Origin_Begin:
        start = off;
        break;
    case CUStream_Seek_Origin_Current:
        start = off + m_nPosition;
        break;
    case CUStream_Seek_Origin_End:
        start = off + m_nLength;
        break;
    default:
        start = 0;
        count = 0;
        break;
    }
    if (start < m_readableRange.location) {
        return _CURange{0, 0};
    }
    unsigned long long const end = m_readableRange.location + m_readableRange.length;
    if (end <= start) {
        return _CURange{0, 0};
    }
    // Compared as what is left, not as start + count: a count near 2^64 must not wrap past end.
    return _CURange{start, count <= end - start ? count : end - start};
}
