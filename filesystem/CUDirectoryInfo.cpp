// CUDirectoryInfo.cpp — folder entries: creation with ancestors, deletion, listing, the trash.
#include "filesystem/FileNames.h"

#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUDirectoryInfo.h>
#include <VarnUtilityLib/CUError.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUMutableArray.h>

#include "platform/FileOperation.h"
#include "platform/FileSystem.h"

#include <cerrno>
#include <string>
#include <vector>

namespace vp = varn::platform;

namespace {

constexpr double kRecycleStep = 0.5;

} // namespace

CUDirectoryInfo::CUDirectoryInfo(CUStringMac& path) : CUFileSysytemInfo(path) {}

CUDirectoryInfo::CUDirectoryInfo(CUSharedPtr<CUStringMac> path) : CUFileSysytemInfo(path) {}

CUDirectoryInfo::~CUDirectoryInfo() = default;

bool CUDirectoryInfo::CreateDirectory(CUSharedPtr<CUStringMac> path) {
    try {
        if (!path) {
            return false;
        }
        if (CUDirectory::Exists(path)) {
            return true;
        }
        CUStringMac parent;
        CUSharedPtr<CUStringMac> name(new CUStringMac());
        if (path->PathRemoveLastComponent(parent) != kCUStatusSuccess ||
            path->PathGetFileName(*name) != kCUStatusSuccess) {
            return false;
        }
        if (!CUDirectory::Exists(&parent)) {
            return false;
        }
        std::string fileName;
        if (!cu_files::PosixFileName(name, fileName)) {
            return false;
        }
        std::string target = cu_files::Utf8(parent);
        target += target.back() == '/' ? "" : "/";
        target += fileName;
        return vp::MakeDirectory(target.c_str()) == 0;
    } catch (...) {
        return false;
    }
}

void CUDirectoryInfo::Create() {
    if (CUDirectory::Exists(&m_fullName)) {
        return;
    }
    // A relative path is taken from the working directory, as a file stream takes it: spelled
    // "./a/b", even its first level has a parent that the steps below can find.
    CUSharedPtr<CUStringMac> target(new CUStringMac(m_fullName));
    if (cu_files::Utf8(m_fullName).rfind('/', 0) != 0) {
        CUStringMac here("./", CUString_CharCode_UTF8);
        target = CUSharedPtr<CUStringMac>(new CUStringMac(here + m_fullName));
    }
    std::vector<CUSharedPtr<CUStringMac>> missing{target};
    for (;;) {
        CUSharedPtr<CUStringMac> parent(new CUStringMac());
        if (missing.back()->PathRemoveLastComponent(*parent) != kCUStatusSuccess ||
            CUDirectory::Exists(parent)) {
            break;
        }
        if (*parent == *missing.back()) {
            break; // "/" is its own parent; it exists on any running system
        }
        missing.push_back(parent);
    }
    for (auto level = missing.rbegin(); level != missing.rend(); ++level) {
        if (!CreateDirectory(*level)) {
            throw static_cast<unsigned int>(CUError_PlatformFailure);
        }
    }
}

void CUDirectoryInfo::Delete() {
    if (!CUDirectory::Exists(&m_fullName)) {
        throw static_cast<unsigned int>(CUError_DirectoryNotFound);
    }
    if (vp::RemoveDirectory(cu_files::Utf8(m_fullName).c_str()) != 0) {
        throw static_cast<unsigned int>(CUError_PlatformFailure);
    }
}

