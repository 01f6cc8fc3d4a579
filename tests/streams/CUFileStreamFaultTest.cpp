// CUFileStream under faults: injected ones (refused openings, a full disk, short writes, a
// vanished file, failed resizes), a real full disk and a lifted file-size limit.
//
// The real disk is a 64 KiB tmpfs in a private mount namespace of a child process
// (support/SmallDisk.h); the child fills it and checks the stream's answers.
#include "streams/StreamTesting.h"
#include "support/SmallDisk.h"

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>

using namespace varn::test;

// Each row opens f.bin (100 patterned bytes) with its faults armed and runs one operation: a
// read ('r') or write ('w') of [at, at + count) or a resize ('s') to `at`. Then the faults are
// lifted and, on a stream still open, the operation runs again and gives `retry`. No fault
// costs a byte outside a retried write.
TEST(CUFileStream, InjectedFaultsFailTheOperationAndLeaveTheStreamAsTheRowSays) {
    using F = FaultyFiles;
    constexpr auto kOpen = CUStream_FileMode_Open;
    constexpr auto kRead = CUStream_FileAccess_Read;
    constexpr auto kWrite = CUStream_FileAccess_Write;
    constexpr auto kReadWrite = CUStream_FileAccess_ReadWrite;
    struct {
        char const* what;
        void (*arm)();
        long long budget; // bytes written before writes fail (-1: no limit)
        CUStream_FileMode mode;
        CUStream_FileAccess access;
        bool noThrow;
        char op;
        unsigned long long at, count;
        unsigned int code;                 // thrown by the opening
        unsigned long long result, length; // of the operation; the stream's length after it
        bool open;
        int closes; // descriptors closed by then
        unsigned long long retry;
    } const rows[] = {
        // clang-format off
        {"write opens refused", [] { F::openError = EACCES; }, -1, kOpen, kWrite, false,
         0, 0, 0, 4, 0, 0, false, 0, 0},
        {"write opens refused, truncation", [] { F::openError = EACCES; }, -1,
         CUStream_FileMode_Truncate, kReadWrite, false, 0, 0, 0, 4, 0, 0, false, 0, 0},
        {"write opens refused, reading opens", [] { F::openError = EACCES; }, -1, kOpen, kRead,
         false, 0, 0, 0, 0, 0, 100, true, 0, 0},
        {"size query fails", [] { F::fsizeError = EIO; }, -1, kOpen, kRead, false,
         0, 0, 0, 4, 0, 0, false, 1, 0},
        {"size query fails, no throw", [] { F::fsizeError = EIO; }, -1, kOpen, kRead, true,
         0, 0, 0, 0, 0, 0, false, 1, 0},
        {"truncation fails", [] { F::ftruncateError = EIO; }, -1, CUStream_FileMode_Create,
         kWrite, false, 0, 0, 0, 4, 0, 0, false, 1, 0},
        {"truncation fails, no throw: open, not writable", [] { F::ftruncateError = EIO; }, -1,
         CUStream_FileMode_Truncate, kWrite, true, 'w', 0, 10, 0, 0, 0, true, 0, 0},
        {"disk full while growing: the file has the new length", [] {}, 30, kOpen, kReadWrite,
         false, 'w', 100, 64, 0, 0, 164, true, 0, 64},
        {"short write, then EIO inside the file", [] { F::pwriteError = EIO; }, 5, kOpen, kWrite,
         false, 'w', 10, 20, 0, 0, 100, true, 0, 20},
        {"growth refused: closed", [] { F::pwriteError = F::ftruncateError = EFBIG; }, 0, kOpen,
         kWrite, false, 'w', 100, 20, 0, 0, 100, false, 1, 0},
        {"read of a vanished file fails", [] { F::preadError = ESTALE; }, -1, kOpen, kRead,
         false, 'r', 0, 10, 0, 0, 100, true, 0, 10},
        {"resize fails: closed", [] { F::ftruncateError = EIO; }, -1, kOpen, kReadWrite, false,
         's', 3, 0, 0, 100, 100, false, 1, 0},
        // clang-format on
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.what);
        std::string expected = Pattern(100), block = Pattern(row.count, 'A');
        StreamFile f(expected);
        ScopedFaultyFiles faults;
        row.arm();
        F::writeBudget = row.budget;
        CUSharedPtr<CUFileStream> s;
        EXPECT_EQ(row.code, CodeOf([&] {
                      s = CUSharedPtr<CUFileStream>(
                          new CUFileStream(&f.path, row.mode, row.access, row.noThrow));
                  }));
        auto run = [&]() -> unsigned long long {
            switch (row.op) {
            case 'r':
                return s->Read(Bytes(block), row.count, row.at, CUStream_Seek_Origin_Begin);
            case 'w':
                return s->Write(Bytes(block), row.count, row.at, CUStream_Seek_Origin_Begin);
            default:
                s->SetLength(row.at);
                return s->Length();
            }
        };
        if (s) {
            EXPECT_EQ(row.result, row.op != 0 ? run() : 0);
            EXPECT_EQ(row.open, s->IsOSFileHandleValid());
            EXPECT_EQ(row.length, s->Length());
            if (row.length != 0) { // a stream that learnt the length agrees with the file
                EXPECT_EQ(row.length, std::filesystem::file_size(f.file));
            }
            if (s->CanSeek()) {
                EXPECT_EQ(0u, s->Position()); // a failed operation moves nothing
            }
        }
        EXPECT_EQ(row.closes, F::closes.load());
        F::Reset();
        if (s && row.open && row.op != 0) {
            EXPECT_EQ(row.retry, run());
            if (row.op == 'r') {
                EXPECT_EQ(expected.substr(row.at, row.count), block);
            } else if (row.retry != 0) {
                expected.resize(std::max<std::size_t>(expected.size(), row.at + row.count));
                expected.replace(row.at, row.count, block);
            }
        }
        EXPECT_EQ(expected, ReadFile(f.file));
    }
}

