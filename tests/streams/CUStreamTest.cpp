// CUStream: the unsupported defaults, read-range arithmetic, the readable range, WriteCFData and
// assignment.
#include "streams/StreamTesting.h"

#include <VarnUtilityLib/CUMemoryStream.h>

#include <gtest/gtest.h>

#include <string>

using namespace varn::test;

namespace {

void ExpectRange(_CURange r, unsigned long long location, unsigned long long length) {
    EXPECT_EQ(location, r.location);
    EXPECT_EQ(length, r.length);
}

} // namespace

TEST(CUStream, StartsEmptyAndSupportsNothing) {
    CUStream stream;
    EXPECT_EQ(0u, stream.Length());
    ExpectRange(stream.GetReadableRange(), 0, 0);
    EXPECT_FALSE(stream.CanRead() || stream.CanWrite() || stream.CanSeek());
    unsigned char buffer[4] = {};
    EXPECT_EQ(5u, CodeOf([&] { stream.Read(buffer, 4, 0, CUStream_Seek_Origin_Begin); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.Write(buffer, 4, 0, CUStream_Seek_Origin_Begin); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.Seek(0, CUStream_Seek_Origin_Begin); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.SetLength(3); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.Position(); }));
    EXPECT_EQ(5u, CodeOf([&] { stream.SetPosition(1); }));
}

TEST(CUStream, CalcReadRangeClipsToTheReadableRange) {
    struct {
        _CURange readable;
        unsigned long long position, count;
        long long offset;
        int origin;
        unsigned long long location, length;
    } const rows[] = {
        // clang-format off
        {{0, 10}, 0, 4, 8, CUStream_Seek_Origin_Begin, 8, 2},
        {{0, 10}, 0, 4, 2, CUStream_Seek_Origin_Begin, 2, 4},
        {{0, 10}, 0, 4, -2, CUStream_Seek_Origin_End, 8, 2},
        {{0, 10}, 0, 4, 10, CUStream_Seek_Origin_Begin, 0, 0},
        {{0, 10}, 0, 0, 3, CUStream_Seek_Origin_Begin, 0, 0},
        {{0, 10}, 0, 4, -1, CUStream_Seek_Origin_Begin, 0, 0}, // huge start
        {{0, 10}, 0, 10, 0, CUStream_Seek_Origin_Begin, 0, 10},
        {{0, 10}, 6, 3, 1, CUStream_Seek_Origin_Current, 7, 3}, // from the position field
        {{0, 10}, 6, 3, -6, CUStream_Seek_Origin_Current, 0, 3},
        {{0, 10}, 0, 4, 2, 3, 0, 0}, // unknown origins
        {{0, 10}, 0, 4, 2, -1, 0, 0},
        {{3, 4}, 0, 10, 2, CUStream_Seek_Origin_Begin, 0, 0}, // a start before the range
        {{3, 4}, 0, 10, 3, CUStream_Seek_Origin_Begin, 3, 4},
        {{3, 4}, 0, 10, 6, CUStream_Seek_Origin_Begin, 6, 1},
        {{3, 4}, 0, 10, 7, CUStream_Seek_Origin_Begin, 0, 0},
        {{3, 4}, 0, 3, 4, CUStream_Seek_Origin_Begin, 4, 3}, // ends exactly at the range's end
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
    EXPECT_EQ(kCUStatusFailure, s.SetReadaleRange({5, 6}));
    EXPECT_EQ(kCUStatusSuccess, s.SetReadaleRange({4, 6}));
    ExpectRange(s.GetReadableRange(), 4, 6);
    EXPECT_EQ(kCUStatusFailure, s.SetReadaleRange({kCURangeNoLocation, 0}));
    EXPECT_EQ(0x10001u, s.SetReadaleRange({11, 0}));
    ExpectRange(s.GetReadableRange(), 4, 6); // the old range stays
    EXPECT_EQ(kCUStatusSuccess, s.SetReadaleRange({10, 0}));
    s.readable = false; // refused, and reset does nothing, when the stream cannot read
    EXPECT_EQ(kCUStatusFailure, s.SetReadaleRange({0, 4}));
    s.ResetReadaleRange();
    ExpectRange(s.GetReadableRange(), 10, 0);
    s.readable = true;
    s.ResetReadaleRange();
    ExpectRange(s.GetReadableRange(), 0, 10);
}

TEST(CUStream, WriteCFDataWritesTheBytesAtTheGivenOffset) {
    ProbeStream s;
    __CFData const* empty = CUPlatformDataCreate(nullptr, 0);
    EXPECT_EQ(0u, s.WriteCFData(nullptr, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, s.WriteCFData(empty, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(-1, s.lastOffset); // Write was never called
    CUPlatformRelease(empty);
    __CFData const* data = CUPlatformDataCreate("hello", 5);
    EXPECT_EQ(5u, s.WriteCFData(data, 7, CUStream_Seek_Origin_End));
    EXPECT_EQ("hello", s.written);
    EXPECT_EQ(7, s.lastOffset);
    EXPECT_EQ(CUStream_Seek_Origin_End, s.lastOrigin);
    char bytes[] = "abc"; // what Write throws passes through
    CUMemoryStream memory(bytes, 3, true);
    EXPECT_EQ(5u, CodeOf([&] { memory.WriteCFData(data, 0, CUStream_Seek_Origin_Begin); }));
    CUPlatformRelease(data);
}

TEST(CUStream, AssignmentEmptiesTheTargetAndDropsItsLock) {
    char bytes[] = "0123456789";
    CUMemoryStream target(bytes, 10, true);
    CUMemoryStream source(bytes, 4, true);
    ASSERT_EQ(kCUStatusSuccess, target.SetReadaleRange({2, 3}));
    CUStream& base = target;
    base = static_cast<CUStream const&>(source);
    EXPECT_EQ(0u, target.Length());
    ExpectRange(target.GetReadableRange(), 0, 0);
    // Nothing was copied from the source, and the stream still works without a lock.
    unsigned char out[4];
    EXPECT_EQ(0u, target.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(kCUStatusFailure, target.SetReadaleRange({0, 1}));
    EXPECT_EQ(4u, source.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
}
