// CUStream's defaults, read ranges, WriteCFData and assignment; CUMemoryStream over memory.
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUMemoryStream.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

using varn::test::CodeOf;

namespace {

// A stream whose length, readability and position field a test sets. Reads give back at most
// `give` bytes of 'z' (or throw a foreign exception); writes are recorded.
class ProbeStream : public CUStream {
  public:
    explicit ProbeStream(unsigned long long length = 0, unsigned long long give = 0) : give(give) {
        m_nLength = length;
    }
    bool CanRead() override { return readable; }
    void SetPositionField(unsigned long long p) { m_nPosition = p; }
    unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                            CUStream_Seek_Origin) override {
        if (throwForeign) {
            throw std::string("foreign");
        }
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
    bool readable = true, throwForeign = false;
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

} // namespace

// Assigning a stream empties it like a new one (nothing is copied) and drops its lock.
TEST(CUStream, NewAndAssignedStreamsAreEmptyAndTheBaseSupportsNothing) {
    char bytes[] = "0123456789";
    CUMemoryStream target(bytes, 10, true), source(bytes, 4, true);
    static_cast<CUStream&>(target) = static_cast<CUStream const&>(source);
    unsigned char out[4]; // the stream still works without a lock
    EXPECT_EQ(0u, target.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(4u, source.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
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
        {{3, 4}, 0, 10, 2, CUStream_Seek_Origin_Begin, 0, 0}, // a start before the range
        {{3, 4}, 0, 10, 3, CUStream_Seek_Origin_Begin, 3, 4},
        {{3, 4}, 0, 10, 6, CUStream_Seek_Origin_Begin, 6, 1},
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
    EXPECT_EQ(kCUStatusSuccess, s.SetReadaleRange({4, 6}));
    EXPECT_EQ(0x10001u, s.SetReadaleRange({5, 6}));
    EXPECT_EQ(kCUStatusFailure, s.SetReadaleRange({kCURangeNoLocation, 0}));
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
    EXPECT_EQ(0u, s.WriteCFData(nullptr, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(-1, s.lastOffset); // Write was never called
    __CFData const* data = CUPlatformDataCreate("hello", 5);
    EXPECT_EQ(5u, s.WriteCFData(data, 7, CUStream_Seek_Origin_End));
    EXPECT_EQ("hello", s.written);
    EXPECT_EQ(7, s.lastOffset);
    CUPlatformRelease(data);
}

// Reads never move the position; a borrowed buffer is read in place and never freed.
TEST(CUMemoryStream, ReadsClipBorrowedBuffersAreReadInPlaceCopiedOnesAreIndependent) {
    char* bytes = new char[10];
    std::memcpy(bytes, "0123456789", 10);
    unsigned char out[16] = {};
    {
        CUMemoryStream s(bytes, 10, true), copied(bytes, 10, false);
        EXPECT_EQ(2u, s.Read(out, 4, -2, CUStream_Seek_Origin_End));
        EXPECT_EQ("89", Chars(out, 2));
        EXPECT_EQ(0u, s.Read(nullptr, 4, 0, CUStream_Seek_Origin_Begin));
        bytes[0] = 'W';
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(3u, s.Read(out, 3, 0, CUStream_Seek_Origin_Current));
            EXPECT_EQ("W12", Chars(out, 3));
        }
        ASSERT_EQ(3u, copied.Read(out, 3, 0, CUStream_Seek_Origin_Begin));
        EXPECT_EQ("012", Chars(out, 3));
        ASSERT_EQ(kCUStatusSuccess, s.SetReadaleRange({3, 4}));
        EXPECT_EQ(4u, s.Read(out, 10, 3, CUStream_Seek_Origin_Begin));
        EXPECT_EQ("3456", Chars(out, 4));
    }
    bytes[1] = 'X'; // still ours: the sanitizers would flag a free by the stream
    delete[] bytes;
}

TEST(CUMemoryStream, OwnedBuffersAndStreamsWithoutBytes) {
    CUMemoryStream s(8);
    ASSERT_NE(nullptr, s.GetPtr());
    std::memcpy(s.GetPtr(), "ABCDEFGH", 8);
    unsigned char out[8];
    ASSERT_EQ(3u, s.Read(out, 3, 5, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("FGH", Chars(out, 3));
    s.UnInit(); // forgets the buffer but keeps the length
    EXPECT_EQ(nullptr, s.GetPtr());
    EXPECT_EQ(8u, s.Length());
    EXPECT_FALSE(s.CanRead());
    EXPECT_EQ(0u, s.Read(out, 6, 0, CUStream_Seek_Origin_Begin));
    CUMemoryStream fromNull(nullptr, 10, false), empty, impossible(~0ULL);
    for (CUMemoryStream* m : {&fromNull, &empty, &impossible}) {
        EXPECT_EQ(0u, m->Length());
        EXPECT_FALSE(m->CanRead());
        EXPECT_EQ(kCUStatusFailure, m->SetReadaleRange({0, 0}));
    }
}

// A copy reads the source from its start plus the location; a short one throws NotReady typed
// as the enumeration (not unsigned int) and keeps no buffer; the factories give null instead.
TEST(CUMemoryStream, CopiesARangeOutOfAnotherStreamOrThrowsNotReadyWhenItComesBackShort) {
    char bytes[] = "0123456789";
    CUSharedPtr<CUStream> source(new CUMemoryStream(bytes, 10, true));
    _CURange range{2, 5}, tail{6, 4}, past{4, 4}, far{7, 8}, whole{0, 8}, none{0, 0};
    CUMemoryStream copy(source, range);
    bytes[2] = '!';
    unsigned char out[5];
    ASSERT_EQ(5u, copy.Read(out, 5, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("23456", Chars(out, 5));
    CUSharedPtr<CUMemoryStream> made = CUMemoryStream::CreateMemoryStreamPtr(source, tail);
    EXPECT_EQ(1, made->GetRetainCount());
    ASSERT_EQ(4u, made->Read(out, 4, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("6789", Chars(out, 4));
    CUMemoryStream* raw = CUMemoryStream::CreateMemoryStream(source.get(), tail);
    EXPECT_EQ(0, raw->GetRetainCount());
    EXPECT_EQ(4u, raw->Length());
    delete raw;
    ASSERT_EQ(kCUStatusSuccess, source->SetReadaleRange({0, 6}));
    EXPECT_THROW(CUMemoryStream(source, past), _CUErrorContents); // 2 bytes come back
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
    EXPECT_FALSE(s.CanRead());
    EXPECT_THROW(s.InitByStreamAndRange(nullptr, tail), _CUErrorContents);
    EXPECT_THROW(s.InitByStreamAndRange(source.get(), none), _CUErrorContents);
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(&stingy, whole));
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(CUSharedPtr<CUStream>(), whole));
    stingy.throwForeign = true; // passes through the constructor, not the factory
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(&stingy, whole));
    EXPECT_THROW(CUMemoryStream(&stingy, whole), std::string);
}
