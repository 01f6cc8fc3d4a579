// CUFileInfoTest.cpp — file entries: names, sizes, deletion, plain copies, copies and moves
// with progress and cancellation.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

using namespace varn::test;
namespace fs = std::filesystem;

namespace {

struct Progress {
    std::vector<std::pair<unsigned long long, unsigned long long>> calls;
    int stopAfter = -1;

    static bool Record(unsigned long long total, unsigned long long completed, void* data) {
        auto* p = static_cast<Progress*>(data);
        p->calls.emplace_back(total, completed);
        return p->stopAfter < 0 || static_cast<int>(p->calls.size()) < p->stopAfter;
    }
};

} // namespace

TEST(CUFileSysytemInfo, RenameStaysInTheFolderAndRefusesTakenNamesMissingEntriesAndBadArguments) {
    CUStringMac empty("", CUString_CharCode_UTF8);
    EXPECT_EQ(1u, CodeOf([&] { CUFileInfo f(empty); }));
    EXPECT_EQ(2u, CodeOf([] { CUFileInfo f{CUSharedPtr<CUStringMac>()}; }));

    TempFolder dir;
    fs::create_directory(dir.File("sub"));
    WriteFile(dir.File("a"), "abc");
    WriteFile(dir.File("b"), "2");
    CUFileInfo f(Str(dir.File("a")));
    for (char const* taken : {"b", ".", ".."}) { // "." and ".." name the folders themselves
        EXPECT_EQ(4u, CodeOf([&] { f.Rename(Str(taken)); })) << taken;
        EXPECT_EQ(dir.File("a"), Text(f.GetFullName())) << taken;
    }
    EXPECT_EQ("2", ReadFile(dir.File("b")));
    EXPECT_EQ(2u, CodeOf([&] { f.Rename(CUSharedPtr<CUStringMac>()); }));
    EXPECT_EQ(1u, CodeOf([&] { f.Rename(Str("")); }));
    f.Rename(Str(std::string(300, 'n'))); // over-long: nothing happens
    EXPECT_EQ(dir.File("a"), Text(f.GetFullName()));

    f.Rename(Str("c"));
    EXPECT_EQ(dir.File("c"), Text(f.GetFullName()));
    EXPECT_EQ("abc", ReadFile(dir.File("c")));
    EXPECT_FALSE(fs::exists(dir.File("a")));
    f.Rename(Str("sub/x")); // a '/' is stored as ':' on disk, never a move
    EXPECT_EQ("abc", ReadFile(dir.File("sub:x")));
    EXPECT_FALSE(fs::exists(dir.File("sub/x")));
    CUFileInfo missing(Str(dir.File("nothing")));
    EXPECT_EQ(4u, CodeOf([&] { missing.Rename(Str("c")); }));
}

TEST(CUFileInfo, DeleteRemovesFilesAndLinksIgnoresMissingOnesAndRefusesFolders) {
    TempFolder dir;
    TempFolder outside;
    WriteFile(dir.File("f"), "x");
    WriteFile(outside.File("keep"), "k");
    fs::create_directory_symlink(outside.Path(), dir.File("link"));
    CUFile::Delete(Str(dir.File("f")));
    EXPECT_FALSE(fs::exists(dir.File("f")));
    EXPECT_EQ(0u, CodeOf([&] { CUFile::Delete(Str(dir.File("f"))); }));
    EXPECT_EQ(7u, CodeOf([&] { CUFile::Delete(Str(dir.Path().string())); }));
    CUFile::Delete(Str(dir.File("link")));
    EXPECT_FALSE(fs::is_symlink(dir.File("link")));
    EXPECT_EQ("k", ReadFile(outside.File("keep")));
}

