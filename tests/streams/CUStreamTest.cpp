// The streams: CUStream's defaults and read ranges, CUMemoryStream, and CUFileStream's modes,
// hostile names, I/O, threads, and injected and real faults (SmallDisk.h).
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/SmallDisk.h"

#include <VarnUtilityLib/CUFileStream.h>
#include <VarnUtilityLib/CUMemoryStream.h>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <latch>
#include <string>
#include <thread>
#include <vector>

using namespace varn::test;

namespace fs = std::filesystem;

namespace {
// A stream whose length, readability and position field a test sets. Reads give back at most
// `give` bytes of 'z'; writes are recorded.
class ProbeStream : public CUStream {
  public:
    explicit ProbeStream(unsigned long long length = 0, unsigned long long give = 0) : give(give) {
        m_nLength = length;
    }
    bool CanRead() override { return readable; }
    void SetPositionField(unsigned long long p) { m_nPosition = p; }
    unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                            CUStream_Seek_Origin) override {
        lastOffset = offset;
        std::memset(out, 'z', std::min(count, give));
        return std::min(count, give);
    }
    unsigned long long Write(unsigned char* in, unsigned long long count, long long offset,
                             CUStream_Seek_Origin) override {
        written.assign(reinterpret_cast<char*>(in), count);
        lastOffset = offset;
        return count;
    }
    bool readable = true;
    unsigned long long give;
    std::string written;
    long long lastOffset = -1;
};

std::string Chars(unsigned char const* bytes, unsigned long long n) {
    return std::string(reinterpret_cast<char const*>(bytes), n);
}

void ExpectRange(_CURange r, unsigned long long location, unsigned long long length) {
    EXPECT_EQ(location, r.location);
    EXPECT_EQ(length, r.length);
}

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

