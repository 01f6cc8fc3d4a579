// CUFileInfoTest.cpp — file entries: names, sizes, deletion, plain copies, copies and moves
// with progress and cancellation.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/Permissions.h"

#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using varn::test::CodeOf;
using varn::test::ReadFile;
using varn::test::Str;
using varn::test::TempFolder;
using varn::test::WriteFile;

namespace {

std::string text(CUSharedPtr<CUStringMac> s) {
    char const* p = *s;
    return p != nullptr ? p : "";
}

void makeLargeFile(std::string const& path, std::size_t bytes) {
    std::string block(1 << 20, 'x');
    for (std::size_t i = 0; i < block.size(); i += 4096) {
        block[i] = static_cast<char>('a' + (i / 4096) % 26);
    }
    std::ofstream out(path, std::ios::binary);
    for (std::size_t done = 0; done < bytes; done += block.size()) {
        out.write(block.data(), static_cast<std::streamsize>(std::min(block.size(), bytes - done)));
    }
}

struct Progress {
    std::vector<std::pair<unsigned long long, unsigned long long>> calls;
    int stopAfter = -1;
};

bool record(unsigned long long total, unsigned long long completed, void* data) {
    auto* p = static_cast<Progress*>(data);
    p->calls.emplace_back(total, completed);
    return p->stopAfter < 0 || static_cast<int>(p->calls.size()) < p->stopAfter;
}

} // namespace

TEST(CUFileSysytemInfo, ConstructorsRefuseEmptyAndNullPaths) {
    CUStringMac empty("", CUString_CharCode_UTF8);
    EXPECT_EQ(1u, CodeOf([&] { CUFileInfo f(empty); }));
    EXPECT_EQ(2u, CodeOf([] { CUFileInfo f{CUSharedPtr<CUStringMac>()}; }));
}

TEST(CUFileSysytemInfo, DescriptionEndsWithThePathAndNothingBetween) {
    CUFileInfo f(Str("/tmp/some file"));
    std::string base = text(f.CUObject::Description());
    EXPECT_EQ(base + "/tmp/some file", text(f.Description()));
}

TEST(CUFileSysytemInfo, RenameMovesWithinTheFolderAndUpdatesTheName) {
    TempFolder dir;
    WriteFile(dir.File("a.txt"), "abc");
    CUFileInfo f(Str(dir.File("a.txt")));
    f.Rename(Str("b.txt"));
    EXPECT_EQ(dir.File("b.txt"), text(f.GetFullName()));
    EXPECT_EQ("abc", ReadFile(dir.File("b.txt")));
    EXPECT_FALSE(std::filesystem::exists(dir.File("a.txt")));
}

TEST(CUFileSysytemInfo, RenameRefusesTakenNamesMissingEntriesAndBadArguments) {
    TempFolder dir;
    WriteFile(dir.File("a"), "1");
    WriteFile(dir.File("b"), "2");
    CUFileInfo f(Str(dir.File("a")));
    EXPECT_EQ(4u, CodeOf([&] { f.Rename(Str("b")); }));
    EXPECT_EQ("2", ReadFile(dir.File("b")));
    EXPECT_EQ(2u, CodeOf([&] { f.Rename(CUSharedPtr<CUStringMac>()); }));
    EXPECT_EQ(1u, CodeOf([&] { f.Rename(Str("")); }));
    CUFileInfo missing(Str(dir.File("nothing")));
    EXPECT_EQ(4u, CodeOf([&] { missing.Rename(Str("c")); }));
}

TEST(CUFileSysytemInfo, RenameNeverMovesAndLeavesOverlongNamesAlone) {
    TempFolder dir;
    std::filesystem::create_directory(dir.File("sub"));
    WriteFile(dir.File("a"), "1");
    CUFileInfo f(Str(dir.File("a")));
    f.Rename(Str("sub/x")); // a '/' is stored as ':' on disk
    EXPECT_TRUE(std::filesystem::exists(dir.File("sub:x")));
    EXPECT_FALSE(std::filesystem::exists(dir.File("sub/x")));

    WriteFile(dir.File("b"), "2");
    CUFileInfo g(Str(dir.File("b")));
    g.Rename(Str(std::string(300, 'n')));
    EXPECT_EQ(dir.File("b"), text(g.GetFullName()));
    EXPECT_TRUE(std::filesystem::exists(dir.File("b")));
}

TEST(CUFileInfo, LengthIsTheDataSizeAndZeroForMissingFilesAndFolders) {
    TempFolder dir;
    WriteFile(dir.File("f"), std::string(12345, 'q'));
    EXPECT_EQ(12345u, CUFileInfo(Str(dir.File("f"))).Length());
    EXPECT_EQ(0u, CUFileInfo(Str(dir.File("missing"))).Length());
    EXPECT_EQ(0u, CUFileInfo(Str(dir.Path().string())).Length());
}

