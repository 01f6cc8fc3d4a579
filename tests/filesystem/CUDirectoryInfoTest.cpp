// CUDirectoryInfoTest.cpp — folder entries: creation with ancestors, deletion, listing, trash.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUDirectoryInfo.h>
#include <VarnUtilityLib/CUFileInfo.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

using varn::test::CodeOf;
using varn::test::ReadFile;
using varn::test::Str;
using varn::test::TempFolder;
using varn::test::WriteFile;

namespace {

// The trash lives under XDG_DATA_HOME, and GLib reads it (and HOME) once per process: both
// point into a private folder before any test runs.
class PrivateHome : public ::testing::Environment {
  public:
    void SetUp() override {
        ::setenv("HOME", home_.Path().c_str(), 1);
        ::setenv("XDG_DATA_HOME", (home_.Path() / "data").c_str(), 1);
    }
    static std::filesystem::path DataHome() { return std::getenv("XDG_DATA_HOME"); }

  private:
    TempFolder home_;
};

::testing::Environment* const privateHome = ::testing::AddGlobalTestEnvironment(new PrivateHome);

std::set<std::string> names(CUSharedPtr<CUArray> items) {
    std::set<std::string> result;
    for (unsigned long i = 0; i < items->Count(); ++i) {
        CUSharedPtr<CUFileSysytemInfo> entry = items->ObjectAtIndex(i);
        CUSharedPtr<CUStringMac> path = entry->GetFullName();
        char const* p = *path;
        result.insert(std::filesystem::path(p).filename().string());
    }
    return result;
}

} // namespace

TEST(CUDirectoryInfo, CreateMakesEveryMissingLevel) {
    TempFolder dir;
    std::string deep = dir.File("a/b/c");
    CUSharedPtr<CUDirectoryInfo> made = CUDirectory::CreateDirectory(Str(deep));
    ASSERT_TRUE(made);
    EXPECT_TRUE(std::filesystem::is_directory(deep));
    EXPECT_NO_THROW(made->Create()); // exists: nothing to do
    // A trailing separator leaves no name to create: the level fails.
    EXPECT_EQ(4u, CodeOf([&] { CUDirectoryInfo(Str(dir.File("t/"))).Create(); }));
}

TEST(CUDirectoryInfo, CreateBelowAFileFailsWith4AndKeepsWhatItMade) {
    TempFolder dir;
    WriteFile(dir.File("file"), "x");
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::CreateDirectory(Str(dir.File("file/sub/x"))); }));
    EXPECT_TRUE(std::filesystem::is_regular_file(dir.File("file")));
}

TEST(CUDirectoryInfo, CreateDirectoryNeedsAnExistingParent) {
    TempFolder dir;
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x/y"))));
    EXPECT_TRUE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x"))));
    EXPECT_TRUE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x")))); // already there
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(CUSharedPtr<CUStringMac>()));
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(Str("relative-without-separator")));
}

TEST(CUDirectoryInfo, DeleteNeedsAnEmptyExistingFolder) {
    TempFolder dir;
    std::filesystem::create_directory(dir.File("full"));
    WriteFile(dir.File("full/f"), "x");
    WriteFile(dir.File("file"), "x");
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("full"))); }));
    EXPECT_EQ(3u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("file"))); }));
    EXPECT_EQ(3u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("missing"))); }));
    std::filesystem::create_directory(dir.File("empty"));
    CUDirectory::Delete(Str(dir.File("empty")));
    EXPECT_FALSE(std::filesystem::exists(dir.File("empty")));
}

TEST(CUDirectoryInfo, RecursiveDeleteEmptiesAndRemovesTheTree) {
    TempFolder dir;
    std::filesystem::create_directories(dir.File("t/a/b"));
    WriteFile(dir.File("t/f1"), "1");
    WriteFile(dir.File("t/a/f2"), "2");
    WriteFile(dir.File("t/a/b/f3"), "3");
    CUDirectory::Delete(Str(dir.File("t")), true);
    EXPECT_FALSE(std::filesystem::exists(dir.File("t")));
}

