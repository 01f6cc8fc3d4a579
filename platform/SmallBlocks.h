// SmallBlocks.h — the allocator behind the library's objects and texts.
//
// A document tree, a dictionary or a list of strings is made of millions of blocks of a few
// dozen bytes, made and freed together. The C library's allocator pays for every one of them
// in its bins (merging neighbours, sorting them back), which made half the time of loading and
// freeing a document. Here blocks up to kMaxSmallBlock bytes come in size classes 8 bytes
// apart; each thread keeps free lists of its own and takes or gives back whole batches through
// a central store under one lock per class, so a block freed on another thread is reused
// there or handed back through the store. Larger blocks go to the global operator new.
//
// Memory: blocks are carved from 2 MiB mapped chunks that are never given back; a freed block
// waits for the next request of its class. The process keeps what its peak of small objects
// used, plus the latest large block freed through FreeLarge.
//
// Every free names the size the block was asked for (the objects and texts all know theirs).
// Under AddressSanitizer every block is a plain operator new/delete (sized where the compiler
// has sized deallocation) and no large block is kept, so use-after-free, overflows and size
// mismatches are still reported.
#pragma once

#include <cstddef>
#include <cstdint>

namespace varn::platform {

/// Largest size served from the size classes; larger requests go to operator new.
constexpr std::size_t kMaxSmallBlock = 512;

/// A block of at least `size` bytes, aligned to 16 when `size` is a non-zero multiple of 16
/// and to 8 otherwise, which is what an object of that size needs (size 0 gives an 8-byte
/// block of its own).
/// Throws std::bad_alloc when no memory can be had.
void* AllocateSmall(std::size_t size);

/// Frees a block of AllocateSmall; `size` is the size it was asked for (or any size that
/// SameSmallBlock pairs with it). Null is ignored.
void FreeSmall(void* block, std::size_t size) noexcept;

/// True when blocks asked for with sizes `a` and `b` are interchangeable: a block of one may be
/// freed as the other (a text shrunk in place stays in its block).
bool SameSmallBlock(std::size_t a, std::size_t b) noexcept;

/// Blocks from this size up are large blocks (see AllocateLarge).
constexpr std::size_t kMinLargeBlock = std::size_t{1} << 20;

/// A malloc block of at least `size` bytes (std::realloc and FreeLarge accept it): the block
/// that the last FreeLarge kept when it is large enough, else a new one. A document's reader
/// buffer and its writer's output are blocks of some megabytes made once per operation; the
/// C library maps such a block afresh every time, and faulting its pages in again cost as much
/// as writing the document. Null when memory runs out.
void* AllocateLarge(std::size_t size) noexcept;

/// Frees a malloc block; a block of kMinLargeBlock bytes or more is kept for the next
/// AllocateLarge instead (one block is kept in the process, the latest). Null is ignored.
void FreeLarge(void* block) noexcept;

/// What the allocator holds, for memory figures.
struct SmallBlockStats {
    /// Bytes of the blocks the calling thread took minus those it freed (class sizes).
    std::int64_t threadBytesInUse = 0;
    /// Bytes of every chunk taken from the system so far, in use or free.
    std::uint64_t bytesReserved = 0;
};

/// A snapshot of the figures above.
SmallBlockStats GetSmallBlockStats() noexcept;

} // namespace varn::platform
