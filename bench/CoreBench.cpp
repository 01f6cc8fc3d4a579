// CoreBench.cpp — the cost of sharing an object: one CUSharedPtr copy (a retain and a release
// on the object's count) against one std::shared_ptr copy, on 1 and 2 threads. With two
// threads both copy the same object, so its count's cache line moves between the cores.
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUSharedPtr.h>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

CUSharedPtr<CUObject>& sharedObject() {
    static CUSharedPtr<CUObject> object(new CUObject());
    return object;
}

std::shared_ptr<int>& sharedPeer() {
    static std::shared_ptr<int> object = std::make_shared<int>(1);
    return object;
}

void BM_SharedPtrCopy_Varn(benchmark::State& state) {
    CUSharedPtr<CUObject> const& source = sharedObject();
    for (auto _ : state) {
        CUSharedPtr<CUObject> copy(source);
        benchmark::DoNotOptimize(copy.get());
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_SharedPtrCopy_StdSharedPtr(benchmark::State& state) {
    std::shared_ptr<int> const& source = sharedPeer();
    for (auto _ : state) {
        std::shared_ptr<int> copy(source);
        benchmark::DoNotOptimize(copy.get());
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

// libstdc++ skips the atomic instructions until the process starts its first thread. The
// library's 2-thread run comes first, so every peer run pays them as the library always does.
BENCHMARK(BM_SharedPtrCopy_Varn)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_SharedPtrCopy_StdSharedPtr)->Threads(1)->Threads(2)->UseRealTime();

BENCHMARK_MAIN();
