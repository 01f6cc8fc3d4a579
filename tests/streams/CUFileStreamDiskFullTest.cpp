// CUFileStream on a real full disk (a 64 KiB tmpfs in a child's private mount namespace, skipped
// where the kernel refuses) and under a file-size limit. The child reports failures on a pipe.
#include "fakes/FileFaults.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <sched.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string>

using varn::test::ReadFile;
using varn::test::TempFolder;

namespace {

constexpr int kSkipped = 77;

std::string Pattern(std::size_t n, char first) {
    std::string s(n, '\0');
    for (std::size_t i = 0; i < n; ++i) {
        s[i] = static_cast<char>(first + i % 23);
    }
    return s;
}

unsigned char* Bytes(std::string& s) {
    return reinterpret_cast<unsigned char*>(s.data());
}

bool WriteProcFile(char const* path, std::string const& text) {
    int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

bool MountSmallDisk(std::string const& where) {
    uid_t uid = getuid();
    gid_t gid = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        if (uid != 0 || unshare(CLONE_NEWNS) != 0) {
            return false;
        }
    } else {
        WriteProcFile("/proc/self/setgroups", "deny");
        WriteProcFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
        WriteProcFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
    }
    // Nothing mounted here may reach the parent's namespace.
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return false;
    }
    return mount("varn-test", where.c_str(), "tmpfs", 0, "size=64k,mode=0777") == 0;
}

void FillDisk(std::string const& filler) {
    std::ofstream fill(filler, std::ios::binary);
    std::string block(4096, 'F');
    while (fill.write(block.data(), static_cast<std::streamsize>(block.size())) && fill.flush()) {
    }
}

struct Report {
    int fd;
    void Fail(std::string const& what) {
        std::string line = what + "\n";
        (void)!write(fd, line.data(), line.size());
    }
    void Expect(bool condition, std::string const& what) {
        if (!condition) {
            Fail(what);
        }
    }
};

void FillDiskScenario(std::string const& root, Report& report) {
    std::string const file = root + "/data.bin";
    CUStringMac path(file.c_str(), CUString_CharCode_UTF8);
    CUFileStream stream(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite, false);
    std::string first = Pattern(8192, 'a');
    report.Expect(stream.Write(Bytes(first), first.size(), 0, CUStream_Seek_Origin_Begin) == 8192,
                  "the first 8 KiB are written");

    std::string const filler = root + "/filler";
    FillDisk(filler); // another file takes every block that is left

    std::string second = Pattern(16384, 'A');
    report.Expect(stream.Write(Bytes(second), second.size(), 0, CUStream_Seek_Origin_End) == 0,
                  "a growing write on a full disk returns 0");
    report.Expect(stream.IsOSFileHandleValid(), "the stream stays open: the file could grow");
    report.Expect(ReadFile(file).substr(0, 8192) == first, "the earlier bytes are intact");
    std::string back(8192, '\0');
    report.Expect(stream.Read(Bytes(back), 8192, 0, CUStream_Seek_Origin_Begin) == 8192 &&
                      back == first,
                  "the earlier bytes read back through the stream");

    // A hole made by a resize costs no block until it is written: writing into it fails.
    unsigned long long const before = stream.Length();
    stream.SetLength(before + 65536);
    report.Expect(stream.IsOSFileHandleValid() && stream.Length() == before + 65536,
                  "a resize needs no space and succeeds");
    report.Expect(stream.Write(Bytes(second), second.size(), static_cast<long long>(before),
                               CUStream_Seek_Origin_Begin) == 0,
                  "a write inside the file on a full disk returns 0");
    report.Expect(stream.IsOSFileHandleValid() && stream.Length() == before + 65536,
                  "a failed write inside the file changes neither the stream nor its length");
    stream.SetLength(8192);
    report.Expect(stream.Length() == 8192 && ReadFile(file) == first,
                  "shrinking back keeps the earlier bytes");

    // Space comes back: the same stream writes again.
    report.Expect(std::remove(filler.c_str()) == 0, "the filler is removed");
    report.Expect(stream.Write(Bytes(second), second.size(), 0, CUStream_Seek_Origin_End) ==
                      second.size(),
                  "with space back, the write succeeds");
    report.Expect(ReadFile(file) == first + second, "the file holds both writes in order");
    report.Expect(stream.Length() == first.size() + second.size(), "the length follows");

    FillDisk(filler); // a file can still be created on a full disk
    std::string const other = root + "/other.bin";
    CUStringMac otherPath(other.c_str(), CUString_CharCode_UTF8);
    CUFileStream empty(&otherPath, CUStream_FileMode_Create, CUStream_FileAccess_ReadWrite, true);
    if (empty.IsOSFileHandleValid()) {
        std::string some = Pattern(4096, 'x');
        report.Expect(empty.Write(Bytes(some), some.size(), 0, CUStream_Seek_Origin_Begin) == 0,
                      "a new file on a full disk takes no bytes");
        report.Expect(empty.IsOSFileHandleValid(), "and stays open");
    }
}

} // namespace

