// CUFileInfoTest.cpp — file entries: names, sizes, deletion, plain copies, copies and moves
// with progress and cancellation, what a copy keeps besides the bytes, and copies made from
// inside an application's main loop.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <tuple>
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

// What a copy must keep besides the bytes, as one comparable value.
using Meta = std::tuple<long, long, mode_t, uid_t, gid_t, std::string>;

Meta MetaOf(std::string const& path) {
    struct stat st {};
    EXPECT_EQ(0, ::lstat(path.c_str(), &st)) << path;
    char value[64] = {};
    ssize_t const n = ::lgetxattr(path.c_str(), "user.varn", value, sizeof value);
    return {
        st.st_atim.tv_sec, st.st_mtim.tv_sec,
        st.st_mode,        st.st_uid,
        st.st_gid,         n > 0 ? std::string(value, static_cast<std::size_t>(n)) : std::string()};
}

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
    CUFileInfo f(Str(dir.File("f")));
    EXPECT_TRUE(f.Exists());
    CUFile::Delete(Str(dir.File("f")));
    EXPECT_FALSE(fs::exists(dir.File("f")));
    EXPECT_FALSE(f.Exists());
    EXPECT_FALSE(CUFileInfo(Str(dir.Path().string())).Exists()) << "a folder is no file";
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
    EXPECT_EQ(0u, CUFileInfo(Str(dir.File("missing"))).Length());
    EXPECT_EQ(0u, CUFileInfo(Str(dir.Path().string())).Length());
    EXPECT_EQ(4u, CodeOf([&] { src.CopyWithProgress(Str(dir.File("dst")), &info, false); }));
    EXPECT_EQ("old contents that were longer", ReadFile(dir.File("dst")));
    EXPECT_TRUE(p.calls.empty());

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

TEST(CUFileInfo, CopiesAndMovesKeepTimesModeOwnerAndAttributesAndLinksStayLinks) {
    TempFolder here;
    // Another file system: a tmpfs, removed whatever the test's outcome.
    struct ShmFolder {
        std::string path = "/dev/shm/varn-meta-XXXXXX";
        ~ShmFolder() {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    } shm;
    ASSERT_NE(nullptr, ::mkdtemp(shm.path.data()));
    std::string const other = shm.path;
    struct Case {
        char const* name;
        bool progress, overwrite, move, otherFileSystem;
    } const cases[] = {
        {"plain copy", false, false, false, false},
        {"copy with progress", true, false, false, true},
        {"overwriting copy", true, true, false, false},
        {"move across file systems", true, false, true, true},
        {"move on one file system: a rename", true, false, true, false},
    };
    int i = 0;
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        std::string const source = here.File(("src" + std::to_string(i)).c_str());
        std::string const dest =
            (c.otherFileSystem ? other : here.Path().string()) + "/dst" + std::to_string(i++);
        // Times, mode, owner and an attribute that nothing would give a new file.
        WriteFile(source, "data");
        ::setxattr(source.c_str(), "user.varn", "kept", 4, 0);
        if (::geteuid() == 0) {
            ASSERT_EQ(0, ::chown(source.c_str(), 4321, 4321));
        }
        ASSERT_EQ(0, ::chmod(source.c_str(), 0640));
        struct timespec const times[2] = {{1'000'000'000, 0}, {978'307'200, 0}};
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, source.c_str(), times, 0));
        if (c.overwrite) {
            WriteFile(dest, "old");
        }
        Meta const expected = MetaOf(source);
        struct stat before {};
        ::stat(source.c_str(), &before);
        Progress p;
        _CopyProgress_Info info{Progress::Record, &p, nullptr};
        unsigned int const status =
            !c.progress ? CUFile::Copy(Str(source), Str(dest))
            : c.move    ? CUFile::MoveWithProgress(Str(source), Str(dest), &info, false)
                        : CUFile::CopyWithProgress(Str(source), Str(dest), &info, c.overwrite);
        ASSERT_EQ(0u, status);
        EXPECT_EQ(expected, MetaOf(dest));
        EXPECT_EQ("data", ReadFile(dest));
        EXPECT_EQ(c.move, !fs::exists(source)) << "a move, and only a move, removes its source";
        struct stat after {};
        ::stat(dest.c_str(), &after);
        if (c.move && !c.otherFileSystem) {
            EXPECT_EQ(before.st_ino, after.st_ino);
        } else if (c.progress) {
            ASSERT_FALSE(p.calls.empty());
            EXPECT_EQ(4u, p.calls.back().second);
        }
    }

    // Links: the plain copy and a move to another file system make a link with the same target.
    fs::create_symlink("src0", here.File("link"));
    ASSERT_EQ(0u, CUFile::Copy(Str(here.File("link")), Str(here.File("copied-link"))));
    ASSERT_EQ(0u, MoveFile(here.File("link"), other + "/moved-link"));
    for (std::string const& link : {here.File("copied-link"), other + "/moved-link"}) {
        EXPECT_TRUE(fs::is_symlink(link)) << link;
        EXPECT_EQ("src0", fs::read_symlink(link).string()) << link;
    }
    EXPECT_FALSE(fs::exists(fs::symlink_status(here.File("link"))));
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

// A copy made from inside a main loop on GLib's global default context (as a GTK program runs
// it) keeps that loop's sources served.
TEST(CUFileInfo, CopyFromTheGlobalMainLoopKeepsItsTimersFiring) {
    struct Scene {
        std::string source, destination;
        GMainLoop* loop = nullptr;
        int ticks = 0;
        unsigned int status = 99;
    };
    TempFolder dir;
    Scene scene{dir.File("src"), dir.File("dst")};
    WriteFile(scene.source, Pattern(64u << 20));
    scene.loop = g_main_loop_new(nullptr, FALSE);
    guint const timer = g_timeout_add(
        1,
        [](gpointer s) -> gboolean {
            ++static_cast<Scene*>(s)->ticks;
            return G_SOURCE_CONTINUE;
        },
        &scene);
    g_idle_add(
        [](gpointer s) -> gboolean {
            auto* scene = static_cast<Scene*>(s);
            int const before = scene->ticks;
            scene->status = CopyFile(scene->source, scene->destination);
            scene->ticks -= before; // only the ticks served while the copy ran
            g_main_loop_quit(scene->loop);
            return G_SOURCE_REMOVE;
        },
        &scene);
    g_main_loop_run(scene.loop);
    g_source_remove(timer);
    g_main_loop_unref(scene.loop);
    EXPECT_EQ(0u, scene.status);
    EXPECT_GT(scene.ticks, 0) << "the application's 1 ms timer never ran during the copy";
}