TEST(CUFileInfo, CopiesCheckTheirArgumentsAndReplaceOnlyWhenAsked) {
    TempFolder dir;
    WriteFile(dir.File("src"), "new contents");
    WriteFile(dir.File("dst"), "old contents that were longer");
    // The plain copy reports its failures as statuses and never replaces.
    EXPECT_EQ(0u, CUFile::Copy(Str(dir.File("src")), Str(dir.File("plain"))));
    EXPECT_EQ("new contents", ReadFile(dir.File("plain")));
    EXPECT_EQ(0x10003u, CUFile::Copy(Str(dir.File("src")), Str(dir.File("dst"))));
    EXPECT_EQ(0x10001u, CUFile::Copy(Str(dir.File("missing")), Str(dir.File("x"))));
    EXPECT_EQ(0x10001u, CUFile::Copy(Str(dir.File("src")), CUSharedPtr<CUStringMac>()));
    EXPECT_EQ(0x10003u, CUFile::Copy(Str(dir.File("src")), Str(dir.File("no/such/folder/x"))));

    // With progress, the checks throw before the callback is ever called.
    Progress p;
    _CopyProgress_Info info{Progress::Record, &p, nullptr};
    CUFileInfo src(Str(dir.File("src")));
    EXPECT_EQ(12u, src.Length());
    EXPECT_EQ(2u, CodeOf([&] { src.CopyWithProgress(Str(dir.File("x")), nullptr, false); }));
    EXPECT_EQ(2u, CodeOf([&] { src.CopyWithProgress(CUSharedPtr<CUStringMac>(), &info, false); }));
    EXPECT_EQ(1u, CodeOf([&] { src.CopyWithProgress(Str(""), &info, false); }));
    CUFileInfo missing(Str(dir.File("missing")));
    EXPECT_EQ(0u, missing.Length());
    EXPECT_EQ(0u, CUFileInfo(Str(dir.Path().string())).Length());
    EXPECT_EQ(9u, CodeOf([&] { missing.CopyWithProgress(Str(dir.File("x")), &info, false); }));
    EXPECT_EQ(4u, CodeOf([&] { src.CopyWithProgress(Str(dir.File("dst")), &info, false); }));
    EXPECT_EQ("old contents that were longer", ReadFile(dir.File("dst")));
    EXPECT_TRUE(p.calls.empty());

    EXPECT_EQ(0x10003u, CopyFile(dir.File("src"), dir.File("none/dst")));
    EXPECT_EQ(0x10004u, MoveFile(dir.File("src"), dir.File("none/dst")));
    EXPECT_EQ(0u, CopyFile(dir.File("src"), dir.File("dst"), true));
    EXPECT_EQ("new contents", ReadFile(dir.File("dst")));
    EXPECT_EQ("new contents", ReadFile(dir.File("src")));
    // A folder in the way of an overwriting copy fails it before a byte is copied.
    fs::create_directory(dir.File("folder"));
    EXPECT_EQ(0x10003u, src.CopyWithProgress(Str(dir.File("folder")), &info, true));
    EXPECT_TRUE(p.calls.empty()) << "no report: nothing was copied";
    EXPECT_TRUE(fs::is_directory(dir.File("folder")));
}

