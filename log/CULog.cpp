// CULog.cpp — the ring-of-ten-files log.
#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileStream.h>
#include <VarnUtilityLib/CULog.h>

#include "platform/FileSystem.h"
#include "platform/SystemReport.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

CUSharedPtr<CUStringMac> text(char const* s) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(s, CUString_CharCode_UTF8));
}

// The globals are made in this order when the library is loaded.
CUSharedPtr<CULog> gs_sharedCULog;
CUSharedPtr<CURecursiveLock> gs_sharedCULogLocker(new CURecursiveLock());
CUSharedPtr<CUStringMac> g_pLogFileFmt = text("%s%d.log");
CUSharedPtr<CUStringMac> g_pLogPrintLineFmt = text("[%s]\t[%s]\t%s\r\n");
CUSharedPtr<CUStringMac> g_pLogDateTimeFmt = text("%04d/%02d/%02d %02d:%02d:%02d");

} // namespace

CUSharedPtr<CUStringMac> g_pLogNULL = text("(NULL)");

namespace {

CUSharedPtr<CUStringMac> g_pLogError = text("ERROR");
CUSharedPtr<CUStringMac> g_pLogWarning = text("WARNING");
CUSharedPtr<CUStringMac> g_pLogInfo = text("INFO");
CUSharedPtr<CUStringMac> g_pLogDebug = text("DEBUG");

constexpr unsigned int kStatusFailure = 0x10001;
constexpr unsigned long long kMaxFileSize = 1000000;
constexpr unsigned int kRingSize = 10;
constexpr double kUnixToAbsolute = 978307200.0;

CUSharedPtr<CULockAbstract> classLock() {
    return gs_sharedCULogLocker;
}

char const* utf8(CUSharedPtr<CUStringMac> const& s) {
    return static_cast<char const*>(*s);
}

} // namespace

CULog::CULog() : m_currentIndex(0), m_level(3) {}

CULog::~CULog() = default;

// ---- the single instance ----

void CULog::InitializeWithName(CUSharedPtr<CUStringMac> folder, CUSharedPtr<CUStringMac> name,
                               unsigned int level) {
    CUAutoLock guard(classLock());
    if (!folder || !name || gs_sharedCULog) {
        return;
    }
    try {
        gs_sharedCULog = CUSharedPtr<CULog>(new CULog());
        if ((gs_sharedCULog->Init(folder, name, level) & 0xFFFF) != 0) {
            gs_sharedCULog = CUSharedPtr<CULog>();
        }
    } catch (...) {
        gs_sharedCULog = CUSharedPtr<CULog>();
    }
}

CUSharedPtr<CULog> CULog::GetInstance() {
    CUAutoLock guard(classLock());
    return gs_sharedCULog;
}

void CULog::Terminate() {
    CUAutoLock guard(classLock());
    gs_sharedCULog = CUSharedPtr<CULog>();
}

void CULog::Write(unsigned int level, CUSharedPtr<CUStringMac> format, ...) {
    CUSharedPtr<CULog> log = GetInstance();
    if (!log) {
        return;
    }
    va_list args;
    va_start(args, format);
    log->WriteLogWithFormat(level, format, args);
    va_end(args);
}

void CULog::Write(unsigned int level, char const* format, ...) {
    CUSharedPtr<CULog> log = GetInstance();
    if (!log || format == nullptr) {
        return;
    }
    CUSharedPtr<CUStringMac> formatText;
    try {
        formatText = text(format);
    } catch (...) {
        return;
    }
    va_list args;
    va_start(args, format);
    log->WriteLogWithFormat(level, formatText, args);
    va_end(args);
}

// ---- files ----

CUSharedPtr<CUStringMac> CULog::GetLogFilePath(CUSharedPtr<CUStringMac> folder,
                                               CUSharedPtr<CUStringMac> name, int index) {
    if (!folder || !name) {
        return CUSharedPtr<CUStringMac>();
    }
    try {
        CUSharedPtr<CUStringMac> file =
            CUStringMac::CreateWithFormat(g_pLogFileFmt, utf8(name), index);
        if (!file) {
            return CUSharedPtr<CUStringMac>();
        }
        CUSharedPtr<CUStringMac> path(new CUStringMac());
        if (folder->PathAppend(*file, *path) != kCUStatusSuccess) {
            return CUSharedPtr<CUStringMac>();
        }
        return path;
    } catch (...) {
        return CUSharedPtr<CUStringMac>();
    }
}

