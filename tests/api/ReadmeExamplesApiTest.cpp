// The code shown in README.md, run against the shared library. tests/readme-snippets.py fails
// when a ```cpp block of the README is not, indentation aside, between "README <name>" and
// "README end" markers here.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

// Collects what WriteXml writes.
class TextSink : public CUStream {
  public:
    bool CanWrite() override { return true; }
    unsigned long long Write(unsigned char* in, unsigned long long count, long long,
                             CUStream_Seek_Origin) override {
        text.append(reinterpret_cast<char const*>(in), static_cast<std::size_t>(count));
        return count;
    }
    std::string text;
};

// A fresh folder in the temporary directory, removed with its content.
struct ScratchFolder {
    ScratchFolder() { EXPECT_NE(nullptr, ::mkdtemp(path.data())); }
    ~ScratchFolder() { std::filesystem::remove_all(path, ignored); }
    std::string path = std::filesystem::temp_directory_path() / "varn-readme-XXXXXX";
    std::error_code ignored;
};

} // namespace

TEST(CUStringMac, ReadmeExampleComparesAndFormats) {
    // README strings
    CUSharedPtr<CUStringMac> street(new CUStringMac("Straße", CUString_CharCode_UTF8));
    CUStringMac upper("STRASSE", CUString_CharCode_UTF8);
    bool same = street->Equals(upper, CUStringComparison_CaseInsensitive); // true: ß folds to SS

    CUSharedPtr<CUStringMac> format(new CUStringMac("%d items", CUString_CharCode_UTF8));
    CUSharedPtr<CUStringMac> line = CUStringMac::CreateWithFormat(format, 3);
    std::string text;
    line->GetString(text); // "3 items"
    // README end
    EXPECT_TRUE(same);
    EXPECT_EQ("3 items", text);
}

TEST(CUFileStream, ReadmeExamplesWriteReadBackAndThrowFileNotFound) {
    ScratchFolder scratch;
    std::string const folder = scratch.path;
    unsigned int caught = 0;
    // README errors
    CUSharedPtr<CUStringMac> path(
        new CUStringMac((folder + "/missing.txt").c_str(), CUString_CharCode_UTF8));
    try {
        CUFileStream stream(path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    } catch (unsigned int code) {
        caught = code; // CUError_FileNotFound (9)
    }
    // README end
    EXPECT_EQ(static_cast<unsigned>(CUError_FileNotFound), caught);
    {
        // README files
        CUSharedPtr<CUStringMac> path(
            new CUStringMac((folder + "/notes.txt").c_str(), CUString_CharCode_UTF8));
        {
            CUFileStream out(path, CUStream_FileMode_Create, CUStream_FileAccess_Write, false);
            unsigned char hello[] = "hello, world";
            out.Write(hello, 12, 0, CUStream_Seek_Origin_Begin);
        } // closed here
        CUFileStream in(path, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
        unsigned char buffer[5];
        unsigned long long n = in.Read(buffer, 5, 7, CUStream_Seek_Origin_Begin); // 5: "world"
        bool exists = CUFile::Exists(path);                                       // true
        // README end
        EXPECT_EQ(5u, n);
        EXPECT_EQ(0, std::memcmp(buffer, "world", 5));
        EXPECT_TRUE(exists);
    }
}

TEST(CUMutableDictionary, ReadmeExampleStoresAndSorts) {
    // README collections
    CUSharedPtr<CUMutableArray> fruit(new CUMutableArray());
    fruit->AddObject(CUSharedPtr<CUStringMac>(new CUStringMac("pear", CUString_CharCode_UTF8)));
    fruit->AddObject(CUSharedPtr<CUStringMac>(new CUStringMac("fig", CUString_CharCode_UTF8)));
    CUSharedPtr<CUStringMac> first = fruit->ObjectAtIndex(0); // checked down-cast; null if not

    CUSharedPtr<CUMutableDictionary> prices(new CUMutableDictionary());
    CUSharedPtr<CUStringMac> key(new CUStringMac("fig", CUString_CharCode_UTF8));
    prices->SetObjectForKey(
        CUSharedPtr<CUStringMac>(new CUStringMac("2.10", CUString_CharCode_UTF8)), key);
    CUSharedPtr<CUStringMac> price = prices->ObjectForKey(key); // "2.10"
    // README end
    ASSERT_TRUE(first && price);
    EXPECT_STREQ("pear", static_cast<char const*>(*first));
    EXPECT_STREQ("2.10", static_cast<char const*>(*price));
    EXPECT_EQ(2u, fruit->Count());
}

TEST(CUXmlDomDocumentNode, ReadmeExampleLoadsEditsAndWrites) {
    CUSharedPtr<TextSink> sink(new TextSink());
    // README xml
    char source[] = "<note to=\"Ann\">hi</note>";
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    unsigned int status =
        doc->LoadXml(CUSharedPtr<CUStream>(new CUMemoryStream(source, sizeof source - 1, false)));
    CUSharedPtr<CUXmlDomNode> note = doc->GetChildNodes()->ObjectAtIndex(0);
    note->SetAttribute(CUSharedPtr<CUStringMac>(new CUStringMac("to", CUString_CharCode_UTF8)),
                       CUSharedPtr<CUStringMac>(new CUStringMac("Bo", CUString_CharCode_UTF8)));
    note->GetChildNodes()->AddObject(CUXmlDomDocumentNode::CreateElementNode(
        CUSharedPtr<CUStringMac>(new CUStringMac("sig", CUString_CharCode_UTF8))));
    status = doc->WriteXml(sink); // any CUStream; sink collects the bytes
    // README end
    EXPECT_FALSE(CUStatusFailed(status));
    EXPECT_NE(std::string::npos, sink->text.find("to=\"Bo\""));
    EXPECT_NE(std::string::npos, sink->text.find("sig"));
}

TEST(CUDateTime, ReadmeExampleReadsFieldsAndFormats) {
    // README dates
    CUSharedPtr<CUDateTime> leap = CUDateTime::Create(2024, 2, 29, 12, 30, 0); // local time
    int year = leap->GetYear(true);                                            // 2024
    CUSharedPtr<CUDateTime> next = leap->AddDays(1);                           // March 1
    CUSharedPtr<CUStringMac> shown = next->GetString(true, 2, 0); // "Mar 1, 2024" in en_US
    // README end
    EXPECT_EQ(2024, year);
    EXPECT_STREQ("Mar 1, 2024", static_cast<char const*>(*shown));
}
