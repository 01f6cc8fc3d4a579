// CUDirectoryInfoTest.cpp — folder entries: creation with ancestors, listing and deletion under
// hostile names, links, vanished folders and other threads at work, and the trash.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/Permissions.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUDirectoryInfo.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileStream.h>
#include <VarnUtilityLib/CUMutableArray.h>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

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

  private:
    TempFolder home_;
};

::testing::Environment* const privateHome = ::testing::AddGlobalTestEnvironment(new PrivateHome);

// The names (after "<root>/") of a listing, each path checked to start with the root.
std::multiset<std::string> Listed(std::string const& root, CUSharedPtr<CUArray> const& items) {
    std::multiset<std::string> names;
    for (std::string const& path : FullNames(items)) {
        EXPECT_EQ(root + "/", path.substr(0, root.size() + 1));
        names.insert(path.substr(root.size() + 1));
    }
    return names;
}

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

    // The static form makes one level only.
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x/y"))));
    EXPECT_TRUE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x"))));
    EXPECT_TRUE(CUDirectoryInfo::CreateDirectory(Str(dir.File("x")))); // already there
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(CUSharedPtr<CUStringMac>()));
    EXPECT_FALSE(CUDirectoryInfo::CreateDirectory(Str("relative-without-separator")));

    // Relative paths are taken from the working directory by folders and file streams alike.
    fs::path const before = fs::current_path();
    fs::current_path(dir.Path());
    EXPECT_EQ(0u, CodeOf([] { CUDirectoryInfo(Str("rel/a")).Create(); }));
    EXPECT_TRUE(fs::is_directory(dir.File("rel/a")));
    CUSharedPtr<CUStringMac> file = Str("bare.txt");
    EXPECT_EQ(0u, CodeOf([&] {
                  CUFileStream(file, CUStream_FileMode_CreateNew, CUStream_FileAccess_Write, false);
              }));
    EXPECT_TRUE(fs::is_regular_file(dir.File("bare.txt")));
    fs::current_path(before);
}

TEST(CUDirectoryInfo, ListingsSeparateFoldersFromFilesAndGiveEveryNameExactlyOrLeaveItOut) {
    TempFolder dir;
    PermissionsApply permissions(dir.Path());
    std::string const root = dir.File("t");
    fs::create_directories(root + "/sub");
    // Text names, odd but valid, are listed with exactly their bytes; links count as files.
    std::multiset<std::string> const files = {
        "one",         ".hidden",   "link",        "locked",
        "line\nbreak", "tab\tname", "caf\xC3\xA9", "\xEF\xBB\xBFmarked",
        "xy",          "-n"};
    for (std::string const& name : files) {
        if (name != "link") {
            WriteFile(root + "/" + name, name);
        }
    }
    fs::create_directory_symlink(root + "/sub", root + "/link");
    // Byte names that are no UTF-8 have no text: they are left out, and never given as another
    // name (a stray 0xA9 dropped would make "xy").
    for (char const* name : {"x\xA9y", "bad\xFF\xFE", "\xC3"}) {
        WriteFile(root + "/" + name, name);
    }
    fs::create_directories(root + "/dir\xFE/inner\xFF");
    fs::create_directories(root + "/sealed/inner");
    ASSERT_EQ(0, ::chmod((root + "/locked").c_str(), 0));
    ASSERT_EQ(0, ::chmod((root + "/sealed").c_str(), 0));

    EXPECT_EQ(files, Listed(root, CUDirectory::GetFiles(Str(root))));
    CUSharedPtr<CUArray> folders = CUDirectory::GetDirectories(Str(root));
    EXPECT_EQ((std::multiset<std::string>{"sealed", "sub"}), Listed(root, folders));
    EXPECT_TRUE(CUSharedPtr<CUDirectoryInfo>(folders->ObjectAtIndex(0)));
    EXPECT_TRUE(CUSharedPtr<CUFileInfo>(CUDirectory::GetFiles(Str(root))->ObjectAtIndex(0)));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::GetDirectories(Str(root + "/missing")); }));
    EXPECT_EQ(2u, CodeOf([] { CUDirectory::GetFiles(static_cast<CUStringMac*>(nullptr)); }));
    if (!permissions.Applies()) {
        GTEST_SKIP() << "permission bits do not apply to this process: no unreadable folder";
    }
    // The folder exists but cannot be opened: an empty listing, not a throw.
    EXPECT_EQ(0u, CUDirectory::GetFiles(Str(root + "/sealed"))->Count());
}

