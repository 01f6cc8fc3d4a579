// CUDirectoryInfoTest.cpp — folder entries: creation with ancestors, deletion, listing, trash.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUDirectoryInfo.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileStream.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

using namespace varn::test;
namespace fs = std::filesystem;

namespace {

// The trash lives under XDG_DATA_HOME, and GLib reads it (and HOME) once per process: both
// point into a private folder before any test runs.
class PrivateHome : public ::testing::Environment {
  public:
    void SetUp() override {
        ::setenv("HOME", home_.Path().c_str(), 1);
        ::setenv("XDG_DATA_HOME", (home_.Path() / "data").c_str(), 1);
    }
    static fs::path DataHome() { return std::getenv("XDG_DATA_HOME"); }

  private:
    TempFolder home_;
};

::testing::Environment* const privateHome = ::testing::AddGlobalTestEnvironment(new PrivateHome);

} // namespace

TEST(CUDirectoryInfo, CreateMakesEveryMissingLevelAndStopsWithFourAtAFile) {
    TempFolder dir;
    std::string deep = dir.File("a/b/c");
    CUSharedPtr<CUDirectoryInfo> made = CUDirectory::CreateDirectory(Str(deep));
    ASSERT_TRUE(made);
    EXPECT_TRUE(fs::is_directory(deep));
    EXPECT_NO_THROW(made->Create()); // exists: nothing to do
    // A trailing separator leaves no name to create: the level fails.
    EXPECT_EQ(4u, CodeOf([&] { CUDirectoryInfo(Str(dir.File("t/"))).Create(); }));
    WriteFile(dir.File("file"), "x");
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::CreateDirectory(Str(dir.File("file/sub/x"))); }));
    EXPECT_TRUE(fs::is_regular_file(dir.File("file")));

    // The static form makes one level only.
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x/y"))));
    EXPECT_TRUE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x"))));
    EXPECT_TRUE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x")))); // already there
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(CUSharedPtr<CUStringMac>()));
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(Str("relative-without-separator")));

    // Relative paths are taken from the working directory by folders and file streams alike.
    fs::path const before = fs::current_path();
    fs::current_path(dir.Path());
    for (char const* relative : {"bare", "rel/a/b"}) {
        EXPECT_EQ(0u, CodeOf([&] { CUDirectoryInfo(Str(relative)).Create(); })) << relative;
        EXPECT_TRUE(fs::is_directory(dir.File(relative))) << relative;
    }
    CUSharedPtr<CUStringMac> file = Str("bare.txt");
    EXPECT_EQ(0u, CodeOf([&] {
                  CUFileStream(file, CUStream_FileMode_CreateNew, CUStream_FileAccess_Write, false);
              }));
    EXPECT_TRUE(fs::is_regular_file(dir.File("bare.txt")));
    fs::current_path(before);
}

TEST(CUDirectoryInfo, DeleteNeedsAnEmptyExistingFolderUnlessRecursive) {
    TempFolder dir;
    fs::create_directory(dir.File("full"));
    WriteFile(dir.File("full/f"), "x");
    WriteFile(dir.File("file"), "x");
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("full"))); }));
    EXPECT_EQ(3u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("file"))); }));
    EXPECT_EQ(3u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("missing"))); }));
    EXPECT_EQ(2u, CodeOf([] { CUDirectory::Delete(CUSharedPtr<CUStringMac>()); }));
    CUStringMac empty("", CUString_CharCode_UTF8);
    EXPECT_EQ(1u, CodeOf([&] { CUDirectory::Delete(&empty, true); }));
    fs::create_directory(dir.File("empty"));
    CUDirectory::Delete(Str(dir.File("empty")));
    EXPECT_FALSE(fs::exists(dir.File("empty")));
    CUDirectory::Delete(Str(dir.File("full")), true);
    EXPECT_FALSE(fs::exists(dir.File("full")));
}

TEST(CUDirectoryInfo, RecursiveDeleteRemovesTheTreeButNeverFollowsALinkOutOfIt) {
    TempFolder dir;
    TempFolder outside;
    WriteFile(outside.File("precious"), "keep me");
    fs::create_directories(dir.File("t/a/b"));
    WriteFile(dir.File("t/f1"), "1");
    WriteFile(dir.File("t/a/f2"), "2");
    WriteFile(dir.File("t/a/b/f3"), "3");
    fs::create_directory_symlink(outside.Path(), dir.File("t/a/link"));
    fs::create_symlink(outside.File("precious"), dir.File("t/filelink"));
    CUDirectory::Delete(Str(dir.File("t")), true);
    EXPECT_FALSE(fs::exists(dir.File("t")));
    EXPECT_EQ("keep me", ReadFile(outside.File("precious")));

    // A link given as the tree itself is not descended into either.
    fs::create_directory_symlink(outside.Path(), dir.File("rootlink"));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("rootlink")), true); }));
    EXPECT_EQ("keep me", ReadFile(outside.File("precious")));
}

TEST(CUDirectoryInfo, ListingsSeparateFoldersFromFilesAndTreatLinksAsFiles) {
    TempFolder dir;
    EXPECT_EQ(0u, CUDirectory::GetFiles(Str(dir.Path().string()))->Count());
    WriteFile(dir.File("one"), "1");
    WriteFile(dir.File("two"), "2");
    WriteFile(dir.File(".hidden"), "h");
    fs::create_directory(dir.File("sub"));
    fs::create_directory_symlink(dir.File("sub"), dir.File("link"));
    CUSharedPtr<CUArray> files = CUDirectory::GetFiles(Str(dir.Path().string()));
    CUSharedPtr<CUArray> folders = CUDirectory::GetDirectories(Str(dir.Path().string()));
    EXPECT_EQ((std::set<std::string>{"one", "two", ".hidden", "link"}), NamesIn(files));
    EXPECT_EQ(std::vector<std::string>{dir.File("sub")}, FullNames(folders));
    CUSharedPtr<CUFileInfo> file = files->ObjectAtIndex(0);
    EXPECT_TRUE(file);
    CUSharedPtr<CUDirectoryInfo> folder = folders->ObjectAtIndex(0);
    EXPECT_TRUE(folder);

    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::GetFiles(Str(dir.File("one"))); }));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::GetDirectories(Str(dir.File("missing"))); }));
    EXPECT_EQ(2u, CodeOf([] { CUDirectory::GetFiles(static_cast<CUStringMac*>(nullptr)); }));
}

TEST(CUDirectoryInfo, RecyclePutsTheFolderInTheTrashWithItsInfoFile) {
    TempFolder dir;
    EXPECT_EQ(3u, CodeOf([&] { CUDirectory::Recycle(Str(dir.File("missing"))); }));
    fs::create_directory(dir.File("old stuff"));
    WriteFile(dir.File("old stuff/f"), "x");
    CUDirectory::Recycle(Str(dir.File("old stuff")));
    EXPECT_FALSE(fs::exists(dir.File("old stuff")));
    fs::path trash = PrivateHome::DataHome() / "Trash";
    EXPECT_EQ("x", ReadFile((trash / "files" / "old stuff" / "f").string()));
    std::string info = ReadFile((trash / "info" / "old stuff.trashinfo").string());
    for (char const* part : {"[Trash Info]", "Path=", "DeletionDate="}) {
        EXPECT_NE(std::string::npos, info.find(part)) << part;
    }
}
