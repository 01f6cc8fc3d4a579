// CUFileInfoTest.cpp — files by path and file entries: existence, renaming, deletion, copies and
// moves with progress and cancellation, what a copy keeps, copies from a main loop, special
// files, and copies and moves under faults, where a failed operation must change no file at all.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"
#include "support/Permissions.h"
#include "support/SmallDisk.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileStream.h>

#include "platform/FileSystem.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
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
    std::string const attribute(value, n > 0 ? static_cast<std::size_t>(n) : 0);
    return {st.st_atim.tv_sec, st.st_mtim.tv_sec, st.st_mode, st.st_uid, st.st_gid, attribute};
}

constexpr unsigned int kCopyFailed = 0x10003;
constexpr unsigned int kMoveFailed = 0x10004;

// `src` is copied to the new `dst` and over `old` ("old contents"); `far` is moved to `moved`.
struct Files {
    std::string src, dst, old, far, moved;
};

// What a fault makes of each operation: the status returned or the code thrown (0: not tried).
struct Fault {
    char const* name;
    unsigned int copy, plain, overwrite, move, movePastChecks;
};

// Every entry below `folders`, with its contents and size (an unreadable file shows its size).
std::map<std::string, std::string> Snapshot(std::vector<std::string> const& folders) {
    std::map<std::string, std::string> entries;
    for (std::string const& folder : folders) {
        for (auto const& e : fs::recursive_directory_iterator(folder)) {
            std::error_code ec;
            entries[e.path().string()] = e.is_regular_file(ec) ? ReadFile(e.path().string()) + "/" +
                                                                     std::to_string(e.file_size(ec))
                                                               : "folder";
        }
    }
    return entries;
}

// Runs every operation under the armed fault; the broken expectations, one a line.
std::string UnderFault(Fault const& fault, Files const& f,
                       std::vector<std::string> const& folders) {
    auto const before = Snapshot(folders);
    _CopyProgress_Info info{nullptr, nullptr, nullptr};
    std::string broken;
    auto check = [&](char const* what, unsigned int expected, auto&& operation) {
        unsigned int status = 0;
        unsigned int const code = expected != 0 ? CodeOf([&] { status = operation(); }) : 0;
        unsigned int const got = code != 0 ? code : status; // returned or thrown
        if (got != expected) {
            broken += std::string(fault.name) + ": " + what + " gave " + std::to_string(got) + "\n";
        }
    };
    check("the copy with progress", fault.copy, [&] { return CopyFile(f.src, f.dst); });
    check("the plain copy", fault.plain, [&] { return CUFile::Copy(Str(f.src), Str(f.dst)); });
    check("the overwriting copy", fault.overwrite, [&] { return CopyFile(f.src, f.old, true); });
    // Past the checks (as when the fault comes just after them), the operation fails itself.
    check("the copy past the checks", kCopyFailed, [&] {
        return CUFileInfo(Str(f.src)).z_CopyMoveWithProgress(Str(f.dst), &info, false, true);
    });
    check("the move", fault.move, [&] { return MoveFile(f.far, f.moved); });
    check("the move past the checks", fault.movePastChecks, [&] {
        return CUFileInfo(Str(f.far)).z_CopyMoveWithProgress(Str(f.moved), &info, false, false);
    });
    if (Snapshot(folders) != before) {
        broken += std::string(fault.name) + ": files changed (a partial or lost file)\n";
    }
    return broken;
}

} // namespace

