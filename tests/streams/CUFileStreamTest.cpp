// CUFileStream: modes, hostile names, I/O, threads, and injected and real faults (SmallDisk.h).
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/SmallDisk.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

using namespace varn::test;

namespace fs = std::filesystem;

namespace {

constexpr auto kAppend = CUStream_FileMode_Append, kCreate = CUStream_FileMode_Create,
               kCreateNew = CUStream_FileMode_CreateNew, kOpen = CUStream_FileMode_Open,
               kOpenOrCreate = CUStream_FileMode_OpenOrCreate,
               kTruncate = CUStream_FileMode_Truncate;
constexpr auto kRead = CUStream_FileAccess_Read, kWrite = CUStream_FileAccess_Write,
               kReadWrite = CUStream_FileAccess_ReadWrite;
constexpr auto kBegin = CUStream_Seek_Origin_Begin, kCurrent = CUStream_Seek_Origin_Current,
               kEnd = CUStream_Seek_Origin_End;

unsigned char* Bytes(std::string& s) {
    return reinterpret_cast<unsigned char*>(s.data());
}

unsigned int OpenCode(CUStringMac* path, CUStream_FileMode mode,
                      CUStream_FileAccess access = kReadWrite) {
    return CodeOf([&] { CUFileStream stream(path, mode, access, false); });
}

// f.bin in a fresh folder, holding `contents` unless `create` is false.
struct StreamFile {
    explicit StreamFile(std::string const& contents = "", bool create = true)
        : file(folder.File("f.bin")), path(Utf8(file)) {
        if (create) {
            WriteFile(file, contents);
        }
    }
    TempFolder folder;
    std::string file;
    CUStringMac path;
};

} // namespace

TEST(CUFileStream, EveryModeAndAccessOpensOrThrowsAsItsRowSays) {
    constexpr char kOld[] = "0123456789";
    CUStream_FileAccess const accesses[] = {kRead, kReadWrite, kWrite};
    // Per access (Read, ReadWrite, Write), missing then present file: the thrown code (0: opened)
    // and the file afterwards: Kept, Truncated, Created or Absent (refused before the disk).
    struct {
        int mode;
        char const* outcome[6];
    } const rows[] = {
        {0, {"4A", "4K", "0C", "0K", "0C", "0K"}}, // Append: needs write access
        {1, {"4A", "4K", "0C", "0T", "0C", "0T"}}, // Create: needs write access
        {2, {"0C", "4K", "0C", "4K", "0C", "4K"}}, // CreateNew: a present file is an error
        {3, {"9A", "0K", "9A", "0K", "9A", "0K"}}, // Open: a missing file is 9
        {4, {"0C", "0K", "0C", "0K", "0C", "0K"}}, // OpenOrCreate
        {5, {"4A", "4K", "9A", "0T", "9A", "0T"}}, // Truncate: access checked before existence
        {6, {"4A", "4K", "4A", "4K", "4A", "4K"}}, // unknown modes: refused by the opening
        {99, {"4A", "4K", "4A", "4K", "4A", "4K"}},
    };
    for (auto const& row : rows) {
        for (int column = 0; column < 6; ++column) {
            CUStream_FileAccess const access = accesses[column / 2];
            char const disk = row.outcome[column][1];
            SCOPED_TRACE(testing::Message() << "mode " << row.mode << " column " << column);
            StreamFile f(kOld, column % 2 == 1);
            unsigned int const code = CodeOf([&] {
                CUFileStream s(&f.path, static_cast<CUStream_FileMode>(row.mode), access, false);
                unsigned long long const length = disk == 'K' ? 10 : 0;
                EXPECT_TRUE(s.IsOSFileHandleValid() && s.CanSeek());
                EXPECT_EQ(access != kWrite, s.CanRead());
                EXPECT_EQ(access != kRead, s.CanWrite());
                EXPECT_EQ(length, s.Length());
                EXPECT_EQ(row.mode == kAppend ? length : 0, s.Position());
                if (access != kWrite) {
                    EXPECT_EQ(length, s.GetReadableRange().length);
                }
            });
            ASSERT_EQ(static_cast<unsigned int>(row.outcome[column][0] - '0'), code);
            EXPECT_EQ(disk != 'A', fs::exists(f.file));
            EXPECT_EQ(disk == 'K' ? kOld : "", ReadFile(f.file));
        }
    }
}