void CUDirectoryInfo::Delete(bool recursive) {
    // A link to a folder is not descended into: its target lies outside this tree, and
    // Delete() refuses the link itself with 4.
    if (!recursive || vp::IsSymbolicLink(cu_files::Utf8(m_fullName).c_str())) {
        Delete();
        return;
    }
    // Emptied below the public listing, on the names' bytes and through descriptors that
    // never follow a link: a name that is not UTF-8 is deleted too (a listing leaves it out),
    // and a folder swapped for a link meanwhile cannot lead out of the tree.
    // A file that stays fails the deletion with 8, as its own Delete would; a folder that
    // cannot be opened or emptied with 4.
    bool fileFailed = false;
    if (!CUDirectory::Exists(&m_fullName) ||
        vp::RemoveFolderContents(cu_files::Utf8(m_fullName).c_str(), fileFailed) != 0) {
        throw static_cast<unsigned int>(fileFailed ? CUError_DeleteFailed
                                                   : CUError_PlatformFailure);
    }
    Delete();
}

void CUDirectoryInfo::DeleteSubObjects(CUSharedPtr<CUArray> items, bool areDirectories) {
    if (!items) {
        return;
    }
    for (unsigned long i = 0, n = items->Count(); i < n; ++i) {
        CUSharedPtr<CUObject> item = items->ObjectAtIndex(i);
        if (areDirectories) {
            CUSharedPtr<CUDirectoryInfo> folder = item;
            if (folder) {
                folder->Delete(true);
            }
        } else {
            CUSharedPtr<CUFileInfo> file = item;
            if (file) {
                file->Delete();
            }
        }
    }
}

CUSharedPtr<CUArray> CUDirectoryInfo::GetDirectories() {
    return GetObjects(true);
}

CUSharedPtr<CUArray> CUDirectoryInfo::GetFiles() {
    return GetObjects(false);
}

CUSharedPtr<CUArray> CUDirectoryInfo::GetObjects(bool directories) {
    CUSharedPtr<CUMutableArray> result(new CUMutableArray());
    std::string folder = cu_files::Utf8(m_fullName);
    // The folder itself may be reached through a link (a path the caller chose); what lies
    // inside it is never followed.
    if (!CUDirectory::Exists(&m_fullName)) {
        throw static_cast<unsigned int>(CUError_PlatformFailure);
    }
    std::vector<vp::DirectoryEntry> entries;
    if (vp::ListDirectory(folder.c_str(), &entries) != 0) {
        return result;
    }
    for (vp::DirectoryEntry const& entry : entries) {
        if (entry.isDirectory != directories) {
            continue;
        }
        // The string's UTF-8 reading drops a leading U+FEFF as a byte-order mark and reads
        // some invalid bytes as U+FFFD, so a name could turn into another entry's name or
        // none. A leading U+FEFF is kept by giving the reader a mark to drop in front of it;
        // a name whose text does not give back exactly its bytes is left out.
        static constexpr char kMark[] = "\xEF\xBB\xBF";
        std::string const bytes = entry.name.starts_with(kMark) ? kMark + entry.name : entry.name;
        CUStringMac name(bytes.data(), static_cast<unsigned int>(bytes.size()),
                         CUString_CharCode_UTF8);
        CUStringMac path;
        if (name.GetCFStringRef() == nullptr || cu_files::Utf8(name) != entry.name ||
            m_fullName.PathAppend(name, path) != kCUStatusSuccess) {
            continue; // no text names this entry exactly
        }
        if (directories) {
            result->AddObject(CUSharedPtr<CUObject>(new CUDirectoryInfo(path)));
        } else {
            result->AddObject(CUSharedPtr<CUObject>(new CUFileInfo(path)));
        }
    }
    return result;
}

void CUDirectoryInfo::Recycle() {
    vp::CurrentRunLoop runLoop;
    vp::TrashResult result;
    result.done = true;
    unsigned int code = 0;
    if (CUDirectory::Exists(&m_fullName)) {
        vp::MoveToTrashAsync(cu_files::Utf8(m_fullName).c_str(), &result);
        while (!result.done) {
            runLoop.RunOnce(kRecycleStep);
        }
        if (result.error != 0 && result.error != ECANCELED) {
            code = CUError_PlatformFailure;
        }
    } else {
        code = CUError_DirectoryNotFound;
    }
    if (code != 0) {
        throw code;
    }
}
