// CUDirectoryTest.cpp — the existence test for folders.
#include "fakes/FileFaults.h"

#include <VarnUtilityLib/CUDirectory.h>

#include <gtest/gtest.h>

#include <filesystem>

using varn::test::TempFolder;

namespace {
CUStringMac utf8(std::string const& s) {
    return CUStringMac(s.c_str(), CUString_CharCode_UTF8);
}
} // namespace

TEST(CUDirectory, ExistsForAFolderOnly) {
    TempFolder folder;
    std::string file = folder.File("plain.txt");
    varn::test::WriteFile(file, "x");
    CUStringMac filePath = utf8(file);
    CUStringMac folderPath = utf8(folder.Path().string());
    CUStringMac slashed = utf8(folder.Path().string() + "/");
    EXPECT_TRUE(CUDirectory::Exists(&folderPath));
    EXPECT_TRUE(CUDirectory::Exists(&slashed));
    EXPECT_FALSE(CUDirectory::Exists(&filePath));
    EXPECT_TRUE(CUDirectory::Exists(CUSharedPtr<CUStringMac>(new CUStringMac(folderPath))));
}

TEST(CUDirectory, FalseForMissingNullAndEmptyPaths) {
    TempFolder folder;
    CUStringMac missing = utf8(folder.File("missing"));
    CUStringMac empty = utf8("");
    EXPECT_FALSE(CUDirectory::Exists(&missing));
    EXPECT_FALSE(CUDirectory::Exists(&empty));
    EXPECT_FALSE(CUDirectory::Exists(static_cast<CUStringMac*>(nullptr)));
    EXPECT_FALSE(CUDirectory::Exists(CUSharedPtr<CUStringMac>()));
}

TEST(CUDirectory, FollowsALinkToAFolder) {
    TempFolder folder;
    std::filesystem::create_directory(folder.File("sub"));
    std::filesystem::create_directory_symlink(folder.File("sub"), folder.File("link"));
    CUStringMac link = utf8(folder.File("link"));
    EXPECT_TRUE(CUDirectory::Exists(&link));
}
