// CUDirectoryInfoFaultTest.cpp — listings and deletions under faults: unreadable entries and
// folders, folders that vanish or change between a listing and their use, entries deleted by
// another thread while a listing is taken, and names that are no text.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/Permissions.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUDirectoryInfo.h>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace varn::test;
namespace fs = std::filesystem;

// ---- permissions ------------------------------------------------------------------------------

TEST(CUDirectoryInfo, UnreadableEntriesAreListedAndAnUnreadableFolderListsEmpty) {
    TempFolder dir;
    PermissionsApply permissions(dir.Path());
    if (!permissions.Applies()) {
        GTEST_SKIP() << "permission bits do not apply to this process";
    }
    std::string const root = dir.File("t");
    fs::create_directories(root + "/sealed");
    WriteFile(root + "/sealed/inner", "i");
    WriteFile(root + "/plain", "p");
    WriteFile(root + "/locked", "l");
    ASSERT_EQ(0, ::chmod((root + "/locked").c_str(), 0));
    ASSERT_EQ(0, ::chmod((root + "/sealed").c_str(), 0));

    EXPECT_EQ((std::set<std::string>{"plain", "locked"}),
              NamesIn(CUDirectory::GetFiles(Str(root))));
    EXPECT_EQ(std::set<std::string>{"sealed"}, NamesIn(CUDirectory::GetDirectories(Str(root))));
    // The folder exists but cannot be opened: an empty listing, not a throw.
    CUSharedPtr<CUArray> none;
    EXPECT_EQ(0u, CodeOf([&] { none = CUDirectory::GetFiles(Str(root + "/sealed")); }));
    ASSERT_TRUE(none);
    EXPECT_EQ(0u, none->Count());
}

TEST(CUDirectoryInfo, RecursiveDeleteRemovesUnreadableFilesAndStopsWhereItCannotOpenOrChange) {
    TempFolder dir;
    PermissionsApply permissions(dir.Path());
    if (!permissions.Applies()) {
        GTEST_SKIP() << "permission bits do not apply to this process";
    }
    // A file without any permission is still removed: that takes only its folder's rights.
    std::string const a = dir.File("a");
    fs::create_directories(a + "/sub");
    WriteFile(a + "/sub/locked", "l");
    ASSERT_EQ(0, ::chmod((a + "/sub/locked").c_str(), 0));
    EXPECT_EQ(0u, CodeOf([&] { CUDirectory::Delete(Str(a), true); }));
    EXPECT_FALSE(fs::exists(a));

    // A sub-folder that cannot be read lists as empty, so its own removal fails with 4.
    std::string const b = dir.File("b");
    fs::create_directories(b + "/sealed");
    WriteFile(b + "/sealed/inner", "i");
    ASSERT_EQ(0, ::chmod((b + "/sealed").c_str(), 0300));
    EXPECT_EQ(4u, CodeOf([&] { CUDirectory::Delete(Str(b), true); }));
    ASSERT_EQ(0, ::chmod((b + "/sealed").c_str(), 0700));
    EXPECT_EQ("i", ReadFile(b + "/sealed/inner"));

    // A file in a folder that cannot be changed fails with 8 and stays.
    std::string const c = dir.File("c");
    fs::create_directories(c + "/fixed");
    WriteFile(c + "/fixed/f", "f");
    ASSERT_EQ(0, ::chmod((c + "/fixed").c_str(), 0555));
    EXPECT_EQ(8u, CodeOf([&] { CUDirectory::Delete(Str(c), true); }));
    EXPECT_EQ("f", ReadFile(c + "/fixed/f"));
}

// ---- vanished and changed folders --------------------------------------------------------------

