// CUFileStream: opening errors, clipped reads, growing writes, positions, resizing, injected
// system faults and threads.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

using varn::test::FaultyFiles;
using varn::test::Pattern;
using varn::test::ReadFile;
using varn::test::ScopedFaultyFiles;
using varn::test::TempFolder;
using varn::test::WriteFile;

namespace {

unsigned char* data(std::string& s) {
    return reinterpret_cast<unsigned char*>(s.data());
}

unsigned int openCode(CUStringMac* path, CUStream_FileMode mode, CUStream_FileAccess access) {
    return varn::test::CodeOf([&] { CUFileStream stream(path, mode, access, false); });
}

struct Fixture {
    explicit Fixture(std::string const& contents = "", bool create = true)
        : file(folder.File("f.bin")), path(file.c_str(), CUString_CharCode_UTF8) {
        if (create) {
            WriteFile(file, contents);
        }
    }
    TempFolder folder;
    std::string file;
    CUStringMac path;
};

} // namespace

TEST(CUFileStream, NoThrowGivesAClosedStream) {
    Fixture f("", false);
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, true);
    EXPECT_FALSE(stream.CanRead() || stream.CanWrite() || stream.CanSeek());
    EXPECT_FALSE(stream.IsOSFileHandleValid());
    unsigned char out[4];
    EXPECT_EQ(0u, stream.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
    EXPECT_THROW(stream.CheackFileOpened(), unsigned int);
}

TEST(CUFileStream, RefusedOpenForWritingAndFailedSizeQueryThrow4) {
    Fixture f("keep");
    ScopedFaultyFiles faults;
    FaultyFiles::openError = EACCES;
    EXPECT_EQ(4u, openCode(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Write));
    EXPECT_EQ(4u, openCode(&f.path, CUStream_FileMode_Truncate, CUStream_FileAccess_ReadWrite));
    EXPECT_EQ(0, FaultyFiles::ftruncates.load()); // nothing was truncated
    EXPECT_EQ(0u, openCode(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read));
    EXPECT_EQ("keep", ReadFile(f.file));
    FaultyFiles::openError = 0; // a failed size query throws 4 and closes the file
    FaultyFiles::fsizeError = EIO;
    int const opens = FaultyFiles::opens.load(), closes = FaultyFiles::closes.load();
    EXPECT_EQ(4u, openCode(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read));
    EXPECT_EQ(opens + 1, FaultyFiles::opens.load());
    EXPECT_EQ(closes + 1, FaultyFiles::closes.load());
}

TEST(CUFileStream, FailedTruncationLeavesInitsFileOpen) {
    Fixture f("abc");
    ScopedFaultyFiles faults;
    FaultyFiles::ftruncateError = EIO;
    CUFileStream stream(&f.path, CUStream_FileMode_Truncate, CUStream_FileAccess_Write, true);
    EXPECT_TRUE(stream.IsOSFileHandleValid()); // the fork stays open
    EXPECT_FALSE(stream.CanWrite());
    EXPECT_EQ(0, FaultyFiles::closes.load());
    stream.Close();
    EXPECT_EQ(1, FaultyFiles::closes.load());
    // A constructor that lets the code out closes what it opened.
    EXPECT_EQ(4u, openCode(&f.path, CUStream_FileMode_Create, CUStream_FileAccess_Write));
    EXPECT_EQ(2, FaultyFiles::closes.load());
    EXPECT_EQ("abc", ReadFile(f.file));
}