TEST(CUFileStream, RealFullDiskFailsTheWriteKeepsEarlierBytesAndRecovers) {
    TempFolder folder;
    std::string const root = folder.Path().string();
    int pipes[2];
    ASSERT_EQ(0, pipe(pipes));
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(pipes[0]);
        if (!MountSmallDisk(root)) {
            std::string why = std::string("cannot mount a small tmpfs: ") + std::strerror(errno);
            (void)!write(pipes[1], why.data(), why.size());
            _exit(kSkipped);
        }
        Report report{pipes[1]};
        FillDiskScenario(root, report);
        umount2(root.c_str(), MNT_DETACH);
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
    if (WEXITSTATUS(status) == kSkipped) {
        GTEST_SKIP() << output;
    }
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ("", output) << "broken expectations, one a line";
}

TEST(CUFileStream, FileSizeLimitRefusesGrowthThenLiftedLimitAllowsAppending) {
    // Process-wide settings, restored below; the tests of this program run one at a time.
    struct rlimit saved;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &saved));
    if (saved.rlim_max != RLIM_INFINITY && saved.rlim_max < 65536) {
        GTEST_SKIP() << "hard file-size limit too low to test";
    }
    auto previous = std::signal(SIGXFSZ, SIG_IGN);
    TempFolder folder;
    std::string const file = folder.File("limited.bin");
    CUStringMac path(file.c_str(), CUString_CharCode_UTF8);
    std::string first = Pattern(3000, 'a');
    std::string second = Pattern(3000, 'A');
    unsigned long long overflow = 1, sizeOnLimit = 0;
    {
        CUFileStream stream(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite,
                            false);
        struct rlimit limited = saved;
        limited.rlim_cur = 4096;
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limited));
        EXPECT_EQ(3000u, stream.Write(Bytes(first), first.size(), 0, CUStream_Seek_Origin_End));
        overflow = stream.Write(Bytes(second), second.size(), 0, CUStream_Seek_Origin_End);
        EXPECT_FALSE(stream.IsOSFileHandleValid()); // could not grow: closed, as a failed resize
        // Writing inside the limit still works on a reopened stream.
        CUFileStream again(&path, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, false);
        sizeOnLimit = again.Length();
        EXPECT_EQ(96u, again.Write(Bytes(second), 96, 4000, CUStream_Seek_Origin_Begin));
        EXPECT_EQ(0u, again.Write(Bytes(second), 97, 4000, CUStream_Seek_Origin_Begin));
        setrlimit(RLIMIT_FSIZE, &saved);
    }
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(0u, overflow);
    EXPECT_EQ(3000u, sizeOnLimit) << "the refused growth left no partial bytes behind";
    CUFileStream stream(&path, CUStream_FileMode_Append, CUStream_FileAccess_ReadWrite, false);
    EXPECT_EQ(4096u, stream.Length());
    EXPECT_EQ(second.size(),
              stream.Write(Bytes(second), second.size(), 0, CUStream_Seek_Origin_End));
    std::string expected = first + std::string(1000, '\0') + second.substr(0, 96) + second;
    EXPECT_EQ(expected, ReadFile(file));
}
