// FilesApiTest.cpp — names every public operation, enumerator and spelling of the file, folder
// and drive classes through the shared library.
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

TEST(ApiSurface, FilesFoldersAndDrivesAreExported) {
    static_assert(std::is_base_of_v<CUObject, CUFileSysytemInfo>);
    static_assert(std::is_base_of_v<CUFileSysytemInfo, CUFileInfo>);
    static_assert(std::is_base_of_v<CUFileSysytemInfo, CUDirectoryInfo>);
    static_assert(std::is_base_of_v<CUObject, CUDriveInfo>);
    static_assert(std::is_same_v<decltype(&CUFileInfo::z_CopyMoveWithProgressErrorCheack),
                                 void (CUFileInfo::*)(CUSharedPtr<CUStringMac>, _CopyProgress_Info*,
                                                      bool, bool)>);
    static_assert(std::is_same_v<decltype(&CUFileInfo::z_WaitFileNotExist),
                                 bool (CUFileInfo::*)(CUSharedPtr<CUStringMac>, unsigned int)>);
    static_assert(std::is_same_v<decltype(_CopyProgress_Info::callback),
                                 bool (*)(unsigned long long, unsigned long long, void*)>);
    static_assert(std::is_same_v<decltype(&CUDriveInfo::IsSysytemDrive), bool (CUDriveInfo::*)()>);
    static_assert(CUDriveType_Optical == 0 && CUDriveType_Fixed == 1 && CUDriveType_NoDevice == 2 &&
                  CUDriveType_Ram == 4 && CUDriveType_Removable == 5 && CUDriveType_Unknown == 6);

    auto dir =
        std::filesystem::temp_directory_path() / ("varn-files-api-" + std::to_string(::getpid()));
    std::string root = dir.string();
    CUSharedPtr<CUDirectoryInfo> folder = CUDirectory::CreateDirectory(str(root + "/a"));
    CUStringMac rootText(root.c_str(), CUString_CharCode_UTF8);
    EXPECT_TRUE(CUDirectory::Exists(&rootText));
    std::ofstream(root + "/a/f") << "abc";
    CUFileInfo file(str(root + "/a/f"));
    EXPECT_TRUE(file.Exists() && file.Length() == 3);
    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    EXPECT_EQ(0u,
              file.CopyFile(str(root + "/a/g")) +
                  CUFile::Copy(str(root + "/a/f"), str(root + "/a/h")) +
                  CUFile::CopyWithProgress(str(root + "/a/f"), str(root + "/a/i"), &info, false) +
                  CUFile::MoveWithProgress(str(root + "/a/i"), str(root + "/a/j"), &info, false));
    CUFile::Rename(str(root + "/a/j"), str("k"));
    CUFile::Delete(str(root + "/a/k"));
    CUStringMac h((root + "/a/h").c_str(), CUString_CharCode_UTF8);
    CUFile::Delete(h);
    EXPECT_TRUE(CUDirectory::GetFiles(str(root + "/a")) && CUDirectory::GetDirectories(&rootText) &&
                folder->GetDirectories() && folder->Description());
    CUDirectory::Rename(str(root + "/a"), str("b"));
    CUDirectory::CreateDirectory(&rootText);
    CUDirectory::Delete(&rootText, true);
    EXPECT_TRUE(CUDirectoryInfo::CreateDirectory(str(root)));
    CUDirectory::Delete(str(root));
    EXPECT_THROW(CUDirectory::Delete(str(root + "-x"), false), unsigned int);
    EXPECT_THROW(CUDirectory::Recycle(str(root + "-x")), unsigned int);

    CUStringMac slash("/", CUString_CharCode_UTF8);
    CUDriveInfo byReference(slash);
    CUDriveInfo byPointer(str("/"));
    CUSharedPtr<CUDriveInfo> drive = CUDriveInfo::CreateCUDriveInfo(slash);
    ASSERT_TRUE(drive && CUDriveInfo::CreateCUDriveInfo(str("/")));
    EXPECT_TRUE(drive->Init(&slash) && drive->GetName() && drive->GetVolumeLabel() &&
                drive->GetDisplayString() && drive->IsReady() && drive->IsSysytemDrive() &&
                drive->Description());
    EXPECT_GT(drive->GetTotalSize() + drive->GetTotalFreeSize(), 0u);
    EXPECT_NE(CUDriveType_Unknown, drive->GetDriveType());
    EXPECT_THROW(byReference.Init(nullptr), unsigned int);
}