TEST(CUFileStream, DestructorCloseAndInitCloseTheFileOnce) {
    Fixture f("abc");
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

TEST(CUFileStream, WritesPastTheEndGrowTheFileWithZeros) {
    std::string const hundred = Pattern(100);
    Fixture f(hundred);
    CUFileStream stream(&f.path, CUStream_FileMode_Append, CUStream_FileAccess_ReadWrite, false);
    EXPECT_EQ(100u, stream.Position());
    std::string ten = Pattern(10, 'A');
    EXPECT_EQ(10u, stream.Write(data(ten), 10, 0, CUStream_Seek_Origin_Current));
    EXPECT_EQ(110u, stream.Position());
    EXPECT_EQ(10u, stream.Write(data(ten), 10, 200, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(210u, stream.Length());
    EXPECT_EQ(210u, stream.Position());
    EXPECT_EQ(210u, stream.GetReadableRange().length);
    EXPECT_EQ(hundred + ten + std::string(90, '\0') + ten, ReadFile(f.file));
    std::string back(210, 'x');
    EXPECT_EQ(210u, stream.Read(data(back), 210, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(ReadFile(f.file), back);
    unsigned char none[1] = {0}; // an empty write past the end still grows the file
    EXPECT_EQ(0u, stream.Write(none, 0, 220, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(220u, std::filesystem::file_size(f.file));
    __CFData const* payload = CUPlatformDataCreate("payload", 7);
    EXPECT_EQ(7u, stream.WriteCFData(payload, 3, CUStream_Seek_Origin_Begin));
    CUPlatformRelease(payload);
    EXPECT_EQ("abcpayloadk", ReadFile(f.file).substr(0, 11));
}

TEST(CUFileStream, ReadIsClippedByTheReadableRangeAndTheFileLeftAndMovesThePosition) {
    std::string const hundred = Pattern(100);
    Fixture f(hundred);
    CUSharedPtr<CUStringMac> path(new CUStringMac(f.path)); // the shared-pointer form
    CUFileStream stream(path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    std::string out(50, 'x');
    EXPECT_EQ(20u, stream.Read(data(out), 50, 80, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(hundred.substr(80), out.substr(0, 20));
    EXPECT_EQ(100u, stream.Position());
    EXPECT_EQ(0u, stream.Read(data(out), 50, 0, CUStream_Seek_Origin_Current));
    EXPECT_EQ(0u, stream.Read(data(out), 0, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, stream.Read(data(out), 5, -1, CUStream_Seek_Origin_Begin));
    ASSERT_EQ(kCUStatusSuccess, stream.SetReadaleRange({3, 4}));
    EXPECT_EQ(0u, stream.Read(data(out), 10, 2, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(4u, stream.Read(data(out), 10, 3, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(hundred.substr(3, 4), out.substr(0, 4));

    // A file shortened behind the stream reads what is left.
    stream.ResetReadaleRange();
    std::filesystem::resize_file(f.file, 90);
    EXPECT_EQ(10u, stream.Read(data(out), 50, 80, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(hundred.substr(80, 10), out.substr(0, 10));
    EXPECT_EQ(100u, stream.Position()); // advanced by the request, not by the bytes
    EXPECT_TRUE(stream.CanRead());      // end of file is not an error
    EXPECT_EQ(0u, stream.Read(data(out), 5, 95, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(100u, stream.Position());
}

TEST(CUFileStream, SequentialReadsAndWritesFollowTheTrackedMark) {
    Fixture f("");
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, false);
    ScopedFaultyFiles faults;
    std::string block = Pattern(16);
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(16u, stream.Write(data(block), 16, 0, CUStream_Seek_Origin_Current));
    }
    // One system call per append: growing is folded into the write itself.
    EXPECT_EQ(4, FaultyFiles::pwrites.load());
    EXPECT_EQ(0, FaultyFiles::ftruncates.load());
    EXPECT_EQ((std::vector<unsigned long long>{0, 16, 32, 48}), FaultyFiles::pwriteOffsets);
    std::string out(16, 'x');
    ASSERT_EQ(16u, stream.Read(data(out), 16, 8, CUStream_Seek_Origin_Begin));
    ASSERT_EQ(16u, stream.Read(data(out), 16, 0, CUStream_Seek_Origin_Current));
    ASSERT_EQ(8u, stream.Read(data(out), 16, 16, CUStream_Seek_Origin_Current));
    EXPECT_EQ((std::vector<unsigned long long>{8, 24, 56}), FaultyFiles::preadOffsets);
    ASSERT_EQ(16u, stream.Write(data(block), 16, -16, CUStream_Seek_Origin_End));
    EXPECT_EQ(48u, FaultyFiles::pwriteOffsets.back());
    EXPECT_EQ(Pattern(16) + Pattern(16) + Pattern(16) + Pattern(16), ReadFile(f.file));
}

TEST(CUFileStream, ReadAndWriteNeedTheirAccessAndABuffer) {
    Fixture f("abc");
    CUFileStream reader(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    CUFileStream writer(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Write, false);
    std::string buf = "xyz";
    EXPECT_EQ(0u, reader.Write(data(buf), 3, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, writer.Read(data(buf), 3, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, reader.Read(nullptr, 3, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, writer.Write(nullptr, 3, 0, CUStream_Seek_Origin_Begin));
    EXPECT_TRUE(reader.IsOSFileHandleValid()); // Read and Write never close
    EXPECT_TRUE(writer.IsOSFileHandleValid());
    EXPECT_EQ("abc", ReadFile(f.file));
    writer.Close();
    EXPECT_EQ(0u, writer.Write(data(buf), 3, 0, CUStream_Seek_Origin_Begin));
}

TEST(CUFileStream, SetLengthResizesAndKeepsThePosition) {
    Fixture f("0123456789");
    CUFileStream stream(&f.path, CUStream_FileMode_Append, CUStream_FileAccess_ReadWrite, false);
    stream.SetLength(4);
    EXPECT_TRUE(stream.IsOSFileHandleValid());
    EXPECT_EQ(4u, stream.Length());
    EXPECT_EQ(10u, stream.Position()); // now past the end
    EXPECT_EQ(4u, stream.GetReadableRange().length);
    EXPECT_EQ("0123", ReadFile(f.file));
    std::string out(10, 'x');
    EXPECT_EQ(4u, stream.Read(data(out), 10, 0, CUStream_Seek_Origin_Begin));
    std::string z = "Z";
    EXPECT_EQ(1u, stream.Write(data(z), 1, 2, CUStream_Seek_Origin_Current));
    EXPECT_EQ(std::string("0123") + std::string(2, '\0') + "Z", ReadFile(f.file));
    stream.SetLength(20);
    EXPECT_EQ(20u, std::filesystem::file_size(f.file));
    ScopedFaultyFiles faults; // a failed resize closes the stream
    FaultyFiles::ftruncateError = EIO;
    stream.SetLength(3);
    EXPECT_FALSE(stream.IsOSFileHandleValid());
    EXPECT_EQ(20u, stream.Length());
    CUFileStream reader(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    reader.SetLength(2); // so does resizing a read-only stream
    EXPECT_FALSE(reader.IsOSFileHandleValid());
    EXPECT_EQ(20u, std::filesystem::file_size(f.file));
}

TEST(CUFileStream, FullDiskWriteReturnsZeroAndKeepsEarlierBytes) {
    Fixture f("");
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, false);
    std::string first = Pattern(100);
    ASSERT_EQ(100u, stream.Write(data(first), 100, 0, CUStream_Seek_Origin_End));
    ScopedFaultyFiles faults;
    FaultyFiles::writeBudget = 30; // 30 more bytes fit, then ENOSPC
    std::string second = Pattern(64, 'A');
    EXPECT_EQ(0u, stream.Write(data(second), 64, 0, CUStream_Seek_Origin_End));
    EXPECT_TRUE(stream.IsOSFileHandleValid()); // a failed write does not close
    EXPECT_EQ(first, ReadFile(f.file).substr(0, 100));
    // The state is the one a resize-then-write leaves: the file has the new length.
    EXPECT_EQ(164u, stream.Length());
    EXPECT_EQ(164u, std::filesystem::file_size(f.file));
    // Once space is back, writing goes on.
    FaultyFiles::writeBudget = -1;
    EXPECT_EQ(64u, stream.Write(data(second), 64, 100, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(first + second, ReadFile(f.file));
}

TEST(CUFileStream, FailedWriteReturnsZeroAShortOneKeepsTheStreamARefusedGrowthClosesIt) {
    Fixture f(Pattern(100));
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Write, false);
    ScopedFaultyFiles faults;
    FaultyFiles::writeBudget = 5;
    FaultyFiles::pwriteError = EIO;
    std::string block(20, '#');
    EXPECT_EQ(0u, stream.Write(data(block), 20, 10, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(2, FaultyFiles::pwrites.load()); // the partial write was continued, then failed
    EXPECT_EQ(0u, stream.Position());          // neither the mark nor the position moved
    EXPECT_EQ(100u, stream.Length());
    EXPECT_TRUE(stream.IsOSFileHandleValid());

    Fixture g(Pattern(10));
    CUFileStream growing(&g.path, CUStream_FileMode_Open, CUStream_FileAccess_Write, false);
    FaultyFiles::writeBudget = 0;
    FaultyFiles::pwriteError = EFBIG;
    FaultyFiles::ftruncateError = EFBIG;
    EXPECT_EQ(0u, growing.Write(data(block), 20, 0, CUStream_Seek_Origin_End));
    EXPECT_FALSE(growing.IsOSFileHandleValid());
    EXPECT_EQ(Pattern(10), ReadFile(g.file));
}

TEST(CUFileStream, VanishedFileReadFailureReturnsZeroAndKeepsTheStream) {
    Fixture f(Pattern(10));
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    ScopedFaultyFiles faults;
    FaultyFiles::preadError = ESTALE;
    std::string out(10, 'x');
    EXPECT_EQ(0u, stream.Read(data(out), 10, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, stream.Position());
    EXPECT_TRUE(stream.CanRead());
    FaultyFiles::preadError = 0;
    EXPECT_EQ(10u, stream.Read(data(out), 10, 0, CUStream_Seek_Origin_Begin));
}

TEST(CUFileStream, TwoThreadsNeverInterleaveInsideOneWrite) {
    Fixture f("");
    CUFileStream stream(&f.path, CUStream_FileMode_Append, CUStream_FileAccess_ReadWrite, false);
    constexpr std::size_t kBlock = 1024;
    constexpr int kBlocksPerThread = 2000;
    std::atomic<int> ready{0};
    auto writer = [&](char fill) {
        std::string block(kBlock, fill);
        ready.fetch_add(1);
        while (ready.load() < 2) {
            std::this_thread::yield(); // start together so that the writes overlap
        }
        for (int i = 0; i < kBlocksPerThread; ++i) {
            // Each write finds the end, grows the file and writes: three steps under one lock.
            ASSERT_EQ(kBlock, stream.Write(data(block), kBlock, 0, CUStream_Seek_Origin_End));
        }
    };
    std::thread a(writer, 'a'), b(writer, 'b');
    a.join();
    b.join();
    std::string const contents = ReadFile(f.file);
    ASSERT_EQ(2 * kBlocksPerThread * kBlock, contents.size());
    int as = 0, bs = 0;
    for (std::size_t at = 0; at < contents.size(); at += kBlock) {
        std::string const block = contents.substr(at, kBlock);
        ASSERT_EQ(std::string(kBlock, block[0]), block) << "mixed block at " << at;
        (block[0] == 'a' ? as : bs) += 1;
    }
    EXPECT_EQ(kBlocksPerThread, as);
    EXPECT_EQ(kBlocksPerThread, bs);
}

TEST(CUFileStream, ReadersAndWritersShareOneStreamSafely) {
    Fixture f(std::string(64, 'x'));
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, false);
    std::thread writer([&] {
        for (int i = 0; i < 500; ++i) {
            std::string block(64, static_cast<char>('a' + i % 26));
            stream.Write(data(block), 64, 0, CUStream_Seek_Origin_Begin);
        }
    });
    std::thread reader([&] {
        for (int i = 0; i < 500; ++i) {
            std::string out(64, '?');
            ASSERT_EQ(64u, stream.Read(data(out), 64, 0, CUStream_Seek_Origin_Begin));
            ASSERT_EQ(std::string(64, out[0]), out); // a whole write or none of it
        }
    });
    writer.join();
    reader.join();
}

TEST(CUFileStream, SeekOnlySetsThePositionAndTheSystemCodesMapByTable) {
    Fixture f("0123456789");
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
    EXPECT_EQ(4u, stream.Read(data(out), 4, 0, CUStream_Seek_Origin_Current));
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
