// CUFileStream on hostile names: shell syntax, over-long names, text that is not UTF-8, U+0000.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFileStream.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace varn::test;

namespace {

unsigned int OpenCode(CUStringMac& path, CUStream_FileMode mode) {
    return CodeOf([&] { CUFileStream stream(&path, mode, CUStream_FileAccess_ReadWrite, false); });
}

} // namespace

TEST(CUFileStream, HostileNamesAreCreatedWrittenAndReadAsGiven) {
    TempFolder folder;
    for (std::string name : {"line\nbreak", "$(touch pwned)", "`id`", "q'uo\"te", "-n", "a;b|c"}) {
        std::string file = folder.File(name.c_str());
        CUStringMac path = Utf8(file);
        std::string text = "contents of " + name;
        {
            CUFileStream stream(&path, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite,
                                false);
            EXPECT_EQ(text.size(), stream.Write(reinterpret_cast<unsigned char*>(text.data()),
                                                text.size(), 0, CUStream_Seek_Origin_Begin));
        }
        EXPECT_EQ(text, ReadFile(file)) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "pwned"));
    EXPECT_EQ(6, std::distance(std::filesystem::directory_iterator(folder.Path()),
                               std::filesystem::directory_iterator()));
}

TEST(CUFileStream, BadAndHostileNamesThrowTheirCodesAndCreateNothing) {
    TempFolder folder;
    std::string const shown = folder.File("shown");
    CUStringMac empty = Utf8("");
    CUStringMac dir = Utf8(folder.Path().string());
    CUStringMac missingFolder = Utf8(folder.File("no/such/f.bin"));
    CUStringMac tooLong = Utf8(folder.File(std::string(256, 'n').c_str()));
    CUStringMac undecodable = Utf8(folder.File("\xC3\x28")); // a null text, like ""
    CUStringMac lone = Units(u"/tmp/varn-\xD800");           // no UTF-8 form
    CUStringMac hidden = Units(std::u16string(shown.begin(), shown.end()) + u'\0' + u"hidden");
    struct Row {
        char const* what;
        CUStringMac* path;
        CUStream_FileMode mode;
        CUStream_FileAccess access;
        unsigned int code;
    } const rows[] = {
        {"no path", nullptr, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_Read, 2},
        {"empty", &empty, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_Read, 1},
        {"folder read", &dir, CUStream_FileMode_Open, CUStream_FileAccess_Read, 5},
        {"folder write", &dir, CUStream_FileMode_Create, CUStream_FileAccess_Write, 5},
        {"missing folder", &missingFolder, CUStream_FileMode_OpenOrCreate,
         CUStream_FileAccess_Write, 4},
        {"256 units", &tooLong, CUStream_FileMode_Create, CUStream_FileAccess_ReadWrite, 4},
        {"256 units, or create", &tooLong, CUStream_FileMode_OpenOrCreate,
         CUStream_FileAccess_ReadWrite, 4},
        {"256 units, open", &tooLong, CUStream_FileMode_Open, CUStream_FileAccess_ReadWrite, 9},
        {"undecodable", &undecodable, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_ReadWrite,
         1},
        {"lone surrogate", &lone, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_ReadWrite, 4},
        {"zero unit", &hidden, CUStream_FileMode_OpenOrCreate, CUStream_FileAccess_ReadWrite, 4},
        {"zero unit, new", &hidden, CUStream_FileMode_CreateNew, CUStream_FileAccess_ReadWrite, 4},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.code,
                  CodeOf([&] { CUFileStream stream(row.path, row.mode, row.access, false); }))
            << row.what;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path())); // nor the shorter name
    CUSharedPtr<CUStringMac> none;
    EXPECT_THROW(CUFileStream(none, CUStream_FileMode_Open, CUStream_FileAccess_Read, false),
                 unsigned int);
    WriteFile(shown, "secret"); // a present file under the shorter name is neither opened nor cut
    EXPECT_EQ(4u, OpenCode(hidden, CUStream_FileMode_Open));
    EXPECT_EQ(4u, OpenCode(hidden, CUStream_FileMode_Create));
    EXPECT_EQ("secret", ReadFile(shown));
    CUStringMac fits = Utf8(folder.File(std::string(255, 'n').c_str()));
    EXPECT_EQ(0u, OpenCode(fits, CUStream_FileMode_CreateNew));
}
