// SmallDisk.h — a real, small disk for fault tests: a tmpfs of a chosen size mounted on a test's
// own folder in a private mount namespace (a user namespace where needed) of a forked child,
// which reports each broken expectation on a pipe, one a line.
#pragma once

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <sched.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

namespace varn::test {

/// Writes blocks to a new file at `path` until the disk refuses one.
inline void FillDisk(std::string const& path) {
    std::ofstream fill(path, std::ios::binary);
    std::string block(4096, 'F');
    while (fill.write(block.data(), static_cast<std::streamsize>(block.size())) && fill.flush()) {
    }
}

/// Collects the broken expectations of a child's scenario.
struct ChildReport {
    int fd;
    void Fail(std::string const& what) { (void)!write(fd, (what + "\n").data(), what.size() + 1); }
    void Expect(bool condition, std::string const& what) {
        if (!condition) {
            Fail(what);
        }
    }
};

namespace detail {

constexpr int kSmallDiskSkipped = 77;

// In the child: a private mount namespace with a tmpfs of `size` (mount syntax, "64k") on
// `where`. False (and errno kept) when the system does not allow it.
inline bool MountSmallDisk(std::string const& where, char const* size) {
    std::string const uid = std::to_string(getuid()), gid = std::to_string(getgid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        if (uid != "0" || unshare(CLONE_NEWNS) != 0) {
            return false;
        }
    } else {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " + uid + " 1";
        std::ofstream("/proc/self/gid_map") << "0 " + gid + " 1";
    }
    // Nothing mounted here may reach the parent's namespace.
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return false;
    }
    std::string options = std::string("size=") + size + ",mode=0777";
    return mount("varn-test", where.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

} // namespace detail

/// Runs `scenario` in a child process with a tmpfs of `size` mounted on `where` (an existing,
/// empty folder of the test). Fails the test with the child's broken expectations, or skips it
/// when the system refuses the mount. Call it last in a test: a skip returns from here only.
inline void RunOnSmallDisk(std::string const& where, char const* size,
                           std::function<void(ChildReport&)> const& scenario) {
    int pipes[2];
    ASSERT_EQ(0, pipe(pipes));
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(pipes[0]);
        if (!detail::MountSmallDisk(where, size)) {
            std::string why = std::string("cannot mount a small tmpfs: ") + std::strerror(errno);
            (void)!write(pipes[1], why.data(), why.size());
            _exit(detail::kSmallDiskSkipped);
        }
        ChildReport report{pipes[1]};
        // Nothing may leave the child: gtest would catch it and run the other tests here.
        try {
            scenario(report);
        } catch (unsigned int code) {
            report.Fail("the scenario threw " + std::to_string(code));
        } catch (...) {
            report.Fail("the scenario threw");
        }
        umount2(where.c_str(), MNT_DETACH);
        _exit(0);
    }
    close(pipes[1]);
    std::string output;
    char buffer[512];
    for (ssize_t n; (n = read(pipes[0], buffer, sizeof buffer)) > 0;) {
        output.append(buffer, static_cast<std::size_t>(n));
    }
    close(pipes[0]);
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status)) << "the child died: " << output;
    if (WEXITSTATUS(status) == detail::kSmallDiskSkipped) {
        GTEST_SKIP() << output;
    }
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ("", output) << "broken expectations, one a line";
}

} // namespace varn::test
