// FileFaults.h — a temporary folder per test, and a table of file calls that counts what a
// stream asks of the system and injects faults (disk full, short writes, refused opens, ...).
#pragma once

#include "platform/File.h"

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace varn::test {

/// A fresh folder under `base` (the system's temporary folder), removed with everything in it.
class TempFolder {
  public:
    explicit TempFolder(
        std::filesystem::path const& base = std::filesystem::temp_directory_path()) {
        std::random_device random;
        for (;;) {
            path_ = base / ("varn-streams-" + std::to_string(random()) + std::to_string(random()));
            if (std::filesystem::create_directory(path_)) {
                break;
            }
        }
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(TempFolder const&) = delete;
    TempFolder& operator=(TempFolder const&) = delete;

    std::filesystem::path const& Path() const { return path_; }
    std::string File(char const* name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

inline void WriteFile(std::string const& path, std::string const& contents) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << contents;
}

inline std::string ReadFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Counts every call and forwards it to the system unless a fault is armed. Install with
/// ScopedFaultyFiles; the counters and faults are reset on installation.
struct FaultyFiles {
    static inline std::atomic<int> stats{0}, opens{0}, preads{0}, pwrites{0}, ftruncates{0},
        fsizes{0}, closes{0};
    static inline std::vector<unsigned long long> pwriteOffsets, preadOffsets;
    static inline int openError = 0;          ///< errno for opens that ask for write rights
    static inline int preadError = 0;         ///< errno for every read
    static inline int pwriteError = 0;        ///< errno for writes once the budget is spent
    static inline long long writeBudget = -1; ///< bytes still allowed; -1 for no limit
    static inline int ftruncateError = 0;     ///< errno for every resize
    static inline int fsizeError = 0;         ///< errno for every size query

    static void Reset() {
        stats = opens = preads = pwrites = ftruncates = fsizes = closes = 0;
        pwriteOffsets.clear();
        preadOffsets.clear();
        openError = preadError = pwriteError = ftruncateError = fsizeError = 0;
        writeBudget = -1;
    }

    static int Stat(char const* path, platform::PathKind* kind) {
        ++stats;
        return platform::SystemFileCalls().stat(path, kind);
    }
    static int Open(char const* path, platform::FileAccess access, bool create) {
        ++opens;
        return openError != 0 && access != platform::FileAccess::Read
                   ? -openError
                   : platform::SystemFileCalls().open(path, access, create);
    }
    static long long Pread(int fd, void* buffer, std::size_t count, std::uint64_t offset) {
        ++preads;
        preadOffsets.push_back(offset);
        return preadError != 0 ? -preadError
                               : platform::SystemFileCalls().pread(fd, buffer, count, offset);
    }
    static long long Pwrite(int fd, void const* buffer, std::size_t count, std::uint64_t offset) {
        ++pwrites;
        pwriteOffsets.push_back(offset);
        if (writeBudget >= 0) {
            if (writeBudget == 0) {
                return -(pwriteError != 0 ? pwriteError : ENOSPC);
            }
            if (static_cast<long long>(count) > writeBudget) {
                count = static_cast<std::size_t>(writeBudget); // a short write
            }
        }
        long long n = platform::SystemFileCalls().pwrite(fd, buffer, count, offset);
        if (n > 0 && writeBudget > 0) {
            writeBudget -= n;
        }
        return n;
    }
    static int Ftruncate(int fd, std::uint64_t size) {
        ++ftruncates;
        return ftruncateError != 0 ? -ftruncateError
                                   : platform::SystemFileCalls().ftruncate(fd, size);
    }
    static int Fsize(int fd, std::uint64_t* size) {
        ++fsizes;
        return fsizeError != 0 ? -fsizeError : platform::SystemFileCalls().fsize(fd, size);
    }
    static int Close(int fd) {
        ++closes;
        return platform::SystemFileCalls().close(fd);
    }

    static platform::FileCalls const& Table() {
        static platform::FileCalls const table{Stat, Open, Pread, Pwrite, Ftruncate, Fsize, Close};
        return table;
    }
};

/// Installs FaultyFiles for one scope (single-threaded tests only: the table is process-wide).
class ScopedFaultyFiles {
  public:
    ScopedFaultyFiles() {
        FaultyFiles::Reset();
        platform::SetFileCalls(&FaultyFiles::Table());
    }
    ~ScopedFaultyFiles() {
        platform::SetFileCalls(nullptr);
        FaultyFiles::Reset();
    }
    ScopedFaultyFiles(ScopedFaultyFiles const&) = delete;
    ScopedFaultyFiles& operator=(ScopedFaultyFiles const&) = delete;
};

} // namespace varn::test
