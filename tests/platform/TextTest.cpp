// The platform text layer: search and splitting, locale selection, thread-safe collation keys.
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace vp = varn::platform;

namespace {

struct T {
    explicit T(char16_t const* s) : text(vp::MakeText(std::u16string(s))) {}
    ~T() { vp::Release(text); }
    T(T const&) = delete;
    T& operator=(T const&) = delete;
    vp::Text const* text;
};

std::u16string str(vp::Text const* t) {
    return std::u16string(t->Units(), t->length);
}

std::vector<std::u16string> split(char16_t const* s, char16_t const* sep) {
    T text(s), separator(sep);
    std::vector<std::u16string> out;
    for (vp::Text const* piece : vp::Split(text.text, separator.text)) {
        out.push_back(str(piece));
        vp::Release(piece);
    }
    return out;
}

// Sets environment variables for one test and restores the collation locale after it.
class LocaleScope {
  public:
    LocaleScope(char const* lang, char const* lcAll = nullptr) {
        save("LANG");
        save("LC_ALL");
        save("LC_COLLATE");
        ::unsetenv("LC_COLLATE");
        lcAll ? ::setenv("LC_ALL", lcAll, 1) : ::unsetenv("LC_ALL");
        lang ? ::setenv("LANG", lang, 1) : ::unsetenv("LANG");
        vp::ResetCollationLocale();
    }
    ~LocaleScope() {
        for (auto& [name, value] : saved_) {
            value.first ? ::setenv(name.c_str(), value.second.c_str(), 1)
                        : ::unsetenv(name.c_str());
        }
        vp::ResetCollationLocale();
    }
    LocaleScope(LocaleScope const&) = delete;
    LocaleScope& operator=(LocaleScope const&) = delete;

  private:
    void save(char const* name) {
        char const* v = std::getenv(name);
        saved_.push_back({name, {v != nullptr, v != nullptr ? v : ""}});
    }
    std::vector<std::pair<std::string, std::pair<bool, std::string>>> saved_;
};

int compare(char16_t const* a, char16_t const* b, bool ci = false) {
    T x(a), y(b);
    return vp::CompareLocalized(x.text, y.text, ci);
}

} // namespace

TEST(PlatformText, SplitKeepsEmptyPiecesAndScansLeftToRight) {
    using V = std::vector<std::u16string>;
    EXPECT_EQ((V{u"a", u"", u"b"}), split(u"a,,b", u","));
    EXPECT_EQ((V{u"", u"a", u""}), split(u",a,", u","));
    EXPECT_EQ((V{u"", u"a"}), split(u"aaa", u"aa"));
    EXPECT_EQ((V{u""}), split(u"", u","));
    EXPECT_EQ((V{u"abc"}), split(u"abc", u""));
    EXPECT_EQ((V{u"abc"}), split(u"abc", u"/"));
}

TEST(PlatformText, LiteralAndCaseInsensitiveSearchForwardBackwardAndSuffix) {
    T text(u"a/b/c"), slash(u"/"), empty(u""), c(u"/c"), mixed(u"aXbxc"), x(u"x");
    std::size_t location = 0, length = 0;
    ASSERT_TRUE(vp::FindLiteral(text.text, slash.text, false, location, length));
    EXPECT_EQ(1u, location);
    ASSERT_TRUE(vp::FindLiteral(text.text, slash.text, true, location, length));
    EXPECT_EQ(3u, location);
    EXPECT_EQ(1u, length);
    EXPECT_FALSE(vp::FindLiteral(text.text, empty.text, false, location, length));
    EXPECT_FALSE(vp::FindLiteral(empty.text, slash.text, false, location, length));
    EXPECT_TRUE(vp::HasSuffix(text.text, c.text));
    EXPECT_FALSE(vp::HasSuffix(text.text, empty.text)); // an empty suffix never matches
    EXPECT_FALSE(vp::HasSuffix(slash.text, c.text));
    ASSERT_TRUE(vp::FindCaseInsensitive(mixed.text, x.text, true, location, length));
    EXPECT_EQ(3u, location);
    ASSERT_TRUE(vp::FindCaseInsensitive(mixed.text, x.text, false, location, length));
    EXPECT_EQ(1u, location);
}

TEST(PlatformText, WorstCaseSizesAndTheSharedEmptyText) {
    EXPECT_EQ(3u, vp::MaxBytesForEncoding(1, vp::Encoding::UTF8));
    EXPECT_EQ(2u, vp::MaxBytesForEncoding(1, vp::Encoding::UTF16));
    EXPECT_EQ(1u, vp::MaxBytesForEncoding(1, vp::Encoding::ASCII));
    EXPECT_EQ(4u, vp::MaxBytesForEncoding(1, vp::Encoding::UTF32LE));
    for (vp::Encoding e : {vp::Encoding::UTF8, vp::Encoding::UTF16, vp::Encoding::ASCII}) {
        vp::Text const* t = vp::Decode("", 0, e);
        EXPECT_EQ(vp::EmptyText(), t);
        vp::Release(t);
    }
}

