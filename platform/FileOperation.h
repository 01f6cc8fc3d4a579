// FileOperation.h — the calling thread's run loop, asynchronous file copy and move with
// progress and cancellation, and moving to the trash.
//
// The run loop of a thread is its GLib thread-default main context (the global default
// context on a thread that pushed none, when the thread can own it). A copy or move runs on a
// worker thread and posts its progress to the run loop it was scheduled on, so the callback runs on
// the waiting thread, in between that thread's other sources.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace varn::platform {

/// The calling thread's run loop for as long as this object lives: its thread-default GLib
/// context; else the global default context when this thread can own it (it runs the
/// application's main loop there, or no thread does), owned until the object goes; else a
/// private context pushed as the thread default. Operations scheduled and trash moves started
/// while it lives report to it. Create, use and destroy it on one thread.
class CurrentRunLoop {
  public:
    CurrentRunLoop();
    ~CurrentRunLoop();
    CurrentRunLoop(CurrentRunLoop const&) = delete;
    CurrentRunLoop& operator=(CurrentRunLoop const&) = delete;

    /// Runs the loop until one source has been dispatched or `seconds` have passed.
    void RunOnce(double seconds);

  private:
    void* m_context;
    bool m_pushed;
    bool m_owned; ///< the global default context, acquired for our lifetime
};

/// Stage of an operation as reported to its progress callback.
enum class FileOperationStage { Running = 2, Complete = 3 };

/// One progress report.
struct FileOperationStatus {
    std::uint64_t totalBytes;
    std::uint64_t completedBytes;
    FileOperationStage stage;
    int error; ///< 0, or the errno value that ended the operation
};

class FileOperation;

/// Called on the scheduled run loop. `status` is null when there is nothing to report.
using FileOperationCallback = void (*)(FileOperation* operation, FileOperationStatus const* status,
                                       void* info);

/// An asynchronous copy or move of one file.
class FileOperation {
  public:
    /// A new unscheduled operation; null when it cannot be made.
    static std::unique_ptr<FileOperation> Create() noexcept;

    FileOperation(FileOperation const&) = delete;
    FileOperation& operator=(FileOperation const&) = delete;
    /// Cancels a running copy and waits for the worker to end.
    ~FileOperation();

    /// Binds the operation to the calling thread's run loop (a CurrentRunLoop must be alive).
    bool ScheduleWithCurrentRunLoop() noexcept;
    /// No callback is delivered after this.
    void Unschedule() noexcept;

    /// Starts copying (or moving) `source` to `folder`/`name`. `overwrite` replaces an existing
    /// destination. Reports come every `interval` seconds and once at the end (stage Complete,
    /// error set on failure). False when the operation cannot start (not scheduled, already
    /// started, bad arguments).
    bool Start(bool isCopy, std::string const& source, std::string const& folder,
               std::string const& name, bool overwrite, FileOperationCallback callback, void* info,
               double interval);

    /// Asks the worker to stop. A cancelled copy removes its partial destination; a move that
    /// has already renamed is not undone. No callback follows a cancellation.
    void Cancel() noexcept;

    /// True once the worker has ended, after removing what a cancelled or failed copy wrote.
    bool Finished() const noexcept;

    struct State;

  private:
    FileOperation();
    std::shared_ptr<State> m_state;
};

/// Result of MoveToTrash as seen by its completion.
struct TrashResult {
    bool done = false;
    int error = 0; ///< 0, ECANCELED when the user cancelled, or the failure's errno value
};

/// With a CurrentRunLoop alive, starts moving `path` to the freedesktop.org trash of the volume
/// holding it (the user's home trash under XDG_DATA_HOME on the home volume). `*result` is written
/// from the calling thread's run loop when the move ends; the caller keeps `result` alive and spins
/// the run loop until `done`.
void MoveToTrashAsync(char const* path, TrashResult* result);

} // namespace varn::platform
