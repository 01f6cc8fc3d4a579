// CopyBench.cpp — copying a 1 GiB file: CUFile::CopyWithProgress beside cp(1) and a bare
// copy_file_range loop, on the same disk, in a folder under the build tree removed at exit.
//
// Each iteration removes the previous copy first (not timed) and syncs nothing: all three
// leave the data in the page cache, as an application's copy does.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr std::uint64_t kSize = 1ull << 30;

struct Files {
    std::filesystem::path folder = std::filesystem::current_path() / "copy-bench-files";
    std::string source = (folder / "source").string();
    std::string dest = (folder / "dest").string();
    bool ready = false;

    Files() {
        std::filesystem::create_directories(folder);
        struct statvfs fs {};
        if (::statvfs(folder.c_str(), &fs) != 0 || fs.f_bavail * fs.f_frsize < 3 * kSize) {
            return; // not enough room for the source and one copy
        }
        std::ofstream out(source, std::ios::binary);
        std::string block(1 << 20, '\0');
        for (std::uint64_t done = 0; done < kSize; done += block.size()) {
            for (std::size_t i = 0; i < block.size(); i += 4096) {
                block[i] = static_cast<char>(done >> 20);
            }
            out.write(block.data(), static_cast<std::streamsize>(block.size()));
        }
        ready = out.good();
    }
    ~Files() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
};

Files& files() {
    static Files instance;
    return instance;
}

bool prepare(benchmark::State& state) {
    if (!files().ready) {
        state.SkipWithError("needs 3 GiB free beside the benchmark");
        return false;
    }
    return true;
}

void removeCopy(benchmark::State& state) {
    state.PauseTiming();
    std::filesystem::remove(files().dest);
    state.ResumeTiming();
}

void BM_Copy1GiB_CUFileCopyWithProgress(benchmark::State& state) {
    if (!prepare(state)) {
        return;
    }
    CUSharedPtr<CUStringMac> source(
        new CUStringMac(files().source.c_str(), CUString_CharCode_UTF8));
    CUSharedPtr<CUStringMac> dest(new CUStringMac(files().dest.c_str(), CUString_CharCode_UTF8));
    _CopyProgress_Info info{[](unsigned long long, unsigned long long, void*) { return true; },
                            nullptr, nullptr};
    for (auto _ : state) {
        removeCopy(state);
        if (CUFile::CopyWithProgress(source, dest, &info, false) != 0) {
            state.SkipWithError("copy failed");
            return;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

void BM_Copy1GiB_cp(benchmark::State& state) {
    if (!prepare(state)) {
        return;
    }
    std::string command = "cp '" + files().source + "' '" + files().dest + "'";
    for (auto _ : state) {
        removeCopy(state);
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("cp failed");
            return;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

void BM_Copy1GiB_CopyFileRangeLoop(benchmark::State& state) {
    if (!prepare(state)) {
        return;
    }
    for (auto _ : state) {
        removeCopy(state);
        int in = ::open(files().source.c_str(), O_RDONLY | O_CLOEXEC);
        int out = ::open(files().dest.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        std::uint64_t done = 0;
        while (done < kSize) {
            ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, kSize - done, 0);
            if (n <= 0) {
                break;
            }
            done += static_cast<std::uint64_t>(n);
        }
        ::close(out);
        ::close(in);
        if (done != kSize) {
            state.SkipWithError("copy_file_range failed");
            return;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

} // namespace

BENCHMARK(BM_Copy1GiB_CUFileCopyWithProgress)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Copy1GiB_cp)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Copy1GiB_CopyFileRangeLoop)->UseRealTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
