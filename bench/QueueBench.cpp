// QueueBench.cpp — CUSynchronizedQueue beside a std::deque under a std::mutex: fill with n
// objects, then drain them all, one thread. Both sides queue the same shared pointers.
#include <VarnUtilityLib/CUSynchronizedQueue.h>

#include <benchmark/benchmark.h>

#include <deque>
#include <mutex>
#include <vector>

namespace {

std::vector<CUSharedPtr<CUObject>> objects(std::size_t n) {
    std::vector<CUSharedPtr<CUObject>> out;
    out.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        out.emplace_back(new CUObject);
    }
    return out;
}

void BM_QueueFillDrain_Varn(benchmark::State& state) {
    std::vector<CUSharedPtr<CUObject>> const items =
        objects(static_cast<std::size_t>(state.range(0)));
    CUSynchronizedQueue queue;
    for (auto _ : state) {
        for (CUSharedPtr<CUObject> const& item : items) {
            queue.Enqueue(item);
        }
        while (CUSharedPtr<CUObject> item = queue.Dequeue()) {
            benchmark::DoNotOptimize(item.get());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_QueueFillDrain_StdDequeMutex(benchmark::State& state) {
    std::vector<CUSharedPtr<CUObject>> const items =
        objects(static_cast<std::size_t>(state.range(0)));
    std::deque<CUSharedPtr<CUObject>> queue;
    std::mutex mutex;
    auto pop = [&] {
        std::lock_guard<std::mutex> guard(mutex);
        if (queue.empty()) {
            return CUSharedPtr<CUObject>();
        }
        CUSharedPtr<CUObject> first = std::move(queue.front());
        queue.pop_front();
        return first;
    };
    for (auto _ : state) {
        for (CUSharedPtr<CUObject> const& item : items) {
            std::lock_guard<std::mutex> guard(mutex);
            queue.push_back(item);
        }
        while (CUSharedPtr<CUObject> item = pop()) {
            benchmark::DoNotOptimize(item.get());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_QueueFillDrain_Varn)->Arg(1000)->Arg(100000);
BENCHMARK(BM_QueueFillDrain_StdDequeMutex)->Arg(1000)->Arg(100000);

} // namespace

BENCHMARK_MAIN();
