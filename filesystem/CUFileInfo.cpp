// CUFileInfo.cpp — file entries: size, deletion, plain copies, copies and moves with progress.
#include "filesystem/FileNames.h"

#include <VarnUtilityLib/CUEnvironment.h>
#include <VarnUtilityLib/CUError.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileStream.h>

#include "platform/FileOperation.h"
#include "platform/FileSystem.h"

#include <cstdint>
#include <memory>
#include <string>

namespace vp = varn::platform;

// The routine's operation and status handles are, on this system, the operation itself and the
// two byte counts of a report.
struct __FSFileOperation {
    vp::FileOperation* operation;
};

struct __CFDictionary {
    std::uint64_t bytesComplete;
    std::uint64_t totalBytes;
};

namespace {

constexpr unsigned int kStatusBadArgument = 0x10001;
constexpr unsigned int kStatusNotScheduled = 0x10002;
constexpr unsigned int kStatusCopyFailed = 0x10003;
constexpr unsigned int kStatusMoveFailed = 0x10004;
constexpr unsigned int kStageComplete = 3;
constexpr double kRunLoopStep = 0.1;
constexpr unsigned int kVanishChecks = 100;

void deliver(vp::FileOperation* operation, vp::FileOperationStatus const* status, void* info) {
    __FSFileOperation handle{operation};
    if (status == nullptr) {
        CUFileInfo::CopyProgressRoutineMac(&handle, nullptr, 0, 0, nullptr, info);
        return;
    }
    __CFDictionary counts{status->completedBytes, status->totalBytes};
    CUFileInfo::CopyProgressRoutineMac(&handle, nullptr, static_cast<unsigned int>(status->stage),
                                       status->error, &counts, info);
}

} // namespace

CUFileInfo::CUFileInfo(CUStringMac& path)
    : CUFileSysytemInfo(path), m_cancelled(false), m_finished(false), m_failed(false) {}

CUFileInfo::CUFileInfo(CUSharedPtr<CUStringMac> path)
    : CUFileSysytemInfo(path), m_cancelled(false), m_finished(false), m_failed(false) {}

CUFileInfo::~CUFileInfo() = default;

bool CUFileInfo::Exists() {
    return CUFile::Exists(&m_fullName);
}

unsigned long long CUFileInfo::Length() {
    return vp::RegularFileSize(cu_files::Utf8(m_fullName).c_str());
}

void CUFileInfo::Delete() {
    std::string path = cu_files::Utf8(m_fullName);
    if (!vp::EntryExists(path.c_str())) {
        return;
    }
    // A link is removed itself, whatever it points at; only a real folder is refused.
    if (vp::IsRealDirectory(path.c_str())) {
        throw static_cast<unsigned int>(CUError_IsDirectory);
    }
    if (vp::RemoveFile(path.c_str()) != 0) {
        throw static_cast<unsigned int>(CUError_DeleteFailed);
    }
}

unsigned int CUFileInfo::CopyFile(CUSharedPtr<CUStringMac> dest) {
    if (!dest || !CUFile::Exists(&m_fullName)) {
        return kStatusBadArgument;
    }
    std::string from = cu_files::Utf8(m_fullName);
    std::string to = cu_files::Utf8(*dest);
    if (from.empty() || to.empty()) {
        return kStatusBadArgument;
    }
    return vp::CopyFileExclusive(from.c_str(), to.c_str()) == 0 ? 0 : kStatusCopyFailed;
}

unsigned int CUFileInfo::CopyWithProgress(CUSharedPtr<CUStringMac> dest, _CopyProgress_Info* info,
                                          bool overwrite) {
    z_CopyMoveWithProgressErrorCheack(dest, info, overwrite, true);
    return z_CopyMoveWithProgress(dest, info, overwrite, true);
}

unsigned int CUFileInfo::MoveWithProgress(CUSharedPtr<CUStringMac> dest, _CopyProgress_Info* info,
                                          bool overwrite) {
    z_CopyMoveWithProgressErrorCheack(dest, info, overwrite, false);
    return z_CopyMoveWithProgress(dest, info, overwrite, false);
}

