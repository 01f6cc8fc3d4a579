// SmallBlocks.cpp — size-class free lists per thread over a central store of batches.
//
// Every thread keeps, per class, a list to serve requests from and a list of the blocks it
// freed. A request pops the first; when it runs dry the oldest batch of the central store
// takes its place, or else the freed list, or else a run of new blocks carved from the
// thread's piece of a chunk (256 KiB). A free appends to the freed list; a full one goes to
// the store as a batch. The store and the chunk cursor are the only shared state, each under
// its own lock, and they are reached once per batch (some hundred blocks) or piece, so
// threads do not meet on every block. A block freed on another thread than the one that took
// it simply joins that thread's lists: any block of a class serves any request of it.
// Everything a block's two owners did is ordered by the store's lock it passed through.
//
// At thread exit the thread's lists go back to the store and the rest of its piece to the
// chunk store, for the next thread that needs one. Frees that come later still (other
// thread-local objects, static objects at process exit) go to the store one block at a time.
#include "platform/SmallBlocks.h"

#include <pthread.h>
#include <sys/mman.h>

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <new>
#include <vector>

// ThreadSanitizer's lock-order tracking holds at most 64 locks per thread, fewer than the
// store has: under it the locks are not taken around fork (the forking tests fork from a
// quiet moment).
#if defined(__SANITIZE_THREAD__)
#define VARN_NO_FORK_LOCKS 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VARN_NO_FORK_LOCKS 1
#endif
#endif

#if defined(__SANITIZE_ADDRESS__)
#define VARN_PLAIN_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VARN_PLAIN_BLOCKS 1
#endif
#endif

namespace varn::platform {

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

constexpr std::size_t kGranule = 8;
constexpr std::size_t kClasses = kMaxSmallBlock / kGranule; // class k holds k * 8 bytes
constexpr std::size_t kChunkSize = std::size_t{2} << 20;
constexpr std::size_t kBatchBytes = std::size_t{16} << 10;
constexpr std::size_t kPieceSize = std::size_t{256} << 10;

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

// A stretch of a chunk that one thread carves blocks from.
struct Piece {
    char* begin = nullptr;
    char* end = nullptr;
};

struct Central {
    Depot depots[kClasses + 1];
    std::mutex chunkLock;
    char* cursor = nullptr;    ///< the current chunk's part not handed out yet
    char* end = nullptr;       ///< end of the current chunk
    std::vector<Piece> pieces; ///< the unused ends of pieces of threads that ended
    std::atomic<std::uint64_t> reserved{0};
};

// Never destroyed: blocks are freed by static destructors at process exit, in any order.
Central& TheCentral();

#if !defined(VARN_NO_FORK_LOCKS)
// A fork while another thread holds one of the store's locks would leave that lock held for
// ever in the child: every lock is taken around the fork, as the C library does with its own.
void LockAllForFork() {
    Central& central = TheCentral();
    central.chunkLock.lock();
    for (Depot& depot : central.depots) {
        depot.lock.lock();
    }
}

void UnlockAllAfterFork() {
    Central& central = TheCentral();
    for (Depot& depot : central.depots) {
        depot.lock.unlock();
    }
    central.chunkLock.unlock();
}
#endif

Central& TheCentral() {
    static Central* const central = [] {
        auto* made = new Central;
#if !defined(VARN_NO_FORK_LOCKS)
        ::pthread_atfork(&LockAllForFork, &UnlockAllAfterFork, &UnlockAllAfterFork);
#endif
        return made;
    }();
    return *central;
}

// A new chunk, aligned to its size. Chunks are mapped directly rather than taken from malloc,
// whose heap limits and trimming would otherwise move with them and change how every other
// allocation of the process behaves. Past the first chunk they are marked for huge pages: a
// loaded document fills hundreds of them, and one fault and one TLB entry per 2 MiB instead of
// per 4 KiB made faulting them in and walking the tree markedly cheaper. (The first chunk keeps
// small pages, so that a process with few objects does not hold 2 MiB for them.)
char* MapChunk(bool huge) {
    std::size_t const span = 2 * kChunkSize;
    void* mapped =
        ::mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) {
        throw std::bad_alloc();
    }
    auto const at = reinterpret_cast<std::uintptr_t>(mapped);
    auto const aligned = (at + kChunkSize - 1) & ~(std::uintptr_t{kChunkSize} - 1);
    char* const chunk = reinterpret_cast<char*>(aligned);
    if (aligned != at) {
        ::munmap(mapped, aligned - at);
    }
    std::size_t const tail = at + span - (aligned + kChunkSize);
    if (tail != 0) {
        ::munmap(chunk + kChunkSize, tail);
    }
    if (huge) {
        ::madvise(chunk, kChunkSize, MADV_HUGEPAGE); // advice only: a refusal changes nothing
    }
    return chunk;
}

