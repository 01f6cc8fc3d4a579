// CUFileHostilePathTest.cpp — the existence test on names built to confuse: shell syntax,
// quotes and newlines (plain characters to the system), names past the system's limits, text
// that is not UTF-8 and text with U+0000, which no name can hold.
#include "fakes/FileFaults.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFile.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using varn::test::TempFolder;
using varn::test::WriteFile;

namespace {

CUStringMac Utf8(std::string const& s) {
    return CUStringMac(s.data(), static_cast<unsigned int>(s.size()), CUString_CharCode_UTF8);
}

CUStringMac Units(std::u16string const& units) {
    std::vector<unsigned short> copy(units.begin(), units.end());
    return CUStringMac(copy.data(), static_cast<unsigned int>(copy.size() * 2));
}

std::vector<std::string> const kHostileNames = {
    "line\nbreak",
    "$(touch pwned)",
    "`touch pwned`",
    "it's",
    "say \"hi\"",
    "-rf",
    "a;b|c&d",
    "*?[x]",
    " lead",
    "trail ",
    "tab\there",
    "\x01\x1f\x7f",
    "back\\slash",
    "..a",
    "%s%n%x",
    "\xE2\x80\xAE"
    "txt.exe", // a right-to-left override
};

} // namespace

TEST(CUFile, HostileNamesAreFoundExactlyAsWrittenAndNothingRuns) {
    TempFolder folder;
    for (std::string const& name : kHostileNames) {
        std::string file = folder.File(name.c_str());
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

TEST(CUFile, UndecodableTextNamesNothingEvenWhenThoseBytesDo) {
    TempFolder folder;
    WriteFile(folder.File("\xFF"), "x");
    WriteFile(folder.File(""), "x");
    CUStringMac raw = Utf8(folder.File("\xFF"));
    EXPECT_FALSE(CUFile::Exists(&raw)); // not UTF-8: a null text
    CUStringMac lone = Units(u"/tmp/\xD800");
    EXPECT_FALSE(CUFile::Exists(&lone)); // no UTF-8 form
}

TEST(CUFile, TextWithAZeroUnitDoesNotNameTheShorterPath) {
    TempFolder folder;
    std::string file = folder.File("shown");
    WriteFile(file, "x");
    std::u16string units(file.begin(), file.end());
    CUStringMac hidden = Units(units + u'\0' + u"hidden");
    EXPECT_FALSE(CUFile::Exists(&hidden));
    std::string const folderText = folder.Path().string();
    std::u16string dir(folderText.begin(), folderText.end());
    CUStringMac hiddenDir = Units(dir + u'\0' + u"/x");
    EXPECT_FALSE(CUDirectory::Exists(&hiddenDir));
}