CUSharedPtr<CUDateTime> CULog::GetLogFileTime(CUSharedPtr<CUStringMac> path,
                                              _Log_DateTime_Type type) {
    if (!path || (type != _Log_DateTime_Type_Create && type != _Log_DateTime_Type_Modify)) {
        return CUSharedPtr<CUDateTime>();
    }
    long long seconds = 0;
    if (!varn::platform::GetFileTime(utf8(path), type == _Log_DateTime_Type_Create, &seconds)) {
        return CUSharedPtr<CUDateTime>();
    }
    try {
        // Broken into calendar fields of the system time zone and built again from them.
        CUDateTime instant(static_cast<double>(seconds) - kUnixToAbsolute);
        return CUDateTime::Create(instant.GetYear(true), instant.GetMonth(true),
                                  instant.GetDay(true), instant.GetHour(true),
                                  instant.GetMinute(true), instant.GetSecond(true));
    } catch (...) {
        return CUSharedPtr<CUDateTime>();
    }
}

unsigned long long CULog::GetLogFileSize(CUSharedPtr<CUStringMac> path) {
    if (!path) {
        return 0;
    }
    try {
        return CUFileInfo(path).Length();
    } catch (...) {
        return 0;
    }
}

unsigned int CULog::GetStringByteSize(CUSharedPtr<CUStringMac> text) {
    if (!text) {
        return 0;
    }
    unsigned int size = 0;
    if (text->GetString(nullptr, CUString_CharCode_UTF8, size) != kCUStatusSuccess) {
        return 0;
    }
    return size;
}

void CULog::DeleteLogFile(CUSharedPtr<CUStringMac> path) {
    if (!path) {
        return;
    }
    try {
        if (CUFile::Exists(path)) {
            CUFile::Delete(path);
        }
    } catch (...) {
    }
}

CUSharedPtr<CUStringMac> CULog::GetLogDateTimeString(CUSharedPtr<CUDateTime> time) {
    if (!time) {
        return CUSharedPtr<CUStringMac>();
    }
    try {
        return CUStringMac::CreateWithFormat(
            g_pLogDateTimeFmt, time->GetYear(true), time->GetMonth(true), time->GetDay(true),
            time->GetHour(true), time->GetMinute(true), time->GetSecond(true));
    } catch (...) {
        return CUSharedPtr<CUStringMac>();
    }
}

// ---- the instance ----

unsigned int CULog::Init(CUSharedPtr<CUStringMac> folder, CUSharedPtr<CUStringMac> name,
                         unsigned int level) {
    CUAutoLock guard(&m_lock);
    if (!folder || !name) {
        return kStatusFailure;
    }
    try {
        m_folder = CUSharedPtr<CUStringMac>(new CUStringMac(folder));
        m_name = CUSharedPtr<CUStringMac>(new CUStringMac(name));
        m_level = level;
        if (!CUDirectory::Exists(m_folder) && !CUDirectory::CreateDirectory(m_folder)) {
            return kStatusFailure;
        }
    } catch (...) {
        return kStatusFailure;
    }
    if (!m_folder || !m_name) {
        return kStatusFailure;
    }
    unsigned int chosen = 0;
    CUSharedPtr<CUDateTime> newest;
    for (unsigned int i = 0; i < kRingSize; ++i) {
        CUSharedPtr<CUStringMac> path = GetLogFilePath(m_folder, m_name, static_cast<int>(i));
        if (!path) {
            continue;
        }
        if (!CUFile::Exists(path)) {
            chosen = i == 0 ? 0 : i - 1;
            break;
        }
        CUSharedPtr<CUDateTime> modified = GetLogFileTime(path, _Log_DateTime_Type_Modify);
        if (modified && (!newest || *newest < *modified)) {
            newest = modified;
            chosen = i;
        }
    }
    m_currentIndex = chosen;
    return kCUStatusSuccess;
}