TEST(CUFileInfo, DeleteRemovesFilesIgnoresMissingOnesAndRefusesFolders) {
    TempFolder dir;
    WriteFile(dir.File("f"), "x");
    CUFile::Delete(Str(dir.File("f")));
    EXPECT_FALSE(std::filesystem::exists(dir.File("f")));
    EXPECT_EQ(0u, CodeOf([&] { CUFile::Delete(Str(dir.File("f"))); }));
    EXPECT_EQ(7u, CodeOf([&] { CUFile::Delete(Str(dir.Path().string())); }));
}

TEST(CUFileInfo, DeleteRemovesALinkToAFolderButNotTheFolder) {
    TempFolder dir;
    TempFolder outside;
    WriteFile(outside.File("keep"), "k");
    std::filesystem::create_directory_symlink(outside.Path(), dir.File("link"));
    CUFile::Delete(Str(dir.File("link")));
    EXPECT_FALSE(std::filesystem::is_symlink(dir.File("link")));
    EXPECT_EQ("k", ReadFile(outside.File("keep")));
}

TEST(CUFileInfo, DeleteReportsARefusalAs8) {
    TempFolder dir;
    varn::test::PermissionsApply permissions(dir.Path());
    if (!permissions.Applies()) {
        GTEST_SKIP() << "permission bits do not apply to this process";
    }
    std::filesystem::create_directory(dir.File("ro"));
    WriteFile(dir.File("ro/f"), "x");
    std::filesystem::permissions(dir.File("ro"), std::filesystem::perms::owner_read |
                                                     std::filesystem::perms::owner_exec);
    EXPECT_EQ(8u, CodeOf([&] { CUFile::Delete(Str(dir.File("ro/f"))); }));
    std::filesystem::permissions(dir.File("ro"), std::filesystem::perms::owner_all);
}

TEST(CUFileInfo, PlainCopyNeverReplacesAndKeepsTheBytes) {
    TempFolder dir;
    WriteFile(dir.File("src"), "hello");
    EXPECT_EQ(0u, CUFile::Copy(Str(dir.File("src")), Str(dir.File("dst"))));
    EXPECT_EQ("hello", ReadFile(dir.File("dst")));
    WriteFile(dir.File("other"), "old");
    EXPECT_EQ(0x10003u, CUFile::Copy(Str(dir.File("src")), Str(dir.File("other"))));
    EXPECT_EQ("old", ReadFile(dir.File("other")));
    EXPECT_EQ(0x10001u, CUFile::Copy(Str(dir.File("missing")), Str(dir.File("x"))));
    EXPECT_EQ(0x10001u, CUFile::Copy(Str(dir.File("src")), CUSharedPtr<CUStringMac>()));
    EXPECT_EQ(0x10003u, CUFile::Copy(Str(dir.File("src")), Str(dir.File("no/such/folder/x"))));
}

TEST(CUFileInfo, ChecksBeforeACopyThrowTheirCodes) {
    TempFolder dir;
    WriteFile(dir.File("src"), "data");
    WriteFile(dir.File("dst"), "old");
    Progress p;
    _CopyProgress_Info info{record, &p, nullptr};
    CUFileInfo src(Str(dir.File("src")));
    EXPECT_EQ(2u, CodeOf([&] { src.CopyWithProgress(Str(dir.File("x")), nullptr, false); }));
    EXPECT_EQ(2u, CodeOf([&] { src.CopyWithProgress(CUSharedPtr<CUStringMac>(), &info, false); }));
    EXPECT_EQ(1u, CodeOf([&] { src.CopyWithProgress(Str(""), &info, false); }));
    CUFileInfo missing(Str(dir.File("missing")));
    EXPECT_EQ(9u, CodeOf([&] { missing.CopyWithProgress(Str(dir.File("x")), &info, false); }));
    EXPECT_EQ(4u, CodeOf([&] { src.CopyWithProgress(Str(dir.File("dst")), &info, false); }));
    EXPECT_EQ("old", ReadFile(dir.File("dst")));
    EXPECT_TRUE(p.calls.empty());
}

TEST(CUFileInfo, CopyReportsNonDecreasingProgressEndingAtTheTotal) {
    TempFolder dir;
    makeLargeFile(dir.File("src"), 24u << 20);
    Progress p;
    _CopyProgress_Info info{record, &p, nullptr};
    CUFileInfo src(Str(dir.File("src")));
    EXPECT_EQ(0u, src.CopyWithProgress(Str(dir.File("dst")), &info, false));
    EXPECT_EQ(&src, info.owner);
    ASSERT_FALSE(p.calls.empty());
    for (std::size_t i = 0; i < p.calls.size(); ++i) {
        EXPECT_EQ(24ull << 20, p.calls[i].first);
        if (i > 0) {
            EXPECT_LE(p.calls[i - 1].second, p.calls[i].second);
        }
    }
    EXPECT_EQ(24ull << 20, p.calls.back().second);
    EXPECT_EQ(ReadFile(dir.File("src")), ReadFile(dir.File("dst")));
}

