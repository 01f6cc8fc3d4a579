// SmallBlocks.h — the allocator behind the library's objects and texts.
//
// A document tree, a dictionary or a list of strings is made of millions of blocks of a few
// dozen bytes, made and freed together. They come from mimalloc, which keeps free lists per
// thread and size class and gives empty pages back to the system (at once: the library sets
// no delay). Every free names the size the block was asked for (the objects and texts all
// know theirs); mimalloc does not need it, AddressSanitizer checks it. Under the sanitizers
// every block is a plain operator new/delete and no large block is kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace varn::platform {

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

/// Hands the memory that freed blocks left in the allocators back to the system (the kept
/// large block, mimalloc's free pages and the C library's heap, `malloc_trim`). Some milliseconds for a heap of some
/// hundred megabytes: for the release of something large. Nothing under the sanitizers.
void GiveBackFreeMemory() noexcept;

/// What the allocator holds, for memory figures.
struct SmallBlockStats {
    /// Bytes of the blocks the calling thread took minus those it freed (usable sizes; 0
    /// under the sanitizers).
    std::int64_t threadBytesInUse = 0;
};

/// A snapshot of the figures above.
SmallBlockStats GetSmallBlockStats() noexcept;

} // namespace varn::platform