TEST(PlatformText, CLocaleCollatesLikeAscii) {
    LocaleScope scope("C.UTF-8");
    EXPECT_EQ("en_US_POSIX", vp::CollationLocale());
    EXPECT_EQ(-1, compare(u"B", u"a")); // case is a primary difference here
    EXPECT_EQ(-1, compare(u"A", u"a"));
    EXPECT_EQ(-1, compare(u"Ac", u"ab", true)); // the tails decide, not the folded text
}

TEST(PlatformText, LocaleComesFromLcAllThenLang) {
    {
        LocaleScope scope("de_DE.UTF-8@euro");
        EXPECT_EQ("de_DE", vp::CollationLocale());
    }
    {
        LocaleScope scope("en_US.UTF-8", "sv_SE.UTF-8");
        EXPECT_EQ("sv_SE", vp::CollationLocale());
        EXPECT_EQ(-1, compare(u"z", u"\u00E5")); // å after z in Swedish
    }
    {
        LocaleScope scope(nullptr);
        EXPECT_EQ("en_US_POSIX", vp::CollationLocale());
    }
    LocaleScope scope("en_US.UTF-8");
    EXPECT_EQ(-1, compare(u"\u00E5", u"z"));
}

TEST(PlatformText, TurkishLocaleFoldsTheDottedAndDotlessI) {
    {
        LocaleScope scope("tr_TR.UTF-8");
        EXPECT_EQ(0, compare(u"I", u"\u0131", true));
        EXPECT_NE(0, compare(u"I", u"i", true));
        T text(u"\u0130stanbul"), pattern(u"is");
        std::size_t location = 9, length = 9;
        EXPECT_TRUE(vp::FindCaseInsensitive(text.text, pattern.text, false, location, length));
        EXPECT_EQ(0u, location);
    }
    LocaleScope scope("en_US.UTF-8");
    EXPECT_EQ(0, compare(u"I", u"i", true));
}

TEST(PlatformText, ThreadsComparingTheSameTextsAgreeOnOneCachedKey) {
    std::vector<vp::Text const*> texts;
    for (int i = 0; i < 64; ++i) {
        std::u16string s = u"key-";
        s += static_cast<char16_t>(u'a' + i % 26);
        s += static_cast<char16_t>(u'A' + i / 26);
        texts.push_back(vp::MakeText(s));
    }
    std::vector<std::thread> threads;
    std::atomic<int> disagreements{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (std::size_t i = 0; i + 1 < texts.size(); ++i) {
                int forward = vp::CompareLocalized(texts[i], texts[i + 1], false);
                int backward = vp::CompareLocalized(texts[i + 1], texts[i], false);
                if (forward != -backward || forward == 0) {
                    disagreements.fetch_add(1);
                }
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(0, disagreements.load());
    for (vp::Text const* t : texts) {
        vp::Release(t);
    }
}

TEST(PlatformText, DecodeUtf8ContentKeepsALeadingMarkAndSizesExactly) {
    // The mark that Decode drops is content here.
    vp::Text const* marked = vp::DecodeUTF8Content("\xEF\xBB\xBFx", 4);
    ASSERT_NE(marked, nullptr);
    EXPECT_EQ(str(marked), std::u16string(u"\uFEFFx"));
    vp::Release(marked);

    vp::Text const* ascii = vp::DecodeUTF8Content("plain ascii", 11);
    ASSERT_NE(ascii, nullptr);
    EXPECT_EQ(str(ascii), std::u16string(u"plain ascii"));
    vp::Release(ascii);

    // ASCII before and after multi-byte characters, a pair among them.
    std::string const mixed = "ab\xC3\xA9"
                              "cd\xE2\x98\xBA\xF0\x9F\x98\x80"
                              "ef" +
                              std::string(40, '\xC3') + "";
    vp::Text const* bad = vp::DecodeUTF8Content(mixed.data(), mixed.size());
    EXPECT_EQ(bad, nullptr); // lead bytes without continuation bytes
    std::string const good = "ab\xC3\xA9"
                             "cd\xE2\x98\xBA\xF0\x9F\x98\x80"
                             "ef";
    vp::Text const* text = vp::DecodeUTF8Content(good.data(), good.size());
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(str(text), std::u16string(u"ab\u00E9cd\u263A\U0001F600ef"));
    vp::Release(text);

    vp::Text const* empty = vp::DecodeUTF8Content("", 0);
    EXPECT_EQ(empty, vp::EmptyText());
    vp::Release(empty);
}

TEST(PlatformText, DecodeUtf8ContentOfLongNonAsciiTextIsExact) {
    // Two bytes a character: the block made for one unit a byte is copied down to size.
    std::string bytes;
    for (int i = 0; i < 100; ++i) {
        bytes += "\xC3\xA9";
    }
    vp::Text const* text = vp::DecodeUTF8Content(bytes.data(), bytes.size());
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(str(text), std::u16string(100, u'\u00E9'));
    vp::Release(text);
}
