// FileOperation.cpp — run loops over GLib main contexts, the copy/move worker, the trash.
#include "platform/FileOperation.h"

#include "platform/FileSystem.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdlib.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

namespace varn::platform {

namespace {

gboolean markTimedOut(gpointer flag) {
    *static_cast<bool*>(flag) = true;
    return G_SOURCE_REMOVE;
}

} // namespace

CurrentRunLoop::CurrentRunLoop()
    : m_context(g_main_context_get_thread_default()), m_pushed(false), m_owned(false) {
    if (m_context != nullptr) {
        g_main_context_ref(static_cast<GMainContext*>(m_context));
        return;
    }
    // The thread's context is the global default. Where this thread can own it (it runs the
    // application's main loop, or no thread does), it is iterated while we wait, as a modal
    // dialog's loop does, so that the application's timers, redraws and input are served
    // meanwhile; it stays owned until we return, so that no other thread dispatches our
    // reports. Owned by another thread, it is not ours to run: a private context stands in.
    GMainContext* global = g_main_context_default();
    if (g_main_context_acquire(global)) {
        m_context = g_main_context_ref(global);
        m_owned = true;
        return;
    }
    m_context = g_main_context_new();
    g_main_context_push_thread_default(static_cast<GMainContext*>(m_context));
    m_pushed = true;
}

CurrentRunLoop::~CurrentRunLoop() {
    auto* context = static_cast<GMainContext*>(m_context);
    if (m_pushed) {
        g_main_context_pop_thread_default(context);
    }
    if (m_owned) {
        g_main_context_release(context);
    }
    // Reports still queued are freed with a private context.
    g_main_context_unref(context);
}

void CurrentRunLoop::RunOnce(double seconds) {
    auto* context = static_cast<GMainContext*>(m_context);
    auto milliseconds = static_cast<guint>(seconds > 0 ? seconds * 1000.0 : 0.0);
    if (!g_main_context_acquire(context)) {
        // Another thread is running this context; its sources are not ours to dispatch.
        g_usleep(static_cast<gulong>(milliseconds) * 1000);
        return;
    }
    bool timedOut = false;
    GSource* timeout = g_timeout_source_new(milliseconds);
    g_source_set_callback(timeout, markTimedOut, &timedOut, nullptr);
    g_source_attach(timeout, context);
    g_main_context_iteration(context, TRUE);
    g_source_destroy(timeout);
    g_source_unref(timeout);
    g_main_context_release(context);
}

// ---- copy and move ----

struct FileOperation::State {
    GMainContext* context = nullptr;
    // Touched only on the scheduled thread: the callback target and whether it may be called.
    bool scheduled = false;
    FileOperation* operation = nullptr;
    FileOperationCallback callback = nullptr;
    void* info = nullptr;
    // Shared with the worker.
    std::atomic<bool> cancelled{false};
    // Set by the worker as its last act, after any clean-up of what it wrote.
    std::atomic<bool> done{false};
    std::thread worker;