void CULog::WriteLog(unsigned int level, CUSharedPtr<CUStringMac> format, ...) {
    va_list args;
    va_start(args, format);
    WriteLogWithFormat(level, format, args);
    va_end(args);
}

void CULog::WriteLogWithFormat(unsigned int level, CUSharedPtr<CUStringMac> format, va_list args) {
    CUAutoLock guard(&m_lock);
    if (level > m_level) {
        return;
    }
    try {
        CUSharedPtr<CUDateTime> now = CUDateTime::Create();
        CUSharedPtr<CUStringMac> label = GetLogLevelString(level);
        if (!now || !format || !label) {
            return;
        }
        CUSharedPtr<CUStringMac> stamp = GetLogDateTimeString(now);
        if (!stamp) {
            return;
        }
        CUSharedPtr<CUStringMac> message = CUStringMac::CreateWithFormatV(format, args);
        if (!message) {
            return;
        }
        // The label is a shared global: its text is read without touching its conversion buffer,
        // which another instance may be using.
        std::string labelText;
        label->GetString(labelText);
        CUSharedPtr<CUStringMac> line = CUStringMac::CreateWithFormat(
            g_pLogPrintLineFmt, utf8(stamp), labelText.c_str(), utf8(message));
        if (line) {
            WriteFileString(line);
        }
    } catch (...) {
        // A line that cannot be made is lost; logging never throws to its caller.
    }
}

CUSharedPtr<CUStringMac> CULog::GetLogLevelString(unsigned int level) {
    switch (level) {
    case 1:
        return g_pLogError;
    case 2:
        return g_pLogWarning;
    case 3:
        return g_pLogInfo;
    default:
        return g_pLogDebug;
    }
}

CUSharedPtr<CUStringMac> CULog::GetWriteableLogPath(unsigned int bytes) {
    if (!m_folder || !m_name) {
        return CUSharedPtr<CUStringMac>();
    }
    CUSharedPtr<CUStringMac> path =
        GetLogFilePath(m_folder, m_name, static_cast<int>(m_currentIndex));
    if (!path) {
        return CUSharedPtr<CUStringMac>();
    }
    if (GetLogFileSize(path) + bytes < kMaxFileSize + 1) {
        return path;
    }
    m_currentIndex = m_currentIndex + 1 < kRingSize ? m_currentIndex + 1 : 0;
    path = GetLogFilePath(m_folder, m_name, static_cast<int>(m_currentIndex));
    if (path) {
        DeleteLogFile(path);
    }
    return path;
}

bool CULog::WriteFileString(CUSharedPtr<CUStringMac> line) {
    if (!line) {
        return false;
    }
    unsigned int size = 0;
    if (line->GetString(nullptr, CUString_CharCode_UTF8, size) != kCUStatusSuccess || size == 0) {
        return false;
    }
    CUSharedPtr<CUStringMac> path = GetWriteableLogPath(size);
    if (!path) {
        return false;
    }
    std::unique_ptr<char, decltype(&std::free)> buffer(static_cast<char*>(std::malloc(size)),
                                                       &std::free);
    if (!buffer ||
        line->GetString(buffer.get(), CUString_CharCode_UTF8, size) != kCUStatusSuccess) {
        return false;
    }
    try {
        CUFileStream stream(path, CUStream_FileMode_Append, CUStream_FileAccess_ReadWrite, false);
        stream.Write(reinterpret_cast<unsigned char*>(buffer.get()), std::strlen(buffer.get()), 0,
                     CUStream_Seek_Origin_Current);
        stream.Close();
        return true;
    } catch (...) {
        return false;
    }
}

void CULog::WriteSystemInfo(CUSharedPtr<CUStringMac> fileName) {
    CUAutoLock guard(&m_lock);
    if (!m_folder || !fileName) {
        return;
    }
    try {
        CUSharedPtr<CUStringMac> path(new CUStringMac());
        if (m_folder->PathAppend(*fileName, *path) != kCUStatusSuccess || !path) {
            return;
        }
        z_WriteSystemInfo(path);
    } catch (...) {
    }
}

void z_WriteSystemInfo(CUSharedPtr<CUStringMac> path) {
    if (!path) {
        return;
    }
    char const* target = *path;
    if (target != nullptr && *target != '\0') {
        varn::platform::StartSystemReport(target);
    }
}