TEST(CUDirectoryInfo, DeleteNeedsAnEmptyFolderUnlessRecursiveAndNeverLeavesTheTree) {
    TempFolder dir;
    TempFolder outside;
    WriteFile(outside.File("precious"), "keep me");
    PermissionsApply permissions(dir.Path());
    // Each tree holds <sub>/<file> ("f"); the recursive ones links out of the tree as well.
    struct Row {
        char const* name;
        bool recursive;
        char const *sub, *file;
        char const* locked; // made `mode`, when the permission bits apply
        unsigned int mode, code;
    } const rows[] = {
        {"empty", false, "", nullptr, nullptr, 0, 0},
        {"full", false, "", "f", nullptr, 0, 4},
        {"tree with links out", true, "a/b", "f", nullptr, 0, 0},
        {"names that are no text", true, "dir\xFE", "inner\xFF", nullptr, 0, 0},
        // A file without any permission is still removed: that takes only its folder's rights.
        {"unreadable file", true, "sub", "locked", "sub/locked", 0, 0},
        // A sub-folder that cannot be read lists as empty, so its own removal fails with 4.
        {"unreadable folder", true, "sealed", "f", "sealed", 0300, 4},
        // A file in a folder that cannot be changed fails with 8 and stays.
        {"folder that cannot change", true, "fixed", "f", "fixed", 0555, 8},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.locked != nullptr && !permissions.Applies()) {
            continue; // the bits do not apply to this process: skipped below
        }
        std::string const t = dir.File(row.name),
                          file = t + "/" + row.sub + "/" + (row.file ? row.file : "");
        fs::create_directories(t + "/" + row.sub);
        if (row.file != nullptr) {
            WriteFile(file, "f");
        }
        if (row.recursive) {
            fs::create_directory_symlink(outside.Path(), t + "/link");
            fs::create_symlink(outside.File("precious"), t + "/" + row.sub + "/filelink");
        }
        if (row.locked != nullptr) {
            ASSERT_EQ(0, ::chmod((t + "/" + row.locked).c_str(), row.mode));
        }
        EXPECT_EQ(row.code, CodeOf([&] { CUDirectory::Delete(Str(t), row.recursive); }));
        EXPECT_EQ(row.code != 0, fs::exists(t));
        if (row.code != 0) {
            EXPECT_EQ("f", ReadFile(file));
        }
    }
    EXPECT_EQ("keep me", ReadFile(outside.File("precious")));
    // A link given as the tree itself is not descended into either.
    fs::create_directory_symlink(outside.Path(), dir.File("rootlink"));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::Delete(Str(dir.File("rootlink")), true); }));
    EXPECT_EQ("keep me", ReadFile(outside.File("precious")));
    WriteFile(dir.File("file"), "x");
    // A folder that became a file (or vanished) since it was listed: 3, or 4 when recursive.
    CUSharedPtr<CUStringMac> gone = Str(dir.File("file"));
    EXPECT_EQ(3u, CodeOf([&] { CUDirectory::Delete(gone); }));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::Delete(gone, true); }));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectoryInfo(gone).GetDirectories(); }));
    EXPECT_EQ("x", ReadFile(dir.File("file")));
    EXPECT_EQ(2u, CodeOf([] { CUDirectory::Delete(CUSharedPtr<CUStringMac>()); }));
    CUStringMac empty("", CUString_CharCode_UTF8);
    EXPECT_EQ(1u, CodeOf([&] { CUDirectory::Delete(&empty, true); }));
    if (!permissions.Applies()) {
        GTEST_SKIP() << "permission bits do not apply to this process: the locked trees not run";
    }
}

TEST(CUDirectoryInfo, DeletingListedItemsGoesInOrderAndStopsAtTheFirstCode) {
    // Each row's folder holds folders d1 (not empty) and d2, and files f1 and f2; the row's
    // items are named in array order ("-" is a null element, skipped).
    struct Row {
        char const* name;
        bool areDirectories;
        std::vector<char const*> items;
        unsigned int code;
        std::multiset<std::string> left;
    } const rows[] = {
        {"folders, each with what it holds", true, {"d1", "-", "d2"}, 0, {"f1", "f2"}},
        {"files", false, {"f2", "f1"}, 0, {"d1", "d1/inner", "d2"}},
        {"a folder given as a file stops the files",
         false,
         {"f1", "d2", "f2"},
         7,
         {"d1", "d1/inner", "d2", "f2"}},
        {"a file given as a folder stops the folders",
         true,
         {"d2", "f1", "d1"},
         4,
         {"d1", "d1/inner", "f1", "f2"}},
        {"nothing listed", true, {}, 0, {"d1", "d1/inner", "d2", "f1", "f2"}},
    };
    TempFolder dir;
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        std::string const root = dir.File(row.name);
        fs::create_directories(root + "/d1");
        fs::create_directories(root + "/d2");
        WriteFile(root + "/d1/inner", "i");
        WriteFile(root + "/f1", "1");
        WriteFile(root + "/f2", "2");
        CUSharedPtr<CUMutableArray> items(new CUMutableArray());
        for (char const* item : row.items) {
            CUSharedPtr<CUStringMac> path = Str(root + "/" + item);
            items->AddObject(std::string(item) == "-" ? CUSharedPtr<CUObject>()
                             : row.areDirectories ? CUSharedPtr<CUObject>(new CUDirectoryInfo(path))
                                                  : CUSharedPtr<CUObject>(new CUFileInfo(path)));
        }
        CUDirectoryInfo folder(Str(root));
        EXPECT_EQ(row.code, CodeOf([&] { folder.DeleteSubObjects(items, row.areDirectories); }));
        std::multiset<std::string> left;
        for (auto const& entry : fs::recursive_directory_iterator(root)) {
            left.insert(entry.path().string().substr(root.size() + 1));
        }
        EXPECT_EQ(row.left, left);
    }
    CUDirectoryInfo(Str(dir.Path().string())).DeleteSubObjects(CUSharedPtr<CUArray>(), true);
    EXPECT_EQ(5, std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()));
}

