// CUFileTest.cpp — the existence test for files.
#include "fakes/FileFaults.h"

#include <VarnUtilityLib/CUFile.h>

#include <gtest/gtest.h>

#include <filesystem>

using varn::test::TempFolder;

namespace {
CUStringMac utf8(std::string const& s) {
    return CUStringMac(s.c_str(), CUString_CharCode_UTF8);
}
} // namespace

TEST(CUFile, ExistsForAPlainFileOnly) {
    TempFolder folder;
    std::string file = folder.File("plain.txt");
    varn::test::WriteFile(file, "x");
    CUStringMac filePath = utf8(file);
    CUStringMac folderPath = utf8(folder.Path().string());
    EXPECT_TRUE(CUFile::Exists(&filePath));
    EXPECT_FALSE(CUFile::Exists(&folderPath));
    EXPECT_TRUE(CUFile::Exists(CUSharedPtr<CUStringMac>(new CUStringMac(filePath))));
}

TEST(CUFile, FalseForMissingNullAndEmptyPaths) {
    TempFolder folder;
    CUStringMac missing = utf8(folder.File("missing"));
    CUStringMac empty = utf8("");
    EXPECT_FALSE(CUFile::Exists(&missing));
    EXPECT_FALSE(CUFile::Exists(&empty));
    EXPECT_FALSE(CUFile::Exists(static_cast<CUStringMac*>(nullptr)));
    EXPECT_FALSE(CUFile::Exists(CUSharedPtr<CUStringMac>()));
}

TEST(CUFile, FollowsLinksAndRefusesATrailingSlash) {
    TempFolder folder;
    std::string file = folder.File("target");
    varn::test::WriteFile(file, "x");
    std::filesystem::create_symlink(file, folder.File("link"));
    std::filesystem::create_symlink(folder.File("gone"), folder.File("dangling"));
    CUStringMac link = utf8(folder.File("link"));
    CUStringMac dangling = utf8(folder.File("dangling"));
    CUStringMac slashed = utf8(file + "/");
    EXPECT_TRUE(CUFile::Exists(&link));
    EXPECT_FALSE(CUFile::Exists(&dangling));
    EXPECT_FALSE(CUFile::Exists(&slashed));
}

TEST(CUFile, FindsNamesOutsideASCII) {
    TempFolder folder;
    std::string file = folder.File("caf\xC3\xA9 \xF0\x9F\x8C\x8D.txt");
    varn::test::WriteFile(file, "x");
    CUStringMac path = utf8(file);
    EXPECT_TRUE(CUFile::Exists(&path));
}
