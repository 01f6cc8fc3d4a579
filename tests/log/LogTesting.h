// LogTesting.h — what the log tests share: a session that leaves no instance behind, the lines
// of a log file, and children that report broken expectations through a pipe, one a line.
#pragma once

#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/SmallDisk.h"

#include <VarnUtilityLib/CULog.h>

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

namespace varn::test {

/// The single instance for one scope: no test leaves one behind, whatever it asserted.
struct LogSession {
    LogSession(std::string const& folder, std::string const& name, unsigned int level) {
        CULog::InitializeWithName(Str(folder), Str(name), level);
    }
    ~LogSession() { CULog::Terminate(); }
    LogSession(LogSession const&) = delete;
    LogSession& operator=(LogSession const&) = delete;
};

/// The lines of a log file without their ends; text after the last end is a torn line.
inline std::vector<std::string> LinesOf(std::string const& contents) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = contents.find("\r\n", start)) != std::string::npos;
         start = end + 2) {
        lines.push_back(contents.substr(start, end - start));
    }
    if (start != contents.size()) {
        lines.push_back("(torn) " + contents.substr(start));
    }
    return lines;
}

/// What follows the stamp and the label.
inline std::string MessageOf(std::string const& line) {
    return line.substr(line.rfind('\t') + 1);
}

struct Child {
    pid_t pid;
    int output;
};

/// Runs `body` in a forked child, which exits at once after it.
inline Child StartChild(std::function<void(ChildReport&)> const& body) {
    int pipes[2];
    if (pipe(pipes) != 0) {
        return {-1, -1};
    }
    pid_t pid = fork();
    if (pid == 0) {
        close(pipes[0]);
        ChildReport report{pipes[1]};
        body(report);
        _exit(0);
    }
    close(pipes[1]);
    return {pid, pipes[0]};
}

/// The child's broken expectations, or why it did not end normally ("" when all went well).
inline std::string Finish(Child child) {
    std::string output;
    char buffer[512];
    for (ssize_t n; (n = read(child.output, buffer, sizeof buffer)) > 0;) {
        output.append(buffer, static_cast<std::size_t>(n));
    }
    close(child.output);
    int status = 0;
    if (waitpid(child.pid, &status, 0) != child.pid || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        output += "the child did not exit normally\n";
    }
    return output;
}

} // namespace varn::test