// Assigning a stream empties it like a new one (nothing is copied) and drops its lock.
TEST(CUStream, NewAndAssignedStreamsAreEmptyAndTheBaseSupportsNothing) {
    char bytes[] = "0123456789";
    CUMemoryStream target(bytes, 10, true), source(bytes, 4, true);
    static_cast<CUStream&>(target) = static_cast<CUStream const&>(source);
    unsigned char out[4]; // the stream still works without a lock
    EXPECT_EQ(0u, target.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
    CUStream stream;
    for (CUStream* s : {static_cast<CUStream*>(&target), &stream}) {
        EXPECT_EQ(0u, s->Length());
        ExpectRange(s->GetReadableRange(), 0, 0);
    }
    EXPECT_FALSE(stream.CanRead() || stream.CanWrite() || stream.CanSeek());
    EXPECT_EQ(5u, CodeOf([&] { stream.Read(out, 4, 0, CUStream_Seek_Origin_Begin); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.Write(out, 4, 0, CUStream_Seek_Origin_Begin); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.Seek(0, CUStream_Seek_Origin_Begin); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.SetLength(3); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.Position(); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.SetPosition(1); }));
}

TEST(CUStream, CalcReadRangeClipsToTheReadableRange) {
    struct {
        _CURange readable;
        long long position, count, offset, origin, location, length;
    } const rows[] = {
        // clang-format off
        {{0, 10}, 0, 4, -2, CUStream_Seek_Origin_End, 8, 2},
        {{0, 10}, 0, 4, 10, CUStream_Seek_Origin_Begin, 0, 0},
        {{0, 10}, 0, 0, 3, CUStream_Seek_Origin_Begin, 0, 0},
        {{0, 10}, 0, 10, 0, CUStream_Seek_Origin_Begin, 0, 10},
        {{0, 10}, 6, 3, 1, CUStream_Seek_Origin_Current, 7, 3}, // from the position field
        {{0, 10}, 0, 4, 2, 3, 0, 0}, // unknown origins
        {{3, 4}, 0, 10, 2, CUStream_Seek_Origin_Begin, 0, 0}, // a start before the range
        {{3, 4}, 0, 10, 3, CUStream_Seek_Origin_Begin, 3, 4},
        {{3, 4}, 0, 3, 4, CUStream_Seek_Origin_Begin, 4, 3}, // ends exactly at the range's end
        {{0, 10}, 0, -1, 2, CUStream_Seek_Origin_Begin, 2, 8}, // a count of 2^64 - 1 does not wrap
        // clang-format on
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(testing::Message() << "offset " << row.offset << " origin " << row.origin);
        ProbeStream s(10);
        ASSERT_EQ(kCUStatusSuccess, s.SetReadaleRange(row.readable));
        s.SetPositionField(row.position);
        ExpectRange(
            s.CalcReadRange(row.count, row.offset, static_cast<CUStream_Seek_Origin>(row.origin)),
            row.location, row.length);
    }
}

TEST(CUStream, SetReadaleRangeRefusesRangesPastTheLengthWithoutLocationOrReading) {
    ProbeStream s(10);
    EXPECT_EQ(kCUStatusSuccess, s.SetReadaleRange({4, 6}));
    EXPECT_EQ(0x10001u, s.SetReadaleRange({5, 6}));
    EXPECT_EQ(kCUStatusFailure, s.SetReadaleRange({kCURangeNoLocation, 0}));
    ExpectRange(s.GetReadableRange(), 4, 6); // the old range stays
    EXPECT_EQ(kCUStatusSuccess, s.SetReadaleRange({10, 0}));
    s.readable = false; // a stream that cannot read refuses any range, even the reset one
    s.ResetReadaleRange();
    ExpectRange(s.GetReadableRange(), 10, 0);
    s.readable = true;
    s.ResetReadaleRange();
    ExpectRange(s.GetReadableRange(), 0, 10);
}

TEST(CUStream, WriteCFDataWritesTheBytesAtTheGivenOffset) {
    ProbeStream s;
    EXPECT_EQ(0u, s.WriteCFData(nullptr, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(-1, s.lastOffset); // Write was never called
    __CFData const* data = CUPlatformDataCreate("hello", 5);
    EXPECT_EQ(5u, s.WriteCFData(data, 7, CUStream_Seek_Origin_End));
    EXPECT_EQ("hello", s.written);
    EXPECT_EQ(7, s.lastOffset);
    CUPlatformRelease(data);
}

// A borrowed buffer is read in place and never freed; a copied one is the stream's own.
TEST(CUMemoryStream, BorrowedCopiedAndOwnedBuffersReadClippedAndStreamsWithoutBytesReadNothing) {
    char* bytes = new char[10];
    std::memcpy(bytes, "0123456789", 10);
    unsigned char out[16] = {};
    {
        CUMemoryStream s(bytes, 10, true), copied(bytes, 10, false);
        EXPECT_EQ(2u, s.Read(out, 4, -2, CUStream_Seek_Origin_End));
        EXPECT_EQ("89", Chars(out, 2));
        EXPECT_EQ(0u, s.Read(nullptr, 4, 0, CUStream_Seek_Origin_Begin));
        bytes[0] = 'W';
        ASSERT_EQ(3u, s.Read(out, 3, 0, CUStream_Seek_Origin_Current));
        EXPECT_EQ("W12", Chars(out, 3));
        ASSERT_EQ(3u, copied.Read(out, 3, 0, CUStream_Seek_Origin_Begin));
        EXPECT_EQ("012", Chars(out, 3));
    }
    bytes[1] = 'X'; // still ours: the sanitizers would flag a free by the stream
    delete[] bytes;
    CUMemoryStream s(8);
    ASSERT_NE(nullptr, s.GetPtr());
    std::memcpy(s.GetPtr(), "ABCDEFGH", 8);
    ASSERT_EQ(3u, s.Read(out, 3, 5, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("FGH", Chars(out, 3));
    s.UnInit(); // forgets the buffer but keeps the length, so only the buffer stops reading
    EXPECT_FALSE(s.CanRead());
    EXPECT_EQ(0u, s.Read(out, 6, 0, CUStream_Seek_Origin_Begin));
    CUMemoryStream fromNull(nullptr, 10, false), empty, impossible(~0ULL);
    for (CUMemoryStream* m : {&fromNull, &empty, &impossible}) {
        EXPECT_EQ(0u, m->Length()); // so none can read
    }
}

// A copy reads the source from its start plus the location; a short one throws NotReady typed
// as the enumeration (not unsigned int) and keeps no buffer; the factories give null instead.
TEST(CUMemoryStream, CopiesARangeOutOfAnotherStreamOrThrowsNotReadyWhenItComesBackShort) {
    char bytes[] = "0123456789";
    CUSharedPtr<CUStream> source(new CUMemoryStream(bytes, 10, true));
    _CURange range{2, 5}, tail{6, 4}, far{7, 8}, whole{0, 8}, none{0, 0};
    CUMemoryStream copy(source, range);
    bytes[2] = '!';
    unsigned char out[5];
    ASSERT_EQ(5u, copy.Read(out, 5, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("23456", Chars(out, 5));
    EXPECT_EQ(4u, CUMemoryStream::CreateMemoryStreamPtr(source, tail)->Length());
    ProbeStream stingy(0, 3);
    try { // thrown as unsigned int, it would leave the test
        CUMemoryStream c(&stingy, far);
        ADD_FAILURE() << "nothing thrown";
    } catch (_CUErrorContents code) {
        EXPECT_EQ(CUError_NotReady, code);
    }
    EXPECT_EQ(7, stingy.lastOffset);
    CUMemoryStream s;
    EXPECT_THROW(s.InitByStreamAndRange(&stingy, whole), _CUErrorContents);
    EXPECT_EQ(nullptr, s.GetPtr());
    EXPECT_EQ(3u, s.Length()); // the count that came back
    EXPECT_THROW(s.InitByStreamAndRange(nullptr, tail), _CUErrorContents);
    EXPECT_THROW(s.InitByStreamAndRange(source.get(), none), _CUErrorContents);
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(CUSharedPtr<CUStream>(), whole));
}

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
        {6, {"4A", "4K", "4A", "4K", "4A", "4K"}}, // an unknown mode: refused by the opening
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
                EXPECT_TRUE(s.CanSeek());
                EXPECT_EQ(access != kWrite, s.CanRead());
                EXPECT_EQ(access != kRead, s.CanWrite());
                EXPECT_EQ(length, s.Length());
                EXPECT_EQ(row.mode == kAppend ? length : 0, s.Position());
                EXPECT_EQ(length, s.GetReadableRange().length);
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
    EXPECT_EQ(4u, OpenCode(&hidden, kCreate));
    EXPECT_EQ("secret", ReadFile(shown));
    CUStringMac fits = Utf8(other.File(std::string(255, 'n').c_str()));
    EXPECT_EQ(0u, OpenCode(&fits, kCreateNew));
    // Without throwing, a failed opening gives a closed stream.
    CUFileStream closed(&missingFolder, kOpen, kRead, true);
    EXPECT_FALSE(closed.IsOSFileHandleValid());
    EXPECT_EQ(1u, CodeOf([&] { closed.CheackFileOpened(); }));
}

TEST(CUFileStream, WritesPastTheEndGrowTheFileReadsAreClippedByWhatIsLeftBothNeedAccess) {
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
    EXPECT_EQ(210u, s.Position());
    EXPECT_EQ(210u, s.GetReadableRange().length);
    EXPECT_EQ(hundred.substr(0, 90) + ten + ten + std::string(90, '\0') + ten, ReadFile(f.file));
    std::string back(10, 'x');
    s.SetLength(4);
    EXPECT_EQ(210u, s.Position()); // now past the end
    EXPECT_EQ(4u, s.GetReadableRange().length);
    EXPECT_EQ(4u, s.Read(Bytes(back), 10, 0, kBegin));
    EXPECT_EQ(1u, s.Write(Bytes(ten), 1, 2, kCurrent));
    EXPECT_EQ(hundred.substr(0, 4) + std::string(2, '\0') + ten[0], ReadFile(f.file));
    unsigned char none[1] = {0}; // an empty write past the end still grows the file
    EXPECT_EQ(0u, s.Write(none, 0, 20, kBegin));
    EXPECT_EQ(20u, fs::file_size(f.file));
    WriteFile(f.file, hundred);
    CUSharedPtr<CUStringMac> path(new CUStringMac(f.path)); // the shared-pointer form
    CUFileStream reader(path, kOpen, kRead, false), writer(&f.path, kOpen, kWrite, false);
    std::string out(50, 'x');
    EXPECT_EQ(20u, reader.Read(Bytes(out), 50, 80, kBegin));
    EXPECT_EQ(hundred.substr(80), out.substr(0, 20));
    // A file shortened behind the stream reads what is left; its end is not an error.
    fs::resize_file(f.file, 90);
    EXPECT_EQ(10u, reader.Read(Bytes(out), 50, 80, kBegin));
    EXPECT_EQ(hundred.substr(80, 10), out.substr(0, 10));
    EXPECT_EQ(100u, reader.Position()); // advanced by the request, not by the bytes
    EXPECT_EQ(0u, reader.Write(Bytes(out), 3, 0, kBegin)); // needs write access
    EXPECT_EQ(0u, writer.Read(Bytes(out), 3, 0, kBegin));
    EXPECT_EQ(0u, reader.Read(nullptr, 3, 0, kBegin));
    EXPECT_EQ(0u, writer.Write(nullptr, 3, 0, kBegin));
    EXPECT_TRUE(reader.IsOSFileHandleValid() && writer.IsOSFileHandleValid()); // neither closes
    writer.Close();
    EXPECT_EQ(0u, writer.Write(Bytes(out), 3, 0, kBegin));
    reader.SetLength(2); // resizing a read-only stream closes it
    EXPECT_FALSE(reader.IsOSFileHandleValid());
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
    auto calls = [] { return F::preads + F::pwrites + F::ftruncates + F::fsizes + F::opens; };
    int const before = calls() + F::stats;
    EXPECT_EQ(5u, s.Seek(5, kBegin));
    EXPECT_EQ(7u, s.Seek(2, kCurrent));
    EXPECT_EQ(63u, s.Seek(-1, kEnd));
    EXPECT_EQ(0u, s.Seek(4, static_cast<CUStream_Seek_Origin>(5)));
    EXPECT_EQ(90u, s.SetPosition(90)); // past the end is allowed
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
    std::latch together(3); // start together so that the writes overlap
    auto appender = [&](char fill) {
        std::string block(kBlock, fill);
        together.arrive_and_wait();
        for (int i = 0; i < kBlocks; ++i) {
            ASSERT_EQ(kBlock, s.Write(Bytes(block), kBlock, 0, kEnd));
        }
    };
    std::thread a(appender, 'a'), b(appender, 'b'), reader([&] {
        together.arrive_and_wait();
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