void CUFileInfo::z_CopyMoveWithProgressErrorCheack(CUSharedPtr<CUStringMac> dest,
                                                   _CopyProgress_Info* info, bool overwrite,
                                                   bool /*isCopy*/) {
    if (info == nullptr || !dest) {
        throw static_cast<unsigned int>(CUError_InvalidArgument);
    }
    if (m_fullName.Length() == 0 || dest->Length() == 0) {
        throw static_cast<unsigned int>(CUError_NotReady);
    }
    {
        CUFileStream source(&m_fullName, CUStream_FileMode_Open, CUStream_FileAccess_Read, true);
        if (!source.CanRead()) {
            throw static_cast<unsigned int>(CUError_FileNotFound);
        }
    }
    if (!overwrite) {
        CUFileStream existing(dest.get(), CUStream_FileMode_Open, CUStream_FileAccess_Read, true);
        if (existing.CanRead()) {
            throw static_cast<unsigned int>(CUError_PlatformFailure);
        }
    }
}

unsigned int CUFileInfo::z_CopyMoveWithProgress(CUSharedPtr<CUStringMac> dest,
                                                _CopyProgress_Info* info, bool overwrite,
                                                bool isCopy) {
    if (info == nullptr || !dest) {
        return kStatusBadArgument;
    }
    info->owner = this;
    vp::CurrentRunLoop runLoop;
    std::unique_ptr<vp::FileOperation> operation = vp::FileOperation::Create();
    if (!operation || !operation->ScheduleWithCurrentRunLoop()) {
        return kStatusNotScheduled;
    }
    CUStringMac folder;
    CUStringMac name;
    dest->PathRemoveLastComponent(folder);
    dest->PathGetFileName(name);
    if (folder.Length() == 0 || name.Length() == 0) {
        operation->Unschedule();
        return kStatusBadArgument;
    }
    m_cancelled = false;
    m_finished = false;
    m_failed = false;
    if (!operation->Start(isCopy, cu_files::Utf8(m_fullName), cu_files::Utf8(folder),
                          cu_files::Utf8(name), overwrite, deliver, info, kRunLoopStep)) {
        operation->Unschedule();
        return isCopy ? kStatusCopyFailed : kStatusMoveFailed;
    }
    while (!m_finished) {
        runLoop.RunOnce(kRunLoopStep);
    }
    unsigned int result = 0;
    if (!m_cancelled) {
        result = m_failed ? (isCopy ? kStatusCopyFailed : kStatusMoveFailed) : 0;
    } else {
        // The worker removes what it wrote (the destination, or for an overwrite the file
        // beside it, while the old destination rightly stays) and then ends: waiting for the
        // worker rather than for the destination's name returns as soon as that is done. A
        // rename cannot be cancelled; the moved file stays. A cancelled operation reports 0.
        for (unsigned int i = 0; i < kVanishChecks * 20 && !operation->Finished(); ++i) {
            runLoop.RunOnce(kRunLoopStep / 20);
        }
    }
    operation->Unschedule();
    return result;
}

bool CUFileInfo::z_WaitFileNotExist(CUSharedPtr<CUStringMac> path, unsigned int tries) {
    try {
        CUFileInfo file(path);
        if (tries == 0) {
            return false;
        }
        for (unsigned int i = 0; i < tries; ++i) {
            if (!file.Exists()) {
                return true;
            }
            CUSleep(100);
        }
    } catch (...) {
    }
    return false;
}

void CUFileInfo::CopyProgressRoutineMac(__FSFileOperation* operation, char const* /*item*/,
                                        unsigned int stage, int error, __CFDictionary const* status,
                                        void* info) {
    std::uint64_t completed = status != nullptr ? status->bytesComplete : 0;
    std::uint64_t total = status != nullptr ? status->totalBytes : 0;
    auto* progress = static_cast<_CopyProgress_Info*>(info);
    auto cancel = [operation] {
        if (operation != nullptr && operation->operation != nullptr) {
            operation->operation->Cancel();
        }
    };
    if (progress == nullptr || progress->owner == nullptr) {
        cancel();
        return;
    }
    CUFileInfo& owner = *progress->owner;
    if (error == 0 && total != 0 && progress->callback != nullptr) {
        bool goOn = false;
        try {
            goOn = progress->callback(total, completed, progress->userData);
        } catch (...) {
            // An exception cannot cross the run loop; it stops the operation like a false.
            goOn = false;
        }
        if (!goOn) {
            owner.m_cancelled = true;
            owner.m_finished = true;
            cancel();
        }
    }
    if (stage == kStageComplete) {
        owner.m_finished = true;
    }
    if (error != 0) {
        owner.m_finished = true;
        owner.m_failed = true;
        cancel();
    }
}
