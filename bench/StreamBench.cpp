// StreamBench.cpp — CUFileStream beside the system calls it stands on, and beside a buffered
// std::ofstream, in one run:
//   - sequential 1 MiB writes and reads over a 256 MiB file, against pwrite / pread;
//   - the same 1 MiB writes and reads through std::fstream;
//   - 100-byte sequential reads, against one pread(2) per record and against std::fstream;
//   - 100-byte appends, against one write(2) per record and against std::ofstream.
// Files live in a folder under $TMPDIR (or /tmp) that is removed at exit.
//
// Run: StreamBench --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
//      --benchmark_report_aggregates_only=true
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kBlock = 1 << 20;         // 1 MiB
constexpr std::size_t kFileSize = 256ULL << 20; // 256 MiB
constexpr std::size_t kRecord = 100;

std::filesystem::path const& folder() {
    // Never destroyed, so that the exit handler below can still read it.
    static std::filesystem::path const* const path = [] {
        std::random_device random;
        auto* p = new std::filesystem::path(std::filesystem::temp_directory_path() /
                                            ("varn-stream-bench-" + std::to_string(random())));
        std::filesystem::create_directories(*p);
        return p;
    }();
    static bool const cleanupRegistered = [] {
        return std::atexit([] {
                   std::error_code ignored;
                   std::filesystem::remove_all(folder(), ignored);
               }) == 0;
    }();
    (void)cleanupRegistered;
    return *path;
}

std::string fileFor(char const* name) {
    return (folder() / name).string();
}

