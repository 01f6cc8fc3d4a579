// CoreBench.cpp — the cost of copying a shared pointer: CUSharedPtr beside std::shared_ptr,
// on one thread and on two threads copying pointers to the same object.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct PeerObject {
    virtual ~PeerObject() = default;
};

CUSharedPtr<CUObject>& sharedVarn() {
    static CUSharedPtr<CUObject> object(new CUObject);
    return object;
}

std::shared_ptr<PeerObject>& sharedStd() {
    static std::shared_ptr<PeerObject> object = std::make_shared<PeerObject>();
    return object;
}

void BM_SharedPtrCopy_Varn(benchmark::State& state) {
    CUSharedPtr<CUObject> const& source = sharedVarn();
    for (auto _ : state) {
        CUSharedPtr<CUObject> copy(source);
        benchmark::DoNotOptimize(copy.get());
    }
}

void BM_SharedPtrCopy_Std(benchmark::State& state) {
    std::shared_ptr<PeerObject> const& source = sharedStd();
    for (auto _ : state) {
        std::shared_ptr<PeerObject> copy(source);
        benchmark::DoNotOptimize(copy.get());
    }
}

} // namespace

// One thread, then two threads on one object (the count's cache line moves between cores).
// libstdc++ skips the atomic instructions while a process has one thread; google benchmark
// starts its threads for the two-thread runs, so those compare like with like.
BENCHMARK(BM_SharedPtrCopy_Varn);
BENCHMARK(BM_SharedPtrCopy_Std);
BENCHMARK(BM_SharedPtrCopy_Varn)->Threads(2)->UseRealTime();
BENCHMARK(BM_SharedPtrCopy_Std)->Threads(2)->UseRealTime();

BENCHMARK_MAIN();
