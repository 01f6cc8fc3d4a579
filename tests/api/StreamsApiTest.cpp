// Every public stream, existence-test and data-handle operation, through the shared library.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <type_traits>

TEST(ApiSurface, StreamsDataHandlesAndExistenceTestsAreExported) {
    static_assert(CUStream_Seek_Origin_Begin == 0 && CUStream_Seek_Origin_Current == 1 &&
                  CUStream_Seek_Origin_End == 2);
    static_assert(CUStream_FileMode_Append == 0 && CUStream_FileMode_Create == 1 &&
                  CUStream_FileMode_CreateNew == 2 && CUStream_FileMode_Open == 3 &&
                  CUStream_FileMode_OpenOrCreate == 4 && CUStream_FileMode_Truncate == 5);
    static_assert(CUStream_FileAccess_Read == 0 && CUStream_FileAccess_ReadWrite == 1 &&
                  CUStream_FileAccess_Write == 2);
    static_assert(sizeof(CUStream_Seek_Origin) == 4 && sizeof(CUStream_FileMode) == 4 &&
                  sizeof(CUStream_FileAccess) == 4);
    static_assert(std::is_base_of_v<CUObject, CUStream>);
    static_assert(std::is_base_of_v<CUStream, CUMemoryStream>);
    static_assert(std::is_base_of_v<CUStream, CUFileStream>);
    static_assert(std::is_base_of_v<CUObject, CUFile> && std::is_base_of_v<CUObject, CUDirectory>);
    static_assert(kCURangeNoLocation == 0x7fffffffffffffffULL);

    CUStream base;
    EXPECT_FALSE(base.CanRead() || base.CanWrite() || base.CanSeek());
    EXPECT_EQ(kCUStatusFailure, base.SetReadaleRange(_CURange{0, 0}));
    base.ResetReadaleRange();
    EXPECT_EQ(0u, base.Length() + base.CalcReadRange(1, 0, CUStream_Seek_Origin_Begin).length +
                      base.WriteCFData(nullptr, 0, CUStream_Seek_Origin_Begin));
    EXPECT_THROW(base.SetLength(1), unsigned int);
    EXPECT_THROW(base.Position(), unsigned int);
    EXPECT_THROW(base.SetPosition(1), unsigned int);

    char text[] = "abcdef";
    CUMemoryStream borrowed(text, 6, true);
    CUMemoryStream sized(4ULL);
    CUMemoryStream empty;
    EXPECT_NE(nullptr, empty.InitByMemorySize(2));
    _CURange range{1, 3};
    CUMemoryStream copied(&borrowed, range);
    CUSharedPtr<CUStream> shared(new CUMemoryStream(text, 6, false));
    CUMemoryStream fromShared(shared, range);
    unsigned char out[3];
    EXPECT_EQ(3u, copied.Read(out, 3, 0, CUStream_Seek_Origin_Begin));
    delete CUMemoryStream::CreateMemoryStream(&borrowed, range);
    delete CUMemoryStream::CreateMemoryStream(shared, range);
    EXPECT_TRUE(copied.GetPtr() && CUMemoryStream::CreateMemoryStreamPtr(&borrowed, range) &&
                CUMemoryStream::CreateMemoryStreamPtr(shared, range));
    CUMemoryStream later;
    EXPECT_EQ(3u, later.InitByStreamAndRange(&borrowed, range));
    later.UnInit();
    EXPECT_THROW(later.InitByStreamAndRange(nullptr, range), _CUErrorContents);
    CUStream& assigned = sized;
    assigned = static_cast<CUStream const&>(borrowed);

    __CFData const* data = CUPlatformDataCreate("xy", 2);
    EXPECT_EQ(2u, CUPlatformDataGetLength(data));
    EXPECT_EQ('x', CUPlatformDataGetBytePtr(data)[0]);
    CUPlatformRelease(CUPlatformDataRetain(data));
    CUPlatformRelease(data);

    std::random_device random;
    auto folder = std::filesystem::temp_directory_path() /
                  ("varn-api-streams-" + std::to_string(random()) + std::to_string(random()));
    std::filesystem::create_directories(folder);
    std::string const file = (folder / "api.bin").string();
    std::filesystem::remove(file);
    CUStringMac path(file.c_str(), CUString_CharCode_UTF8);
    CUStringMac dir(folder.string().c_str(), CUString_CharCode_UTF8);
    EXPECT_TRUE(CUDirectory::Exists(&dir) && !CUFile::Exists(&path));
    {
        CUFileStream stream(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite,
                            false);
        EXPECT_TRUE(stream.IsOSFileHandleValid() && stream.CanRead() && stream.CanWrite() &&
                    stream.CanSeek());
        stream.CheackFileOpened();
        unsigned char bytes[] = "abc";
        EXPECT_EQ(6u, stream.Write(bytes, 3, 0, CUStream_Seek_Origin_Begin) +
                          stream.Read(bytes, 3, 0, CUStream_Seek_Origin_Begin));
        EXPECT_EQ(1u, stream.Seek(1, CUStream_Seek_Origin_Begin));
        EXPECT_EQ(2u, stream.SetPosition(2));
        stream.SetLength(stream.Position());
        EXPECT_EQ(2u, stream.Init(&path, CUStream_FileMode_Open, CUStream_FileAccess_Read));
        stream.Close();
    }
    CUSharedPtr<CUStringMac> sharedPath(new CUStringMac(path));
    CUFileStream truncated(sharedPath, CUStream_FileMode_Truncate, CUStream_FileAccess_Write,
                           false);
    EXPECT_TRUE(CUFile::Exists(sharedPath) && truncated.Length() == 0);
    EXPECT_EQ(3, CUFileStream::CUStream_FileAccess_To_OS_FileAccess(CUStream_FileAccess_ReadWrite));
    EXPECT_EQ(2u, CUFileStream::CUStream_Seek_Origin_To_OS_Seek_Origin(CUStream_Seek_Origin_End));
    std::filesystem::remove_all(folder);
}