TEST(CUFileSysytemInfo, RenameStaysInTheFolderAndRefusesTakenNamesMissingEntriesAndBadArguments) {
    TempFolder dir;
    fs::create_directory(dir.File("sub"));
    WriteFile(dir.File("a"), "abc");
    WriteFile(dir.File("b"), "2");
    CUFileInfo f(Str(dir.File("a")));
    for (char const* taken : {"b", ".", ".."}) { // "." and ".." name the folders themselves
        EXPECT_EQ(4u, CodeOf([&] { f.Rename(Str(taken)); })) << taken;
    }
    EXPECT_EQ("2", ReadFile(dir.File("b")));
    EXPECT_EQ(2u, CodeOf([&] { f.Rename(CUSharedPtr<CUStringMac>()); }));
    EXPECT_EQ(1u, CodeOf([&] { f.Rename(Str("")); }));
    f.Rename(Str(std::string(300, 'n'))); // over-long: nothing happens
    EXPECT_EQ(dir.File("a"), Text(f.GetFullName()));

    f.Rename(Str("c"));
    EXPECT_EQ(dir.File("c"), Text(f.GetFullName()));
    EXPECT_EQ("abc", ReadFile(dir.File("c")));
    f.Rename(Str("sub/x")); // a '/' is stored as ':' on disk, never a move
    EXPECT_EQ("abc", ReadFile(dir.File("sub:x")));
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
    EXPECT_EQ(0x10003u, CUFile::Copy(Str(dir.File("src")), Str(dir.File("dst"))));
    EXPECT_EQ(0x10001u, CUFile::Copy(Str(dir.File("src")), CUSharedPtr<CUStringMac>()));

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

    // A cancel returns once the worker has cleaned up, not after waiting out a name that rightly
    // stays (an overwrite's old destination, a renamed file): both used to take 10 s.
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
    TempFolder const shm("/dev/shm"); // another file system: a tmpfs
    std::string const other = shm.Path().string();
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

TEST(CUFileInfo, FullDiskFailsCopiesAndMovesWithoutPartialFilesAndRecovers) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the scenario starts copy threads in a child forked from a threaded process, "
                    "which the race detector cannot follow";
#endif
    TempFolder disk;    // a 2 MiB disk is mounted here, in the child only
    TempFolder outside; // the ordinary file system: the far side of a move
    std::string const contents = Pattern(384 << 10);
    WriteFile(outside.File("far"), contents);
    std::string const root = disk.Path().string();
    RunOnSmallDisk(root, "2m", [&](ChildReport& report) {
        Files const f{root + "/src", root + "/dst", root + "/old", outside.File("far"),
                      root + "/moved"};
        WriteFile(f.src, contents);
        WriteFile(f.old, "old contents");
        FillDisk(root + "/filler");
        Fault const full{"full disk", kCopyFailed, kCopyFailed, kCopyFailed, kMoveFailed, 0};
        std::string const broken = UnderFault(full, f, {root, outside.Path().string()});
        report.Expect(broken.empty(), broken);
        // Space comes back: the same operations succeed (a leftover would make them fail).
        fs::remove(root + "/filler");
        report.Expect(CopyFile(f.src, f.dst) == 0 && ReadFile(f.dst) == contents,
                      "with space back, the copy succeeds");
        report.Expect(MoveFile(f.far, f.moved) == 0 && ReadFile(f.moved) == contents &&
                          !fs::exists(f.far),
                      "with space back, the move succeeds and removes its source");
    });
}

TEST(CUFileInfo, SizeLimitPermissionsAndVanishedSourcesFailCopiesAndMovesWithoutChangingFiles) {
    TempFolder dir;
    PermissionsApply permissions(dir.Path());
    struct rlimit saved {};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &saved));
    auto limit = [&](rlim_t size) {
        struct rlimit limited = saved;
        limited.rlim_cur = size;
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limited));
    };
    std::string const contents = Pattern(256 << 10);
    unsigned int const C = kCopyFailed, M = kMoveFailed, bad = 0x10001;
    struct Row {
        Fault fault;
        enum { Limit, Lock, Vanish, BecomeFolder } arm;
        char const* locked = nullptr; // made `mode`: needs the permission bits to apply
        mode_t mode = 0;
    } const rows[] = {
        {{"file-size limit", C, C, C, 0, 0}, Row::Limit},
        {{"unreadable source", 9, C, 9, 9, 0}, Row::Lock, "src", 0},
        {{"folder that cannot change", C, C, 0, M, 0}, Row::Lock, "locked", 0555},
        {{"vanished source", 9, bad, 9, 9, M}, Row::Vanish},
        {{"source now a folder", 9, bad, 9, 9, M}, Row::BecomeFolder},
    };
    // The limit is process-wide: its signal is ignored, and the limit lifted after its row.
    auto const previous = std::signal(SIGXFSZ, SIG_IGN);
    std::string skipped;
    for (Row const& row : rows) {
        std::string const sub = dir.File(row.fault.name), locked = sub + "/locked";
        bool const lockedRow = row.fault.overwrite == 0;
        if ((row.locked && !permissions.Applies()) ||
            (row.arm == Row::Limit && saved.rlim_max != RLIM_INFINITY &&
             saved.rlim_max < (1 << 20))) {
            skipped += std::string(row.fault.name) + " ";
            continue;
        }
        fs::create_directories(locked);
        Files const f{sub + "/src", (lockedRow ? locked : sub) + "/dst", sub + "/old", sub + "/src",
                      (lockedRow ? locked : sub) + "/moved"};
        WriteFile(f.src, contents);
        WriteFile(f.old, "old contents");
        WriteFile(locked + "/kept", "k");
        if (row.arm == Row::Limit) {
            limit(64 << 10);
        } else if (row.arm == Row::Lock) {
            ASSERT_EQ(0, ::chmod((sub + "/" + row.locked).c_str(), row.mode));
        } else {
            fs::remove(f.src);
        }
        if (row.arm == Row::BecomeFolder) {
            fs::create_directory(f.src);
        }
        EXPECT_EQ("", UnderFault(row.fault, f, {sub}));
        if (lockedRow) {
            EXPECT_EQ(8u, CodeOf([&] { CUFile::Delete(Str(locked + "/kept")); }));
            EXPECT_EQ("k", ReadFile(locked + "/kept"));
        }
        if (row.arm == Row::Limit) {
            limit(saved.rlim_cur);
            EXPECT_EQ(0u, CopyFile(f.src, f.dst)) << row.fault.name << ": lifted, it copies";
            EXPECT_TRUE(contents == ReadFile(f.dst)) << row.fault.name;
        }
    }
    std::signal(SIGXFSZ, previous);
    if (!skipped.empty()) {
        GTEST_SKIP() << "cannot be arranged here (permission bits or a low hard limit): "
                     << skipped;
    }
}

