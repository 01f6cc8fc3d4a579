// CUFileInfoFaultTest.cpp — copies and moves under faults: a full disk, a file-size limit,
// unreadable sources and unwritable folders, files that vanish or change between a listing and
// their use or while they are copied.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/Permissions.h"
#include "support/SmallDisk.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFileInfo.h>

#include "platform/FileSystem.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <map>
#include <string>
#include <vector>

using namespace varn::test;
namespace fs = std::filesystem;

namespace {

constexpr unsigned int kCopyFailed = 0x10003;
constexpr unsigned int kMoveFailed = 0x10004;

bool Exists(std::string const& path) {
    return fs::exists(fs::symlink_status(path));
}

// The entries of a listing of `folder`'s files, by file name.
std::map<std::string, CUSharedPtr<CUFileInfo>> ListFiles(std::string const& folder) {
    std::map<std::string, CUSharedPtr<CUFileInfo>> result;
    CUSharedPtr<CUArray> files = CUDirectory::GetFiles(Str(folder));
    for (unsigned long i = 0; i < files->Count(); ++i) {
        CUSharedPtr<CUFileInfo> file = files->ObjectAtIndex(i);
        result[fs::path(Text(file->GetFullName())).filename().string()] = file;
    }
    return result;
}

// Acts on the files of a copy once, after the first chunk the copy engine reports.
struct MidCopyAction {
    enum Kind { UnlinkSource, ShrinkSource, UnlinkDestination } kind;
    std::string source;
    std::string destination;
    std::uint64_t firstDone = 0;

    static bool Hook(std::uint64_t done, void* context) {
        auto* self = static_cast<MidCopyAction*>(context);
        if (self->firstDone == 0) {
            self->firstDone = done;
            switch (self->kind) {
            case UnlinkSource:
                ::unlink(self->source.c_str());
                break;
            case ShrinkSource:
                (void)!::truncate(self->source.c_str(), static_cast<off_t>(done + 4096));
                break;
            case UnlinkDestination:
                ::unlink(self->destination.c_str());
                break;
            }
        }
        return true;
    }
};

// Runs the copy engine over `source` (written with `contents`) into a new `destination`,
// with `kind` done after the first chunk. The engine's result.
int CopyWithMidCopyAction(MidCopyAction& action, std::string const& contents) {
    WriteFile(action.source, contents);
    int in = ::open(action.source.c_str(), O_RDONLY | O_CLOEXEC);
    int out = ::open(action.destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    int result =
        varn::platform::CopyFileData(in, out, contents.size(), MidCopyAction::Hook, &action);
    ::close(out);
    ::close(in);
    return result;
}

} // namespace

// ---- a full disk and a file-size limit ----------------------------------------------------------

TEST(CUFileInfo, FullDiskFailsCopiesAndMovesWithoutPartialFilesAndRecovers) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the scenario starts copy threads in a child forked from a threaded process, "
                    "which the race detector cannot follow";
#endif
    TempFolder disk;    // a 2 MiB disk is mounted here, in the child only
    TempFolder outside; // the ordinary file system: the far side of a move
    std::string const contents = Pattern(384 << 10);
    std::string const far = outside.File("far");
    WriteFile(far, contents);
    std::string const root = disk.Path().string();
    RunOnSmallDisk(root, "2m", [&](ChildReport& report) {
        std::string const src = root + "/src", dst = root + "/dst", old = root + "/old",
                          moved = root + "/moved", filler = root + "/filler";
        WriteFile(src, contents);
        WriteFile(old, "old contents");
        FillDisk(filler);

        report.Expect(CopyFile(src, dst) == kCopyFailed, "a copy onto a full disk gives 0x10003");
        report.Expect(!Exists(dst), "a failed copy leaves no partial destination");
        report.Expect(CUFile::Copy(Str(src), Str(dst)) == kCopyFailed && !Exists(dst),
                      "a failed plain copy gives 0x10003 and leaves nothing");
        report.Expect(CopyFile(src, old, true) == kCopyFailed, "a failed overwrite gives 0x10003");
        report.Expect(ReadFile(old) == "old contents", "a failed overwrite keeps the old file");
        report.Expect(MoveFile(far, moved) == kMoveFailed,
                      "a move across file systems onto a full disk gives 0x10004");
        report.Expect(!Exists(moved), "a failed move leaves no partial destination");
        report.Expect(ReadFile(far) == contents, "a failed move keeps its source");
        report.Expect(ReadFile(src) == contents, "the source of the failed copies is intact");

        // Space comes back: the same operations succeed (a leftover destination would make
        // the copy throw 4 instead).
        fs::remove(filler);
        report.Expect(CopyFile(src, dst) == 0 && ReadFile(dst) == contents,
                      "with space back, the copy succeeds");
        report.Expect(MoveFile(far, moved) == 0 && ReadFile(moved) == contents && !Exists(far),
                      "with space back, the move succeeds and removes its source");
    });
}

