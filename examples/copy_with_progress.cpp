// copy_with_progress.cpp — copy a file with a progress callback, and cancel a copy from it.
//
// Usage: example_copy_with_progress [SOURCE DEST]
// Without arguments it makes a 64 MiB file in the working folder, copies it showing progress,
// then starts a second copy and cancels it from its first report; the cancelled copy leaves nothing behind.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

CUSharedPtr<CUStringMac> path(std::string const& text) {
    std::string absolute = std::filesystem::absolute(text).string();
    return CUSharedPtr<CUStringMac>(new CUStringMac(absolute.c_str(), CUString_CharCode_UTF8));
}

// Called on this thread about every 0.1 s while the copy runs; false cancels it.
bool showProgress(unsigned long long total, unsigned long long done, void* /*userData*/) {
    std::printf("\r%3llu%% of %llu bytes", done * 100 / total, total);
    std::fflush(stdout);
    return true;
}

// Cancels at the first report. (A callback that says stop only once the last report has
// come is too late: the copy is complete by then and stays.)
bool cancelAtOnce(unsigned long long /*total*/, unsigned long long done, void* userData) {
    *static_cast<unsigned long long*>(userData) = done;
    return false;
}

} // namespace

int main(int argc, char** argv) {
    std::string source = argc > 2 ? argv[1] : "example-source.bin";
    std::string dest = argc > 2 ? argv[2] : "example-copy.bin";
    if (argc <= 2) {
        std::ofstream out(source, std::ios::binary);
        std::string block(1 << 20, 'v');
        for (int i = 0; i < 64; ++i) {
            out.write(block.data(), static_cast<std::streamsize>(block.size()));
        }
    }

    _CopyProgress_Info progress{showProgress, nullptr, nullptr};
    try {
        unsigned int status = CUFile::CopyWithProgress(path(source), path(dest), &progress, true);
        std::printf("\ncopy: status 0x%x\n", status);
        if (status != 0) {
            return 1;
        }
    } catch (unsigned int code) {
        // Thrown before anything is copied: 9 no source, 4 destination exists, 1/2 bad path.
        std::printf("copy refused: error %u\n", code);
        return 1;
    }

    if (argc <= 2) {
        unsigned long long reached = 0;
        _CopyProgress_Info cancelling{cancelAtOnce, &reached, nullptr};
        unsigned int status = CUFile::CopyWithProgress(path(source), path("example-cancelled.bin"),
                                                       &cancelling, false);
        bool left = CUFile::Exists(path("example-cancelled.bin"));
        std::printf("cancelled copy: status %u after %llu bytes, partial file left: %s\n", status,
                    reached, left ? "yes" : "no");
        CUFile::Delete(path(source));
        CUFile::Delete(path(dest));
        return status == 0 && !left ? 0 : 1;
    }
    return 0;
}
