// CUFileStream: every mode with every access, hostile names (shell syntax, over-long names,
// text that is not UTF-8, U+0000), growing writes, clipped reads, the tracked mark, resizing,
// seeking and threads.
#include "streams/StreamTesting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

using namespace varn::test;

namespace {

unsigned int OpenCode(CUStringMac* path, CUStream_FileMode mode,
                      CUStream_FileAccess access = CUStream_FileAccess_ReadWrite) {
    return CodeOf([&] { CUFileStream stream(path, mode, access, false); });
}

} // namespace

TEST(CUFileStream, EveryModeAndAccessOpensOrThrowsAsItsRowSays) {
    constexpr char kOld[] = "0123456789";
    CUStream_FileAccess const accesses[] = {CUStream_FileAccess_Read, CUStream_FileAccess_ReadWrite,
                                            CUStream_FileAccess_Write};
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
            bool const exists = column % 2 == 1;
            char const disk = row.outcome[column][1];
            SCOPED_TRACE(testing::Message() << "mode " << row.mode << " access " << access
                                            << (exists ? " present" : " missing"));
            StreamFile f(kOld, exists);
            unsigned int const code = CodeOf([&] {
                CUFileStream stream(&f.path, static_cast<CUStream_FileMode>(row.mode), access,
                                    false);
                bool const readable = access != CUStream_FileAccess_Write;
                EXPECT_TRUE(stream.IsOSFileHandleValid() && stream.CanSeek());
                EXPECT_EQ(readable, stream.CanRead());
                EXPECT_EQ(access != CUStream_FileAccess_Read, stream.CanWrite());
                unsigned long long const length = disk == 'K' ? 10 : 0;
                EXPECT_EQ(length, stream.Length());
                EXPECT_EQ(row.mode == CUStream_FileMode_Append ? length : 0, stream.Position());
                if (readable) {
                    EXPECT_EQ(length, stream.GetReadableRange().length);
                }
            });
            ASSERT_EQ(static_cast<unsigned int>(row.outcome[column][0] - '0'), code);
            if (disk == 'K') {
                EXPECT_EQ(kOld, ReadFile(f.file));
            } else if (disk == 'A') {
                EXPECT_FALSE(std::filesystem::exists(f.file));
            } else {
                ASSERT_TRUE(std::filesystem::exists(f.file));
                EXPECT_EQ(0u, std::filesystem::file_size(f.file));
            }
        }
    }
}

TEST(CUFileStream, HostileNamesAreCreatedWrittenAndReadAsGiven) {
    TempFolder folder;
    for (std::string name : {"line\nbreak", "$(touch pwned)", "`id`", "q'uo\"te", "-n", "a;b|c"}) {
        std::string const file = folder.File(name.c_str());
        CUStringMac path = Utf8(file);
        std::string text = "contents of " + name;
        {
            CUFileStream stream(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite,
                                false);
            EXPECT_EQ(text.size(),
                      stream.Write(Bytes(text), text.size(), 0, CUStream_Seek_Origin_Begin));
        }
        EXPECT_EQ(text, ReadFile(file)) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "pwned"));
    EXPECT_EQ(6, std::distance(std::filesystem::directory_iterator(folder.Path()),
                               std::filesystem::directory_iterator()));
}