TEST(CUDirectoryInfo, ListedFoldersThatVanishedOrChangedFailWithTheirCodes) {
    TempFolder dir;
    TempFolder outside;
    WriteFile(outside.File("precious"), "keep me");
    std::string const root = dir.File("t");
    for (char const* name : {"gone", "file", "link", "kept"}) {
        fs::create_directories(root + "/" + name + "/inner");
    }
    std::map<std::string, CUSharedPtr<CUDirectoryInfo>> folders;
    CUSharedPtr<CUArray> listed = CUDirectory::GetDirectories(Str(root));
    for (unsigned long i = 0; i < listed->Count(); ++i) {
        folders[fs::path(FullNames(listed)[i]).filename().string()] = listed->ObjectAtIndex(i);
    }
    ASSERT_EQ(4u, folders.size());
    fs::remove_all(root + "/gone");
    fs::remove_all(root + "/file");
    WriteFile(root + "/file", "now a file");
    fs::remove_all(root + "/link");
    fs::create_directory_symlink(outside.Path(), root + "/link");

    for (char const* name : {"gone", "file"}) {
        SCOPED_TRACE(name);
        CUDirectoryInfo& folder = *folders[name];
        EXPECT_EQ(4u, CodeOf([&] { folder.GetFiles(); }));
        EXPECT_EQ(4u, CodeOf([&] { folder.GetDirectories(); }));
        EXPECT_EQ(3u, CodeOf([&] { folder.Delete(); }));
        EXPECT_EQ(4u, CodeOf([&] { folder.Delete(true); }));
    }
    EXPECT_EQ("now a file", ReadFile(root + "/file"));
    // A folder replaced by a link to another tree: deleting it never reaches that tree.
    EXPECT_EQ(4u, CodeOf([&] { folders["link"]->Delete(true); }));
    EXPECT_EQ("keep me", ReadFile(outside.File("precious")));
    EXPECT_EQ(0u, CodeOf([&] { folders["kept"]->Delete(true); }));
    EXPECT_FALSE(fs::exists(root + "/kept"));
}

TEST(CUDirectoryInfo, ListingWhileAnotherThreadDeletesGivesOnlyNamesThatExisted) {
    TempFolder dir;
    std::string const root = dir.File("t");
    fs::create_directory(root);
    std::set<std::string> files, folders;
    for (int i = 0; i < 1500; ++i) {
        std::string name = "f" + std::to_string(i);
        WriteFile(root + "/" + name, "");
        files.insert(name);
    }
    for (int i = 0; i < 100; ++i) {
        std::string name = "d" + std::to_string(i);
        fs::create_directory(root + "/" + name);
        folders.insert(name);
    }
    std::vector<std::string> doomed(files.begin(), files.end());
    doomed.insert(doomed.end(), folders.begin(), folders.end());
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
    bool finalPass = false;
    while (!finalPass) {
        finalPass = done;
        for (bool wantFolders : {false, true}) {
            try {
                CUSharedPtr<CUArray> items = wantFolders ? CUDirectory::GetDirectories(Str(root))
                                                         : CUDirectory::GetFiles(Str(root));
                ++listings;
                for (std::string const& path : FullNames(items)) {
                    std::string name = path.substr(root.size() + 1);
                    bool known = wantFolders ? folders.count(name) : files.count(name);
                    if (path.compare(0, root.size() + 1, root + "/") != 0 || !known) {
                        problems.push_back("listed " + path);
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

// ---- names that are no text -------------------------------------------------------------------

TEST(CUDirectoryInfo, ListingsGiveEveryNameExactlyOrLeaveItOut) {
    TempFolder dir;
    std::string const root = dir.File("t");
    fs::create_directory(root);
    // Text names, odd but valid: each is listed with exactly its bytes.
    std::set<std::string> const text = {"line\nbreak",
                                        "tab\tname",
                                        "caf\xC3\xA9",
                                        "\xEF\xBB\xBF"
                                        "marked",
                                        "xy",
                                        "-n"};
    // Byte names that are no UTF-8: a listing has no text for them, and must never give
    // another name (a stray 0xA9 dropped would make "xy").
    std::set<std::string> const bytes = {"x\xA9y", "bad\xFF\xFE", "\xC3"};
    for (auto const* set : {&text, &bytes}) {
        for (std::string const& name : *set) {
            WriteFile(root + "/" + name, name);
        }
    }
    std::vector<std::string> listed = FullNames(CUDirectory::GetFiles(Str(root)));
    std::multiset<std::string> names;
    for (std::string const& path : listed) {
        ASSERT_EQ(root + "/", path.substr(0, root.size() + 1));
        names.insert(path.substr(root.size() + 1));
    }
    EXPECT_EQ(std::multiset<std::string>(text.begin(), text.end()), names);

    // Deletion works on the bytes underneath: names without text go with the rest.
    fs::create_directory(root + "/dir\xFE");
    WriteFile(root + "/dir\xFE/inner\xFF", "x");
    EXPECT_EQ(0u, CodeOf([&] { CUDirectory::Delete(Str(root), true); }));
    EXPECT_FALSE(fs::exists(root));
}

TEST(CUDirectoryInfo, AFolderSwappedForALinkWhileTheTreeIsDeletedIsNeverFollowed) {
    // While "d/big" is being emptied, another thread moves "d" away and puts a link to another
    // tree in its place, a tree shaped like what the deletion still has to do. Deleting by path
    // would go on through the link; the deletion must never reach that tree.
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