TEST(CUFileStream, CloseTheDestructorAndASecondInitCloseTheFileOnce) {
    StreamFile f("abc");
    ScopedFaultyFiles faults;
    {
        CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
        stream.Close();
        stream.Close();
        EXPECT_FALSE(stream.IsOSFileHandleValid());
    }
    EXPECT_EQ(1, FaultyFiles::closes.load());
    {
        CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
        EXPECT_EQ(3u, stream.Init(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite));
        EXPECT_EQ(2, FaultyFiles::closes.load());
        EXPECT_TRUE(stream.CanWrite());
    }
    EXPECT_EQ(3, FaultyFiles::closes.load());
}

TEST(CUFileStream, RealFullDiskFailsTheWriteKeepsEarlierBytesAndRecovers) {
    TempFolder folder;
    std::string const root = folder.Path().string();
    RunOnSmallDisk(root, "64k", [&](ChildReport& report) {
        std::string const file = root + "/data.bin", filler = root + "/filler";
        CUStringMac path = Utf8(file);
        CUFileStream stream(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite,
                            false);
        std::string first = Pattern(8192, 'a'), second = Pattern(16384, 'A');
        report.Expect(stream.Write(Bytes(first), 8192, 0, CUStream_Seek_Origin_Begin) == 8192,
                      "the first 8 KiB are written");
        FillDisk(filler); // another file takes every block that is left
        report.Expect(stream.Write(Bytes(second), second.size(), 0, CUStream_Seek_Origin_End) == 0,
                      "a growing write on a full disk returns 0");
        report.Expect(stream.IsOSFileHandleValid(), "the stream stays open: the file could grow");
        std::string back(8192, '\0');
        report.Expect(ReadFile(file).substr(0, 8192) == first &&
                          stream.Read(Bytes(back), 8192, 0, CUStream_Seek_Origin_Begin) == 8192 &&
                          back == first,
                      "the earlier bytes are intact and read back through the stream");

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

        report.Expect(std::remove(filler.c_str()) == 0, "the filler is removed");
        report.Expect(stream.Write(Bytes(second), second.size(), 0, CUStream_Seek_Origin_End) ==
                          second.size(),
                      "with space back, the same stream writes again");
        report.Expect(ReadFile(file) == first + second && stream.Length() == 8192 + 16384,
                      "the file holds both writes in order, and the length follows");
    });
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
    CUStringMac path = Utf8(file);
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
