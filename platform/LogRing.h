// LogRing.h — appending one line to a log file, and the ring number that every process logging
// into the same folder under the same name shares.
//
// Several processes may write one ring of log files. Each line is appended with O_APPEND, so
// lines from different writers never overwrite or tear each other. What they must agree on is
// which file of the ring is current: a process that rotated empties the next file, and a
// process still writing the old number must not empty it again. The number therefore lives in a
// small state file beside the logs ("<folder>/.<name>.ring"), mapped into every writer, and
// moves only under an exclusive lock on that file. The state file is only trusted while some
// process has it open: the first writer to join sets the number from its own reading of the
// folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

namespace varn::platform {

/// What happened to a line given to LogAppender::Append.
enum class LogAppend {
    Written, ///< all bytes are in the file
    Full,    ///< not written: the file's size plus the reserve passes the limit
    Failed,  ///< not written (or written in part, when the disk filled up)
};

/// Appends lines to the files of one ring, keeping the current file open between lines.
///
/// The descriptor is only trusted while it still is the file at its path: before each line its
/// link count is read with the size (a file deleted or renamed over, as rotation by another
/// process does, has none left), the ring number it was opened for must still be current, and at
/// most a second after the last look the path is looked up again and compared by device and
/// inode (a file moved away and replaced). Otherwise it is closed and the path opened afresh.
/// Thread-safe: one internal mutex; the descriptor is never used after another thread closed it.
class LogAppender {
  public:
    LogAppender() = default;
    ~LogAppender();
    LogAppender(LogAppender const&) = delete;
    LogAppender& operator=(LogAppender const&) = delete;

    /// Appends `length` bytes to `path`, the file of ring number `key`, creating it (mode 0666
    /// less the umask) if it is missing. Unless `force` is set, the line is refused with Full
    /// when the file's size plus `reserve` would pass `limit`; a missing file counts as empty
    /// and is not created then. A line cut short by a full disk or the file-size limit is cut
    /// off again when the file still ends with it, so the file keeps whole lines.
    LogAppend Append(std::string const& path, unsigned int key, char const* bytes,
                     std::size_t length, std::uint64_t reserve, std::uint64_t limit,
                     bool force) noexcept;

    /// Closes the file kept open, if any.
    void Close() noexcept;

  private:
    LogAppend appendLocked(std::string const& path, unsigned int key, char const* bytes,
                           std::size_t length, std::uint64_t reserve, std::uint64_t limit,
                           bool force) noexcept;
    void closeLocked() noexcept;

    std::mutex m_mutex;
    int m_fd = -1;
    unsigned int m_key = 0;
    std::int64_t m_lookedUpAt = 0; // steady clock, nanoseconds
};

/// The current file number of one ring, shared with the other processes that joined it.
class LogRing {
  public:
    LogRing() = default;
    ~LogRing();
    LogRing(LogRing const&) = delete;
    LogRing& operator=(LogRing const&) = delete;

    /// Joins the ring whose state file is `statePath`, creating the file if needed. When no
    /// other process has joined, the ring's number becomes `index`; otherwise the shared number
    /// is kept. When the state file cannot be made or mapped the ring stays private to this
    /// object, starting at `index`, and false is returned.
    bool Join(std::string const& statePath, unsigned int index) noexcept;

    /// The current number.
    unsigned int Index() const noexcept;

    /// Moves the ring from `from` to the next number (after `count - 1` comes 0), calling
    /// `clear(next, context)` before the new number is published, unless another writer moved
    /// it already. Returns the number now current and sets `moved` when this call moved it.
    unsigned int Advance(unsigned int from, unsigned int count, void (*clear)(unsigned int, void*),
                         void* context, bool& moved) noexcept;

  private:
    struct Shared;
    int m_fd = -1;
    Shared* m_shared = nullptr;
    unsigned int m_private = 0;
};

} // namespace varn::platform