TEST(CUFileStream, HostileNamesAreCreatedWrittenAndReadAsGivenOrThrowTheirCodes) {
    TempFolder folder;
    for (std::string name : {"line\nbreak", "$(touch pwned)", "`id`", "q'uo\"te", "-n", "a;b|c"}) {
        CUStringMac path = Utf8(folder.File(name.c_str()));
        std::string text = "contents of " + name;
        EXPECT_EQ(text.size(), CUFileStream(&path, kCreateNew, kWrite, false)
                                   .Write(Bytes(text), text.size(), 0, kBegin));
        EXPECT_EQ(text, ReadFile(folder.File(name.c_str()))) << name;
    }
    EXPECT_FALSE(fs::exists(folder.Path() / "pwned"));
    EXPECT_EQ(6, std::distance(fs::directory_iterator(folder.Path()), fs::directory_iterator()));
    TempFolder other;
    std::string const shown = other.File("shown");
    CUStringMac empty = Utf8(""), dir = Utf8(other.Path().string());
    CUStringMac missingFolder = Utf8(other.File("no/such/f.bin"));
    CUStringMac tooLong = Utf8(other.File(std::string(256, 'n').c_str()));
    CUStringMac undecodable = Utf8(other.File("\xC3\x28")); // a null text, like ""
    CUStringMac lone = Units(u"/tmp/varn-\xD800");          // no UTF-8 form
    CUStringMac hidden = Units(std::u16string(shown.begin(), shown.end()) + u'\0' + u"hidden");
    struct {
        char const* what;
        CUStringMac* path;
        CUStream_FileMode mode;
        CUStream_FileAccess access;
        unsigned int code;
    } const rows[] = {
        {"no path", nullptr, kOpenOrCreate, kRead, 2},
        {"empty", &empty, kOpenOrCreate, kRead, 1},
        {"folder read", &dir, kOpen, kRead, 5},
        {"folder write", &dir, kCreate, kWrite, 5},
        {"missing folder", &missingFolder, kOpenOrCreate, kWrite, 4},
        {"256 units", &tooLong, kCreate, kReadWrite, 4},
        {"256 units, open", &tooLong, kOpen, kReadWrite, 9},
        {"undecodable", &undecodable, kOpenOrCreate, kReadWrite, 1},
        {"lone surrogate", &lone, kOpenOrCreate, kReadWrite, 4},
        {"zero unit", &hidden, kOpenOrCreate, kReadWrite, 4},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(row.code, OpenCode(row.path, row.mode, row.access)) << row.what;
    }
    EXPECT_TRUE(fs::is_empty(other.Path())); // nor the shorter name
    WriteFile(shown, "secret"); // a present file under the shorter name is neither opened nor cut
    EXPECT_EQ(4u, OpenCode(&hidden, kOpen));
    EXPECT_EQ(4u, OpenCode(&hidden, kCreate));
    EXPECT_EQ("secret", ReadFile(shown));
    CUStringMac fits = Utf8(other.File(std::string(255, 'n').c_str()));
    EXPECT_EQ(0u, OpenCode(&fits, kCreateNew));
    // Without throwing, a failed opening gives a closed stream that reads nothing.
    CUFileStream closed(&missingFolder, kOpen, kRead, true);
    EXPECT_FALSE(closed.CanRead() || closed.CanWrite() || closed.CanSeek());
    EXPECT_FALSE(closed.IsOSFileHandleValid());
    unsigned char out[4];
    EXPECT_EQ(0u, closed.Read(out, 4, 0, kBegin));
    EXPECT_EQ(1u, CodeOf([&] { closed.CheackFileOpened(); }));
}