// A 256 MiB file of a pattern, made once per name.
std::string makeFullFile(char const* name) {
    std::string p = fileFor(name);
    std::vector<char> block(kBlock);
    for (std::size_t i = 0; i < kBlock; ++i) {
        block[i] = static_cast<char>(i * 7);
    }
    int fd = ::open(p.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
    for (std::size_t off = 0; off < kFileSize; off += kBlock) {
        if (::pwrite(fd, block.data(), kBlock, static_cast<off_t>(off)) !=
            static_cast<ssize_t>(kBlock)) {
            std::abort();
        }
    }
    ::close(fd);
    return p;
}

// The file that both readers read.
std::string const& readFile() {
    static std::string const path = makeFullFile("read.bin");
    return path;
}

// The file that both 1 MiB writers overwrite: already allocated, so neither pays for growing.
std::string const& writeFile() {
    static std::string const path = makeFullFile("write.bin");
    return path;
}

void removeFile(std::string const& path) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

// ---- 1 MiB sequential writes --------------------------------------------------------------------

void BM_Write1MiB_Varn(benchmark::State& state) {
    CUStringMac name(writeFile().c_str(), CUString_CharCode_UTF8);
    std::vector<unsigned char> block(kBlock, 'x');
    {
        CUFileStream stream(&name, CUStream_FileMode_Open, CUStream_FileAccess_Write, false);
        for (auto _ : state) {
            if (stream.Position() >= kFileSize) {
                stream.Seek(0, CUStream_Seek_Origin_Begin); // wrap: the file stays 256 MiB
            }
            if (stream.Write(block.data(), kBlock, 0, CUStream_Seek_Origin_Current) != kBlock) {
                state.SkipWithError("write failed");
                break;
            }
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

void BM_Write1MiB_pwrite(benchmark::State& state) {
    std::vector<unsigned char> block(kBlock, 'x');
    int fd = ::open(writeFile().c_str(), O_WRONLY | O_CLOEXEC);
    std::size_t offset = 0;
    for (auto _ : state) {
        if (offset >= kFileSize) {
            offset = 0;
        }
        if (::pwrite(fd, block.data(), kBlock, static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(kBlock)) {
            state.SkipWithError("write failed");
            break;
        }
        offset += kBlock;
    }
    ::close(fd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

// ---- 1 MiB sequential reads ---------------------------------------------------------------------

void BM_Read1MiB_Varn(benchmark::State& state) {
    CUStringMac name(readFile().c_str(), CUString_CharCode_UTF8);
    std::vector<unsigned char> block(kBlock);
    CUFileStream stream(&name, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    for (auto _ : state) {
        if (stream.Position() >= kFileSize) {
            stream.Seek(0, CUStream_Seek_Origin_Begin);
        }
        if (stream.Read(block.data(), kBlock, 0, CUStream_Seek_Origin_Current) != kBlock) {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(block.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

void BM_Read1MiB_pread(benchmark::State& state) {
    std::vector<unsigned char> block(kBlock);
    int fd = ::open(readFile().c_str(), O_RDONLY | O_CLOEXEC);
    std::size_t offset = 0;
    for (auto _ : state) {
        if (offset >= kFileSize) {
            offset = 0;
        }
        if (::pread(fd, block.data(), kBlock, static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(kBlock)) {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(block.data());
        offset += kBlock;
    }
    ::close(fd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

// ---- 100-byte appends ---------------------------------------------------------------------------

void BM_Append100B_Varn(benchmark::State& state) {
    std::string const path = fileFor("a-stream.bin");
    CUStringMac name(path.c_str(), CUString_CharCode_UTF8);
    unsigned char record[kRecord];
    std::fill(record, record + kRecord, 'r');
    {
        CUFileStream stream(&name, CUStream_FileMode_Create, CUStream_FileAccess_Write, false);
        for (auto _ : state) {
            if (stream.Write(record, kRecord, 0, CUStream_Seek_Origin_Current) != kRecord) {
                state.SkipWithError("write failed");
                break;
            }
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kRecord));
    removeFile(path);
}

void BM_Append100B_write(benchmark::State& state) {
    std::string const path = fileFor("a-raw.bin");
    char record[kRecord];
    std::fill(record, record + kRecord, 'r');
    int fd = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
    for (auto _ : state) {
        if (::write(fd, record, kRecord) != static_cast<ssize_t>(kRecord)) {
            state.SkipWithError("write failed");
            break;
        }
    }
    ::close(fd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kRecord));
    removeFile(path);
}

void BM_Append100B_ofstream(benchmark::State& state) {
    std::string const path = fileFor("a-ofstream.bin");
    char record[kRecord];
    std::fill(record, record + kRecord, 'r');
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        for (auto _ : state) {
            out.write(record, kRecord); // buffered: one system call per buffer, not per record
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kRecord));
    removeFile(path);
}

// ---- std::fstream beside the 1 MiB cases ----------------------------------------------------

void BM_Write1MiB_fstream(benchmark::State& state) {
    std::vector<char> block(kBlock, 'w');
    std::fstream out(writeFile(), std::ios::binary | std::ios::in | std::ios::out);
    std::size_t offset = 0;
    for (auto _ : state) {
        if (offset >= kFileSize) {
            out.seekp(0);
            offset = 0;
        }
        if (!out.write(block.data(), static_cast<std::streamsize>(kBlock))) {
            state.SkipWithError("write failed");
            break;
        }
        offset += kBlock;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

void BM_Read1MiB_fstream(benchmark::State& state) {
    std::vector<char> block(kBlock);
    std::fstream in(readFile(), std::ios::binary | std::ios::in);
    std::size_t offset = 0;
    for (auto _ : state) {
        if (offset >= kFileSize) {
            in.seekg(0);
            offset = 0;
        }
        if (!in.read(block.data(), static_cast<std::streamsize>(kBlock))) {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(block.data());
        offset += kBlock;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

// ---- 100-byte sequential reads --------------------------------------------------------------

void BM_Read100B_Varn(benchmark::State& state) {
    CUStringMac name(readFile().c_str(), CUString_CharCode_UTF8);
    unsigned char record[kRecord];
    CUFileStream stream(&name, CUStream_FileMode_Open, CUStream_FileAccess_Read, false);
    for (auto _ : state) {
        if (stream.Position() + kRecord > kFileSize) {
            stream.Seek(0, CUStream_Seek_Origin_Begin);
        }
        if (stream.Read(record, kRecord, 0, CUStream_Seek_Origin_Current) != kRecord) {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(record);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kRecord));
}

void BM_Read100B_pread(benchmark::State& state) {
    char record[kRecord];
    int fd = ::open(readFile().c_str(), O_RDONLY | O_CLOEXEC);
    std::size_t offset = 0;
    for (auto _ : state) {
        if (offset + kRecord > kFileSize) {
            offset = 0;
        }
        if (::pread(fd, record, kRecord, static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(kRecord)) {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(record);
        offset += kRecord;
    }
    ::close(fd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kRecord));
}

void BM_Read100B_fstream(benchmark::State& state) {
    char record[kRecord];
    std::fstream in(readFile(), std::ios::binary | std::ios::in);
    std::size_t offset = 0;
    for (auto _ : state) {
        if (offset + kRecord > kFileSize) {
            in.seekg(0);
            offset = 0;
        }
        if (!in.read(record, kRecord)) { // buffered: one system call per buffer
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(record);
        offset += kRecord;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kRecord));
}

BENCHMARK(BM_Write1MiB_Varn)->UseRealTime();
BENCHMARK(BM_Write1MiB_pwrite)->UseRealTime();
BENCHMARK(BM_Read1MiB_Varn)->UseRealTime();
BENCHMARK(BM_Read1MiB_pread)->UseRealTime();
BENCHMARK(BM_Write1MiB_fstream)->UseRealTime();
BENCHMARK(BM_Read1MiB_fstream)->UseRealTime();
BENCHMARK(BM_Read100B_Varn)->UseRealTime();
BENCHMARK(BM_Read100B_pread)->UseRealTime();
BENCHMARK(BM_Read100B_fstream)->UseRealTime();
BENCHMARK(BM_Append100B_Varn)->UseRealTime();
BENCHMARK(BM_Append100B_write)->UseRealTime();
BENCHMARK(BM_Append100B_ofstream)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