TEST(CUFileInfo, OverwriteReplacesTheDestination) {
    TempFolder dir;
    WriteFile(dir.File("src"), "new contents");
    WriteFile(dir.File("dst"), "old contents that were longer");
    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    EXPECT_EQ(0u,
              CUFile::CopyWithProgress(Str(dir.File("src")), Str(dir.File("dst")), &info, true));
    EXPECT_EQ("new contents", ReadFile(dir.File("dst")));
}

TEST(CUFileInfo, CancelledCopyLeavesNoPartialFileAndReturnsZero) {
    TempFolder dir;
    makeLargeFile(dir.File("src"), 64u << 20);
    Progress p;
    p.stopAfter = 1;
    _CopyProgress_Info info{record, &p, nullptr};
    EXPECT_EQ(0u,
              CUFile::CopyWithProgress(Str(dir.File("src")), Str(dir.File("dst")), &info, false));
    EXPECT_EQ(1u, p.calls.size()); // nothing is reported after the callback said stop
    EXPECT_FALSE(std::filesystem::exists(dir.File("dst")));
    EXPECT_EQ(64u << 20, std::filesystem::file_size(dir.File("src")));
}

TEST(CUFileInfo, CopyIntoAMissingFolderReportsFailure) {
    TempFolder dir;
    WriteFile(dir.File("src"), "x");
    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    EXPECT_EQ(0x10003u, CUFile::CopyWithProgress(Str(dir.File("src")), Str(dir.File("none/dst")),
                                                 &info, false));
    EXPECT_EQ(0x10004u, CUFile::MoveWithProgress(Str(dir.File("src")), Str(dir.File("none/dst")),
                                                 &info, false));
    EXPECT_EQ("x", ReadFile(dir.File("src")));
}

TEST(CUFileInfo, MoveOnOneFileSystemRenames) {
    TempFolder dir;
    WriteFile(dir.File("src"), "moved");
    struct stat before {};
    ::stat(dir.File("src").c_str(), &before);
    Progress p;
    _CopyProgress_Info info{record, &p, nullptr};
    EXPECT_EQ(0u,
              CUFile::MoveWithProgress(Str(dir.File("src")), Str(dir.File("dst")), &info, false));
    struct stat after {};
    ASSERT_EQ(0, ::stat(dir.File("dst").c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_FALSE(std::filesystem::exists(dir.File("src")));
}

TEST(CUFileInfo, MoveAcrossFileSystemsCopiesThenDeletes) {
    struct stat shm {};
    struct stat tmp {};
    if (::stat("/dev/shm", &shm) != 0 ||
        ::stat(std::filesystem::temp_directory_path().c_str(), &tmp) != 0 ||
        shm.st_dev == tmp.st_dev || ::access("/dev/shm", W_OK) != 0) {
        GTEST_SKIP() << "no writable /dev/shm on another file system than the temporary folder";
    }
    TempFolder dir;
    WriteFile(dir.File("src"), std::string(100000, 'm'));
    std::string dest = "/dev/shm/varn-move-" + std::to_string(::getpid());
    Progress p;
    _CopyProgress_Info info{record, &p, nullptr};
    EXPECT_EQ(0u, CUFile::MoveWithProgress(Str(dir.File("src")), Str(dest), &info, false));
    EXPECT_EQ(std::string(100000, 'm'), ReadFile(dest));
    EXPECT_FALSE(std::filesystem::exists(dir.File("src")));
    ASSERT_FALSE(p.calls.empty());
    EXPECT_EQ(100000u, p.calls.back().second);
    std::filesystem::remove(dest);
}

TEST(CUFileInfo, WaitFileNotExistChecksTheGivenNumberOfTimes) {
    TempFolder dir;
    WriteFile(dir.File("stays"), "x");
    CUFileInfo f(Str(dir.File("stays")));
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(f.z_WaitFileNotExist(Str(dir.File("stays")), 3));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290));
    EXPECT_FALSE(f.z_WaitFileNotExist(Str(dir.File("missing")), 0));
    EXPECT_TRUE(f.z_WaitFileNotExist(Str(dir.File("missing")), 1));
    EXPECT_FALSE(f.z_WaitFileNotExist(CUSharedPtr<CUStringMac>(), 5));
}
