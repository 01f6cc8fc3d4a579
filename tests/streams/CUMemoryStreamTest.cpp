// CUMemoryStreamTest.cpp — borrowed and owned buffers, clipped reads, copying out of another
// stream and the factories that never throw.
#include <VarnUtilityLib/CUMemoryStream.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// A source that hands back fewer bytes than asked, or throws a foreign exception.
class StingySource : public CUStream {
  public:
    explicit StingySource(unsigned long long give) : give_(give) {}
    unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                            CUStream_Seek_Origin) override {
        if (throwForeign) {
            throw std::string("foreign");
        }
        lastOffset = offset;
        unsigned long long n = count < give_ ? count : give_;
        if (out != nullptr) {
            std::memset(out, 'z', n);
        }
        return n;
    }
    bool throwForeign = false;
    long long lastOffset = -1;

  private:
    unsigned long long give_;
};

std::string text(unsigned char const* bytes, unsigned long long n) {
    return std::string(reinterpret_cast<char const*>(bytes), n);
}

unsigned int codeOf(void (*f)(CUMemoryStream&), CUMemoryStream& s) {
    try {
        f(s);
    } catch (unsigned int code) {
        return code;
    }
    return 0;
}

} // namespace

TEST(CUMemoryStream, ReadsAreClippedByTheReadableRange) {
    char bytes[] = "0123456789";
    CUMemoryStream s(bytes, 10, true);
    unsigned char out[16] = {};
    EXPECT_EQ(2u, s.Read(out, 4, 8, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("89", text(out, 2));
    EXPECT_EQ(2u, s.Read(out, 4, -2, CUStream_Seek_Origin_End));
    EXPECT_EQ("89", text(out, 2));
    EXPECT_EQ(0u, s.Read(out, 4, 10, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, s.Read(out, 0, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(0u, s.Read(nullptr, 4, 0, CUStream_Seek_Origin_Begin));
}

TEST(CUMemoryStream, ReadBeforeANarrowedRangeGivesNothing) {
    char bytes[] = "0123456789";
    CUMemoryStream s(bytes, 10, true);
    ASSERT_EQ(kCUStatusSuccess, s.SetReadaleRange({3, 4}));
    unsigned char out[16] = {};
    EXPECT_EQ(0u, s.Read(out, 10, 2, CUStream_Seek_Origin_Begin));
    EXPECT_EQ(4u, s.Read(out, 10, 3, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("3456", text(out, 4));
}

TEST(CUMemoryStream, ReadsAtCurrentNeverMoveThePosition) {
    char bytes[] = "abcdef";
    CUMemoryStream s(bytes, 6, true);
    unsigned char first[3], second[3];
    ASSERT_EQ(3u, s.Read(first, 3, 0, CUStream_Seek_Origin_Current));
    ASSERT_EQ(3u, s.Read(second, 3, 0, CUStream_Seek_Origin_Current));
    EXPECT_EQ("abc", text(first, 3));
    EXPECT_EQ("abc", text(second, 3));
}

TEST(CUMemoryStream, BorrowedBufferIsReadInPlaceAndNeverFreed) {
    char* bytes = new char[4]{'w', 'x', 'y', 'z'};
    {
        CUMemoryStream s(bytes, 4, true);
        EXPECT_EQ(static_cast<void*>(bytes), s.GetPtr());
        bytes[0] = 'W';
        unsigned char out[1];
        ASSERT_EQ(1u, s.Read(out, 1, 0, CUStream_Seek_Origin_Begin));
        EXPECT_EQ('W', out[0]);
    }
    bytes[1] = 'X'; // still ours: the sanitizers would flag a free by the stream
    EXPECT_EQ('X', bytes[1]);
    delete[] bytes;
}

TEST(CUMemoryStream, CopiedBufferIsIndependentOfTheCaller) {
    char bytes[] = "abcd";
    CUMemoryStream s(bytes, 4, false);
    EXPECT_NE(static_cast<void*>(bytes), s.GetPtr());
    bytes[0] = 'Q';
    unsigned char out[4];
    ASSERT_EQ(4u, s.Read(out, 4, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("abcd", text(out, 4));
}

TEST(CUMemoryStream, NullDataOrNoBytesMakeAStreamThatCannotRead) {
    CUMemoryStream fromNull(nullptr, 10, false);
    EXPECT_EQ(0u, fromNull.Length());
    EXPECT_FALSE(fromNull.CanRead());
    EXPECT_EQ(kCUStatusFailure, fromNull.SetReadaleRange({0, 0}));
    CUMemoryStream empty;
    EXPECT_EQ(nullptr, empty.GetPtr());
    EXPECT_FALSE(empty.CanRead());
    EXPECT_EQ(kCUStatusFailure, empty.SetReadaleRange({0, 0}));
}

TEST(CUMemoryStream, SizeConstructorOwnsAWritableBuffer) {
    CUMemoryStream s(8);
    ASSERT_NE(nullptr, s.GetPtr());
    EXPECT_EQ(8u, s.Length());
    EXPECT_TRUE(s.CanRead());
    std::memcpy(s.GetPtr(), "ABCDEFGH", 8);
    unsigned char out[8];
    ASSERT_EQ(3u, s.Read(out, 3, 5, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("FGH", text(out, 3));
}

TEST(CUMemoryStream, ImpossibleAllocationLeavesTheStreamEmpty) {
    CUMemoryStream s(~0ULL);
    EXPECT_EQ(nullptr, s.GetPtr());
    EXPECT_EQ(0u, s.Length());
    EXPECT_FALSE(s.CanRead());
}

TEST(CUMemoryStream, UnInitForgetsTheBufferButKeepsTheLength) {
    CUMemoryStream s(6);
    s.UnInit();
    EXPECT_EQ(nullptr, s.GetPtr());
    EXPECT_EQ(6u, s.Length());
    EXPECT_FALSE(s.CanRead());
    unsigned char out[6];
    EXPECT_EQ(0u, s.Read(out, 6, 0, CUStream_Seek_Origin_Begin));
}

TEST(CUMemoryStream, CannotBeWrittenOrSeeked) {
    char bytes[] = "abc";
    CUMemoryStream s(bytes, 3, false);
    EXPECT_FALSE(s.CanWrite());
    EXPECT_FALSE(s.CanSeek());
    EXPECT_EQ(5u, codeOf(
                      [](CUMemoryStream& m) {
                          unsigned char in[1] = {'x'};
                          m.Write(in, 1, 0, CUStream_Seek_Origin_Begin);
                      },
                      s));
    EXPECT_EQ(5u, codeOf([](CUMemoryStream& m) { m.SetPosition(1); }, s));
    EXPECT_EQ(5u, codeOf([](CUMemoryStream& m) { m.Seek(1, CUStream_Seek_Origin_Begin); }, s));
}

TEST(CUMemoryStream, CopiesARangeOutOfAnotherStream) {
    char bytes[] = "0123456789";
    CUSharedPtr<CUStream> source(new CUMemoryStream(bytes, 10, true));
    _CURange range{2, 5};
    CUMemoryStream copy(source, range);
    EXPECT_EQ(5u, copy.Length());
    unsigned char out[5];
    ASSERT_EQ(5u, copy.Read(out, 5, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("23456", text(out, 5));
    bytes[2] = '!';
    ASSERT_EQ(1u, copy.Read(out, 1, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ('2', out[0]);
}

TEST(CUMemoryStream, CopyHonoursTheSourcesReadableRange) {
    char bytes[] = "0123456789";
    CUMemoryStream source(bytes, 10, true);
    ASSERT_EQ(kCUStatusSuccess, source.SetReadaleRange({0, 6}));
    _CURange range{4, 4}; // runs past the source's range: only 2 bytes come back
    try {
        CUMemoryStream copy(&source, range);
        ADD_FAILURE() << "no code thrown";
    } catch (_CUErrorContents code) {
        EXPECT_EQ(CUError_NotReady, code);
    }
}

TEST(CUMemoryStream, ShortCopyThrowsTheEnumerationNotAnUnsignedInt) {
    StingySource source(3);
    _CURange range{7, 8};
    bool caughtAsUnsigned = false, caughtAsEnum = false;
    try {
        try {
            CUMemoryStream copy(&source, range);
        } catch (unsigned int) {
            caughtAsUnsigned = true;
        }
    } catch (_CUErrorContents code) {
        caughtAsEnum = code == CUError_NotReady;
    }
    EXPECT_FALSE(caughtAsUnsigned);
    EXPECT_TRUE(caughtAsEnum);
    EXPECT_EQ(7, source.lastOffset); // read from the source's start plus the location
}

TEST(CUMemoryStream, InitByStreamAndRangeReleasesTheBufferOnAShortRead) {
    StingySource source(3);
    CUMemoryStream s;
    _CURange range{0, 8};
    EXPECT_THROW(s.InitByStreamAndRange(&source, range), _CUErrorContents);
    EXPECT_EQ(nullptr, s.GetPtr());
    EXPECT_EQ(3u, s.Length()); // the count that came back
    EXPECT_FALSE(s.CanRead());
}

TEST(CUMemoryStream, InitByStreamAndRangeRefusesANullSourceOrAnEmptyRange) {
    CUMemoryStream s;
    _CURange range{0, 4};
    EXPECT_THROW(s.InitByStreamAndRange(nullptr, range), _CUErrorContents);
    char bytes[] = "abcd";
    CUMemoryStream source(bytes, 4, true);
    _CURange empty{0, 0};
    EXPECT_THROW(s.InitByStreamAndRange(&source, empty), _CUErrorContents);
    EXPECT_EQ(nullptr, s.GetPtr());
}

TEST(CUMemoryStream, ForeignExceptionsFromTheSourcePassThrough) {
    StingySource source(100);
    source.throwForeign = true;
    _CURange range{0, 4};
    EXPECT_THROW(CUMemoryStream(&source, range), std::string);
}

TEST(CUMemoryStream, FactoriesReturnNullInsteadOfThrowing) {
    StingySource source(3);
    _CURange range{0, 8};
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(&source, range));
    EXPECT_FALSE(CUMemoryStream::CreateMemoryStreamPtr(&source, range));
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(CUSharedPtr<CUStream>(), range));
    EXPECT_FALSE(CUMemoryStream::CreateMemoryStreamPtr(CUSharedPtr<CUStream>(), range));
    source.throwForeign = true;
    EXPECT_EQ(nullptr, CUMemoryStream::CreateMemoryStream(&source, range));
}

TEST(CUMemoryStream, FactoriesCopyTheWholeRange) {
    char bytes[] = "0123456789";
    CUSharedPtr<CUStream> source(new CUMemoryStream(bytes, 10, true));
    _CURange range{6, 4};
    CUSharedPtr<CUMemoryStream> copy = CUMemoryStream::CreateMemoryStreamPtr(source, range);
    ASSERT_TRUE(copy);
    EXPECT_EQ(1, copy->GetRetainCount());
    unsigned char out[4];
    ASSERT_EQ(4u, copy->Read(out, 4, 0, CUStream_Seek_Origin_Begin));
    EXPECT_EQ("6789", text(out, 4));
    CUMemoryStream* raw = CUMemoryStream::CreateMemoryStream(source.get(), range);
    ASSERT_NE(nullptr, raw);
    EXPECT_EQ(0, raw->GetRetainCount());
    EXPECT_EQ(4u, raw->Length());
    delete raw;
}
