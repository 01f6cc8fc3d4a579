// TimeBench.cpp — identifiers and dates side by side with their bare peers.
//
// Identifiers: GenerateIdentifier (recursive lock around an increment) against an atomic
// fetch_add and against a bare recursive pthread mutex, on 1 and 2 threads. The bare mutex is
// measured twice: with its counter beside it in one cache line (PthreadMutex), and with the
// counter in a line of its own (PthreadMutexSplitLine), as the generator has it: its counter is
// its own field, its mutex is in the block its lock allocates.
// Dates: making a CUDateTime and reading it, against the ICU calls that do the same work.
#include <VarnUtilityLib/CUDateTime.h>
#include <VarnUtilityLib/CUIdentifierGenerator.h>

#include <pthread.h>
#include <unicode/ucal.h>
#include <unicode/udat.h>

#include <benchmark/benchmark.h>

#include <atomic>

namespace {

// ---- identifiers ---------------------------------------------------------------------------

CUSharedPtr<CUIdentifierGenerator>& generator() {
    static CUSharedPtr<CUIdentifierGenerator> shared = CUIdentifierGenerator::SharedInstance();
    return shared;
}

void BM_Identifier_Varn(benchmark::State& state) {
    CUIdentifierGenerator* g = generator().get();
    for (auto _ : state) {
        benchmark::DoNotOptimize(g->GenerateIdentifier());
    }
    state.SetItemsProcessed(state.iterations());
}

std::atomic<unsigned long long> g_atomicCounter{0};

void BM_Identifier_Atomic(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(g_atomicCounter.fetch_add(1) + 1);
    }
    state.SetItemsProcessed(state.iterations());
}

// Aligned so that the mutex and its counter are in one cache line wherever the linker puts it.
struct alignas(64) RecursiveMutexCounter {
    RecursiveMutexCounter() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    pthread_mutex_t mutex;
    unsigned long long value = 0;
};

RecursiveMutexCounter g_mutexCounter;

struct SplitLineCounter {
    RecursiveMutexCounter guard; // its own value is not used
    alignas(64) unsigned long long value = 0;
};

SplitLineCounter g_splitCounter;

void BM_Identifier_PthreadMutex(benchmark::State& state) {
    for (auto _ : state) {
        pthread_mutex_lock(&g_mutexCounter.mutex);
        unsigned long long id = ++g_mutexCounter.value;
        pthread_mutex_unlock(&g_mutexCounter.mutex);
        benchmark::DoNotOptimize(id);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Identifier_PthreadMutexSplitLine(benchmark::State& state) {
    for (auto _ : state) {
        pthread_mutex_lock(&g_splitCounter.guard.mutex);
        unsigned long long id = ++g_splitCounter.value;
        pthread_mutex_unlock(&g_splitCounter.guard.mutex);
        benchmark::DoNotOptimize(id);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_Identifier_Varn)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_Identifier_Atomic)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_Identifier_PthreadMutex)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_Identifier_PthreadMutexSplitLine)->Threads(1)->Threads(2)->UseRealTime();

// ---- dates ---------------------------------------------------------------------------------

constexpr double kSince1970 = 978307200.0;

void BM_DateNow_Varn(benchmark::State& state) {
    for (auto _ : state) {
        CUSharedPtr<CUDateTime> now = CUDateTime::Create();
        benchmark::DoNotOptimize(now.get());
    }
}

void BM_DateNow_ICU(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ucal_getNow());
    }
}

void BM_DateFromFields_Varn(benchmark::State& state) {
    for (auto _ : state) {
        CUSharedPtr<CUDateTime> date = CUDateTime::Create(2024, 3, 5, 7, 8, 9);
        benchmark::DoNotOptimize(date.get());
    }
}

