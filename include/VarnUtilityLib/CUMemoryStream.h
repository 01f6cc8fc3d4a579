// CUMemoryStream.h — the read-only stream over a block of memory.
//
// The block is either borrowed from the caller (it must outlive the stream and is never freed
// by it) or owned: allocated with malloc by the stream and freed by UnInit() or the destructor.
// A memory stream cannot be written, grown or positioned: Write and Seek throw 5 (inherited),
// CanWrite and CanSeek are false. Reads never move the position, so callers step the offset.
//
// Ownership: count 0 at construction; CreateMemoryStreamPtr returns count 1.
// Threads: Read holds the stream's lock; Length(), CanRead() and GetPtr() do not lock.
// Codes: InitByStreamAndRange (and the constructors over a stream) throw 1 typed as
// _CUErrorContents (catch (_CUErrorContents), not catch (unsigned int)). Nothing else throws
// apart from the inherited operations.
#pragma once

#include <VarnUtilityLib/CUStream.h>

/// The read-only stream over a block of memory.
class CU_EXPORT CUMemoryStream : public CUStream {
  public:
    /// An empty stream: no buffer, length 0, range {0, 0}.
    CUMemoryStream();

    /// Owns `size` new bytes (contents undefined), range {0, size}; stays empty if the
    /// allocation fails (nothing thrown).
    explicit CUMemoryStream(unsigned long long size);

    /// Over `data`: borrowed when `noCopy` is true, else copied into an owned buffer (empty if
    /// that allocation fails). Null `data` gives an empty stream.
    CUMemoryStream(void* data, unsigned long long size, bool noCopy);

    /// An owned copy of `range` of `source`, read through the source's virtual Read. Throws 1
    /// as _CUErrorContents when the whole range could not be read (see InitByStreamAndRange).
    CUMemoryStream(CUStream* source, _CURange& range);
    /// \overload
    CUMemoryStream(CUSharedPtr<CUStream> source, _CURange& range);

    CUMemoryStream(CUMemoryStream const&) = delete;
    CUMemoryStream& operator=(CUMemoryStream const&) = delete;
    using CUStream::operator=;

    /// Frees the buffer if owned.
    ~CUMemoryStream() override;

    /// Heap stream over a copy of `range` of `source`; null when anything is thrown.
    static CUMemoryStream* CreateMemoryStream(CUStream* source, _CURange& range);
    /// \overload
    static CUMemoryStream* CreateMemoryStream(CUSharedPtr<CUStream> source, _CURange& range);

    /// The same in a shared pointer holding one reference (empty when creation failed).
    static CUSharedPtr<CUMemoryStream> CreateMemoryStreamPtr(CUStream* source, _CURange& range);
    /// \overload
    static CUSharedPtr<CUMemoryStream> CreateMemoryStreamPtr(CUSharedPtr<CUStream> source,
                                                             _CURange& range);

    /// Allocates `size` owned bytes as the size constructor does; returns the buffer (null on
    /// failure). An earlier buffer is not freed.
    void* InitByMemorySize(unsigned long long size);

    /// Fills a new owned buffer with `range` of `source` (the source's Read, starting from its
    /// beginning); returns the count read. When the source is null, the range is empty or the
    /// read comes back short, the buffer is released and 1 is thrown typed as _CUErrorContents.
    /// An exception thrown by the source's Read passes through unchanged.
    unsigned long long InitByStreamAndRange(CUStream* source, _CURange& range);

    /// The buffer (borrowed by the caller; may be null).
    void* GetPtr();

    /// Frees the buffer if owned and forgets it; length, range and the owns flag stay.
    void UnInit();

    /// True when there is a buffer and the length is not 0.
    bool CanRead() override;

    /// Under the lock: copies the bytes of CalcReadRange(count, offset, origin) to `out` and
    /// returns their number; 0 for a null `out`, an empty stream or an empty range.
    unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                            CUStream_Seek_Origin origin) override;

  private:
    unsigned char* m_pBuffer;
    bool m_bOwnsBuffer;
};