TEST(CUFileInfo, CopyReportsNonDecreasingProgressToTheTotalAndCancelsWithoutAPartialFile) {
    TempFolder dir;
    std::size_t const size = 64u << 20;
    WriteFile(dir.File("src"), Pattern(size));
    Progress p;
    _CopyProgress_Info info{Progress::Record, &p, nullptr};
    CUFileInfo src(Str(dir.File("src")));
    EXPECT_EQ(0u, src.CopyWithProgress(Str(dir.File("dst")), &info, false));
    EXPECT_EQ(&src, info.owner);
    ASSERT_FALSE(p.calls.empty());
    for (std::size_t i = 0; i < p.calls.size(); ++i) {
        EXPECT_EQ(size, p.calls[i].first);
        if (i > 0) {
            EXPECT_LE(p.calls[i - 1].second, p.calls[i].second);
        }
    }
    EXPECT_EQ(size, p.calls.back().second);
    EXPECT_TRUE(ReadFile(dir.File("src")) == ReadFile(dir.File("dst")));

    // Cancelled at the first report: status 0, nothing reported after, nothing left behind.
    Progress stop;
    stop.stopAfter = 1;
    _CopyProgress_Info once{Progress::Record, &stop, nullptr};
    EXPECT_EQ(0u, CUFile::CopyWithProgress(Str(dir.File("src")), Str(dir.File("cancelled")), &once,
                                           false));
    EXPECT_EQ(1u, stop.calls.size());
    EXPECT_FALSE(fs::exists(dir.File("cancelled")));
    EXPECT_EQ(size, fs::file_size(dir.File("src")));

    // A cancel returns once the worker has cleaned up, not after waiting out a name that
    // rightly stays: the old destination of an overwrite, the moved file of a rename (which a
    // cancel cannot undo). Both used to take the full 10 s.
    WriteFile(dir.File("old"), "old");
    WriteFile(dir.File("small"), "small");
    struct Case {
        char const* source;
        char const* destination;
        bool copy;
        char const* left;
    } const cases[] = {{"src", "old", true, "old"}, {"small", "moved", false, "small"}};
    for (Case const& c : cases) {
        Progress halt;
        halt.stopAfter = 1;
        _CopyProgress_Info stopping{Progress::Record, &halt, nullptr};
        auto const start = std::chrono::steady_clock::now();
        CUSharedPtr<CUStringMac> from = Str(dir.File(c.source)), to = Str(dir.File(c.destination));
        EXPECT_EQ(0u, c.copy ? CUFile::CopyWithProgress(from, to, &stopping, true)
                             : CUFile::MoveWithProgress(from, to, &stopping, false));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << c.source;
        EXPECT_EQ(c.left, ReadFile(dir.File(c.destination))) << c.source;
    }
    EXPECT_EQ(4u, std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()))
        << "src, dst, old and moved: no temporary file is left";
}

TEST(CUFileInfo, MoveOnOneFileSystemRenames) {
    TempFolder dir;
    WriteFile(dir.File("src"), "moved");
    struct stat before {};
    ::stat(dir.File("src").c_str(), &before);
    EXPECT_EQ(0u, MoveFile(dir.File("src"), dir.File("dst")));
    struct stat after {};
    ASSERT_EQ(0, ::stat(dir.File("dst").c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_FALSE(fs::exists(dir.File("src")));
}

TEST(CUFileInfo, MoveAcrossFileSystemsCopiesThenDeletes) {
    struct stat shm {};
    struct stat tmp {};
    if (::stat("/dev/shm", &shm) != 0 || ::stat(fs::temp_directory_path().c_str(), &tmp) != 0 ||
        shm.st_dev == tmp.st_dev || ::access("/dev/shm", W_OK) != 0) {
        GTEST_SKIP() << "no writable /dev/shm on another file system than the temporary folder";
    }
    TempFolder dir;
    WriteFile(dir.File("src"), std::string(100000, 'm'));
    std::string dest = "/dev/shm/varn-move-" + std::to_string(::getpid());
    Progress p;
    _CopyProgress_Info info{Progress::Record, &p, nullptr};
    EXPECT_EQ(0u, CUFile::MoveWithProgress(Str(dir.File("src")), Str(dest), &info, false));
    EXPECT_EQ(std::string(100000, 'm'), ReadFile(dest));
    EXPECT_FALSE(fs::exists(dir.File("src")));
    ASSERT_FALSE(p.calls.empty());
    EXPECT_EQ(100000u, p.calls.back().second);
    fs::remove(dest);
}

TEST(CUFileInfo, WaitFileNotExistChecksTheGivenNumberOfTimes) {
    TempFolder dir;
    WriteFile(dir.File("stays"), "x");
    CUFileInfo f(Str(dir.File("stays")));
    EXPECT_FALSE(f.z_WaitFileNotExist(Str(dir.File("stays")), 3));
    EXPECT_FALSE(f.z_WaitFileNotExist(Str(dir.File("missing")), 0));
    EXPECT_TRUE(f.z_WaitFileNotExist(Str(dir.File("missing")), 1));
    EXPECT_FALSE(f.z_WaitFileNotExist(CUSharedPtr<CUStringMac>(), 5));
}
