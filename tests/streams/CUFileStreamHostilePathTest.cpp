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

TEST(CUFileStream, OverlongAndUndecodableNamesFailAndCreateNothing) {
    TempFolder folder;
    CUStringMac tooLong = Utf8(folder.File(std::string(256, 'n').c_str()));
    EXPECT_EQ(4u, OpenCode(tooLong, CUStream_FileMode_Create));
    EXPECT_EQ(4u, OpenCode(tooLong, CUStream_FileMode_OpenOrCreate));
    EXPECT_EQ(9u, OpenCode(tooLong, CUStream_FileMode_Open));
    CUStringMac bad = Utf8(folder.File("\xC3\x28")); // a null text, of length 0: code 1 as for ""
    EXPECT_EQ(1u, OpenCode(bad, CUStream_FileMode_OpenOrCreate));
    CUStringMac lone = Units(u"/tmp/varn-\xD800");
    EXPECT_EQ(4u, OpenCode(lone, CUStream_FileMode_OpenOrCreate)); // no UTF-8 form
    CUStringMac fits = Utf8(folder.File(std::string(255, 'n').c_str()));
    EXPECT_EQ(0u, OpenCode(fits, CUStream_FileMode_CreateNew));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(folder.Path()),
                               std::filesystem::directory_iterator()));
}

TEST(CUFileStream, TextWithAZeroUnitOpensNothingAndCreatesNothing) {
    TempFolder folder;
    std::string file = folder.File("shown");
    std::u16string units(file.begin(), file.end());
    CUStringMac hidden = Units(units + u'\0' + u"hidden");
    EXPECT_EQ(4u, OpenCode(hidden, CUStream_FileMode_OpenOrCreate));
    EXPECT_EQ(4u, OpenCode(hidden, CUStream_FileMode_CreateNew));
    EXPECT_FALSE(std::filesystem::exists(file)); // the shorter name was not created
    WriteFile(file, "secret");
    EXPECT_EQ(4u, OpenCode(hidden, CUStream_FileMode_Open));
    EXPECT_EQ(4u, OpenCode(hidden, CUStream_FileMode_Create));
    EXPECT_EQ("secret", ReadFile(file)); // nor truncated
}
