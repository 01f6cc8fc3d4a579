// CollectionsBench.cpp — sorting and dictionaries beside their standard-library peers.
//
// Sort: 1M objects with random keys (many repeats), sorted stably through a virtual
// comparator that takes its two arguments by value — CUMutableArray::SortUsingDescriptor
// against std::stable_sort over std::shared_ptr with the same comparator shape.
// Dictionary: 100k random keys of 6-16 letters — CUMutableDictionary (localized order)
// against std::map<std::string, std::shared_ptr<...>> (byte order), inserting and looking up,
// with key strings made beforehand ("Prebuilt") or made from UTF-8 inside the timed loop
// ("Fresh", so the collation key is computed each time on our side).
#include <VarnUtilityLib/VarnUtilityLib.h>

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