// The ICU peer keeps one calendar open in the local zone and sets its fields.
void BM_DateFromFields_ICU(benchmark::State& state) {
    UErrorCode status = U_ZERO_ERROR;
    UCalendar* calendar = ucal_open(nullptr, 0, "en_US", UCAL_GREGORIAN, &status);
    for (auto _ : state) {
        ucal_setDateTime(calendar, 2024, UCAL_MARCH, 5, 7, 8, 9, &status);
        benchmark::DoNotOptimize(ucal_getMillis(calendar, &status));
    }
    ucal_close(calendar);
}

void BM_DateFields_Varn(benchmark::State& state) {
    CUDateTime date(2024, 3, 5, 7, 8, 9);
    for (auto _ : state) {
        benchmark::DoNotOptimize(date.GetYear(true) + date.GetHour(true));
    }
}

void BM_DateFields_ICU(benchmark::State& state) {
    UErrorCode status = U_ZERO_ERROR;
    UCalendar* calendar = ucal_open(nullptr, 0, "en_US", UCAL_GREGORIAN, &status);
    UDate at = (8464.0 * 86400.0 + 25689.0 + kSince1970) * 1000.0;
    for (auto _ : state) {
        ucal_setMillis(calendar, at, &status);
        benchmark::DoNotOptimize(ucal_get(calendar, UCAL_YEAR, &status) +
                                 ucal_get(calendar, UCAL_HOUR_OF_DAY, &status));
    }
    ucal_close(calendar);
}

void BM_DateFormat_Varn(benchmark::State& state) {
    CUDateTime date(2024, 3, 5, 7, 8, 9);
    for (auto _ : state) {
        CUSharedPtr<CUStringMac> text = date.GetString(true, 2, 2);
        benchmark::DoNotOptimize(text.get());
    }
}

// Bare ICU with a formatter kept open: the fastest an ICU user gets.
void BM_DateFormat_ICUCached(benchmark::State& state) {
    UErrorCode status = U_ZERO_ERROR;
    UDateFormat* format =
        udat_open(UDAT_MEDIUM, UDAT_MEDIUM, "en_US", nullptr, 0, nullptr, 0, &status);
    UDate at = (8464.0 * 86400.0 + 25689.0 + kSince1970) * 1000.0;
    UChar buffer[128];
    for (auto _ : state) {
        benchmark::DoNotOptimize(udat_format(format, at, buffer, 128, nullptr, &status));
    }
    udat_close(format);
}

// Bare ICU opening a formatter per text, as a one-off call site does.
void BM_DateFormat_ICUOpenPerCall(benchmark::State& state) {
    UDate at = (8464.0 * 86400.0 + 25689.0 + kSince1970) * 1000.0;
    UChar buffer[128];
    for (auto _ : state) {
        UErrorCode status = U_ZERO_ERROR;
        UDateFormat* format =
            udat_open(UDAT_MEDIUM, UDAT_MEDIUM, "en_US", nullptr, 0, nullptr, 0, &status);
        benchmark::DoNotOptimize(udat_format(format, at, buffer, 128, nullptr, &status));
        udat_close(format);
    }
}

void BM_DateDescription_Varn(benchmark::State& state) {
    CUDateTime date(2024, 3, 5, 7, 8, 9);
    for (auto _ : state) {
        CUSharedPtr<CUStringMac> text = date.Description();
        benchmark::DoNotOptimize(text.get());
    }
}

BENCHMARK(BM_DateNow_Varn);
BENCHMARK(BM_DateNow_ICU);
BENCHMARK(BM_DateFromFields_Varn);
BENCHMARK(BM_DateFromFields_ICU);
BENCHMARK(BM_DateFields_Varn);
BENCHMARK(BM_DateFields_ICU);
BENCHMARK(BM_DateFormat_Varn);
BENCHMARK(BM_DateFormat_ICUCached);
BENCHMARK(BM_DateFormat_ICUOpenPerCall);
BENCHMARK(BM_DateDescription_Varn);

} // namespace

BENCHMARK_MAIN();