TEST(CUDirectoryInfo, RecursiveDeleteNeverFollowsALinkOutOfTheTree) {
    TempFolder dir;
    TempFolder outside;
    WriteFile(outside.File("precious"), "keep me");
    std::filesystem::create_directories(dir.File("t/sub"));
    std::filesystem::create_directory_symlink(outside.Path(), dir.File("t/sub/link"));
    std::filesystem::create_symlink(outside.File("precious"), dir.File("t/filelink"));
    CUDirectory::Delete(Str(dir.File("t")), true);
    EXPECT_FALSE(std::filesystem::exists(dir.File("t")));
    EXPECT_EQ("keep me", ReadFile(outside.File("precious")));

    // A link given as the tree itself is not descended into either.
    std::filesystem::create_directory_symlink(outside.Path(), dir.File("rootlink"));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("rootlink")), true); }));
    EXPECT_EQ("keep me", ReadFile(outside.File("precious")));
}

TEST(CUDirectoryInfo, ListingsSeparateFoldersFromFilesAndTreatLinksAsFiles) {
    TempFolder dir;
    WriteFile(dir.File("one"), "1");
    WriteFile(dir.File("two"), "2");
    WriteFile(dir.File(".hidden"), "h");
    std::filesystem::create_directory(dir.File("sub"));
    std::filesystem::create_directory_symlink(dir.File("sub"), dir.File("link"));
    CUSharedPtr<CUArray> files = CUDirectory::GetFiles(Str(dir.Path().string()));
    CUSharedPtr<CUArray> folders = CUDirectory::GetDirectories(Str(dir.Path().string()));
    EXPECT_EQ((std::set<std::string>{"one", "two", ".hidden", "link"}), names(files));
    EXPECT_EQ((std::set<std::string>{"sub"}), names(folders));
    CUSharedPtr<CUFileInfo> first = files->ObjectAtIndex(0);
    EXPECT_TRUE(first);
    CUSharedPtr<CUDirectoryInfo> folder = folders->ObjectAtIndex(0);
    ASSERT_TRUE(folder);
    CUSharedPtr<CUStringMac> path = folder->GetFullName();
    EXPECT_EQ(dir.File("sub"), std::string(static_cast<char const*>(*path)));
}

TEST(CUDirectoryInfo, ListingAnEmptyFolderGivesAnEmptyArrayAndANonFolderThrows4) {
    TempFolder dir;
    CUSharedPtr<CUArray> none = CUDirectory::GetFiles(Str(dir.Path().string()));
    ASSERT_TRUE(none);
    EXPECT_EQ(0u, none->Count());
    WriteFile(dir.File("f"), "x");
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::GetFiles(Str(dir.File("f"))); }));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::GetDirectories(Str(dir.File("missing"))); }));
}

TEST(CUDirectoryInfo, StaticsRefuseNullAndEmptyPaths) {
    CUStringMac empty("", CUString_CharCode_UTF8);
    EXPECT_EQ(2u, CodeOf([] { CUDirectory::Delete(CUSharedPtr<CUStringMac>()); }));
    EXPECT_EQ(2u, CodeOf([] { CUDirectory::GetFiles(static_cast<CUStringMac*>(nullptr)); }));
    EXPECT_EQ(1u, CodeOf([&] { CUDirectory::Delete(&empty, true); }));
}

TEST(CUDirectoryInfo, RecyclePutsTheFolderInTheTrashWithItsInfoFile) {
    TempFolder dir;
    std::filesystem::create_directory(dir.File("old stuff"));
    WriteFile(dir.File("old stuff/f"), "x");
    CUDirectory::Recycle(Str(dir.File("old stuff")));
    EXPECT_FALSE(std::filesystem::exists(dir.File("old stuff")));
    std::filesystem::path trash = PrivateHome::DataHome() / "Trash";
    EXPECT_EQ("x", ReadFile((trash / "files" / "old stuff" / "f").string()));
    std::string info = ReadFile((trash / "info" / "old stuff.trashinfo").string());
    EXPECT_NE(std::string::npos, info.find("[Trash Info]"));
    EXPECT_NE(std::string::npos, info.find("Path="));
    EXPECT_NE(std::string::npos, info.find("DeletionDate="));
}

TEST(CUDirectoryInfo, RecycleOfAMissingFolderThrows3) {
    TempFolder dir;
    EXPECT_EQ(3u, CodeOf([&] { CUDirectory::Recycle(Str(dir.File("missing"))); }));
}
