// SmallBlocks.cpp — the library's objects and texts on mimalloc.
//
// The blocks come from mimalloc (its own heap, next to the C library's, which the rest of the
// process keeps using): per-thread free lists by size class and pages given back to the system
// once they are empty. An allocator of our own (size classes over chunks that were never given
// back) loaded documents no faster and lost to mimalloc on dictionaries; docs/xml.md has the
// figures. Under the sanitizers every block is a plain operator new/delete (sized where the
// compiler has sized deallocation), so that use-after-free, overflows and size mismatches are
// still reported and ThreadSanitizer sees every reuse of memory.
#include "platform/SmallBlocks.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VARN_PLAIN_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VARN_PLAIN_BLOCKS 1
#endif
#endif

#if !defined(VARN_PLAIN_BLOCKS)
#include <mimalloc.h>
#endif

namespace varn::platform {

namespace {

// Bytes of the blocks this thread took minus those it freed, for the memory figures.
thread_local std::int64_t t_bytesInUse = 0;

} // namespace

#if defined(VARN_PLAIN_BLOCKS)

void* AllocateSmall(std::size_t size) {
    return ::operator new(size == 0 ? 1 : size);
}

void FreeSmall(void* block, std::size_t size) noexcept {
    if (block != nullptr) {
#if defined(__cpp_sized_deallocation)
        ::operator delete(block, size == 0 ? 1 : size); // AddressSanitizer checks the size
#else
        static_cast<void>(size);
        ::operator delete(block);
#endif
    }
}

bool SameSmallBlock(std::size_t a, std::size_t b) noexcept {
    return a == b;
}

#else

namespace {

// Empty pages go back to the system at once, not after mimalloc's delay, which only runs
// out on a later allocation: a program that releases a large document and then waits (for
// input, say) gives the memory back while it waits.
struct GiveBackAtOnce {
    GiveBackAtOnce() { mi_option_set(mi_option_decommit_delay, 0); }
} const g_giveBackAtOnce;

} // namespace

void* AllocateSmall(std::size_t size) {
    void* block = mi_malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    t_bytesInUse += static_cast<std::int64_t>(mi_usable_size(block));
    return block;
}

void FreeSmall(void* block, std::size_t /*size*/) noexcept {
    if (block != nullptr) {
        t_bytesInUse -= static_cast<std::int64_t>(mi_usable_size(block));
        mi_free(block);
    }
}

bool SameSmallBlock(std::size_t /*a*/, std::size_t /*b*/) noexcept {
    return true; // a block is freed by its address alone
}

#endif

#if !defined(VARN_PLAIN_BLOCKS)
namespace {
std::atomic<void*> g_keptLarge{nullptr};
} // namespace
#endif

void* AllocateLarge(std::size_t size) noexcept {
#if !defined(VARN_PLAIN_BLOCKS)
    void* kept = g_keptLarge.exchange(nullptr, std::memory_order_acquire);
    if (kept != nullptr) {
        if (::malloc_usable_size(kept) >= size) {
            return kept;
        }
        FreeLarge(kept); // too small now: a later, smaller request may still use it
    }
#endif
    return std::malloc(size);
}

void FreeLarge(void* block) noexcept {
#if !defined(VARN_PLAIN_BLOCKS)
    if (block != nullptr && ::malloc_usable_size(block) >= kMinLargeBlock) {
        block = g_keptLarge.exchange(block, std::memory_order_acq_rel);
    }
#endif
    std::free(block);
}

void GiveBackFreeMemory() noexcept {
#if !defined(VARN_PLAIN_BLOCKS)
    std::free(g_keptLarge.exchange(nullptr, std::memory_order_acq_rel));
    mi_collect(false);
    ::malloc_trim(0);
#endif
}

SmallBlockStats GetSmallBlockStats() noexcept {
    SmallBlockStats stats;
    stats.threadBytesInUse = t_bytesInUse;
    return stats;
}

} // namespace varn::platform
