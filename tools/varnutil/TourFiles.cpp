// TourFiles.cpp — the tour's files-and-folders section.
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

std::string nameOf(CUSharedPtr<CUObject> const& item) {
    CUSharedPtr<CUFileSysytemInfo> entry = item;
    std::string full;
    if (entry) {
        entry->GetFullName()->GetString(full);
    }
    return full.substr(full.rfind('/') + 1);
}

std::string names(CUSharedPtr<CUArray> const& items) {
    std::string text;
    for (unsigned long i = 0; i < items->Count(); ++i) {
        text += (i == 0 ? "" : ", ") + nameOf(items->ObjectAtIndex(i));
    }
    return text.empty() ? "(none)" : text;
}

struct Calls {
    int count = 0;
    unsigned long long last = 0;
    int stopAt = -1;
};

bool countCalls(unsigned long long /*total*/, unsigned long long completed, void* data) {
    auto* calls = static_cast<Calls*>(data);
    ++calls->count;
    calls->last = completed;
    return calls->stopAt < 0 || calls->count < calls->stopAt;
}

void files(std::ostream& out) {
    std::string root = (std::filesystem::current_path() / "files-tour").string();
    CUDirectory::CreateDirectory(str(root + "/docs/old"));
    Show(out, "CreateDirectory(files-tour/docs/old)", "made both missing levels");
    {
        std::ofstream(root + "/docs/report.txt") << std::string(3u << 20, 'r');
        std::ofstream(root + "/docs/notes.txt") << "notes";
    }
    Show(out, "GetFiles(docs)", names(CUDirectory::GetFiles(str(root + "/docs"))).c_str());
    Show(out, "GetDirectories(docs)",
         names(CUDirectory::GetDirectories(str(root + "/docs"))).c_str());

    Calls calls;
    _CopyProgress_Info info{countCalls, &calls, nullptr};
    unsigned int status = CUFile::CopyWithProgress(str(root + "/docs/report.txt"),
                                                   str(root + "/copy.txt"), &info, false);
    Show(out, "CopyWithProgress (3 MiB)",
         ("status " + std::to_string(status) + ", " + std::to_string(calls.count) +
          " progress calls, last at " + std::to_string(calls.last) + " bytes")
             .c_str());
    try {
        CUFile::CopyWithProgress(str(root + "/docs/report.txt"), str(root + "/copy.txt"), &info,
                                 false);
    } catch (unsigned int code) {
        Show(out, "again without overwrite throws", std::to_string(code).c_str());
    }
    Calls stop;
    stop.stopAt = 1;
    _CopyProgress_Info cancel{countCalls, &stop, nullptr};
    status = CUFile::CopyWithProgress(str(root + "/docs/report.txt"), str(root + "/cancelled.txt"),
                                      &cancel, false);
    Show(out, "copy cancelled by the callback",
         ("status " + std::to_string(status) +
          ", partial file left: " + (CUFile::Exists(str(root + "/cancelled.txt")) ? "yes" : "no"))
             .c_str());
    _CopyProgress_Info quiet{nullptr, nullptr, nullptr};
    status = CUFile::MoveWithProgress(str(root + "/copy.txt"), str(root + "/docs/old/copy.txt"),
                                      &quiet, false);
    Show(out, "MoveWithProgress into docs/old", ("status " + std::to_string(status)).c_str());
    CUFileInfo notes(str(root + "/docs/notes.txt"));
    notes.Rename(str("notes-2026.txt"));
    std::string renamed;
    notes.GetFullName()->GetString(renamed);
    Show(out, "Rename(notes-2026.txt)", renamed.substr(root.size() + 1).c_str());
    Show(out, "Length(docs/old/copy.txt)",
         std::to_string(CUFileInfo(str(root + "/docs/old/copy.txt")).Length()).c_str());
    try {
        CUDirectory::Delete(str(root));
    } catch (unsigned int code) {
        Show(out, "Delete(files-tour) while full throws", std::to_string(code).c_str());
    }
    CUDirectory::Delete(str(root), true);
    Show(out, "Delete(files-tour, true)", CUDirectory::Exists(str(root)) ? "still there" : "gone");
}

TourSection filesSection(64, "Files and folders", files);

} // namespace
} // namespace varnutil
