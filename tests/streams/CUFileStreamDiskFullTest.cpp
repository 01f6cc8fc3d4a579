// CUFileStreamDiskFullTest.cpp — a real full disk and a lifted file-size limit.
//
// The disk is a 64 KiB tmpfs in a private mount namespace of a child process
// (support/SmallDisk.h); the child fills it and checks the stream's answers.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/SmallDisk.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>

using varn::test::ChildReport;
using varn::test::Pattern;
using varn::test::ReadFile;
using varn::test::RunOnSmallDisk;
using varn::test::TempFolder;

namespace {

unsigned char* Bytes(std::string& s) {
    return reinterpret_cast<unsigned char*>(s.data());
}

void FillDiskScenario(std::string const& root, ChildReport& report) {
    std::string const file = root + "/data.bin";
    CUStringMac path(file.c_str(), CUString_CharCode_UTF8);
    CUFileStream stream(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite, false);
    std::string first = Pattern(8192, 'a');
    report.Expect(stream.Write(Bytes(first), first.size(), 0, CUStream_Seek_Origin_Begin) == 8192,
                  "the first 8 KiB are written");

    // Another file takes every block that is left.
    std::string const filler = root + "/filler";
    varn::test::FillDisk(filler);

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

    // A file opened on a full disk can still be created and read.
    varn::test::FillDisk(filler);
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
    RunOnSmallDisk(root, "64k", [&](ChildReport& report) { FillDiskScenario(root, report); });
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