TEST(CUFileInfo, CopyEngineKeepsAnUnlinkedSourceAndRefusesAShrunkSourceOrLostDestination) {
    TempFolder dir;
    // Three chunks of the engine, so that the action after the first falls between two of them.
    std::string const contents = Pattern(24 << 20);
    struct MidCopy {
        std::function<void(std::uint64_t done)> act;
        std::uint64_t firstDone = 0;
        static bool Hook(std::uint64_t done, void* context) {
            auto* self = static_cast<MidCopy*>(context);
            if (self->firstDone == 0) {
                self->firstDone = done;
                self->act(done);
            }
            return true;
        }
    };
    std::string const src = dir.File("src"), dst = dir.File("dst");
    struct Row {
        char const* name;
        std::function<void(std::uint64_t)> act;
        bool copied;
    } const rows[] = {
        {"unlinked source", [&](std::uint64_t) { ::unlink(src.c_str()); }, true},
        {"shrunk source",
         [&](std::uint64_t done) { (void)!::truncate(src.c_str(), off_t(done + 4096)); }, false},
        {"unlinked destination", [&](std::uint64_t) { ::unlink(dst.c_str()); }, false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove(dst);
        WriteFile(src, contents);
        MidCopy action{row.act};
        int const in = ::open(src.c_str(), O_RDONLY | O_CLOEXEC);
        int const out = ::open(dst.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        int const result =
            varn::platform::CopyFileData(in, out, contents.size(), MidCopy::Hook, &action);
        ::close(out);
        ::close(in);
        if (row.copied) {
            EXPECT_EQ(0, result);
            EXPECT_TRUE(contents == ReadFile(dst)) << "the open source is copied whole";
        } else if (action.firstDone == contents.size()) {
            GTEST_SKIP() << "the file system copied in one step (a shared-block copy)";
        } else {
            EXPECT_NE(0, result) << "a shrunk source or nameless destination holds no copy";
        }
    }
}

TEST(CUFile, ExistsTellsFilesFromFoldersThroughLinksAndFindsEveryNameExactlyAsWritten) {
    TempFolder folder;
    std::string const file = folder.File("plain.txt"), dir = folder.Path().string();
    std::string const longest(255, 'n');
    std::string deep = dir;
    while (deep.size() < 70000) {
        deep += "/" + std::string(200, 'd');
    }
    for (std::string const& name : {std::string("plain.txt"), longest, std::string("\xFF")}) {
        WriteFile(folder.File(name.c_str()), "x");
    }
    fs::create_directory(folder.File("sub"));
    fs::create_symlink(file, folder.File("link"));
    fs::create_symlink(folder.File("gone"), folder.File("dangling"));
    fs::create_directory_symlink(folder.File("sub"), folder.File("folderlink"));
    struct Row {
        CUStringMac path;
        bool file, folder;
    };
    std::vector<Row> rows = {
        {Utf8(file), true, false},
        {Utf8(dir), false, true},
        {Utf8(folder.File("link")), true, false},
        {Utf8(folder.File("dangling")), false, false},
        {Utf8(folder.File("folderlink")), false, true},
        {Utf8(folder.File("missing")), false, false},
        {Utf8(""), false, false},
        {Utf8(folder.File(longest.c_str())), true, false},
        {Utf8(folder.File((longest + "n").c_str())), false, false}, // one byte past NAME_MAX
        {Utf8(deep), false, false},                                 // past PATH_MAX
        {Utf8(folder.File("\xFF")), false, false},                  // not UTF-8: a null text
        {Units(u"/tmp/\xD800"), false, false},                      // no UTF-8 form
        // U+0000 must not cut the text short at an existing name.
        {Units(std::u16string(file.begin(), file.end()) + u'\0' + u"hidden"), false, false},
    };
    for (char const* name :
         {"line\nbreak", "$(touch pwned)", "`touch pwned`", "it's", "say \"hi\"", "-rf", "a;b|c&d",
          "*?[x]", " lead", "trail ", "tab\there", "\x01\x1f\x7f", "back\\slash", "..a", "%s%n%x",
          "\xE2\x80\xAEtxt.exe" /* a right-to-left override */}) {
        WriteFile(folder.File(name), "x");
        rows.push_back({Utf8(folder.File(name)), true, false});
        rows.push_back({Utf8(folder.File(name) + "\n"), false, false});
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].file, CUFile::Exists(&rows[i].path)) << "row " << i;
        EXPECT_EQ(rows[i].folder, CUDirectory::Exists(&rows[i].path)) << "row " << i;
    }
    EXPECT_FALSE(fs::exists(folder.Path() / "pwned"));
    EXPECT_FALSE(fs::exists("pwned"));
    // The shared-pointer forms hand their pointer on; a null one names nothing.
    EXPECT_TRUE(CUDirectory::Exists(Str(dir)));
    EXPECT_FALSE(CUFile::Exists(CUSharedPtr<CUStringMac>()));
    EXPECT_FALSE(CUDirectory::Exists(CUSharedPtr<CUStringMac>()));
}

