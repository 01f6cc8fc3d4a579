// CUFileTest.cpp — the existence tests for files and folders, on ordinary entries and links and
// on names built to confuse: shell syntax, quotes and newlines (plain characters to the system),
// names past the system's limits, text that is not UTF-8 and text with U+0000, which no name can
// hold.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace varn::test;
namespace fs = std::filesystem;

TEST(CUFile, ExistsTellsFilesFromFoldersThroughLinks) {
    TempFolder folder;
    std::string const file = folder.File("plain.txt"), dir = folder.Path().string();
    WriteFile(file, "x");
    WriteFile(folder.File("caf\xC3\xA9 \xF0\x9F\x8C\x8D.txt"), "x");
    std::filesystem::create_directory(folder.File("sub"));
    std::filesystem::create_symlink(file, folder.File("link"));
    std::filesystem::create_symlink(folder.File("gone"), folder.File("dangling"));
    std::filesystem::create_directory_symlink(folder.File("sub"), folder.File("folderlink"));
    struct Row {
        std::string path;
        bool file, folder;
    } const rows[] = {
        {file, true, false},
        {dir, false, true},
        {dir + "/", false, true},
        {file + "/", false, false},
        {folder.File("link"), true, false},
        {folder.File("dangling"), false, false},
        {folder.File("folderlink"), false, true},
        {folder.File("caf\xC3\xA9 \xF0\x9F\x8C\x8D.txt"), true, false},
        {folder.File("missing"), false, false},
        {"", false, false},
    };
    for (Row const& row : rows) {
        CUStringMac path = Utf8(row.path);
        EXPECT_EQ(row.file, CUFile::Exists(&path)) << row.path;
        EXPECT_EQ(row.folder, CUDirectory::Exists(&path)) << row.path;
        CUSharedPtr<CUStringMac> shared(new CUStringMac(path));
        EXPECT_EQ(row.file, CUFile::Exists(shared)) << row.path;
        EXPECT_EQ(row.folder, CUDirectory::Exists(shared)) << row.path;
    }
    EXPECT_FALSE(CUFile::Exists(static_cast<CUStringMac*>(nullptr)));
    EXPECT_FALSE(CUFile::Exists(CUSharedPtr<CUStringMac>()));
    EXPECT_FALSE(CUDirectory::Exists(static_cast<CUStringMac*>(nullptr)));
    EXPECT_FALSE(CUDirectory::Exists(CUSharedPtr<CUStringMac>()));
}

TEST(CUFile, HostileNamesAreFoundExactlyAsWrittenAndNothingRuns) {
    TempFolder folder;
    for (char const* name :
         {"line\nbreak", "$(touch pwned)", "`touch pwned`", "it's", "say \"hi\"", "-rf", "a;b|c&d",
          "*?[x]", " lead", "trail ", "tab\there", "\x01\x1f\x7f", "back\\slash", "..a", "%s%n%x",
          "\xE2\x80\xAEtxt.exe" /* a right-to-left override */}) {
        std::string file = folder.File(name);
        WriteFile(file, "x");
        CUStringMac path = Utf8(file);
        EXPECT_TRUE(CUFile::Exists(&path)) << name;
        EXPECT_FALSE(CUDirectory::Exists(&path)) << name;
        CUStringMac near = Utf8(file + "\n");
        EXPECT_FALSE(CUFile::Exists(&near)) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "pwned"));
    EXPECT_FALSE(std::filesystem::exists("pwned"));
}

TEST(CUFile, NamesPastTheSystemLimitsAreMissing) {
    TempFolder folder;
    std::string const longest(255, 'n');
    WriteFile(folder.File(longest.c_str()), "x");
    CUStringMac fits = Utf8(folder.File(longest.c_str()));
    EXPECT_TRUE(CUFile::Exists(&fits));
    CUStringMac tooLong = Utf8(folder.File((longest + "n").c_str())); // one byte past NAME_MAX
    EXPECT_FALSE(CUFile::Exists(&tooLong));
    // 255 characters of two bytes each: the limit counts bytes.
    std::string wide;
    for (int i = 0; i < 255; ++i) {
        wide += "\xC3\xA9";
    }
    CUStringMac wideName = Utf8(folder.File(wide.c_str()));
    EXPECT_FALSE(CUFile::Exists(&wideName));
    std::string deep = folder.Path().string();
    while (deep.size() < 70000) {
        deep += "/" + std::string(200, 'd');
    }
    CUStringMac pastPathMax = Utf8(deep);
    EXPECT_FALSE(CUFile::Exists(&pastPathMax));
    EXPECT_FALSE(CUDirectory::Exists(&pastPathMax));
}

TEST(CUFile, TextWithoutAnExactByteFormNamesNothingEvenWhenSomeBytesDo) {
    TempFolder folder;
    WriteFile(folder.File("\xFF"), "x");
    std::string const shown = folder.File("shown"), dir = folder.Path().string();
    WriteFile(shown, "x");
    CUStringMac raw = Utf8(folder.File("\xFF")); // not UTF-8: a null text
    EXPECT_FALSE(CUFile::Exists(&raw));
    CUStringMac lone = Units(u"/tmp/\xD800"); // no UTF-8 form
    EXPECT_FALSE(CUFile::Exists(&lone));
    // U+0000 must not cut the text short at an existing name.
    CUStringMac hidden = Units(std::u16string(shown.begin(), shown.end()) + u'\0' + u"hidden");
    EXPECT_FALSE(CUFile::Exists(&hidden));
    CUStringMac hiddenDir = Units(std::u16string(dir.begin(), dir.end()) + u'\0' + u"/x");
    EXPECT_FALSE(CUDirectory::Exists(&hiddenDir));
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
