// FilesApiTest.cpp — names every public operation and spelling of the file and folder classes
// through the shared library.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <type_traits>

namespace {

CUSharedPtr<CUStringMac> str(std::string const& text) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(text.c_str(), CUString_CharCode_UTF8));
}

} // namespace

TEST(FilesApi, EntryClassesAndTheirOddSpellingsAreExported) {
    static_assert(std::is_base_of_v<CUObject, CUFileSysytemInfo>);
    static_assert(std::is_base_of_v<CUFileSysytemInfo, CUFileInfo>);
    static_assert(std::is_base_of_v<CUFileSysytemInfo, CUDirectoryInfo>);
    static_assert(std::is_same_v<decltype(&CUFileInfo::z_CopyMoveWithProgressErrorCheack),
                                 void (CUFileInfo::*)(CUSharedPtr<CUStringMac>, _CopyProgress_Info*,
                                                      bool, bool)>);
    static_assert(std::is_same_v<decltype(&CUFileInfo::z_WaitFileNotExist),
                                 bool (CUFileInfo::*)(CUSharedPtr<CUStringMac>, unsigned int)>);
    static_assert(std::is_same_v<decltype(_CopyProgress_Info::callback),
                                 bool (*)(unsigned long long, unsigned long long, void*)>);

    auto dir =
        std::filesystem::temp_directory_path() / ("varn-files-api-" + std::to_string(::getpid()));
    std::string root = dir.string();
    CUSharedPtr<CUDirectoryInfo> folder = CUDirectory::CreateDirectory(str(root + "/a"));
    CUStringMac rootText(root.c_str(), CUString_CharCode_UTF8);
    EXPECT_TRUE(CUDirectory::Exists(&rootText));
    std::ofstream(root + "/a/f") << "abc";
    CUFileInfo file(str(root + "/a/f"));
    EXPECT_TRUE(file.Exists());
    EXPECT_EQ(3u, file.Length());
    EXPECT_EQ(0u, file.CopyFile(str(root + "/a/g")));
    EXPECT_EQ(0u, CUFile::Copy(str(root + "/a/f"), str(root + "/a/h")));
    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    EXPECT_EQ(0u, CUFile::CopyWithProgress(str(root + "/a/f"), str(root + "/a/i"), &info, false));
    EXPECT_EQ(0u, CUFile::MoveWithProgress(str(root + "/a/i"), str(root + "/a/j"), &info, false));
    CUFile::Rename(str(root + "/a/j"), str("k"));
    CUFile::Delete(str(root + "/a/k"));
    CUStringMac h((root + "/a/h").c_str(), CUString_CharCode_UTF8);
    CUFile::Delete(h);
    EXPECT_EQ(2u, CUDirectory::GetFiles(str(root + "/a"))->Count());
    EXPECT_EQ(1u, CUDirectory::GetDirectories(&rootText)->Count());
    EXPECT_EQ(0u, folder->GetDirectories()->Count());
    EXPECT_TRUE(folder->Description());
    CUDirectory::Rename(str(root + "/a"), str("b"));
    CUDirectory::CreateDirectory(&rootText);
    CUDirectory::Delete(&rootText, true);
    EXPECT_FALSE(std::filesystem::exists(dir));
    EXPECT_TRUE(CUDirectoryInfo::CreateDirectory(str(root)));
    CUDirectory::Delete(str(root));
    EXPECT_THROW(CUDirectory::Delete(str(root + "-x"), false), unsigned int);
    EXPECT_THROW(CUDirectory::Recycle(str(root + "-x")), unsigned int);
}