TEST(CUFileInfo, FileSizeLimitFailsCopiesWithoutPartialFilesUntilLifted) {
    // Process-wide settings, restored below; the tests of this program run one at a time.
    struct rlimit saved {};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &saved));
    if (saved.rlim_max != RLIM_INFINITY && saved.rlim_max < (1 << 20)) {
        GTEST_SKIP() << "hard file-size limit too low to test";
    }
    TempFolder dir;
    std::string const contents = Pattern(256 << 10);
    std::string const src = dir.File("src"), dst = dir.File("dst"), old = dir.File("old");
    WriteFile(src, contents);
    WriteFile(old, "old contents");
    unsigned int withProgress = 0, plain = 0, overwrite = 0;
    auto previous = std::signal(SIGXFSZ, SIG_IGN);
    {
        struct rlimit limited = saved;
        limited.rlim_cur = 64 << 10;
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limited));
        withProgress = CopyFile(src, dst);
        plain = CUFile::Copy(Str(src), Str(dir.File("plain")));
        overwrite = CopyFile(src, old, true);
        setrlimit(RLIMIT_FSIZE, &saved);
    }
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(kCopyFailed, withProgress);
    EXPECT_EQ(kCopyFailed, plain);
    EXPECT_EQ(kCopyFailed, overwrite);
    EXPECT_FALSE(Exists(dst));
    EXPECT_FALSE(Exists(dir.File("plain")));
    EXPECT_EQ("old contents", ReadFile(old)); // a failed overwrite keeps the old file
    EXPECT_EQ(2, std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()))
        << "only the source and the old file are left";
    EXPECT_TRUE(contents == ReadFile(src));
    EXPECT_EQ(0u, CopyFile(src, dst));
    EXPECT_TRUE(contents == ReadFile(dst));
}

// ---- permissions ------------------------------------------------------------------------------

TEST(CUFileInfo, UnreadableSourcesAndUnwritableFoldersFailCleanly) {
    TempFolder dir;
    PermissionsApply permissions(dir.Path());
    if (!permissions.Applies()) {
        GTEST_SKIP() << "permission bits do not apply to this process";
    }
    std::string const src = dir.File("src"), dst = dir.File("dst");
    WriteFile(src, "secret");
    ASSERT_EQ(0, ::chmod(src.c_str(), 0));
    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    CUFileInfo file(Str(src));
    EXPECT_EQ(9u, CodeOf([&] { file.CopyWithProgress(Str(dst), &info, false); }));
    EXPECT_EQ(9u, CodeOf([&] { file.MoveWithProgress(Str(dst), &info, false); }));
    EXPECT_EQ(kCopyFailed, CUFile::Copy(Str(src), Str(dst)));
    // Made unreadable after the checks: the operation itself fails.
    EXPECT_EQ(kCopyFailed, file.z_CopyMoveWithProgress(Str(dst), &info, false, true));
    EXPECT_FALSE(Exists(dst)) << "nothing is created for a source that cannot be read";
    EXPECT_EQ(6u, fs::file_size(src));

    // A folder that cannot be changed: nothing is created in it, nothing deleted from it.
    std::string const readable = dir.File("readable"), locked = dir.File("locked");
    WriteFile(readable, "data");
    fs::create_directory(locked);
    WriteFile(locked + "/kept", "k");
    ASSERT_EQ(0, ::chmod(locked.c_str(), 0555));
    EXPECT_EQ(kCopyFailed, CopyFile(readable, locked + "/dst"));
    EXPECT_EQ(kCopyFailed, CUFile::Copy(Str(readable), Str(locked + "/dst")));
    EXPECT_EQ(kMoveFailed, MoveFile(readable, locked + "/dst"));
    EXPECT_EQ(8u, CodeOf([&] { CUFile::Delete(Str(locked + "/kept")); }));
    EXPECT_EQ(std::vector<std::string>{locked + "/kept"},
              FullNames(CUDirectory::GetFiles(Str(locked))));
    EXPECT_EQ("data", ReadFile(readable));
}