TEST(CUFileStream, BadAndHostileNamesThrowTheirCodesAndCreateNothing) {
    TempFolder folder;
    std::string const shown = folder.File("shown");
    CUStringMac empty = Utf8("");
    CUStringMac dir = Utf8(folder.Path().string());
    CUStringMac missingFolder = Utf8(folder.File("no/such/f.bin"));
    CUStringMac tooLong = Utf8(folder.File(std::string(256, 'n').c_str()));
    CUStringMac undecodable = Utf8(folder.File("\xC3\x28")); // a null text, like ""
    CUStringMac lone = Units(u"/tmp/varn-\xD800");           // no UTF-8 form
    CUStringMac hidden = Units(std::u16string(shown.begin(), shown.end()) + u'\0' + u"hidden");
    struct Row {
        char const* what;
        CUStringMac* path;
        CUStream_FileMode mode;
        CUStream_FileAccess access;
        unsigned int code;
    } const rows[] = {
        {"no path", nullptr, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_Read, 2},
        {"empty", &empty, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_Read, 1},
        {"folder read", &dir, CUStream_FileMode_Open, CUStream_FileAccess_Read, 5},
        {"folder write", &dir, CUStream_FileMode_Create, CUStream_FileAccess_Write, 5},
        {"missing folder", &missingFolder, CUStream_FileMode_OpenOrCreate,
         CUStream_FileAccess_Write, 4},
        {"256 units", &tooLong, CUStream_FileMode_Create, CUStream_FileAccess_ReadWrite, 4},
        {"256 units, or create", &tooLong, CUStream_FileMode_OpenOrCreate,
         CUStream_FileAccess_ReadWrite, 4},
        {"256 units, open", &tooLong, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, 9},
        {"undecodable", &undecodable, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_ReadWrite,
         1},
        {"lone surrogate", &lone, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_ReadWrite, 4},
        {"zero unit", &hidden, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_ReadWrite, 4},
        {"zero unit, new", &hidden, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite, 4},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.code, OpenCode(row.path, row.mode, row.access)) << row.what;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path())); // nor the shorter name
    CUSharedPtr<CUStringMac> none;
    EXPECT_THROW(CUFileStream(none, CUStream_FileMode_Open, CUStream_FileAccess_Read, false),
                 unsigned int);
    WriteFile(shown, "secret"); // a present file under the shorter name is neither opened nor cut
    EXPECT_EQ(4u, OpenCode(&hidden, CUStream_FileMode_Open));
    EXPECT_EQ(4u, OpenCode(&hidden, CUStream_FileMode_Create));
    EXPECT_EQ("secret", ReadFile(shown));
    CUStringMac fits = Utf8(folder.File(std::string(255, 'n').c_str()));
    EXPECT_EQ(0u, OpenCode(&fits, CUStream_FileMode_CreateNew));

    // Without throwing, a failed opening gives a closed stream that reads nothing.
    CUFileStream closed(&missingFolder, CUStream_FileMode_Open, CUStream_FileAccess_Read, true);
    EXPECT_FALSE(closed.CanRead() || closed.CanWrite() || closed.CanSeek());
    EXPECT_FALSE(closed.IsOSFileHandleValid());
    unsigned char out[4];
    EXPECT_EQ(0u, closed.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(1u, CodeOf([&] { closed.CheackFileOpened(); }));
}