TEST(CUDirectoryInfo, ListingWhileAnotherThreadDeletesGivesOnlyNamesThatExisted) {
    TempFolder dir;
    std::string const root = dir.File("t");
    fs::create_directory(root);
    std::vector<std::string> doomed; // 1500 files "f<n>" and 100 folders "d<n>"
    for (int i = 0; i < 1600; ++i) {
        doomed.push_back((i < 1500 ? "f" : "d") + std::to_string(i));
        if (i < 1500) {
            WriteFile(root + "/" + doomed.back(), "");
        } else {
            fs::create_directory(root + "/" + doomed.back());
        }
    }
    std::set<std::string> const names(doomed.begin(), doomed.end());
    std::shuffle(doomed.begin(), doomed.end(), std::mt19937(7));

    std::atomic<bool> removingFolder{false}, done{false};
    std::thread deleter([&] {
        for (std::string const& name : doomed) {
            fs::remove(root + "/" + name);
        }
        removingFolder = true;
        fs::remove(root);
        done = true;
    });
    int listings = 0, refusals = 0;
    std::vector<std::string> problems;
    for (bool finalPass = false; !finalPass;) {
        finalPass = done;
        for (bool wantFolders : {false, true}) {
            try {
                CUSharedPtr<CUArray> items = wantFolders ? CUDirectory::GetDirectories(Str(root))
                                                         : CUDirectory::GetFiles(Str(root));
                ++listings;
                for (std::string const& name : Listed(root, items)) {
                    if (!names.count(name) || name[0] != (wantFolders ? 'd' : 'f')) {
                        problems.push_back("listed " + name);
                    }
                }
            } catch (unsigned int code) {
                ++refusals;
                if (code != 4 || !removingFolder) {
                    problems.push_back("threw " + std::to_string(code));
                }
            }
        }
    }
    deleter.join();
    EXPECT_TRUE(problems.empty()) << problems.front();
    EXPECT_GT(listings, 0);
    EXPECT_GT(refusals, 0) << "the last listings, after the folder went, throw 4";
}

TEST(CUDirectoryInfo, AFolderSwappedForALinkWhileTheTreeIsDeletedIsNeverFollowed) {
    // While "d/big" is emptied, "d" is swapped for a link to a tree shaped like what is left:
    // deleting by path would go on through the link.
    TempFolder dir;
    TempFolder outside;
    fs::create_directory(outside.File("big"));
    WriteFile(outside.File("zzz.txt"), "precious");
    std::string const root = dir.File("t");
    fs::create_directories(root + "/d/big");
    for (int i = 0; i < 3000; ++i) {
        WriteFile(root + "/d/big/f" + std::to_string(i), "");
    }
    WriteFile(root + "/d/zzz.txt", "inside");
    std::atomic<bool> swapped{false};
    std::thread swapper([&] {
        std::error_code ec;
        for (int spins = 0; spins < 2'000'000 && !swapped; ++spins) {
            auto const left = std::distance(fs::directory_iterator(root + "/d/big", ec),
                                            fs::directory_iterator());
            if (ec) {
                break; // already gone: nothing left to swap
            }
            if (left < 2900) {
                fs::rename(root + "/d", dir.File("moved"), ec);
                fs::create_directory_symlink(outside.Path(), root + "/d", ec);
                swapped = true;
            }
        }
    });
    try {
        CUDirectory::Delete(Str(root), true);
    } catch (unsigned int) {
        // The link in the folder's place may refuse the last step; what matters is below.
    }
    swapper.join();
    EXPECT_EQ("precious", ReadFile(outside.File("zzz.txt")));
    EXPECT_TRUE(fs::is_directory(outside.File("big")));
}

TEST(CUDirectoryInfo, RecyclePutsTheFolderInTheTrash) {
    TempFolder dir;
    EXPECT_EQ(3u, CodeOf([&] { CUDirectory::Recycle(Str(dir.File("missing"))); }));
    fs::create_directory(dir.File("old stuff"));
    WriteFile(dir.File("old stuff/f"), "x");
    CUDirectory::Recycle(Str(dir.File("old stuff")));
    EXPECT_FALSE(fs::exists(dir.File("old stuff")));
    fs::path trash = fs::path(std::getenv("XDG_DATA_HOME")) / "Trash";
    EXPECT_EQ("x", ReadFile((trash / "files" / "old stuff" / "f").string()));
}
