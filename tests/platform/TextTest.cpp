// The platform text layer: search and splitting, locale selection, thread-safe collation keys.
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vp = varn::platform;

namespace {

struct T {
    explicit T(char16_t const* s) : text(vp::MakeText(std::u16string(s))) {}
    ~T() { vp::Release(text); }
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

// Pins LANG and LC_ALL for a scope, then goes back to the test program's en_US (see TestMain).
class LocaleScope {
  public:
    explicit LocaleScope(char const* lang, char const* lcAll = nullptr) { Use(lang, lcAll); }
    ~LocaleScope() { Use("en_US.UTF-8", nullptr); }

  private:
    static void Use(char const* lang, char const* lcAll) {
        lcAll != nullptr ? ::setenv("LC_ALL", lcAll, 1) : ::unsetenv("LC_ALL");
        lang != nullptr ? ::setenv("LANG", lang, 1) : ::unsetenv("LANG");
        vp::ResetCollationLocale();
    }
};

int compare(char16_t const* a, char16_t const* b, bool ci = false) {
    T x(a), y(b);
    return vp::CompareLocalized(x.text, y.text, ci);
}

} // namespace

TEST(PlatformText, SplitScansLeftToRightAndKeepsAnEmptyTextOrSeparatorWhole) {
    using V = std::vector<std::u16string>;
    EXPECT_EQ((V{u"", u"a"}), split(u"aaa", u"aa"));
    EXPECT_EQ((V{u""}), split(u"", u","));
    EXPECT_EQ((V{u"abc"}), split(u"abc", u""));
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
    // UTF-8, UTF-16 and ASCII: the string's GetString sizes.
    EXPECT_EQ(4u, vp::MaxBytesForEncoding(1, vp::Encoding::UTF32LE));
    for (vp::Encoding e : {vp::Encoding::UTF8, vp::Encoding::UTF16, vp::Encoding::ASCII}) {
        vp::Text const* t = vp::Decode("", 0, e);
        EXPECT_EQ(vp::EmptyText(), t);
        vp::Release(t);
    }
}

TEST(PlatformText, CollationLocaleComesFromLcAllThenLangAndDecidesTheOrderAndFolding) {
    struct Row {
        char const* lang;
        char const* lcAll;
        char const* locale;
        char16_t const* a;
        char16_t const* b;
        bool ci;
        int order; // 2: any but equal
    } const rows[] = {
        {"C.UTF-8", nullptr, "en_US_POSIX", u"B", u"a", false, -1},  // case is a primary difference
        {"C.UTF-8", nullptr, "en_US_POSIX", u"Ac", u"ab", true, -1}, // the tails decide
        {"de_DE.UTF-8@euro", nullptr, "de_DE", u"a", u"b", false, -1},
        {"en_US.UTF-8", "sv_SE.UTF-8", "sv_SE", u"z", u"\u00E5", false, -1}, // å after z
        {nullptr, nullptr, "en_US_POSIX", u"a", u"b", false, -1},
        {"en_US.UTF-8", nullptr, "en_US", u"I", u"i", true, 0},
        {"tr_TR.UTF-8", nullptr, "tr_TR", u"I", u"\u0131", true, 0}, // dotless i
        {"tr_TR.UTF-8", nullptr, "tr_TR", u"I", u"i", true, 2},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string(row.lang != nullptr ? row.lang : "-") + " " +
                     (row.lcAll != nullptr ? row.lcAll : "-"));
        LocaleScope scope(row.lang, row.lcAll);
        EXPECT_EQ(row.locale, vp::CollationLocale());
        int const order = compare(row.a, row.b, row.ci);
        EXPECT_TRUE(row.order == 2 ? order != 0 : order == row.order) << order;
    }
    LocaleScope scope("tr_TR.UTF-8");
    T text(u"\u0130stanbul"), pattern(u"is");
    std::size_t location = 9, length = 9;
    EXPECT_TRUE(vp::FindCaseInsensitive(text.text, pattern.text, false, location, length));
    EXPECT_EQ(0u, location);
}

TEST(PlatformText, ThreadsComparingTheSameTextsAgreeOnOneCachedKey) {
    std::vector<vp::Text const*> texts;
    for (int i = 0; i < 64; ++i) {
        std::u16string s = u"key-";
        s += static_cast<char16_t>(u'a' + i % 26);
        s += static_cast<char16_t>(u'A' + i / 26);
        texts.push_back(vp::MakeText(s));
    }
    std::atomic<int> disagreements{0};
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                for (std::size_t i = 0; i + 1 < texts.size(); ++i) {
                    int forward = vp::CompareLocalized(texts[i], texts[i + 1], false);
                    int backward = vp::CompareLocalized(texts[i + 1], texts[i], false);
                    disagreements += forward != -backward || forward == 0 ? 1 : 0;
                }
            });
        }
    }
    EXPECT_EQ(0, disagreements.load());
    for (vp::Text const* t : texts) {
        vp::Release(t);
    }
}

TEST(PlatformText, DecodeUtf8ContentKeepsALeadingMarkAndSizesExactly) {
    std::string const mixed = "ab\xC3\xA9"
                              "cd\xE2\x98\xBA\xF0\x9F\x98\x80"
                              "ef";
    std::string twoBytes; // a block made for one unit a byte is copied down to size
    for (int i = 0; i < 100; ++i) {
        twoBytes += "\xC3\xA9";
    }
    struct Row {
        std::string bytes;
        std::optional<std::u16string> text; // none: refused
    } const rows[] = {
        {"\xEF\xBB\xBFx", u"\uFEFFx"}, // the mark that Decode drops is content here
        {mixed, u"ab\u00E9cd\u263A\U0001F600ef"},
        {mixed + std::string(40, '\xC3'), std::nullopt}, // lead bytes without continuation
        {twoBytes, std::u16string(100, u'\u00E9')},
        {"", u""},
    };
    for (Row const& row : rows) {
        vp::Text const* text = vp::DecodeUTF8Content(row.bytes.data(), row.bytes.size());
        EXPECT_EQ(text != nullptr, row.text.has_value()) << row.bytes;
        if (text != nullptr && row.text) {
            EXPECT_EQ(str(text), *row.text) << row.bytes;
            EXPECT_EQ(text == vp::EmptyText(), row.text->empty()) << row.bytes;
        }
        vp::Release(text);
    }
}
