// CollectionsBench.cpp — sorting and dictionaries beside their standard-library peers.
//
// Sort: 1M objects with random keys (many repeats), sorted stably through a virtual
// comparator that takes its two arguments by value — CUMutableArray::SortUsingDescriptor
// against std::stable_sort over std::shared_ptr with the same comparator shape.
// Dictionary: 100k random keys of 6-16 letters — CUMutableDictionary (localized order)
// against std::map<std::string, std::shared_ptr<...>> (byte order), inserting and looking up,
// with key strings made beforehand ("Prebuilt") or made from UTF-8 inside the timed loop
// ("Fresh", so the collation key is computed each time on our side); and, prebuilt, against a
// std::map of icu::UnicodeString ordered by an ICU collator (the same localized order).
// Arrays: appending 1M objects and ObjectAtIndex, against std::vector<std::shared_ptr>.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kSortCount = 1'000'000;
constexpr std::size_t kKeyCount = 100'000;

// ---- sorting ---------------------------------------------------------------------------------

class Item : public CUObject {
  public:
    explicit Item(int key) : key(key) {}
    int key;
};

class ByKey : public CUSortDescriptor {
  public:
    int CompareObject(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b) override {
        return static_cast<Item*>(b.get())->key - static_cast<Item*>(a.get())->key;
    }
};

struct PeerItem {
    explicit PeerItem(int key) : key(key) {}
    virtual ~PeerItem() = default;
    int key;
};

struct PeerComparator {
    virtual ~PeerComparator() = default;
    virtual int Compare(std::shared_ptr<PeerItem> a, std::shared_ptr<PeerItem> b) {
        return b->key - a->key;
    }
};

std::vector<int> sortKeys() {
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> pick(0, 99'999); // about ten repeats of every key
    std::vector<int> keys(kSortCount);
    for (int& k : keys) {
        k = pick(rng);
    }
    return keys;
}

void BM_Sort1M_Varn(benchmark::State& state) {
    std::vector<int> keys = sortKeys();
    std::vector<CUSharedPtr<CUObject>> original;
    original.reserve(keys.size());
    for (int k : keys) {
        original.emplace_back(new Item(k));
    }
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    CUSharedPtr<CUSortDescriptor> descriptor(new ByKey);
    for (auto _ : state) {
        state.PauseTiming();
        array->GetInternalArray() = original;
        state.ResumeTiming();
        array->SortUsingDescriptor(descriptor);
        benchmark::DoNotOptimize(array->ObjectAtIndex(0));
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kSortCount));
}

void BM_Sort1M_StdStableSort(benchmark::State& state) {
    std::vector<int> keys = sortKeys();
    std::vector<std::shared_ptr<PeerItem>> original;
    original.reserve(keys.size());
    for (int k : keys) {
        original.push_back(std::make_shared<PeerItem>(k));
    }
    std::unique_ptr<PeerComparator> comparator(new PeerComparator);
    std::vector<std::shared_ptr<PeerItem>> data;
    for (auto _ : state) {
        state.PauseTiming();
        data = original;
        state.ResumeTiming();
        PeerComparator* c = comparator.get();
        std::stable_sort(data.begin(), data.end(),
                         [c](std::shared_ptr<PeerItem> const& a,
                             std::shared_ptr<PeerItem> const& b) { return c->Compare(a, b) > 0; });
        benchmark::DoNotOptimize(data.front());
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kSortCount));
}

// ---- dictionaries ----------------------------------------------------------------------------

std::vector<std::string> const& words() {
    static std::vector<std::string> const all = [] {
        std::mt19937 rng(777);
        std::vector<std::string> out;
        out.reserve(kKeyCount);
        for (std::size_t i = 0; i < kKeyCount; ++i) {
            std::string w;
            for (int n = 6 + static_cast<int>(rng() % 11); n > 0; --n) {
                w += static_cast<char>('a' + rng() % 26);
            }
            out.push_back(std::move(w));
        }
        return out;
    }();
    return all;
}

std::vector<std::string> lookupOrder() {
    std::vector<std::string> order = words();
    std::shuffle(order.begin(), order.end(), std::mt19937(99));
    return order;
}

std::vector<CUSharedPtr<CUStringMac>> cuKeys(std::vector<std::string> const& texts) {
    std::vector<CUSharedPtr<CUStringMac>> keys;
    keys.reserve(texts.size());
    for (std::string const& t : texts) {
        keys.emplace_back(new CUStringMac(t.c_str(), CUString_CharCode_UTF8));
    }
    return keys;
}

