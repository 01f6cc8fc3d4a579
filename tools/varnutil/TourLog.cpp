// TourLog.cpp — the tour's log section.
#include "Tour.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace varnutil {
namespace {

CUSharedPtr<CUStringMac> str(std::string const& text) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(text.c_str(), CUString_CharCode_UTF8));
}

void log(std::ostream& out) {
    std::string folder = (std::filesystem::current_path() / "logs").string();
    CULog::InitializeWithName(str(folder), str("Tour"), 3);
    Show(out, "InitializeWithName(logs, Tour, 3)",
         CULog::GetInstance() ? "instance made" : "failed");
    CULog::Write(3, "tour started with %d sections", TourSectionCount());
    CULog::Write(1, "an error line");
    CULog::Write(4, "a debug line, dropped at level 3");
    CULog::Write(3, CUSharedPtr<CUStringMac>(new CUStringMac("%s", CUString_CharCode_UTF8)),
                 "100%d written as is");
    std::ifstream in(folder + "/Tour0.log", std::ios::binary);
    std::string line;
    int n = 0;
    while (std::getline(in, line)) {
        line.pop_back(); // the line ends in CR LF
        Show(out, ("Tour0.log line " + std::to_string(++n)).c_str(), line.c_str());
    }
    CUSharedPtr<CULog> log = CULog::GetInstance();
    std::string next;
    log->GetWriteableLogPath(999999)->GetString(next);
    Show(out, "GetWriteableLogPath(999,999) rotates to", next.substr(folder.size() + 1).c_str());
    CULog::Terminate();
    Show(out, "after Terminate, GetInstance", CULog::GetInstance() ? "an instance" : "null");
}

TourSection logSection(85, "The log", log);

} // namespace
} // namespace varnutil