TEST(CUFileStream, WritesPastTheEndGrowTheFileWithZerosAndResizingKeepsThePosition) {
    std::string const hundred = Pattern(100);
    StreamFile f(hundred);
    CUFileStream s(&f.path, kAppend, kReadWrite, false);
    std::string ten = Pattern(10, 'A');
    ASSERT_EQ(kCUStatusSuccess, s.SetReadaleRange({0, 50})); // kept by a write that ends at the end
    EXPECT_EQ(10u, s.Write(Bytes(ten), 10, 90, kBegin));
    EXPECT_EQ(50u, s.GetReadableRange().length);
    EXPECT_EQ(10u, s.Write(Bytes(ten), 10, 0, kCurrent));
    EXPECT_EQ(110u, s.Position());
    EXPECT_EQ(10u, s.Write(Bytes(ten), 10, 200, kBegin));
    EXPECT_EQ(210u, s.Length());
    EXPECT_EQ(210u, s.Position());
    EXPECT_EQ(210u, s.GetReadableRange().length);
    EXPECT_EQ(hundred.substr(0, 90) + ten + ten + std::string(90, '\0') + ten, ReadFile(f.file));
    std::string back(10, 'x');
    s.SetLength(4);
    EXPECT_EQ(4u, s.Length());
    EXPECT_EQ(210u, s.Position()); // now past the end
    EXPECT_EQ(4u, s.GetReadableRange().length);
    EXPECT_EQ(4u, s.Read(Bytes(back), 10, 0, kBegin));
    EXPECT_EQ(1u, s.Write(Bytes(ten), 1, 2, kCurrent));
    EXPECT_EQ(hundred.substr(0, 4) + std::string(2, '\0') + ten[0], ReadFile(f.file));
    unsigned char none[1] = {0}; // an empty write past the end still grows the file
    EXPECT_EQ(0u, s.Write(none, 0, 20, kBegin));
    EXPECT_EQ(20u, fs::file_size(f.file));
    CUFileStream reader(&f.path, kOpen, kRead, false);
    reader.SetLength(2); // resizing a read-only stream closes it
    EXPECT_FALSE(reader.IsOSFileHandleValid());
    EXPECT_EQ(20u, fs::file_size(f.file));
}

TEST(CUFileStream, ReadIsClippedByTheFileLeftAndNeedsReadAccessAndABuffer) {
    std::string const hundred = Pattern(100);
    StreamFile f(hundred);
    CUSharedPtr<CUStringMac> path(new CUStringMac(f.path)); // the shared-pointer form
    CUFileStream s(path, kOpen, kRead, false), writer(&f.path, kOpen, kWrite, false);
    std::string out(50, 'x');
    EXPECT_EQ(20u, s.Read(Bytes(out), 50, 80, kBegin));
    EXPECT_EQ(hundred.substr(80), out.substr(0, 20));
    EXPECT_EQ(100u, s.Position());
    EXPECT_EQ(0u, s.Read(Bytes(out), 50, 0, kCurrent));
    // A file shortened behind the stream reads what is left; its end is not an error.
    fs::resize_file(f.file, 90);
    EXPECT_EQ(10u, s.Read(Bytes(out), 50, 80, kBegin));
    EXPECT_EQ(hundred.substr(80, 10), out.substr(0, 10));
    EXPECT_EQ(100u, s.Position()); // advanced by the request, not by the bytes
    EXPECT_EQ(0u, s.Read(Bytes(out), 5, 95, kBegin));
    EXPECT_EQ(0u, s.Write(Bytes(out), 3, 0, kBegin)); // needs write access
    EXPECT_EQ(0u, writer.Read(Bytes(out), 3, 0, kBegin));
    EXPECT_EQ(0u, s.Read(nullptr, 3, 0, kBegin));
    EXPECT_EQ(0u, writer.Write(nullptr, 3, 0, kBegin));
    EXPECT_TRUE(s.IsOSFileHandleValid() && writer.IsOSFileHandleValid()); // neither closes
    writer.Close();
    EXPECT_EQ(0u, writer.Write(Bytes(out), 3, 0, kBegin));
    EXPECT_EQ(hundred.substr(0, 90), ReadFile(f.file));
}

