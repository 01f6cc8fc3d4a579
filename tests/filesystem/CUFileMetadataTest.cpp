// CUFileMetadataTest.cpp — copies and moves keep what a file is besides its bytes: times, mode,
// owner (as root) and extended attributes; symbolic links are copied and moved as links.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFile.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>

using namespace varn::test;
namespace fs = std::filesystem;

namespace {

// What a copy must keep, as one comparable value.
using Meta = std::tuple<long, long, mode_t, uid_t, gid_t, std::string>;

Meta metaOf(std::string const& path) {
    struct stat st {};
    EXPECT_EQ(0, ::lstat(path.c_str(), &st)) << path;
    char value[64] = {};
    ssize_t const n = ::lgetxattr(path.c_str(), "user.varn", value, sizeof value);
    return {
        st.st_atim.tv_sec, st.st_mtim.tv_sec,
        st.st_mode,        st.st_uid,
        st.st_gid,         n > 0 ? std::string(value, static_cast<std::size_t>(n)) : std::string()};
}

// A file with times, mode, owner and an attribute that nothing would give a new file.
void prepare(std::string const& path) {
    WriteFile(path, "data");
    ::setxattr(path.c_str(), "user.varn", "kept", 4, 0);
    if (::geteuid() == 0) {
        ASSERT_EQ(0, ::chown(path.c_str(), 4321, 4321));
    }
    ASSERT_EQ(0, ::chmod(path.c_str(), 0640));
    struct timespec const times[2] = {{1'000'000'000, 0}, {978'307'200, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
}

} // namespace

TEST(CUFile, CopiesAndMovesKeepTimesModeOwnerAndAttributesAndLinksStayLinks) {
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
    };
    int i = 0;
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        std::string const source = here.File(("src" + std::to_string(i)).c_str());
        std::string const dest =
            (c.otherFileSystem ? other : here.Path().string()) + "/dst" + std::to_string(i++);
        prepare(source);
        if (c.overwrite) {
            WriteFile(dest, "old");
        }
        Meta const expected = metaOf(source);
        unsigned int const status = !c.progress ? CUFile::Copy(Str(source), Str(dest))
                                    : c.move    ? MoveFile(source, dest)
                                                : CopyFile(source, dest, c.overwrite);
        ASSERT_EQ(0u, status);
        EXPECT_EQ(expected, metaOf(dest));
        EXPECT_EQ("data", ReadFile(dest));
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