TEST(CUFile, StaticFormsActOnThePathTheyAreGiven) {
    TempFolder folder;
    CUStringMac a = Utf8(folder.File("a")), b = Utf8(folder.File("b"));
    CUStringMac sub = Utf8(folder.File("b/sub")), h = Utf8(folder.File("b/h"));
    ASSERT_TRUE(CUDirectory::CreateDirectory(&a));
    fs::create_directory(folder.File("a/sub"));
    WriteFile(folder.File("a/f"), "x");
    EXPECT_EQ(1u, CUDirectory::GetDirectories(&a)->Count());
    CUDirectory::Rename(Str(folder.File("a")), Str("b"));
    CUFile::Rename(Str(folder.File("b/f")), Str("h"));
    CUFile::Delete(h);
    CUDirectory::Delete(&sub);
    EXPECT_TRUE(fs::is_empty(folder.File("b"))) << "a renamed b, f renamed h, both then deleted";
    CUDirectory::Delete(&b, false);
    EXPECT_FALSE(fs::exists(folder.File("b")));
    CUFileInfo info(Str(folder.File("x")));
    EXPECT_TRUE(Text(info.Description()).ends_with(folder.File("x")));
}

TEST(CUFile, NamedPipesSocketsAndDevicesAreRefusedByCopiesAndStreamsWithoutWaiting) {
    alarm(60); // a wait on a pipe ends the program instead of the suite's time
    TempFolder folder;
    std::string const pipe = folder.File("pipe"), socketPath = folder.File("socket");
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0644));
    int const listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));
    for (std::string const& source : {pipe, socketPath, std::string("/dev/null")}) {
        SCOPED_TRACE(source);
        EXPECT_TRUE(CUFile::Exists(Str(source))) << "listed and found as a file";
        std::string const copy = folder.File("copy");
        EXPECT_NE(0u, CUFile::Copy(Str(source), Str(copy)));
        // The check before a copy with progress opens the source as a stream, which refuses it.
        EXPECT_EQ(9u, CodeOf([&] { CopyFile(source, copy); }));
        EXPECT_FALSE(fs::exists(copy));
        for (CUStream_FileAccess access : {CUStream_FileAccess_Read, CUStream_FileAccess_Write}) {
            CUSharedPtr<CUStringMac> path = Str(source);
            EXPECT_EQ(5u,
                      CodeOf([&] { CUFileStream(path, CUStream_FileMode_Open, access, false); }));
        }
    }
    ::close(listener);
    alarm(0);
}
