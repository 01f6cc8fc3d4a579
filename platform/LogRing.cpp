// LogRing.cpp — O_APPEND lines through a kept descriptor, and the shared ring number over
// open-file-description locks.
#include "platform/LogRing.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <time.h>

#include <atomic>
#include <cerrno>

namespace varn::platform {

namespace {

constexpr std::uint32_t kRingMagic = 0x56524E47; // "VRNG"

// Byte 0 of the state file is locked for writing while the number moves; byte 1 is held for
// reading by every process that has joined, so that a newcomer can tell whether it is alone.
constexpr off_t kMoveByte = 0;
constexpr off_t kMemberByte = 1;

// Open-file-description locks belong to the descriptor, not the process: two rings joined in
// one process exclude each other like two processes do, and closing one descriptor never drops
// the other's lock (as closing any descriptor of a file drops classic POSIX locks).
bool lockByte(int fd, off_t byte, short type, bool wait) noexcept {
    struct flock request {};
    request.l_type = type;
    request.l_whence = SEEK_SET;
    request.l_start = byte;
    request.l_len = 1;
    for (;;) {
        if (::fcntl(fd, wait ? F_OFD_SETLKW : F_OFD_SETLK, &request) == 0) {
            return true;
        }
        if (errno != EINTR) {
            return false;
        }
    }
}

// Part of a line went in before the disk or the size limit stopped it. When the file ends with
// exactly that part, nobody appended after it, and it is cut off again so that the file keeps
// whole lines. (The descriptor is write-only; the tail is read through a second one.)
void takeBackPart(std::string const& path, int fd, char const* bytes, std::size_t part) noexcept {
    struct stat st {};
    if (::fstat(fd, &st) != 0 || static_cast<std::uint64_t>(st.st_size) < part) {
        return;
    }
    off_t const start = st.st_size - static_cast<off_t>(part);
    int const reader = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (reader < 0) {
        return;
    }
    std::string tail(part, '\0');
    bool const ours = ::pread(reader, tail.data(), part, start) == static_cast<ssize_t>(part) &&
                      tail.compare(0, part, bytes, part) == 0;
    ::close(reader);
    if (ours) {
        (void)!::ftruncate(fd, start);
    }
}

// The path is looked up again at most this often, to notice a file moved away and replaced.
constexpr std::int64_t kLookUpInterval = 1000000000;

std::int64_t monotonicNanoseconds() noexcept {
    struct timespec now {};
    // The coarse clock is read without entering the kernel; its tick is ample for a second.
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

} // namespace

struct LogRing::Shared {
    std::uint32_t magic;
    std::atomic<std::uint32_t> index;
};

static_assert(std::atomic<std::uint32_t>::is_always_lock_free,
              "the ring number is shared between processes through memory");

LogAppender::~LogAppender() {
    closeLocked();
}

void LogAppender::Close() noexcept {
    std::lock_guard<std::mutex> guard(m_mutex);
    closeLocked();
}

void LogAppender::closeLocked() noexcept {
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

LogAppend LogAppender::Append(std::string const& path, unsigned int key, char const* bytes,
                              std::size_t length, std::uint64_t reserve, std::uint64_t limit,
                              bool force) noexcept {
    std::lock_guard<std::mutex> guard(m_mutex);
    return appendLocked(path, key, bytes, length, reserve, limit, force);
}

LogAppend LogAppender::appendLocked(std::string const& path, unsigned int key, char const* bytes,
                                    std::size_t length, std::uint64_t reserve, std::uint64_t limit,
                                    bool force) noexcept {
    struct stat st {};
    std::int64_t const now = monotonicNanoseconds();
    if (m_fd >= 0) {
        // The size is read from the descriptor every line (the rotation rule is the file's real
        // size, whoever wrote it); the same call tells whether the file still has a name.
        if (m_key != key || ::fstat(m_fd, &st) != 0 || st.st_nlink == 0) {
            closeLocked();
        } else if (now - m_lookedUpAt >= kLookUpInterval) {
            struct stat named {};
            if (::stat(path.c_str(), &named) != 0 || named.st_dev != st.st_dev ||
                named.st_ino != st.st_ino) {
                closeLocked();
            } else {
                m_lookedUpAt = now;
            }
        }
    }
    if (m_fd < 0) {
        // O_NONBLOCK keeps a FIFO planted under a log name from blocking the writer; regular
        // files ignore it.
        int constexpr flags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK;
        int fd = ::open(path.c_str(), flags);
        if (fd < 0) {
            if (errno != ENOENT) {
                return LogAppend::Failed;
            }
            // A line too large even for an empty file rotates without leaving an empty file.
            if (!force && reserve > limit) {
                return LogAppend::Full;
            }
            fd = ::open(path.c_str(), flags | O_CREAT, 0666);
            if (fd < 0) {
                return LogAppend::Failed;
            }
        }
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
            ::close(fd);
            return LogAppend::Failed;
        }
        m_fd = fd;
        m_key = key;
        m_lookedUpAt = now;
    }
    if (!force && static_cast<std::uint64_t>(st.st_size) + reserve > limit) {
        return LogAppend::Full;
    }
    // One write: O_APPEND makes it land whole after every other writer's line. A short count
    // only happens when the disk or the file-size limit is reached, and looping would then put
    // the rest after someone else's line.
    ssize_t written;
    do {
        written = ::write(m_fd, bytes, length);
    } while (written < 0 && errno == EINTR);
    if (written == static_cast<ssize_t>(length)) {
        return LogAppend::Written;
    }
    if (written > 0) {
        takeBackPart(path, m_fd, bytes, static_cast<std::size_t>(written));
    }
    // Whatever went wrong, the next line starts from the path again.
    closeLocked();
    return LogAppend::Failed;
}

LogRing::~LogRing() {
    if (m_shared != nullptr) {
        ::munmap(m_shared, sizeof(Shared));
    }
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

bool LogRing::Join(std::string const& statePath, unsigned int index) noexcept {
    m_private = index;
    int fd = ::open(statePath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (fd < 0) {
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
        (static_cast<std::size_t>(st.st_size) < sizeof(Shared) &&
         ::ftruncate(fd, sizeof(Shared)) != 0)) {
        ::close(fd);
        return false;
    }
    void* map = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map == MAP_FAILED) {
        ::close(fd);
        return false;
    }
    auto* shared = static_cast<Shared*>(map);
    if (lockByte(fd, kMemberByte, F_WRLCK, false)) {
        // Nobody else is writing this ring: whatever the file holds is left from earlier runs,
        // and the number read from the folder wins. The write lock then becomes a read lock
        // in one step, so no newcomer sees the ring unowned in between.
        shared->magic = kRingMagic;
        shared->index.store(index, std::memory_order_release);
        lockByte(fd, kMemberByte, F_RDLCK, true);
    } else if (!lockByte(fd, kMemberByte, F_RDLCK, true)) {
        ::munmap(map, sizeof(Shared));
        ::close(fd);
        return false;
    } else if (shared->magic != kRingMagic) {
        lockByte(fd, kMoveByte, F_WRLCK, true);
        if (shared->magic != kRingMagic) {
            shared->index.store(index, std::memory_order_release);
            shared->magic = kRingMagic;
        }
        lockByte(fd, kMoveByte, F_UNLCK, true);
    }
    m_fd = fd;
    m_shared = shared;
    return true;
}

unsigned int LogRing::Index() const noexcept {
    return m_shared != nullptr ? m_shared->index.load(std::memory_order_acquire) : m_private;
}

unsigned int LogRing::Advance(unsigned int from, unsigned int count,
                              void (*clear)(unsigned int, void*), void* context,
                              bool& moved) noexcept {
    moved = false;
    if (m_shared == nullptr) {
        if (m_private == from) {
            m_private = from + 1 < count ? from + 1 : 0;
            clear(m_private, context);
            moved = true;
        }
        return m_private;
    }
    bool const locked = lockByte(m_fd, kMoveByte, F_WRLCK, true);
    unsigned int current = m_shared->index.load(std::memory_order_acquire);
    if (current == from) {
        unsigned int const next = from + 1 < count ? from + 1 : 0;
        // The next file is emptied before anyone is told to write into it.
        clear(next, context);
        m_shared->index.store(next, std::memory_order_release);
        current = next;
        moved = true;
    }
    if (locked) {
        lockByte(m_fd, kMoveByte, F_UNLCK, true);
    }
    return current;
}

} // namespace varn::platform
