// CUFileStream I/O: growing writes, clipped reads, the tracked mark, access, resizing, seeking
// and threads.
#include "streams/StreamTesting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

using namespace varn::test;

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
    __CFData const* payload = CUPlatformDataCreate("payload", 7);
    EXPECT_EQ(7u, stream.WriteCFData(payload, 3, CUStream_Seek_Origin_Begin));
    CUPlatformRelease(payload);
    EXPECT_EQ("abcpayloadk", ReadFile(f.file).substr(0, 11));
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

TEST(CUFileStream, TwoAppendingThreadsNeverInterleaveInsideOneWrite) {
    StreamFile f;
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
            ASSERT_EQ(kBlock, stream.Write(Bytes(block), kBlock, 0, CUStream_Seek_Origin_End));
        }
    };
    std::thread a(writer, 'a'), b(writer, 'b');
    a.join();
    b.join();
    std::string const contents = ReadFile(f.file);
    ASSERT_EQ(2 * kBlocksPerThread * kBlock, contents.size());
    int as = 0;
    for (std::size_t at = 0; at < contents.size(); at += kBlock) {
        ASSERT_EQ(std::string(kBlock, contents[at]), contents.substr(at, kBlock)) << "at " << at;
        as += contents[at] == 'a' ? 1 : 0;
    }
    EXPECT_EQ(kBlocksPerThread, as); // and as many of b: the total is checked above
}

TEST(CUFileStream, ReadersAndWritersShareOneStreamSafely) {
    StreamFile f(std::string(64, 'x'));
    CUFileStream stream(&f.path, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, false);
    std::thread writer([&] {
        for (int i = 0; i < 500; ++i) {
            std::string block(64, static_cast<char>('a' + i % 26));
            stream.Write(Bytes(block), 64, 0, CUStream_Seek_Origin_Begin);
        }
    });
    std::thread reader([&] {
        for (int i = 0; i < 500; ++i) {
            std::string out(64, '?');
            ASSERT_EQ(64u, stream.Read(Bytes(out), 64, 0, CUStream_Seek_Origin_Begin));
            ASSERT_EQ(std::string(64, out[0]), out); // a whole write or none of it
        }
    });
    writer.join();
    reader.join();
}