// The mark is the stream's own: sequential I/O and seeking cost no extra system call. Each
// descriptor is closed once, by Close, a second Init or the destructor.
TEST(CUFileStream, TheTrackedMarkSavesSystemCallsAndEachDescriptorClosesOnce) {
    using F = FaultyFiles;
    StreamFile f;
    CUFileStream s(&f.path, kOpen, kReadWrite, false);
    ScopedFaultyFiles faults;
    std::string block = Pattern(16);
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(16u, s.Write(Bytes(block), 16, 0, kCurrent));
    }
    EXPECT_EQ(0, F::ftruncates.load()); // growing is folded into the write itself
    EXPECT_EQ((std::vector<unsigned long long>{0, 16, 32, 48}), F::pwriteOffsets);
    std::string out(16, 'x');
    ASSERT_EQ(16u, s.Read(Bytes(out), 16, 8, kBegin));
    ASSERT_EQ(16u, s.Read(Bytes(out), 16, 0, kCurrent));
    ASSERT_EQ(8u, s.Read(Bytes(out), 16, 16, kCurrent));
    EXPECT_EQ((std::vector<unsigned long long>{8, 24, 56}), F::preadOffsets);
    ASSERT_EQ(16u, s.Write(Bytes(block), 16, -16, kEnd));
    EXPECT_EQ(48u, F::pwriteOffsets.back());
    EXPECT_EQ(block + block + block + block, ReadFile(f.file));
    auto calls = [] { return F::preads + F::pwrites + F::ftruncates + F::fsizes + F::opens; };
    int const before = calls() + F::stats;
    EXPECT_EQ(5u, s.Seek(5, kBegin));
    EXPECT_EQ(7u, s.Seek(2, kCurrent));
    EXPECT_EQ(63u, s.Seek(-1, kEnd));
    EXPECT_EQ(0u, s.Seek(4, static_cast<CUStream_Seek_Origin>(5)));
    EXPECT_EQ(90u, s.SetPosition(90)); // past the end is allowed
    EXPECT_EQ(90u, s.Position());
    EXPECT_EQ(before, calls() + F::stats);
    s.Close(); // a closed stream keeps its last position
    EXPECT_EQ(90u, s.Position());
    EXPECT_EQ(90u, s.Seek(3, kBegin));
    s.Close();
    EXPECT_EQ(1, F::closes.load());
    EXPECT_EQ(64u, s.Init(&f.path, kOpen, kReadWrite));
    EXPECT_EQ(64u, s.Init(&f.path, kOpen, kReadWrite));
    EXPECT_EQ(2, F::closes.load());
    CUFileStream(&f.path, kOpen, kRead, false); // a temporary, closed by its destructor
    EXPECT_EQ(3, F::closes.load());
    int const os[] = {1, 3, 2, 0}; // Read or Begin, ReadWrite or Current, Write or End, unknown
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(os[i], CUFileStream::CUStream_FileAccess_To_OS_FileAccess(
                             static_cast<CUStream_FileAccess>(i)));
        EXPECT_EQ(os[i], CUFileStream::CUStream_Seek_Origin_To_OS_Seek_Origin(
                             static_cast<CUStream_Seek_Origin>(i == 3 ? 7 : i)));
    }
}

// Two threads append blocks (each write finds the end, grows the file and writes: three steps
// under one lock) while a third reads the last block back.
TEST(CUFileStream, ThreadsSharingOneStreamNeverSeeOrLeaveHalfAWrite) {
    constexpr std::size_t kBlock = 1024;
    constexpr int kBlocks = 2000;
    StreamFile f(std::string(kBlock, 'x'));
    CUFileStream s(&f.path, kOpen, kReadWrite, false);
    std::atomic<int> ready{0};
    auto together = [&] {
        ready.fetch_add(1);
        while (ready.load() < 3) {
            std::this_thread::yield(); // start together so that the writes overlap
        }
    };
    auto appender = [&](char fill) {
        std::string block(kBlock, fill);
        together();
        for (int i = 0; i < kBlocks; ++i) {
            ASSERT_EQ(kBlock, s.Write(Bytes(block), kBlock, 0, kEnd));
        }
    };
    std::thread a(appender, 'a'), b(appender, 'b'), reader([&] {
        together();
        std::string out(kBlock, '?');
        for (int i = 0; i < kBlocks; ++i) {
            ASSERT_EQ(kBlock, s.Read(Bytes(out), kBlock, -static_cast<long long>(kBlock), kEnd));
            ASSERT_EQ(std::string(kBlock, out[0]), out); // a whole write or none of it
        }
    });
    a.join();
    b.join();
    reader.join();
    std::string const contents = ReadFile(f.file);
    ASSERT_EQ((2 * kBlocks + 1) * kBlock, contents.size());
    for (std::size_t at = kBlock; at < contents.size(); at += kBlock) { // whole blocks only
        ASSERT_EQ(std::string(kBlock, contents[at]), contents.substr(at, kBlock)) << "at " << at;
    }
}

