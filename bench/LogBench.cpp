// LogBench.cpp — lines per second through CULog::Write beside a bare open-append-close loop
// (what one line must do at the least) and spdlog's rotating file sink flushing every line.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Folder {
    fs::path path = fs::current_path() / ("log-bench-" + std::to_string(::getpid()));
    Folder() { fs::create_directories(path); }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

Folder& folder() {
    static Folder instance;
    return instance;
}

void BM_LogLine_CULogWrite(benchmark::State& state) {
    std::string dir = (folder().path / "culog").string();
    CULog::InitializeWithName(
        CUSharedPtr<CUStringMac>(new CUStringMac(dir.c_str(), CUString_CharCode_UTF8)),
        CUSharedPtr<CUStringMac>(new CUStringMac("Bench", CUString_CharCode_UTF8)), 3);
    int i = 0;
    for (auto _ : state) {
        CULog::Write(3, "request %d served in %d ms from %s", ++i, 12, "cache");
    }
    CULog::Terminate();
    state.SetItemsProcessed(state.iterations());
}

// The least one durable-on-return line costs: format, open with append, write, close.
void BM_LogLine_OpenAppendClose(benchmark::State& state) {
    std::string file = (folder().path / "bare.log").string();
    int i = 0;
    char line[256];
    for (auto _ : state) {
        int n =
            std::snprintf(line, sizeof line,
                          "[2026/11/23 07:00:00]\t[INFO]\trequest %d served in %d ms from %s\r\n",
                          ++i, 12, "cache");
        int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        benchmark::DoNotOptimize(::write(fd, line, static_cast<std::size_t>(n)));
        ::close(fd);
        if ((i & 4095) == 0) {
            state.PauseTiming();
            ::truncate(file.c_str(), 0); // keep the file as small as the log's ring keeps its own
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_LogLine_SpdlogRotatingFlushEveryLine(benchmark::State& state) {
    std::string file = (folder().path / "spd.log").string();
    auto logger = spdlog::rotating_logger_mt("bench", file, 1000000, 10);
    logger->flush_on(spdlog::level::info);
    int i = 0;
    for (auto _ : state) {
        logger->info("request {} served in {} ms from {}", ++i, 12, "cache");
    }
    spdlog::drop("bench");
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_LogLine_CULogWrite)->UseRealTime();
BENCHMARK(BM_LogLine_OpenAppendClose)->UseRealTime();
BENCHMARK(BM_LogLine_SpdlogRotatingFlushEveryLine)->UseRealTime();

BENCHMARK_MAIN();
