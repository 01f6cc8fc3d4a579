// SmallBlocks.cpp — size-class free lists per thread over a central store of batches.
//
// Every thread keeps, per class, a list to serve requests from and a list of the blocks it
// freed. A request pops the first; when it runs dry the freed list takes its place, or else
// the oldest batch of the central store, or else a new batch carved from the current chunk. A
// free appends to the freed list; a full one goes to the store as a batch. The store and the
// chunk cursor are the only shared state, each under its own lock, and they are reached once
// per batch (some hundred blocks), so threads do not meet on every block. A block freed on
// another thread than the one that took it simply joins that thread's lists: any block of a
// class serves any request of it. Everything a block's two owners did is ordered by the
// store's lock it passed through.
//
// At thread exit the thread's lists go back to the store. Frees that come later still (other
// thread-local objects, static objects at process exit) go to the store one block at a time.
#include "platform/SmallBlocks.h"

#include <sys/mman.h>

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define VARN_PLAIN_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VARN_PLAIN_BLOCKS 1
#endif
#endif

namespace varn::platform {
namespace {

constexpr std::size_t kGranule = 8;
constexpr std::size_t kClasses = kMaxSmallBlock / kGranule; // class k holds k * 8 bytes
constexpr std::size_t kChunkSize = std::size_t{2} << 20;
constexpr std::size_t kBatchBytes = std::size_t{16} << 10;

std::size_t ClassOf(std::size_t size) noexcept {
    return size == 0 ? 1 : (size + kGranule - 1) / kGranule;
}

// Blocks per batch: about 16 KiB of them, at least 16 and at most 512.
struct BatchSizes {
    std::uint32_t of[kClasses + 1] = {};
    constexpr BatchSizes() {
        for (std::size_t cls = 1; cls <= kClasses; ++cls) {
            std::size_t n = kBatchBytes / (cls * kGranule);
            of[cls] = static_cast<std::uint32_t>(n < 16 ? 16 : n > 512 ? 512 : n);
        }
    }
};
constexpr BatchSizes kBatch;

std::uint32_t BatchOf(std::size_t cls) noexcept {
    return kBatch.of[cls];
}

struct FreeBlock {
    FreeBlock* next;
};

struct Batch {
    FreeBlock* head = nullptr;
    std::uint32_t count = 0;
};

struct Depot {
    std::mutex lock;
    std::deque<Batch> batches; ///< oldest first
};

struct Central {
    Depot depots[kClasses + 1];
    std::mutex chunkLock;
    char* cursor = nullptr;
    char* end = nullptr;
    std::atomic<std::uint64_t> reserved{0};
};

// Never destroyed: blocks are freed by static destructors at process exit, in any order.
Central& TheCentral() {
    static Central* const central = new Central;
    return *central;
}

// A new batch of up to `want` blocks of class `cls`, from the current chunk (or a new one).
Batch Carve(std::size_t cls, std::uint32_t want) {
    std::size_t const size = cls * kGranule;
    std::size_t const align = size % 16 == 0 ? 16 : 8;
    Central& central = TheCentral();
    char* start;
    std::size_t n;
    {
        std::lock_guard<std::mutex> hold(central.chunkLock);
        auto aligned = [&] {
            auto at = reinterpret_cast<std::uintptr_t>(central.cursor);
            return reinterpret_cast<char*>((at + align - 1) & ~(std::uintptr_t{align} - 1));
        };
        char* at = central.cursor == nullptr ? nullptr : aligned();
        if (at == nullptr || at > central.end ||
            static_cast<std::size_t>(central.end - at) < size) {
            // The rest of the old chunk (less than one block) is left unused. Chunks are
            // mapped directly rather than taken from malloc, whose heap limits and trimming
            // would otherwise move with them and change how every other allocation of the
            // process behaves.
            void* chunk = ::mmap(nullptr, kChunkSize, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (chunk == MAP_FAILED) {
                throw std::bad_alloc();
            }
            central.reserved.fetch_add(kChunkSize, std::memory_order_relaxed);
            central.cursor = static_cast<char*>(chunk);
            central.end = central.cursor + kChunkSize;
            at = central.cursor;
        }
        n = static_cast<std::size_t>(central.end - at) / size;
        if (n > want) {
            n = want;
        }
        start = at;
        central.cursor = at + n * size;
    }
    // Linked outside the lock: the blocks belong to this thread alone now.
    for (std::size_t i = 0; i + 1 < n; ++i) {
        reinterpret_cast<FreeBlock*>(start + i * size)->next =
            reinterpret_cast<FreeBlock*>(start + (i + 1) * size);
    }
    reinterpret_cast<FreeBlock*>(start + (n - 1) * size)->next = nullptr;
    return Batch{reinterpret_cast<FreeBlock*>(start), static_cast<std::uint32_t>(n)};
}

Batch TakeBatch(std::size_t cls) {
    Depot& depot = TheCentral().depots[cls];
    {
        std::lock_guard<std::mutex> hold(depot.lock);
        if (!depot.batches.empty()) {
            Batch batch = depot.batches.front();
            depot.batches.pop_front();
            return batch;
        }
    }
    return Carve(cls, BatchOf(cls));
}

void PutBatch(std::size_t cls, Batch batch) noexcept {
    if (batch.head == nullptr) {
        return;
    }
    Depot& depot = TheCentral().depots[cls];
    std::lock_guard<std::mutex> hold(depot.lock);
    try {
        depot.batches.push_back(batch);
    } catch (...) {
        // No memory for the store's own list: these blocks stay unused rather than fail a free.
    }
}

// Per class: the list requests are served from, and the list frees are appended to. Freed
// blocks are reused in the order they were freed, batch after batch: a tree freed in
// document order and loaded again lands on the same blocks in the same order, so walking it
// reads memory forwards as the first one did (served backwards, the same walk was several
// times slower).
struct ClassCache {
    FreeBlock* head;     ///< next block to hand out
    FreeBlock* freed;    ///< first block freed since the last hand-over
    FreeBlock* freedEnd; ///< last block freed
    std::uint32_t freedCount;
};

enum : std::uint8_t { kNew = 0, kLive = 1, kDead = 2 };

// Zero-initialised and trivially destructible, so that every access is a plain thread-local
// access; the thread-exit step lives in the Reaper below, armed on a thread's first slow path.
struct ThreadCache {
    ClassCache classes[kClasses + 1];
    std::int64_t bytesInUse;
    std::uint8_t state;
};

thread_local ThreadCache t_cache;

std::uint32_t CountList(FreeBlock* block) noexcept {
    std::uint32_t n = 0;
    for (; block != nullptr; block = block->next) {
        ++n;
    }
    return n;
}

void FlushThread() noexcept {
    ThreadCache& t = t_cache;
    for (std::size_t cls = 1; cls <= kClasses; ++cls) {
        ClassCache& c = t.classes[cls];
        PutBatch(cls, Batch{c.head, CountList(c.head)});
        PutBatch(cls, Batch{c.freed, c.freedCount});
        c = ClassCache{};
    }
    t.state = kDead;
}

struct Reaper {
    bool armed = false;
    Reaper() = default;
    Reaper(Reaper const&) = delete;
    Reaper& operator=(Reaper const&) = delete;
    ~Reaper() { FlushThread(); }
};

thread_local Reaper t_reaper;

// The first slow path of a thread registers the flush at its exit.
void Arm(ThreadCache& t) {
    if (t.state == kNew) {
        t_reaper.armed = true;
        t.state = kLive;
    }
}

[[gnu::noinline]] void* AllocateSlow(std::size_t cls) {
    ThreadCache& t = t_cache;
    if (t.state == kDead) {
        // After this thread's exit step: one block, the rest of its batch back to the store.
        Batch batch = TakeBatch(cls);
        FreeBlock* block = batch.head;
        PutBatch(cls, Batch{block->next, batch.count - 1});
        return block;
    }
    Arm(t);
    ClassCache& c = t.classes[cls];
    if (c.freed != nullptr) {
        c.head = c.freed;
        c.freed = nullptr;
        c.freedEnd = nullptr;
        c.freedCount = 0;
    } else {
        c.head = TakeBatch(cls).head;
    }
    FreeBlock* block = c.head;
    c.head = block->next;
    t.bytesInUse += static_cast<std::int64_t>(cls * kGranule);
    return block;
}

[[gnu::noinline]] void FreeSlow(FreeBlock* block, std::size_t cls) noexcept {
    ThreadCache& t = t_cache;
    block->next = nullptr;
    if (t.state == kDead) {
        PutBatch(cls, Batch{block, 1});
        return;
    }
    Arm(t);
    ClassCache& c = t.classes[cls];
    if (c.freedCount >= BatchOf(cls)) {
        // A full batch of freed blocks goes to the store, behind those freed before it.
        PutBatch(cls, Batch{c.freed, c.freedCount});
        c.freed = nullptr;
        c.freedEnd = nullptr;
        c.freedCount = 0;
    }
    if (c.freed == nullptr) {
        c.freed = block;
    } else {
        c.freedEnd->next = block;
    }
    c.freedEnd = block;
    ++c.freedCount;
    t.bytesInUse -= static_cast<std::int64_t>(cls * kGranule);
}

} // namespace

#if defined(VARN_PLAIN_BLOCKS)

void* AllocateSmall(std::size_t size) {
    return ::operator new(size == 0 ? 1 : size);
}

void FreeSmall(void* block, std::size_t size) noexcept {
    if (block != nullptr) {
        ::operator delete(block, size == 0 ? 1 : size);
    }
}

bool SameSmallBlock(std::size_t a, std::size_t b) noexcept {
    return a == b;
}

#else

void* AllocateSmall(std::size_t size) {
    if (size > kMaxSmallBlock) {
        return ::operator new(size);
    }
    std::size_t const cls = ClassOf(size);
    ClassCache& c = t_cache.classes[cls];
    FreeBlock* block = c.head;
    if (block == nullptr) {
        return AllocateSlow(cls);
    }
    c.head = block->next;
    t_cache.bytesInUse += static_cast<std::int64_t>(cls * kGranule);
    return block;
}

void FreeSmall(void* block, std::size_t size) noexcept {
    if (block == nullptr) {
        return;
    }
    if (size > kMaxSmallBlock) {
        ::operator delete(block);
        return;
    }
    std::size_t const cls = ClassOf(size);
    ClassCache& c = t_cache.classes[cls];
    auto* freed = static_cast<FreeBlock*>(block);
    // An empty list (a thread's first free, a list just handed over, a thread past its exit
    // step) and a full one take the slow path.
    if (c.freed == nullptr || c.freedCount >= BatchOf(cls)) {
        FreeSlow(freed, cls);
        return;
    }
    freed->next = nullptr;
    c.freedEnd->next = freed;
    c.freedEnd = freed;
    ++c.freedCount;
    t_cache.bytesInUse -= static_cast<std::int64_t>(cls * kGranule);
}

bool SameSmallBlock(std::size_t a, std::size_t b) noexcept {
    if (a > kMaxSmallBlock || b > kMaxSmallBlock) {
        return a > kMaxSmallBlock && b > kMaxSmallBlock;
    }
    return ClassOf(a) == ClassOf(b);
}

#endif

namespace {
std::atomic<void*> g_keptLarge{nullptr};
} // namespace

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

SmallBlockStats GetSmallBlockStats() noexcept {
    SmallBlockStats stats;
#if !defined(VARN_PLAIN_BLOCKS)
    stats.threadBytesInUse = t_cache.bytesInUse;
    stats.bytesReserved = TheCentral().reserved.load(std::memory_order_relaxed);
#endif
    return stats;
}

} // namespace varn::platform
