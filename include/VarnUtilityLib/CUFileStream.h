// CUFileStream.h — the stream over a file on disk.
//
// The constructor (or Init) decides from a CUStream_FileMode and a CUStream_FileAccess whether
// the file is created, opened, truncated or appended to. Reads and writes name their own start
// (offset and origin) and move the position field to the end of what they touched; Seek only
// sets the position field. Reads are clipped by the readable range, which is {0, length} after
// opening and after every change of length; a file that turns out shorter than expected reads
// what is there (end of file is not an error). Writes past the end grow the file first.
//
// Error codes (thrown as unsigned int) leave only the constructors (noThrow false) and Init:
//   1 empty path; 2 null path; 4 mode/access/existence conflict, a path text without an exact
//   UTF-8 form (an unpaired surrogate or U+0000, which would name a shorter path) or any
//   failure of the system;
//   5 the path names a folder; 9 Open or Truncate of a missing file.
// Every other operation swallows its own codes: Read and Write return 0 and leave the stream
// as it is; Position, Seek and SetLength close the stream and return normally.
//
// Ownership: count 0 at construction. The file is closed by Close() or the destructor.
// Threads: Init, Close, Length, SetLength, Position, SetPosition, Seek, Read and Write hold the
// stream's recursive lock for their whole duration, so one Write is never interleaved with
// another thread's. CanRead, CanWrite, CanSeek and IsOSFileHandleValid read flags unlocked.
#pragma once

#include <VarnUtilityLib/CUStream.h>

/// The stream over a file on disk.
class CU_EXPORT CUFileStream : public CUStream {
  public:
    /// Opens `path` with Init. On an error code: dropped when `noThrow` is true (a closed
    /// stream results: CanRead, CanWrite and CanSeek false), thrown otherwise.
    CUFileStream(CUStringMac* path, CUStream_FileMode mode, CUStream_FileAccess access,
                 bool noThrow);
    /// \overload
    CUFileStream(CUSharedPtr<CUStringMac>& path, CUStream_FileMode mode, CUStream_FileAccess access,
                 bool noThrow);

    CUFileStream(CUFileStream const&) = delete;
    CUFileStream& operator=(CUFileStream const&) = delete;
    using CUStream::operator=;

    /// Closes the file, swallowing anything.
    ~CUFileStream() override;

    /// The fork permission for an access: Read 1, ReadWrite 3, Write 2, any other 0.
    static signed char CUStream_FileAccess_To_OS_FileAccess(CUStream_FileAccess access);

    /// The position mode for an origin: Begin 1, Current 3, End 2, any other 0.
    static unsigned short CUStream_Seek_Origin_To_OS_Seek_Origin(CUStream_Seek_Origin origin);

    /// Validates and opens; returns the file's length. Throws 2 for a null path, 1 for an
    /// empty one, 5 when it names a folder, 4 for a mode that needs write access opened
    /// read-only, for CreateNew of an existing file, for an unknown mode and for any failure
    /// of the system, 9 for Open or Truncate of a missing file. Append positions at the end.
    unsigned long long Init(CUStringMac* path, CUStream_FileMode mode, CUStream_FileAccess access);

    /// Under the lock: closes the file if open. Closing a closed stream does nothing.
    void Close();

    /// Throws 1 unless the file is open. (The spelling is part of the interface.)
    void CheackFileOpened();

    /// True while a file is open.
    bool IsOSFileHandleValid();

    bool CanRead() override;  ///< open and opened with read access
    bool CanWrite() override; ///< open and opened with write access
    bool CanSeek() override;  ///< open

    /// Under the lock, the length field.
    unsigned long long Length();

    /// Under the lock, sets the file's size to `length` and the readable range to {0, length};
    /// the position field is kept (it may lie past the end). On any failure (not writable,
    /// closed, system error) the stream is closed; nothing is thrown.
    void SetLength(unsigned long long length);

    /// Under the lock, the position field. A closed stream stays closed and still reports it.
    unsigned long long Position();

    /// Under the lock, Seek(position, CUStream_Seek_Origin_Begin).
    unsigned long long SetPosition(unsigned long long position);

    /// Under the lock, sets the position field to offset from Begin, Current or End (0 for an
    /// unknown origin) and returns it; touches nothing on disk. On a closed stream the stream
    /// stays closed and the old position is returned.
    unsigned long long Seek(long long offset, CUStream_Seek_Origin origin) override;

    /// Under the lock, reads CalcReadRange(count, offset, origin) into `out`; returns the bytes
    /// read (fewer when the file ended early). The position becomes the end of the clipped
    /// request. Returns 0 on any failure (null `out`, closed, not readable, system error).
    unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                            CUStream_Seek_Origin origin) override;

    /// Under the lock, writes `count` bytes at offset from Begin, Current or End (0 for an
    /// unknown origin), growing the file first when they end past it; the position becomes the
    /// end of the write. Returns `count`, or 0 on any failure (null `in`, closed, not writable,
    /// system error: then bytes written earlier are kept and the stream stays open unless the
    /// file could not be grown).
    unsigned long long Write(unsigned char* in, unsigned long long count, long long offset,
                             CUStream_Seek_Origin origin) override;

  protected:
    // Steps of opening, reading, writing, seeking and closing, for this class and subclasses:
    // callers hold the stream's lock; none throws except the Open... steps, with the codes of
    // Init.
    void z_CloseNoLock();
    void ClearMemberValue();
    unsigned long long CalcNewPos(long long offset, CUStream_Seek_Origin origin);
    void SeekOSFileHandle(unsigned long long position);
    unsigned long long z_Read(unsigned char* out, _CURange& range);
    unsigned long long z_Write(unsigned char* in, unsigned long long count);
    unsigned long long z_WriteGrowing(unsigned char* in, unsigned long long count,
                                      unsigned long long start);
    void z_SetLength(unsigned long long length);
    unsigned long long OpenOSFileHandle(CUStringMac* path, CUStream_FileMode mode,
                                        CUStream_FileAccess access, bool exists);
    bool OpenExistFileRefAndDataFork(CUStringMac* path, bool truncate, signed char permission);
    bool OpenNewFileRefAndDataFork(CUStringMac* path, signed char permission);
    bool OpenDataFork(char const* path, bool truncate, signed char permission);

  private:
    bool m_bCanRead;
    bool m_bCanWrite;
    bool m_bCanSeek;
    bool m_bOpened;
    int m_nForkRef;
    unsigned long long m_nForkPosition;
};