// Each row opens 100 bytes with a fault armed (and `budget` bytes written before writes fail) and
// runs a failing read ('r') or write ('w') of [at, at + count) or resize ('s') to `at`; once the
// fault is lifted, a stream still open runs it again. No byte outside a retried write is lost.
TEST(CUFileStream, InjectedFaultsFailTheOperationAndLeaveTheStreamAsTheRowSays) {
    using F = FaultyFiles;
    struct {
        char const* what;
        int* fault;
        int error;
        long long budget;
        CUStream_FileMode mode;
        CUStream_FileAccess access;
        bool noThrow;
        char op;
        unsigned long long at, count;
        unsigned int code; // thrown by the opening
        bool open;
        int closes; // descriptors closed by then
    } const rows[] = {
        // clang-format off
        {"refused write", &F::openError, EACCES, -1, kOpen, kWrite, false, 0, 0, 0, 4, false, 0},
        {"refused truncation", &F::openError, EACCES, -1, kTruncate, kReadWrite, false,
         0, 0, 0, 4, false, 0},
        {"reading opens", &F::openError, EACCES, -1, kOpen, kRead, false, 0, 0, 0, 0, true, 0},
        {"size query", &F::fsizeError, EIO, -1, kOpen, kRead, false, 0, 0, 0, 4, false, 1},
        {"size query, no throw", &F::fsizeError, EIO, -1, kOpen, kRead, true, 0, 0, 0, 0, false, 1},
        {"truncation", &F::ftruncateError, EIO, -1, kCreate, kWrite, false, 0, 0, 0, 4, false, 1},
        {"truncation, no throw: left open", &F::ftruncateError, EIO, -1, kTruncate, kWrite, true,
         0, 0, 0, 0, true, 0},
        {"disk full while growing", nullptr, 0, 30, kOpen, kReadWrite, false,
         'w', 100, 64, 0, true, 0},
        {"short write inside", &F::pwriteError, EIO, 5, kOpen, kWrite, false,
         'w', 10, 20, 0, true, 0},
        {"growth refused", &F::ftruncateError, EFBIG, 0, kOpen, kWrite, false,
         'w', 100, 20, 0, false, 1},
        {"vanished file", &F::preadError, ESTALE, -1, kOpen, kRead, false, 'r', 0, 10, 0, true, 0},
        {"resize", &F::ftruncateError, EIO, -1, kOpen, kReadWrite, false, 's', 3, 0, 0, false, 1},
        // clang-format on
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.what);
        std::string expected = Pattern(100), block = Pattern(row.count, 'A');
        StreamFile f(expected);
        ScopedFaultyFiles faults;
        F::writeBudget = row.budget;
        if (row.fault != nullptr) {
            *row.fault = row.error;
        }
        CUSharedPtr<CUFileStream> s;
        EXPECT_EQ(row.code, CodeOf([&] {
                      s = CUSharedPtr<CUFileStream>(
                          new CUFileStream(&f.path, row.mode, row.access, row.noThrow));
                  }));
        auto run = [&]() -> unsigned long long {
            if (row.op == 's') {
                s->SetLength(row.at);
                return 0;
            }
            return row.op == 'r' ? s->Read(Bytes(block), row.count, row.at, kBegin)
                                 : s->Write(Bytes(block), row.count, row.at, kBegin);
        };
        if (s) {
            EXPECT_EQ(0u, row.op != 0 ? run() : 0);
            EXPECT_EQ(row.open, s->IsOSFileHandleValid());
            if (row.op != 0 || s->CanSeek()) { // a stream that learnt the length
                EXPECT_EQ(fs::file_size(f.file), s->Length());
                EXPECT_EQ(s->Length(), s->GetReadableRange().length);
            }
            if (s->CanSeek()) {
                EXPECT_EQ(0u, s->Position()); // a failed operation moves nothing
            }
        }
        EXPECT_EQ(row.closes, F::closes.load());
        F::Reset();
        if (s && row.open && row.op != 0) {
            EXPECT_EQ(row.count, run());
            if (row.op == 'r') {
                EXPECT_EQ(expected.substr(row.at, row.count), block);
            } else {
                expected.replace(row.at, row.count, block);
            }
        }
        EXPECT_EQ(expected, ReadFile(f.file));
    }
}