TEST(CUFileStream, WritesPastTheEndGrowTheFileWithZeros) {
    std::string const hundred = Pattern(100);
    StreamFile f(hundred);
    CUFileStream stream(&f.path, CUStream_FileMode_Append, CUStream_FileAccess_ReadWrite, false);
    std::string ten = Pattern(10, 'A');
    EXPECT_EQ(10u, stream.Write(Bytes(ten), 10, 0, CUStream_Seek_Origin_Current));
    EXPECT_EQ(110u, stream.Position());
    EXPECT_EQ(10u, stream.Write(Bytes(ten), 10, 200, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(210u, stream.Length());
    EXPECT_EQ(210u, stream.Position());
    EXPECT_EQ(210u, stream.GetReadableRange().length);
    EXPECT_EQ(hundred + ten + std::string(90, '\0') + ten, ReadFile(f.file));
    std::string back(210, 'x');
    EXPECT_EQ(210u, stream.Read(Bytes(back), 210, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(ReadFile(f.file), back);
    unsigned char none[1] = {0}; // an empty write past the end still grows the file
    EXPECT_EQ(0u, stream.Write(none, 0, 220, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(220u, std::filesystem::file_size(f.file));
}

TEST(CUFileStream, ReadIsClippedByTheFileLeftAndMovesThePositionByTheRequest) {
    std::string const hundred = Pattern(100);
    StreamFile f(hundred);
    CUSharedPtr<CUStringMac> path(new CUStringMac(f.path)); // the shared-pointer form
    CUFileStream stream(path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    std::string out(50, 'x');
    EXPECT_EQ(20u, stream.Read(Bytes(out), 50, 80, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(hundred.substr(80), out.substr(0, 20));
    EXPECT_EQ(100u, stream.Position());
    EXPECT_EQ(0u, stream.Read(Bytes(out), 50, 0, CUStream_Seek_Origin_Current));
    // A file shortened behind the stream reads what is left; its end is not an error.
    std::filesystem::resize_file(f.file, 90);
    EXPECT_EQ(10u, stream.Read(Bytes(out), 50, 80, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(hundred.substr(80, 10), out.substr(0, 10));
    EXPECT_EQ(100u, stream.Position()); // advanced by the request, not by the bytes
    EXPECT_TRUE(stream.CanRead());
    EXPECT_EQ(0u, stream.Read(Bytes(out), 5, 95, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(100u, stream.Position());
}

TEST(CUFileStream, SequentialReadsAndWritesFollowTheTrackedMark) {
    StreamFile f;
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, false);
    ScopedFaultyFiles faults;
    std::string block = Pattern(16);
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(16u, stream.Write(Bytes(block), 16, 0, CUStream_Seek_Origin_Current));
    }
    // One system call per append: growing is folded into the write itself.
    EXPECT_EQ(0, FaultyFiles::ftruncates.load());
    EXPECT_EQ((std::vector<unsigned long long>{0, 16, 32, 48}), FaultyFiles::pwriteOffsets);
    std::string out(16, 'x');
    ASSERT_EQ(16u, stream.Read(Bytes(out), 16, 8, CUStream_Seek_Origin_Begin));
    ASSERT_EQ(16u, stream.Read(Bytes(out), 16, 0, CUStream_Seek_Origin_Current));
    ASSERT_EQ(8u, stream.Read(Bytes(out), 16, 16, CUStream_Seek_Origin_Current));
    EXPECT_EQ((std::vector<unsigned long long>{8, 24, 56}), FaultyFiles::preadOffsets);
    ASSERT_EQ(16u, stream.Write(Bytes(block), 16, -16, CUStream_Seek_Origin_End));
    EXPECT_EQ(48u, FaultyFiles::pwriteOffsets.back());
    EXPECT_EQ(block + block + block + block, ReadFile(f.file));
}

TEST(CUFileStream, ReadAndWriteNeedTheirAccessAndABufferAndNeverClose) {
    StreamFile f("abc");
    CUFileStream reader(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    CUFileStream writer(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Write, false);
    std::string buf = "xyz";
    EXPECT_EQ(0u, reader.Write(Bytes(buf), 3, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, writer.Read(Bytes(buf), 3, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, reader.Read(nullptr, 3, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, writer.Write(nullptr, 3, 0, CUStream_Seek_Origin_Begin));
    EXPECT_TRUE(reader.IsOSFileHandleValid() && writer.IsOSFileHandleValid());
    EXPECT_EQ("abc", ReadFile(f.file));
    writer.Close();
    EXPECT_EQ(0u, writer.Write(Bytes(buf), 3, 0, CUStream_Seek_Origin_Begin));
}

TEST(CUFileStream, SetLengthResizesAndKeepsThePosition) {
    StreamFile f("0123456789");
    CUFileStream stream(&f.path, CUStream_FileMode_Append, CUStream_FileAccess_ReadWrite, false);
    stream.SetLength(4);
    EXPECT_TRUE(stream.IsOSFileHandleValid());
    EXPECT_EQ(4u, stream.Length());
    EXPECT_EQ(10u, stream.Position()); // now past the end
    EXPECT_EQ(4u, stream.GetReadableRange().length);
    EXPECT_EQ("0123", ReadFile(f.file));
    std::string out(10, 'x');
    EXPECT_EQ(4u, stream.Read(Bytes(out), 10, 0, CUStream_Seek_Origin_Begin));
    std::string z = "Z";
    EXPECT_EQ(1u, stream.Write(Bytes(z), 1, 2, CUStream_Seek_Origin_Current));
    EXPECT_EQ(std::string("0123") + std::string(2, '\0') + "Z", ReadFile(f.file));
    stream.SetLength(20);
    EXPECT_EQ(20u, std::filesystem::file_size(f.file));
    CUFileStream reader(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    reader.SetLength(2); // resizing a read-only stream closes it
    EXPECT_FALSE(reader.IsOSFileHandleValid());
    EXPECT_EQ(20u, std::filesystem::file_size(f.file));
}

TEST(CUFileStream, SeekOnlySetsThePositionAndTheSystemCodesMapByTable) {
    StreamFile f("0123456789");
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    ScopedFaultyFiles faults;
    EXPECT_EQ(5u, stream.Seek(5, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(7u, stream.Seek(2, CUStream_Seek_Origin_Current));
    EXPECT_EQ(9u, stream.Seek(-1, CUStream_Seek_Origin_End));
    EXPECT_EQ(0u, stream.Seek(4, static_cast<CUStream_Seek_Origin>(5)));
    EXPECT_EQ(30u, stream.SetPosition(30)); // past the end is allowed
    EXPECT_EQ(30u, stream.Position());
    EXPECT_EQ(0, FaultyFiles::preads + FaultyFiles::pwrites + FaultyFiles::ftruncates +
                     FaultyFiles::fsizes + FaultyFiles::opens + FaultyFiles::stats);
    std::string out(4, 'x');
    stream.Seek(6, CUStream_Seek_Origin_Begin);
    EXPECT_EQ(4u, stream.Read(Bytes(out), 4, 0, CUStream_Seek_Origin_Current));
    EXPECT_EQ("6789", out);
    stream.Close(); // a closed stream keeps its last position
    EXPECT_EQ(10u, stream.Position());
    EXPECT_EQ(10u, stream.Seek(3, CUStream_Seek_Origin_Begin));
    int const access[] = {1, 3, 2, 0};          // Read, ReadWrite, Write, unknown
    unsigned int const origin[] = {1, 3, 2, 0}; // Begin, Current, End, unknown
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(access[i], CUFileStream::CUStream_FileAccess_To_OS_FileAccess(
                                 static_cast<CUStream_FileAccess>(i)));
        EXPECT_EQ(origin[i], CUFileStream::CUStream_Seek_Origin_To_OS_Seek_Origin(
                                 static_cast<CUStream_Seek_Origin>(i == 3 ? 7 : i)));
    }
}

// Two threads append blocks (each write finds the end, grows the file and writes: three steps
// under one lock) while a third rewrites the first block and a fourth reads it back.
TEST(CUFileStream, ThreadsSharingOneStreamNeverSeeOrLeaveHalfAWrite) {
    constexpr std::size_t kBlock = 1024;
    constexpr int kBlocks = 2000;
    StreamFile f(std::string(kBlock, 'x'));
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, false);
    std::atomic<int> ready{0};
    auto together = [&] {
        ready.fetch_add(1);
        while (ready.load() < 4) {
            std::this_thread::yield(); // start together so that the writes overlap
        }
    };
    auto appender = [&](char fill) {
        std::string block(kBlock, fill);
        together();
        for (int i = 0; i < kBlocks; ++i) {
            ASSERT_EQ(kBlock, stream.Write(Bytes(block), kBlock, 0, CUStream_Seek_Origin_End));
        }
    };
    std::thread a(appender, 'a'), b(appender, 'b'), rewriter([&] {
        together();
        for (int i = 0; i < kBlocks / 4; ++i) {
            std::string block(kBlock, static_cast<char>('c' + i % 20));
            stream.Write(Bytes(block), kBlock, 0, CUStream_Seek_Origin_Begin);
        }
    });
    std::thread reader([&] {
        together();
        for (int i = 0; i < kBlocks / 4; ++i) {
            std::string out(kBlock, '?');
            ASSERT_EQ(kBlock, stream.Read(Bytes(out), kBlock, 0, CUStream_Seek_Origin_Begin));
            ASSERT_EQ(std::string(kBlock, out[0]), out); // a whole write or none of it
        }
    });
    for (std::thread* t : {&a, &b, &rewriter, &reader}) {
        t->join();
    }
    std::string const contents = ReadFile(f.file);
    ASSERT_EQ((2 * kBlocks + 1) * kBlock, contents.size());
    int as = 0;
    for (std::size_t at = kBlock; at < contents.size(); at += kBlock) {
        ASSERT_EQ(std::string(kBlock, contents[at]), contents.substr(at, kBlock)) << "at " << at;
        as += contents[at] == 'a' ? 1 : 0;
    }
    EXPECT_EQ(kBlocks, as); // and as many of b: the total is checked above
}