void BM_DictInsertPrebuilt_Varn(benchmark::State& state) {
    auto keys = cuKeys(words());
    CUSharedPtr<CUObject> value(new CUObject);
    for (auto _ : state) {
        CUSharedPtr<CUMutableDictionary> d(new CUMutableDictionary());
        for (auto const& k : keys) {
            d->SetObjectForKey(value, k);
        }
        benchmark::DoNotOptimize(d->Count());
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

void BM_DictInsertPrebuilt_StdMap(benchmark::State& state) {
    std::vector<std::string> const& keys = words();
    auto value = std::make_shared<PeerItem>(0);
    for (auto _ : state) {
        std::map<std::string, std::shared_ptr<PeerItem>> m;
        for (auto const& k : keys) {
            m[k] = value;
        }
        benchmark::DoNotOptimize(m.size());
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

void BM_DictInsertFresh_Varn(benchmark::State& state) {
    std::vector<std::string> const& texts = words();
    CUSharedPtr<CUObject> value(new CUObject);
    for (auto _ : state) {
        CUSharedPtr<CUMutableDictionary> d(new CUMutableDictionary());
        for (auto const& t : texts) {
            d->SetObjectForKey(value, CUSharedPtr<CUStringMac>(
                                          new CUStringMac(t.c_str(), CUString_CharCode_UTF8)));
        }
        benchmark::DoNotOptimize(d->Count());
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

void BM_DictInsertFresh_StdMap(benchmark::State& state) {
    std::vector<std::string> const& texts = words();
    auto value = std::make_shared<PeerItem>(0);
    for (auto _ : state) {
        std::map<std::string, std::shared_ptr<PeerItem>> m;
        for (auto const& t : texts) {
            m[std::string(t.c_str())] = value;
        }
        benchmark::DoNotOptimize(m.size());
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

void BM_DictLookupPrebuilt_Varn(benchmark::State& state) {
    CUSharedPtr<CUMutableDictionary> d(new CUMutableDictionary());
    CUSharedPtr<CUObject> value(new CUObject);
    for (auto const& k : cuKeys(words())) {
        d->SetObjectForKey(value, k);
    }
    auto probes = cuKeys(lookupOrder()); // distinct strings from the stored keys
    for (auto _ : state) {
        for (auto const& k : probes) {
            benchmark::DoNotOptimize(d->ObjectForKey(k));
        }
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

void BM_DictLookupPrebuilt_StdMap(benchmark::State& state) {
    std::map<std::string, std::shared_ptr<PeerItem>> m;
    auto value = std::make_shared<PeerItem>(0);
    for (auto const& k : words()) {
        m[k] = value;
    }
    std::vector<std::string> probes = lookupOrder();
    for (auto _ : state) {
        for (auto const& k : probes) {
            auto found = m.find(k);
            benchmark::DoNotOptimize(found == m.end() ? std::shared_ptr<PeerItem>()
                                                      : found->second);
        }
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

void BM_DictLookupFresh_Varn(benchmark::State& state) {
    CUSharedPtr<CUMutableDictionary> d(new CUMutableDictionary());
    CUSharedPtr<CUObject> value(new CUObject);
    for (auto const& k : cuKeys(words())) {
        d->SetObjectForKey(value, k);
    }
    std::vector<std::string> probes = lookupOrder();
    for (auto _ : state) {
        for (auto const& t : probes) {
            benchmark::DoNotOptimize(d->ObjectForKey(
                CUSharedPtr<CUStringMac>(new CUStringMac(t.c_str(), CUString_CharCode_UTF8))));
        }
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

void BM_DictLookupFresh_StdMap(benchmark::State& state) {
    std::map<std::string, std::shared_ptr<PeerItem>> m;
    auto value = std::make_shared<PeerItem>(0);
    for (auto const& k : words()) {
        m[k] = value;
    }
    std::vector<std::string> probes = lookupOrder();
    for (auto _ : state) {
        for (auto const& t : probes) {
            auto found = m.find(std::string(t.c_str()));
            benchmark::DoNotOptimize(found == m.end() ? std::shared_ptr<PeerItem>()
                                                      : found->second);
        }
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

// ---- map ordered by an ICU collator ----------------------------------------------------------
// The peer for a localized-order dictionary: std::map keyed by icu::UnicodeString with
// Collator::compare as its ordering, so every step of the tree walk collates.

struct CollatorLess {
    icu::Collator* collator;
    bool operator()(icu::UnicodeString const& a, icu::UnicodeString const& b) const {
        UErrorCode status = U_ZERO_ERROR;
        return collator->compare(a, b, status) == UCOL_LESS;
    }
};

std::unique_ptr<icu::Collator> makeCollator() {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> c(icu::Collator::createInstance(icu::Locale("en_US"), status));
    if (U_FAILURE(status)) {
        std::abort();
    }
    return c;
}

using CollatorMap = std::map<icu::UnicodeString, std::shared_ptr<PeerItem>, CollatorLess>;

std::vector<icu::UnicodeString> icuKeys(std::vector<std::string> const& texts) {
    std::vector<icu::UnicodeString> keys;
    keys.reserve(texts.size());
    for (std::string const& t : texts) {
        keys.push_back(icu::UnicodeString::fromUTF8(t));
    }
    return keys;
}

void BM_DictInsertPrebuilt_ICUCollatorMap(benchmark::State& state) {
    auto collator = makeCollator();
    auto keys = icuKeys(words());
    auto value = std::make_shared<PeerItem>(0);
    for (auto _ : state) {
        CollatorMap m(CollatorLess{collator.get()});
        for (auto const& k : keys) {
            m[k] = value;
        }
        benchmark::DoNotOptimize(m.size());
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

void BM_DictLookupPrebuilt_ICUCollatorMap(benchmark::State& state) {
    auto collator = makeCollator();
    CollatorMap m(CollatorLess{collator.get()});
    auto value = std::make_shared<PeerItem>(0);
    for (auto const& k : icuKeys(words())) {
        m[k] = value;
    }
    auto probes = icuKeys(lookupOrder());
    for (auto _ : state) {
        for (auto const& k : probes) {
            auto found = m.find(k);
            benchmark::DoNotOptimize(found == m.end() ? std::shared_ptr<PeerItem>()
                                                      : found->second);
        }
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kKeyCount));
}

// ---- arrays ----------------------------------------------------------------------------------
// Appending 1M objects and reading them back by index, against std::vector<std::shared_ptr>.

void BM_ArrayAppend1M_Varn(benchmark::State& state) {
    std::vector<CUSharedPtr<CUObject>> objects;
    for (std::size_t i = 0; i < kSortCount; ++i) {
        objects.emplace_back(new Item(static_cast<int>(i)));
    }
    for (auto _ : state) {
        CUSharedPtr<CUMutableArray> array(new CUMutableArray());
        for (auto const& o : objects) {
            array->AddObject(o);
        }
        benchmark::DoNotOptimize(array->Count());
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kSortCount));
}

void BM_ArrayAppend1M_StdVector(benchmark::State& state) {
    std::vector<std::shared_ptr<PeerItem>> objects;
    for (std::size_t i = 0; i < kSortCount; ++i) {
        objects.push_back(std::make_shared<PeerItem>(static_cast<int>(i)));
    }
    for (auto _ : state) {
        std::vector<std::shared_ptr<PeerItem>> array;
        for (auto const& o : objects) {
            array.push_back(o);
        }
        benchmark::DoNotOptimize(array.size());
    }
    state.SetItemsProcessed(static_cast<long>(state.iterations() * kSortCount));
}

void BM_ArrayObjectAtIndex_Varn(benchmark::State& state) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    for (std::size_t i = 0; i < kSortCount; ++i) {
        array->AddObject(CUSharedPtr<CUObject>(new Item(static_cast<int>(i))));
    }
    unsigned long at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(array->ObjectAtIndex(at));
        at = (at + 7919) % kSortCount;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_ArrayObjectAtIndex_StdVector(benchmark::State& state) {
    std::vector<std::shared_ptr<PeerItem>> array;
    for (std::size_t i = 0; i < kSortCount; ++i) {
        array.push_back(std::make_shared<PeerItem>(static_cast<int>(i)));
    }
    std::size_t at = 0;
    for (auto _ : state) {
        std::shared_ptr<PeerItem> copy = array.at(at); // returned by value, as ObjectAtIndex
        benchmark::DoNotOptimize(copy);
        at = (at + 7919) % kSortCount;
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_Sort1M_Varn)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Sort1M_StdStableSort)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DictInsertPrebuilt_Varn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictInsertPrebuilt_StdMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictInsertFresh_Varn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictInsertFresh_StdMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictLookupPrebuilt_Varn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictLookupPrebuilt_StdMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictLookupFresh_Varn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictLookupFresh_StdMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictInsertPrebuilt_ICUCollatorMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DictLookupPrebuilt_ICUCollatorMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ArrayAppend1M_Varn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ArrayAppend1M_StdVector)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ArrayObjectAtIndex_Varn);
BENCHMARK(BM_ArrayObjectAtIndex_StdVector);

int main(int argc, char** argv) {
    // Collation follows the locale; pin the one the tests use.
    ::setenv("LANG", "en_US.UTF-8", 1);
    ::unsetenv("LC_ALL");
    ::unsetenv("LC_COLLATE");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
