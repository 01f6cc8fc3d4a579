// logging.cpp — keep an application log in a ring of ten files.
//
// Usage: example_logging [FOLDER]   (default: ./logs)
// Initialise once at start-up, write from anywhere (any thread), terminate at exit. Each line
// is on disk when Write returns; files rotate at about 1 MB, ten of them in a ring.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

CUSharedPtr<CUStringMac> text(std::string const& s) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(s.c_str(), CUString_CharCode_UTF8));
}

} // namespace

int main(int argc, char** argv) {
    std::string folder = std::filesystem::absolute(argc > 1 ? argv[1] : "logs").string();

    // Level 3 writes errors (1), warnings (2) and information (3); 4 and above are dropped.
    CULog::InitializeWithName(text(folder), text("MyApp"), 3);
    if (!CULog::GetInstance()) {
        std::fprintf(stderr, "cannot log into %s\n", folder.c_str());
        return 1;
    }

    CULog::Write(3, "started, version %s", "1.0");
    std::vector<std::thread> workers;
    for (int t = 0; t < 3; ++t) {
        workers.emplace_back([t] {
            for (int i = 0; i < 5; ++i) {
                CULog::Write(3, "worker %d step %d", t, i);
            }
        });
    }
    for (std::thread& w : workers) {
        w.join();
    }
    CULog::Write(2, "disk %s is %d%% full", "/data", 91);
    CULog::Write(4, "verbose detail nobody asked for"); // dropped at level 3

    // A report on the machine beside the log, written in the background.
    CULog::GetInstance()->WriteSystemInfo(text("system.txt"));
    CULog::Terminate();

    std::ifstream in(folder + "/MyApp0.log");
    int lines = 0;
    for (std::string line; std::getline(in, line);) {
        ++lines;
    }
    std::printf("%d lines in %s/MyApp0.log\n", lines, folder.c_str());
    return lines >= 17 ? 0 : 1;
}
