// CUMemoryStream: borrowed and owned buffers, clipped reads, copies out of another stream.
#include "streams/StreamTesting.h"

#include <VarnUtilityLib/CUMemoryStream.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace varn::test;

TEST(CUMemoryStream, ReadsAreClippedByTheReadableRangeAndNeverMoveThePosition) {
    char bytes[] = "0123456789";
    CUMemoryStream s(bytes, 10, true);
    unsigned char out[16] = {};
    EXPECT_EQ(2u, s.Read(out, 4, -2, CUStream_Seek_Origin_End));
    EXPECT_EQ("89", Chars(out, 2));
    EXPECT_EQ(0u, s.Read(nullptr, 4, 0, CUStream_Seek_Origin_Begin));
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(3u, s.Read(out, 3, 0, CUStream_Seek_Origin_Current));
        EXPECT_EQ("012", Chars(out, 3));
    }
    ASSERT_EQ(kCUStatusSuccess, s.SetReadaleRange({3, 4}));
    EXPECT_EQ(4u, s.Read(out, 10, 3, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("3456", Chars(out, 4));
}

TEST(CUMemoryStream, BorrowedBufferIsReadInPlaceAndNeverFreedCopiedOneIsIndependent) {
    char* bytes = new char[4]{'w', 'x', 'y', 'z'};
    unsigned char out[4];
    {
        CUMemoryStream borrowed(bytes, 4, true), copied(bytes, 4, false);
        EXPECT_EQ(static_cast<void*>(bytes), borrowed.GetPtr());
        EXPECT_NE(static_cast<void*>(bytes), copied.GetPtr());
        bytes[0] = 'W';
        ASSERT_EQ(4u, borrowed.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
        EXPECT_EQ("Wxyz", Chars(out, 4));
        ASSERT_EQ(4u, copied.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
        EXPECT_EQ("wxyz", Chars(out, 4));
    }
    bytes[1] = 'X'; // still ours: the sanitizers would flag a free by the stream
    delete[] bytes;
}

TEST(CUMemoryStream, OwnedBuffersAndStreamsWithoutBytes) {
    CUMemoryStream s(8);
    ASSERT_NE(nullptr, s.GetPtr());
    EXPECT_EQ(8u, s.Length());
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
    EXPECT_EQ(nullptr, impossible.GetPtr());
    for (CUMemoryStream* m : {&fromNull, &empty, &impossible}) {
        EXPECT_EQ(0u, m->Length());
        EXPECT_FALSE(m->CanRead());
        EXPECT_EQ(kCUStatusFailure, m->SetReadaleRange({0, 0}));
    }
}

TEST(CUMemoryStream, CopiesARangeOutOfAnotherStream) {
    char bytes[] = "0123456789";
    CUSharedPtr<CUStream> source(new CUMemoryStream(bytes, 10, true));
    _CURange range{2, 5}, tail{6, 4};
    CUMemoryStream copy(source, range);
    EXPECT_EQ(5u, copy.Length());
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
}

TEST(CUMemoryStream, ShortCopyThrowsNotReadyAsTheEnumerationAndKeepsNoBuffer) {
    char bytes[] = "0123456789";
    CUMemoryStream narrowed(bytes, 10, true);
    ASSERT_EQ(kCUStatusSuccess, narrowed.SetReadaleRange({0, 6}));
    _CURange past{4, 4}, far{7, 8}, whole{0, 8}, four{0, 4}, none{0, 0};
    EXPECT_THROW(CUMemoryStream(&narrowed, past), _CUErrorContents); // 2 bytes come back
    ProbeStream source(0, 3);
    bool caughtAsUnsigned = false, caughtAsEnum = false;
    try {
        try {
            CUMemoryStream copy(&source, far);
        } catch (unsigned int) {
            caughtAsUnsigned = true;
        }
    } catch (_CUErrorContents code) {
        caughtAsEnum = code == CUError_NotReady;
    }
    EXPECT_FALSE(caughtAsUnsigned);
    EXPECT_TRUE(caughtAsEnum);
    EXPECT_EQ(7, source.lastOffset); // read from the source's start plus the location
    CUMemoryStream s;
    EXPECT_THROW(s.InitByStreamAndRange(&source, whole), _CUErrorContents);
    EXPECT_EQ(nullptr, s.GetPtr());
    EXPECT_EQ(3u, s.Length()); // the count that came back
    EXPECT_FALSE(s.CanRead());
    EXPECT_THROW(s.InitByStreamAndRange(nullptr, four), _CUErrorContents);
    EXPECT_THROW(s.InitByStreamAndRange(&narrowed, none), _CUErrorContents);
    EXPECT_EQ(nullptr, s.GetPtr());
}

TEST(CUMemoryStream, FactoriesReturnNullInsteadOfThrowingForeignExceptionsPassThrough) {
    ProbeStream source(0, 3);
    _CURange range{0, 8};
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(&source, range));
    EXPECT_FALSE(CUMemoryStream::CreateMemoryStreamPtr(&source, range));
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(CUSharedPtr<CUStream>(), range));
    EXPECT_FALSE(CUMemoryStream::CreateMemoryStreamPtr(CUSharedPtr<CUStream>(), range));
    source.throwForeign = true;
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(&source, range));
    EXPECT_THROW(CUMemoryStream(&source, range), std::string);
}
