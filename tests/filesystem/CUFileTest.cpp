// CUFileTest.cpp — files by path: the existence tests on ordinary entries and links and on names
// built to confuse (shell syntax, quotes and newlines are plain characters to the system; names
// past the system's limits; text that is not UTF-8 or holds U+0000, which no name can hold), the
// static forms, and named pipes, sockets and devices, which copies and streams refuse at once (a
// pipe without a writer used to block the open for ever, a device was reported copied with
// nothing written).
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileStream.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

using namespace varn::test;
namespace fs = std::filesystem;

TEST(CUFile, ExistsTellsFilesFromFoldersThroughLinksAndFindsEveryNameExactlyAsWritten) {
    TempFolder folder;
    std::string const file = folder.File("plain.txt"), dir = folder.Path().string();
    std::string const longest(255, 'n'), odd = "caf\xC3\xA9 \xF0\x9F\x8C\x8D.txt";
    std::string wide; // 255 characters of two bytes each: the limit counts bytes
    for (int i = 0; i < 255; ++i) {
        wide += "\xC3\xA9";
    }
    std::string deep = dir;
    while (deep.size() < 70000) {
        deep += "/" + std::string(200, 'd');
    }
    for (std::string const& name : {std::string("plain.txt"), odd, longest, std::string("\xFF")}) {
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
        {Utf8(dir + "/"), false, true},
        {Utf8(file + "/"), false, false},
        {Utf8(folder.File("link")), true, false},
        {Utf8(folder.File("dangling")), false, false},
        {Utf8(folder.File("folderlink")), false, true},
        {Utf8(folder.File(odd.c_str())), true, false},
        {Utf8(folder.File("missing")), false, false},
        {Utf8(""), false, false},
        {Utf8(folder.File(longest.c_str())), true, false},
        {Utf8(folder.File((longest + "n").c_str())), false, false}, // one byte past NAME_MAX
        {Utf8(folder.File(wide.c_str())), false, false},
        {Utf8(deep), false, false},                // past PATH_MAX
        {Utf8(folder.File("\xFF")), false, false}, // not UTF-8: a null text
        {Units(u"/tmp/\xD800"), false, false},     // no UTF-8 form
        // U+0000 must not cut the text short at an existing name.
        {Units(std::u16string(file.begin(), file.end()) + u'\0' + u"hidden"), false, false},
        {Units(std::u16string(dir.begin(), dir.end()) + u'\0' + u"/x"), false, false},
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
        CUStringMac& path = rows[i].path;
        CUSharedPtr<CUStringMac> shared(new CUStringMac(path));
        EXPECT_EQ(rows[i].file, CUFile::Exists(&path)) << "row " << i;
        EXPECT_EQ(rows[i].folder, CUDirectory::Exists(&path)) << "row " << i;
        EXPECT_EQ(rows[i].file, CUFile::Exists(shared)) << "row " << i;
        EXPECT_EQ(rows[i].folder, CUDirectory::Exists(shared)) << "row " << i;
    }
    EXPECT_FALSE(fs::exists(folder.Path() / "pwned"));
    EXPECT_FALSE(fs::exists("pwned"));
    EXPECT_FALSE(CUFile::Exists(static_cast<CUStringMac*>(nullptr)));
    EXPECT_FALSE(CUFile::Exists(CUSharedPtr<CUStringMac>()));
    EXPECT_FALSE(CUDirectory::Exists(static_cast<CUStringMac*>(nullptr)));
    EXPECT_FALSE(CUDirectory::Exists(CUSharedPtr<CUStringMac>()));
}

TEST(CUFile, StaticFormsActOnThePathTheyAreGiven) {
    TempFolder folder;
    CUStringMac a = Utf8(folder.File("a")), b = Utf8(folder.File("b"));
    ASSERT_TRUE(CUDirectory::CreateDirectory(&a));
    fs::create_directory(folder.File("a/sub"));
    WriteFile(folder.File("a/f"), "x");
    EXPECT_EQ(1u, CUDirectory::GetDirectories(&a)->Count());
    EXPECT_EQ(1u, CUDirectory::GetFiles(&a)->Count());
    CUDirectory::Rename(Str(folder.File("a")), Str("b"));
    CUFile::Rename(Str(folder.File("b/f")), Str("g"));
    EXPECT_TRUE(fs::exists(folder.File("b/g")) && !fs::exists(folder.File("b/f")));
    CUFile::Delete(Str(folder.File("b/g")));
    WriteFile(folder.File("b/h"), "x");
    CUStringMac h = Utf8(folder.File("b/h"));
    CUFile::Delete(h);
    EXPECT_TRUE(fs::is_empty(folder.File("b/sub")) && !fs::exists(folder.File("b/h")));
    CUStringMac sub = Utf8(folder.File("b/sub"));
    CUDirectory::Delete(&sub);
    CUDirectory::Delete(&b, false);
    EXPECT_FALSE(fs::exists(folder.File("b")));
    CUDirectory::CreateDirectory(Str(folder.File("c/d")));
    CUStringMac c = Utf8(folder.File("c"));
    CUDirectory::Delete(&c, true);
    EXPECT_FALSE(fs::exists(folder.File("c")));
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
        EXPECT_EQ(9u, CodeOf([&] { CopyFile(source, copy, true); }));
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