// ---- vanished and changed files ----------------------------------------------------------------

TEST(CUFileInfo, ListedFilesThatVanishedOrBecameFoldersFailWithTheirCodes) {
    TempFolder dir;
    for (char const* name : {"gone", "folder", "kept"}) {
        WriteFile(dir.File(name), name);
    }
    auto files = ListFiles(dir.Path().string());
    ASSERT_EQ(3u, files.size());
    fs::remove(dir.File("gone"));
    fs::remove(dir.File("folder"));
    fs::create_directory(dir.File("folder"));

    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    for (char const* name : {"gone", "folder"}) {
        SCOPED_TRACE(name);
        CUFileInfo& file = *files[name];
        std::string const dst = dir.File("copy-of-") + name;
        EXPECT_FALSE(file.Exists());
        EXPECT_EQ(0u, file.Length());
        EXPECT_EQ(9u, CodeOf([&] { file.CopyWithProgress(Str(dst), &info, false); }));
        EXPECT_EQ(9u, CodeOf([&] { file.MoveWithProgress(Str(dst), &info, false); }));
        EXPECT_EQ(0x10001u, file.CopyFile(Str(dst)));
        // Past the checks (the entry vanished just after them), the operation fails itself.
        EXPECT_EQ(kCopyFailed, file.z_CopyMoveWithProgress(Str(dst), &info, false, true));
        EXPECT_EQ(kMoveFailed, file.z_CopyMoveWithProgress(Str(dst), &info, false, false));
        EXPECT_FALSE(Exists(dst));
    }
    EXPECT_EQ(0u, CodeOf([&] { files["gone"]->Delete(); }));
    EXPECT_EQ(7u, CodeOf([&] { files["folder"]->Delete(); }));
    EXPECT_TRUE(fs::is_directory(dir.File("folder")));
    EXPECT_EQ(0u, files["kept"]->CopyWithProgress(Str(dir.File("copy")), &info, false));
    EXPECT_EQ("kept", ReadFile(dir.File("copy")));
}

TEST(CUFileInfo, CopyEngineKeepsAnUnlinkedSourceAndRefusesAShrunkSourceOrLostDestination) {
    TempFolder dir;
    // Three chunks of the engine, so that the action falls between two of them.
    std::string const contents = Pattern(24 << 20);
    MidCopyAction unlinked{MidCopyAction::UnlinkSource, dir.File("a"), dir.File("a.copy")};
    EXPECT_EQ(0, CopyWithMidCopyAction(unlinked, contents));
    EXPECT_TRUE(contents == ReadFile(unlinked.destination)) << "the open source is copied whole";

    MidCopyAction shrunk{MidCopyAction::ShrinkSource, dir.File("b"), dir.File("b.copy")};
    int shrunkResult = CopyWithMidCopyAction(shrunk, contents);
    MidCopyAction lost{MidCopyAction::UnlinkDestination, dir.File("c"), dir.File("c.copy")};
    int lostResult = CopyWithMidCopyAction(lost, contents);
    if (shrunk.firstDone == contents.size()) {
        GTEST_SKIP() << "the file system copied in one step (a shared-block copy)";
    }
    EXPECT_NE(0, shrunkResult) << "a source that shrank under the copy is not copied whole";
    EXPECT_NE(0, lostResult) << "a destination that lost its name holds no copy";
}