    ~State() {
        if (context != nullptr) {
            g_main_context_unref(context);
        }
    }
};

namespace {

struct Report {
    std::shared_ptr<FileOperation::State> state;
    FileOperationStatus status;
};

gboolean deliverReport(gpointer data) {
    auto* report = static_cast<Report*>(data);
    FileOperation::State& state = *report->state;
    if (state.scheduled && !state.cancelled.load() && state.callback != nullptr) {
        state.callback(state.operation, &report->status, state.info);
    }
    return G_SOURCE_REMOVE;
}

void freeReport(gpointer data) {
    delete static_cast<Report*>(data);
}

void post(std::shared_ptr<FileOperation::State> const& state, FileOperationStatus status) {
    GSource* source = g_idle_source_new();
    g_source_set_callback(source, deliverReport, new Report{state, status}, freeReport);
    g_source_attach(source, state->context);
    g_source_unref(source);
}

using Clock = std::chrono::steady_clock;

struct CopyJob {
    std::shared_ptr<FileOperation::State> state;
    std::uint64_t total = 0;
    std::chrono::duration<double> interval{0.1};
    Clock::time_point lastReport{};
};

bool onChunk(std::uint64_t done, void* context) {
    auto* job = static_cast<CopyJob*>(context);
    if (job->state->cancelled.load()) {
        return false;
    }
    Clock::time_point now = Clock::now();
    if (now - job->lastReport >= job->interval) {
        job->lastReport = now;
        post(job->state, {job->total, done, FileOperationStage::Running, 0});
    }
    return true;
}

// Opens the file a copy writes into. A plain copy creates the destination itself (refused when
// it exists). An overwriting copy writes a new file beside the destination, named
// ".<name>.XXXXXX", which only replaces the destination by a rename once it is complete: a copy
// that fails or is cancelled leaves the old destination as it was. Sets `staged` to the
// temporary file's name in that case.
int openDestination(std::string const& destination, bool overwrite, mode_t mode,
                    std::string& staged) {
    staged.clear();
    if (!overwrite) {
        return ::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    }
    std::size_t const slash = destination.rfind('/');
    std::string const folder =
        slash == std::string::npos ? std::string() : destination.substr(0, slash + 1);
    // The name is cut so that the temporary name stays within the file system's 255 bytes.
    std::string const name =
        destination.substr(slash == std::string::npos ? 0 : slash + 1).substr(0, 200);
    std::string pattern = folder + "." + name + ".XXXXXX";
    int const out = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (out >= 0) {
        staged = std::move(pattern);
        return out;
    }
    // A folder that takes no new name may still hold a writable destination: it is then
    // written in place, as the only way left.
    if (errno == EACCES || errno == EPERM) {
        return ::open(destination.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    }
    return -1;
}

// Copies source to destination; what the copy created is removed again on failure or
// cancellation.
int copyWithReports(CopyJob& job, std::string const& source, std::string const& destination,
                    bool overwrite) {
    struct stat from {};
    int in = OpenCopySource(source.c_str(), from);
    if (in < 0) {
        return -in;
    }
    struct stat to {};
    if (::stat(destination.c_str(), &to) == 0 && to.st_dev == from.st_dev &&
        to.st_ino == from.st_ino) {
        ::close(in); // replacing the destination would destroy the source
        return EINVAL;
    }
    // A folder in the destination's place would refuse the final rename only after the whole
    // copy had been written beside it: refuse it before copying anything.
    if (overwrite && ::lstat(destination.c_str(), &to) == 0 && S_ISDIR(to.st_mode)) {
        ::close(in);
        return EISDIR;
    }
    std::string staged;
    int out = openDestination(destination, overwrite, from.st_mode & 07777, staged);
    if (out < 0) {
        int error = errno;
        ::close(in);
        return error;
    }
    std::string const& written = staged.empty() ? destination : staged;
    job.total = static_cast<std::uint64_t>(from.st_size);
    job.lastReport = Clock::now();
    post(job.state, {job.total, 0, FileOperationStage::Running, 0});
    int error = CopyFileData(in, out, job.total, onChunk, &job);
    if (error == 0) {
        error = KeepMetadata(in, out, from);
    }
    // Only the file this copy made is removed: after a fault the name may belong to another.
    if (error != 0) {
        RemoveFileIfSame(written.c_str(), out);
    }
    if (::close(out) != 0 && error == 0) {
        error = errno;
        ::unlink(written.c_str()); // possibly incomplete; nothing left to compare with
    }
    // The old destination goes only now, in one step, for a complete copy.
    if (error == 0 && !staged.empty() && ::rename(staged.c_str(), destination.c_str()) != 0) {
        error = errno; // a folder in the destination's place, for instance
        ::unlink(staged.c_str());
    }
    ::close(in);
    return error;
}

void runOperation(std::shared_ptr<FileOperation::State> state, bool isCopy, std::string source,
                  std::string destination, bool overwrite, double interval) {
    struct MarkDone {
        std::atomic<bool>& done;
        ~MarkDone() { done.store(true); }
    } markDone{state->done};
    CopyJob job{state};
    job.interval = std::chrono::duration<double>(interval);
    int error = 0;
    if (!isCopy && IsRealDirectory(source.c_str())) {
        // The checks before a move find a file; a folder now in its place (a listed file
        // replaced since) is not moved by a rename, just as the copy refuses it across
        // file systems.
        error = EISDIR;
    } else if (!isCopy && !SameFileSystem(source.c_str(), destination.c_str()) &&
               IsSymbolicLink(source.c_str())) {
        // A link moves as a link: the same target, never a copy of what it points to.
        error = CopySymbolicLink(source.c_str(), destination.c_str(), overwrite);
        if (error == 0 && ::unlink(source.c_str()) != 0) {
            error = errno;
        }
    } else if (!isCopy && SameFileSystem(source.c_str(), destination.c_str())) {
        job.total = RegularFileSize(source.c_str());
        error = overwrite ? (::rename(source.c_str(), destination.c_str()) == 0 ? 0 : errno)
                          : RenameNoReplace(source.c_str(), destination.c_str());
    } else {
        error = copyWithReports(job, source, destination, overwrite);
        if (error == 0 && !isCopy && ::unlink(source.c_str()) != 0) {
            error = errno; // both names now exist; the caller is told the move failed
        }
    }
    if (error == ECANCELED) {
        return; // the cancelling callback has already ended the wait
    }
    std::uint64_t completed = error == 0 ? job.total : 0;
    post(state, {job.total, completed, FileOperationStage::Complete, error});
}

} // namespace

FileOperation::FileOperation() : m_state(std::make_shared<State>()) {}

std::unique_ptr<FileOperation> FileOperation::Create() noexcept {
    try {
        return std::unique_ptr<FileOperation>(new FileOperation());
    } catch (...) {
        return nullptr;
    }
}

FileOperation::~FileOperation() {
    m_state->cancelled.store(true);
    m_state->scheduled = false;
    if (m_state->worker.joinable()) {
        m_state->worker.join();
    }
}

bool FileOperation::ScheduleWithCurrentRunLoop() noexcept {
    if (m_state->context != nullptr) {
        return false;
    }
    m_state->context = g_main_context_ref_thread_default();
    m_state->scheduled = true;
    return true;
}

void FileOperation::Unschedule() noexcept {
    m_state->scheduled = false;
}

bool FileOperation::Start(bool isCopy, std::string const& source, std::string const& folder,
                          std::string const& name, bool overwrite, FileOperationCallback callback,
                          void* info, double interval) {
    if (!m_state->scheduled || m_state->worker.joinable() || source.empty() || folder.empty() ||
        name.empty()) {
        return false;
    }
    m_state->operation = this;
    m_state->callback = callback;
    m_state->info = info;
    std::string destination = folder.back() == '/' ? folder + name : folder + "/" + name;
    try {
        // A lambda keeps the thread's state type local to this file (and out of the exports).
        m_state->worker =
            std::thread([state = m_state, isCopy, source, destination, overwrite, interval] {
                runOperation(state, isCopy, source, destination, overwrite, interval);
            });
    } catch (...) {
        return false;
    }
    return true;
}

bool FileOperation::Finished() const noexcept {
    return m_state->done.load();
}

void FileOperation::Cancel() noexcept {
    m_state->cancelled.store(true);
}

// ---- trash ----

namespace {

void trashFinished(GObject* object, GAsyncResult* asyncResult, gpointer data) {
    auto* result = static_cast<TrashResult*>(data);
    GError* error = nullptr;
    if (!g_file_trash_finish(G_FILE(object), asyncResult, &error)) {
        if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
            result->error = ECANCELED;
        } else if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND)) {
            result->error = ENOENT;
        } else if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED)) {
            result->error = ENOTSUP;
        } else {
            result->error = EIO;
        }
        g_error_free(error);
    }
    result->done = true;
}

} // namespace

void MoveToTrashAsync(char const* path, TrashResult* result) {
    result->done = false;
    result->error = 0;
    // The completion is delivered to the thread-default context current at this call.
    GFile* file = g_file_new_for_path(path);
    g_file_trash_async(file, G_PRIORITY_DEFAULT, nullptr, trashFinished, result);
    g_object_unref(file);
}

} // namespace varn::platform
