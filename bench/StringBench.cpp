// StringBench.cpp — CUStringMac beside the bare ICU calls doing the same work.
//
// Each operation has a pair: <Op>/Varn and <Op>/ICU. scripts/bench-ratios.py prints
// Varn time / ICU time per pair (below 1 means the library is faster).
#include <VarnUtilityLib/CUStringMac.h>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

char const* const kShort = "Hello, w\xC3\xB6rld"; // 13 characters
char const* const kNeedle = "w\xC3\xB6rld";

std::unique_ptr<icu::Collator> makeCollator() {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> c(icu::Collator::createInstance(icu::Locale("en_US"), status));
    c->setAttribute(UCOL_STRENGTH, UCOL_SECONDARY, status);
    c->setAttribute(UCOL_CASE_LEVEL, UCOL_ON, status);
    c->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
    return c;
}

// Words that differ late, as dictionary keys and sorted names often do.
std::vector<std::string> words(int n) {
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i) {
        out.push_back("document-name-" + std::to_string(i * 7919 % 100003));
    }
    return out;
}

void BM_ConstructUTF8_Varn(benchmark::State& state) {
    for (auto _ : state) {
        CUStringMac s(kShort, CUString_CharCode_UTF8);
        benchmark::DoNotOptimize(&s);
    }
}
void BM_ConstructUTF8_ICU(benchmark::State& state) {
    for (auto _ : state) {
        icu::UnicodeString s = icu::UnicodeString::fromUTF8(kShort);
        benchmark::DoNotOptimize(&s);
    }
}

void BM_Copy_Varn(benchmark::State& state) {
    CUStringMac source(kShort, CUString_CharCode_UTF8);
    for (auto _ : state) {
        CUStringMac copy(source);
        benchmark::DoNotOptimize(&copy);
    }
}
void BM_Copy_ICU(benchmark::State& state) {
    icu::UnicodeString source = icu::UnicodeString::fromUTF8(kShort);
    for (auto _ : state) {
        icu::UnicodeString copy(source);
        benchmark::DoNotOptimize(&copy);
    }
}

// Equality of distinct strings with the same text, then of different texts: the localized
// comparison beside the collator's.
void BM_Equal_Varn(benchmark::State& state) {
    auto w = words(1000);
    std::vector<CUStringMac> a, b;
    for (auto const& s : w) {
        a.emplace_back(s.c_str(), CUString_CharCode_UTF8);
        b.emplace_back((s + "x").c_str(), CUString_CharCode_UTF8);
    }
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(a[i] == b[(i + 1) % b.size()]);
        i = (i + 1) % a.size();
    }
}
void BM_Equal_ICU(benchmark::State& state) {
    auto coll = makeCollator();
    auto w = words(1000);
    std::vector<icu::UnicodeString> a, b;
    for (auto const& s : w) {
        a.push_back(icu::UnicodeString::fromUTF8(s));
        b.push_back(icu::UnicodeString::fromUTF8(s + "x"));
    }
    std::size_t i = 0;
    UErrorCode status = U_ZERO_ERROR;
    for (auto _ : state) {
        benchmark::DoNotOptimize(coll->compare(a[i], b[(i + 1) % b.size()], status) == UCOL_EQUAL);
        i = (i + 1) % a.size();
    }
}

void BM_Less_Varn(benchmark::State& state) {
    auto w = words(1000);
    std::vector<CUStringMac> a;
    for (auto const& s : w) {
        a.emplace_back(s.c_str(), CUString_CharCode_UTF8);
    }
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(a[i] < a[(i + 1) % a.size()]);
        i = (i + 1) % a.size();
    }
}
void BM_Less_ICU(benchmark::State& state) {
    auto coll = makeCollator();
    auto w = words(1000);
    std::vector<icu::UnicodeString> a;
    for (auto const& s : w) {
        a.push_back(icu::UnicodeString::fromUTF8(s));
    }
    std::size_t i = 0;
    UErrorCode status = U_ZERO_ERROR;
    for (auto _ : state) {
        benchmark::DoNotOptimize(coll->compare(a[i], a[(i + 1) % a.size()], status) == UCOL_LESS);
        i = (i + 1) % a.size();
    }
}

void BM_Find_Varn(benchmark::State& state) {
    std::string text(200, 'a');
    text += kShort;
    CUStringMac hay(text.c_str(), CUString_CharCode_UTF8);
    CUSharedPtr<CUStringMac> needle(new CUStringMac(kNeedle, CUString_CharCode_UTF8));
    for (auto _ : state) {
        benchmark::DoNotOptimize(hay.Find(needle, CUStringComparison_CaseSensitive));
    }
}
void BM_Find_ICU(benchmark::State& state) {
    std::string text(200, 'a');
    text += kShort;
    icu::UnicodeString hay = icu::UnicodeString::fromUTF8(text);
    icu::UnicodeString needle = icu::UnicodeString::fromUTF8(kNeedle);
    for (auto _ : state) {
        benchmark::DoNotOptimize(hay.indexOf(needle));
    }
}

// Text with spaces and line breaks around it, as read from a form field or a config line.
char const* const kPadded = "  \t Hello, w\xC3\xB6rld \n ";

void BM_Trim_Varn(benchmark::State& state) {
    CUStringMac text(kPadded, CUString_CharCode_UTF8);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.Trim());
    }
}
void BM_Trim_ICU(benchmark::State& state) {
    icu::UnicodeString text = icu::UnicodeString::fromUTF8(kPadded);
    for (auto _ : state) {
        icu::UnicodeString copy(text); // Trim returns a new string; so does the peer here
        benchmark::DoNotOptimize(copy.trim());
    }
}

} // namespace

BENCHMARK(BM_ConstructUTF8_Varn);
BENCHMARK(BM_ConstructUTF8_ICU);
BENCHMARK(BM_Copy_Varn);
BENCHMARK(BM_Copy_ICU);
BENCHMARK(BM_Equal_Varn);
BENCHMARK(BM_Equal_ICU);
BENCHMARK(BM_Less_Varn);
BENCHMARK(BM_Less_ICU);
BENCHMARK(BM_Find_Varn);
BENCHMARK(BM_Find_ICU);
BENCHMARK(BM_Trim_Varn);
BENCHMARK(BM_Trim_ICU);

int main(int argc, char** argv) {
    ::setenv("LANG", "en_US.UTF-8", 1);
    ::unsetenv("LC_ALL");
    ::unsetenv("LC_COLLATE");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
