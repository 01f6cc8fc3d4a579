// CUStream.h — the library's byte stream: a length, a position, a lock and a readable range.
//
// Reads and writes have no implicit cursor: each call names its starting point as an offset
// counted from an origin (CUStream_Seek_Origin). Every read is confined to the stream's
// *readable range*; CalcReadRange clips a request at the range's end and gives nothing for a
// request that starts before it. CUMemoryStream and CUFileStream are the concrete streams.
//
// Ownership: count 0 at construction; streams travel in CUSharedPtr<CUStream>.
// Threads: each stream owns one recursive lock (a CURecursiveLock). SetReadaleRange,
// ResetReadaleRange and WriteCFData hold it for their whole duration; Length() and
// CalcReadRange read fields without it (callers of CalcReadRange hold the lock).
// Codes: the base Read, Write, Seek, SetLength, Position and SetPosition throw 5 (not
// supported).
#pragma once

#include <VarnUtilityLib/CULockAbstract.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CURange.h>

/// Where an offset counts from. Any other value makes the computed range empty.
enum CUStream_Seek_Origin : int {
    CUStream_Seek_Origin_Begin = 0,   ///< the stream's start
    CUStream_Seek_Origin_Current = 1, ///< the stream's position
    CUStream_Seek_Origin_End = 2,     ///< the stream's length
};

/// How CUFileStream opens a file.
enum CUStream_FileMode : int {
    CUStream_FileMode_Append = 0,       ///< open or create; position at the end; needs write access
    CUStream_FileMode_Create = 1,       ///< create, or truncate to 0 if present; needs write access
    CUStream_FileMode_CreateNew = 2,    ///< create; fails if the file exists
    CUStream_FileMode_Open = 3,         ///< open an existing file; fails if missing
    CUStream_FileMode_OpenOrCreate = 4, ///< open, creating the file if missing
    CUStream_FileMode_Truncate = 5, ///< open an existing file, truncate to 0; needs write access
};

/// What CUFileStream may do with an open file.
enum CUStream_FileAccess : int {
    CUStream_FileAccess_Read = 0,      ///< read only
    CUStream_FileAccess_ReadWrite = 1, ///< read and write
    CUStream_FileAccess_Write = 2,     ///< write only
};

/// The library's byte stream: a length, a position, a lock and a readable range.
class CU_EXPORT CUStream : public CUObject {
  public:
    /// Range {0, 0}, length 0, position 0 and a new recursive lock.
    CUStream();
    CUStream(CUStream const&) = delete;
    ~CUStream() override;

    /// True when the stream can be read; false here.
    virtual bool CanRead();
    /// True when the stream can be written; false here.
    virtual bool CanWrite();
    /// True when the stream can be positioned; false here.
    virtual bool CanSeek();

    /// Reads up to `count` bytes starting at (`offset`, `origin`) into `out`, clipped by the
    /// readable range; returns the number of bytes read. Throws 5 here.
    virtual unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                                    CUStream_Seek_Origin origin);

    /// Writes `count` bytes from `in` starting at (`offset`, `origin`); returns the number of
    /// bytes written. Throws 5 here.
    virtual unsigned long long Write(unsigned char* in, unsigned long long count, long long offset,
                                     CUStream_Seek_Origin origin);

    /// Moves the position; returns the new position. Throws 5 here.
    virtual unsigned long long Seek(long long offset, CUStream_Seek_Origin origin);

    /// Under the lock: 0 for null data or data without bytes, otherwise the virtual Write of
    /// the data's bytes at (`offset`, `origin`). Codes thrown by Write pass through.
    virtual unsigned long long WriteCFData(__CFData const* data, long long offset,
                                           CUStream_Seek_Origin origin);

    /// Runs CUObject's assignment, then empties this stream: range {0, 0}, length 0, position 0,
    /// and *no lock at all* (an empty lock pointer; later lock scopes do nothing). Nothing of
    /// `other` is copied. Do not assign to a stream that another thread is using.
    virtual CUStream& operator=(CUStream const& other);
    using CUObject::operator=;

    /// The length field, without locking.
    unsigned long long Length();

    /// Not supported by the base stream: throws 5.
    void SetLength(unsigned long long length);

    /// Not supported by the base stream: throws 5.
    unsigned long long Position();

    /// Calls the virtual Seek(position, CUStream_Seek_Origin_Begin) and returns its result
    /// (throws 5 on a base or memory stream).
    unsigned long long SetPosition(unsigned long long position);

    /// Under the lock, takes `range` as the readable range when the stream can read, its
    /// location is not kCURangeNoLocation and it ends at or before the length (unsigned 64-bit
    /// sum, no wrap-around check). Returns kCUStatusSuccess, or kCUStatusFailure with the old
    /// range kept. (The spelling "Readale" is part of the interface.)
    unsigned int SetReadaleRange(_CURange const& range);

    /// Under the lock, SetReadaleRange({0, length}); silently refused when the stream cannot
    /// read. (The spelling "Readale" is part of the interface.)
    void ResetReadaleRange();

    /// The span that a read of `count` bytes at (`offset`, `origin`) may really touch: clipped
    /// at the end of the readable range, {0, 0} when the start lies before the range, at or
    /// past its end, when `count` is 0 or the origin is unknown. Does not lock.
    _CURange CalcReadRange(unsigned long long count, long long offset, CUStream_Seek_Origin origin);

    /// The current readable range (read without locking).
    _CURange GetReadableRange() const { return m_readableRange; }

  protected:
    _CURange m_readableRange;             ///< bytes that reads may return (see SetReadaleRange)
    unsigned long long m_nLength;         ///< length in bytes, for streams that keep it here
    unsigned long long m_nPosition;       ///< current position in bytes
    CUSharedPtr<CULockAbstract> m_spLock; ///< the stream's lock (recursive)
};