TEST(CUFileStream, RealFullDiskFailsTheWriteKeepsEarlierBytesAndRecovers) {
    TempFolder folder;
    std::string const root = folder.Path().string();
    RunOnSmallDisk(root, "64k", [&](ChildReport& report) {
        std::string const file = root + "/data.bin", filler = root + "/filler";
        CUStringMac path = Utf8(file);
        CUFileStream s(&path, kCreateNew, kReadWrite, false);
        std::string first = Pattern(8192, 'a'), second = Pattern(16384, 'A');
        report.Expect(s.Write(Bytes(first), 8192, 0, kBegin) == 8192, "8 KiB are written");
        FillDisk(filler); // another file takes every block that is left
        report.Expect(s.Write(Bytes(second), second.size(), 0, kEnd) == 0 &&
                          s.IsOSFileHandleValid(),
                      "a growing write on a full disk returns 0; the stream stays open");
        report.Expect(ReadFile(file).substr(0, 8192) == first, "the earlier bytes are intact");
        // A hole made by a resize costs no block until it is written: writing into it fails.
        unsigned long long const before = s.Length(), size = before + 65536;
        s.SetLength(size);
        report.Expect(s.IsOSFileHandleValid() && s.Length() == size, "a resize takes no space");
        report.Expect(
            s.Write(Bytes(second), second.size(), static_cast<long long>(before), kBegin) == 0 &&
                s.IsOSFileHandleValid() && s.Length() == size,
            "a write inside the file fails and changes neither the stream nor its length");
        s.SetLength(8192);
        report.Expect(s.Length() == 8192 && ReadFile(file) == first, "shrinking keeps the bytes");
        report.Expect(std::remove(filler.c_str()) == 0, "the filler is removed");
        report.Expect(s.Write(Bytes(second), second.size(), 0, kEnd) == second.size(),
                      "with space back, the same stream writes again");
        report.Expect(ReadFile(file) == first + second && s.Length() == 8192 + 16384,
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
    StreamFile f("", false);
    std::string first = Pattern(3000, 'a'), second = Pattern(3000, 'A');
    unsigned long long overflow = 1, sizeOnLimit = 0;
    {
        CUFileStream s(&f.path, kCreateNew, kReadWrite, false);
        struct rlimit limited = saved;
        limited.rlim_cur = 4096;
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limited));
        EXPECT_EQ(3000u, s.Write(Bytes(first), first.size(), 0, kEnd));
        overflow = s.Write(Bytes(second), second.size(), 0, kEnd);
        // Writing inside the limit still works on a reopened stream.
        CUFileStream again(&f.path, kOpen, kReadWrite, false);
        sizeOnLimit = again.Length();
        EXPECT_EQ(96u, again.Write(Bytes(second), 96, 4000, kBegin));
        EXPECT_EQ(0u, again.Write(Bytes(second), 97, 4000, kBegin));
        setrlimit(RLIMIT_FSIZE, &saved);
    }
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(0u, overflow);
    EXPECT_EQ(3000u, sizeOnLimit) << "the refused growth left no partial bytes behind";
    CUFileStream s(&f.path, kAppend, kReadWrite, false);
    EXPECT_EQ(4096u, s.Length());
    EXPECT_EQ(second.size(), s.Write(Bytes(second), second.size(), 0, kEnd));
    EXPECT_EQ(first + std::string(1000, '\0') + second.substr(0, 96) + second, ReadFile(f.file));
}