// A piece of at least `minimum` bytes for a thread to carve from: the end of a piece that an
// ended thread left, else up to kPieceSize of the current chunk, else a new chunk.
Piece TakePiece(std::size_t minimum) {
    Central& central = TheCentral();
    std::lock_guard<std::mutex> hold(central.chunkLock);
    if (!central.pieces.empty()) {
        Piece piece = central.pieces.back();
        central.pieces.pop_back();
        return piece;
    }
    if (central.cursor == nullptr ||
        static_cast<std::size_t>(central.end - central.cursor) < minimum) {
        // The rest of the old chunk (less than one block) is left unused.
        char* chunk = MapChunk(central.reserved.load(std::memory_order_relaxed) != 0);
        central.reserved.fetch_add(kChunkSize, std::memory_order_relaxed);
        central.cursor = chunk;
        central.end = chunk + kChunkSize;
    }
    std::size_t const rest = static_cast<std::size_t>(central.end - central.cursor);
    Piece piece{central.cursor, central.cursor + (rest < kPieceSize ? rest : kPieceSize)};
    central.cursor = piece.end;
    return piece;
}

void PutPiece(Piece piece) noexcept {
    if (piece.end - piece.begin < static_cast<std::ptrdiff_t>(kMaxSmallBlock + 16)) {
        return; // too short to be worth keeping
    }
    Central& central = TheCentral();
    std::lock_guard<std::mutex> hold(central.chunkLock);
    try {
        central.pieces.push_back(piece);
    } catch (...) {
        // No memory for the list: the piece stays unused.
    }
}

// The oldest batch of freed blocks of class `cls` in the store; empty when there is none.
Batch TakeBatch(std::size_t cls) {
    Depot& depot = TheCentral().depots[cls];
    std::lock_guard<std::mutex> hold(depot.lock);
    if (depot.batches.empty()) {
        return Batch{};
    }
    Batch batch = depot.batches.front();
    depot.batches.pop_front();
    return batch;
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
    Piece piece; ///< where new blocks of every class are carved, one after another
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
    PutPiece(t.piece);
    t.piece = Piece{};
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

// A new block carved from `piece`, which is refilled when it is too short.
void* Carve(Piece& piece, std::size_t cls) {
    std::size_t const size = cls * kGranule;
    std::size_t const align = size % 16 == 0 ? 16 : 8;
    auto aligned = [&] {
        auto const at = reinterpret_cast<std::uintptr_t>(piece.begin);
        return reinterpret_cast<char*>((at + align - 1) & ~(std::uintptr_t{align} - 1));
    };
    char* at = aligned();
    if (piece.begin == nullptr || at > piece.end ||
        static_cast<std::size_t>(piece.end - at) < size) {
        PutPiece(piece);
        piece = TakePiece(size + align);
        at = aligned();
    }
    piece.begin = at + size;
    return at;
}

[[gnu::noinline]] void* AllocateSlow(std::size_t cls) {
    ThreadCache& t = t_cache;
    if (t.state == kDead) {
        // After this thread's exit step: one block, the rest of its batch back to the store.
        Batch batch = TakeBatch(cls);
        if (batch.head == nullptr) {
            Piece piece = TakePiece(cls * kGranule + 16);
            void* block = Carve(piece, cls);
            PutPiece(piece);
            return block;
        }
        FreeBlock* block = batch.head;
        PutBatch(cls, Batch{block->next, batch.count - 1});
        return block;
    }
    Arm(t);
    t.bytesInUse += static_cast<std::int64_t>(cls * kGranule);
    ClassCache& c = t.classes[cls];
    // The store's batches were freed before this thread's own list was begun: taking them
    // first keeps the reuse in the order of the frees (the own list first put the end of a
    // freed tree at the start of the next one, a shift that differed per class and grew with
    // every load, until a record's objects no longer shared pages).
    c.head = TakeBatch(cls).head;
    if (c.head == nullptr) {
        if (c.freed == nullptr) {
            // A run of new blocks of this class, one after another (as much of a batch as the
            // piece holds). Runs of some kilobytes per class walked faster than blocks of all
            // classes carved in the order asked for: that packs a freshly loaded tree tightly,
            // but a tree loaded on its freed blocks then lands on them in another order within
            // each record, and walking it took three times as long.
            std::size_t const size = cls * kGranule;
            std::uint32_t const n = BatchOf(cls);
            char* first = static_cast<char*>(Carve(t.piece, cls));
            FreeBlock* last = reinterpret_cast<FreeBlock*>(first);
            for (std::uint32_t i = 1; i < n; ++i) {
                char* next = first + i * size;
                if (next + size > t.piece.end) {
                    break;
                }
                last->next = reinterpret_cast<FreeBlock*>(next);
                last = last->next;
                t.piece.begin = next + size;
            }
            last->next = nullptr;
            c.freed = reinterpret_cast<FreeBlock*>(first);
        }
        c.head = c.freed;
        c.freed = nullptr;
        c.freedEnd = nullptr;
        c.freedCount = 0;
    }
    FreeBlock* block = c.head;
    c.head = block->next;
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

SmallBlockStats GetSmallBlockStats() noexcept {
    SmallBlockStats stats;
#if !defined(VARN_PLAIN_BLOCKS)
    stats.threadBytesInUse = t_cache.bytesInUse;
    stats.bytesReserved = TheCentral().reserved.load(std::memory_order_relaxed);
#endif
    return stats;
}

} // namespace varn::platform
