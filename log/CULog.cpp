// CULog.cpp — the ring-of-ten-files log.
#include "filesystem/PathBytes.h"

#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileStream.h>
#include <VarnUtilityLib/CULog.h>

#include "platform/FileSystem.h"
#include "platform/LogRing.h"
#include "platform/SystemReport.h"
#include "platform/Text.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

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

// The texts of the level labels, as GetLogLevelString's shared strings hold them.
char const* labelText(unsigned int level) {
    switch (level) {
    case 1:
        return "ERROR";
    case 2:
        return "WARNING";
    case 3:
        return "INFO";
    default:
        return "DEBUG";
    }
}

// Expands `pattern` with `args` into `buffer` as CreateWithFormatV does and returns the bytes up
// to the first zero (where the message string, made from a C string, ends); null when the C
// library refuses the pattern.
char const* expand(char const* pattern, va_list args, std::vector<char>& buffer) {
    va_list first;
    va_copy(first, args);
    int const needed = std::vsnprintf(buffer.data(), buffer.size(), pattern, first);
    va_end(first);
    if (needed < 0) {
        return nullptr;
    }
    if (static_cast<std::size_t>(needed) >= buffer.size()) {
        buffer.resize(static_cast<std::size_t>(needed) + 1);
        va_list second;
        va_copy(second, args);
        std::vsnprintf(buffer.data(), buffer.size(), pattern, second);
        va_end(second);
    }
    return buffer.data();
}

// The bytes of a message that the decoder refused, with each byte that does not belong to a
// well-formed UTF-8 sequence replaced by U+FFFD; returns the length in UTF-16 units. A line of
// the log is for a person to read: one stray byte from a file name must not cost the message.
std::uint64_t appendRepaired(unsigned char const* p, std::size_t n, std::string& line) {
    std::uint64_t units = 0;
    std::size_t i = n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF ? 3 : 0;
    while (i < n) {
        unsigned char const b = p[i];
        std::size_t extra = 0;
        unsigned char lo = 0x80, hi = 0xBF; // allowed range of the first continuation byte
        if (b >= 0xC2 && b <= 0xDF) {
            extra = 1;
        } else if (b >= 0xE0 && b <= 0xEF) {
            extra = 2;
            lo = b == 0xE0 ? 0xA0 : 0x80;
            hi = b == 0xED ? 0x9F : 0xBF;
        } else if (b >= 0xF0 && b <= 0xF4) {
            extra = 3;
            lo = b == 0xF0 ? 0x90 : 0x80;
            hi = b == 0xF4 ? 0x8F : 0xBF;
        }
        bool valid = b < 0x80 || (extra != 0 && n - i > extra);
        for (std::size_t j = 1; valid && j <= extra; ++j) {
            valid = p[i + j] >= (j == 1 ? lo : 0x80) && p[i + j] <= (j == 1 ? hi : 0xBF);
        }
        if (valid) {
            line.append(reinterpret_cast<char const*>(p + i), extra + 1);
            units += extra == 3 ? 2 : 1;
            i += extra + 1;
        } else {
            line.append("\xEF\xBF\xBD");
            units += 1;
            i += 1;
        }
    }
    return units;
}

// Appends the message as its string would give it back in UTF-8 and returns its length in
// UTF-16 units: ASCII as it is; anything else through the decoder (which drops a leading byte
// order mark) and back, or, where the decoder refuses the bytes, repaired.
std::uint64_t appendMessage(char const* message, std::string& line) {
    std::size_t const length = std::strlen(message);
    bool ascii = true;
    for (std::size_t i = 0; i < length && ascii; ++i) {
        ascii = static_cast<unsigned char>(message[i]) < 0x80;
    }
    if (ascii) {
        line.append(message, length);
        return length;
    }
    namespace text = varn::platform;
    text::Text const* decoded = text::Decode(message, length, text::Encoding::UTF8);
    std::string utf8;
    std::uint64_t units = 0;
    if (decoded != nullptr && text::ToUTF8(decoded, utf8)) {
        line.append(utf8);
        units = decoded->length;
    } else {
        units = appendRepaired(reinterpret_cast<unsigned char const*>(message), length, line);
    }
    if (decoded != nullptr) {
        text::Release(decoded);
    }
    return units;
}

} // namespace

namespace varn {

// What a line needs besides the settings, made once instead of for every line: the paths of the
// ten files (null, and empty bytes, where one cannot be formed), the ring number, the current
// file kept open, the time stamp of the last second written and the buffer the line is put
// together in.
struct LogFiles {
    CUSharedPtr<CUStringMac> paths[kRingSize];
    std::string pathBytes[kRingSize];
    platform::LogRing ring;
    platform::LogAppender appender;
    double stampSecond = -HUGE_VAL;
    std::string stamp;
    std::string line;
    std::vector<char> expanded = std::vector<char>(512);
    platform::Text const* patternText = nullptr; // retained while cached
    std::string pattern;

    LogFiles() = default;
    LogFiles(LogFiles const&) = delete;
    LogFiles& operator=(LogFiles const&) = delete;
    ~LogFiles() {
        if (patternText != nullptr) {
            platform::Release(patternText);
        }
    }

    static void Clear(unsigned int index, void* self) {
        CULog::DeleteLogFile(static_cast<LogFiles*>(self)->paths[index]);
    }
};

} // namespace varn

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
    va_list args;
    va_start(args, format);
    // An ASCII format reads the same after the trip into a string and back to UTF-8, so it is
    // used as it is.
    bool ascii = true;
    for (char const* c = format; *c != '\0' && ascii; ++c) {
        ascii = static_cast<unsigned char>(*c) < 0x80;
    }
    if (ascii) {
        log->z_WriteLine(level, format, args);
    } else {
        try {
            log->WriteLogWithFormat(level, text(format), args);
        } catch (...) {
        }
    }
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
        m_files.reset();
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
    // Joining the ring: when another process is writing it already, its number wins over the
    // one read from the dates.
    if (varn::LogFiles* files = z_Files()) {
        m_currentIndex = files->ring.Index() % kRingSize;
    }
    return kCUStatusSuccess;
}

varn::LogFiles* CULog::z_Files() {
    if (m_files) {
        return m_files.get();
    }
    if (!m_folder || !m_name) {
        return nullptr;
    }
    try {
        auto files = std::make_unique<varn::LogFiles>();
        for (unsigned int i = 0; i < kRingSize; ++i) {
            files->paths[i] = GetLogFilePath(m_folder, m_name, static_cast<int>(i));
            if (!varn::PathBytes(files->paths[i].get(), files->pathBytes[i])) {
                files->pathBytes[i].clear();
            }
        }
        CUSharedPtr<CUStringMac> stateName =
            CUStringMac::CreateWithFormat(text(".%s.ring"), utf8(m_name));
        CUStringMac statePath;
        std::string stateBytes;
        if (!stateName || m_folder->PathAppend(*stateName, statePath) != kCUStatusSuccess ||
            !varn::PathBytes(&statePath, stateBytes)) {
            stateBytes.clear();
        }
        // Without a state file (a folder that cannot take one) the ring is this process's own.
        if (stateBytes.empty() || !files->ring.Join(stateBytes, m_currentIndex)) {
            files->ring.Join(std::string(), m_currentIndex);
        }
        m_files = std::move(files);
    } catch (...) {
        return nullptr;
    }
    return m_files.get();
}

bool CULog::z_AppendLine(varn::LogFiles& files, char const* bytes, unsigned long long length,
                         unsigned int reserve) {
    using varn::platform::LogAppend;
    bool force = false;
    // Each pass either writes, fails, or finds the ring moved on (by this writer or another);
    // the bound only guards against writers that keep filling files faster than this one can
    // append to them.
    for (unsigned int pass = 0; pass < 2 * kRingSize; ++pass) {
        unsigned int const index = files.ring.Index() % kRingSize;
        m_currentIndex = index;
        if (files.pathBytes[index].empty()) {
            return false;
        }
        LogAppend const result = files.appender.Append(files.pathBytes[index], index, bytes, length,
                                                       reserve, kMaxFileSize, force);
        if (result != LogAppend::Full) {
            return result == LogAppend::Written;
        }
        bool moved = false;
        m_currentIndex =
            files.ring.Advance(index, kRingSize, &varn::LogFiles::Clear, &files, moved) % kRingSize;
        // The file just emptied takes the line whatever its size; a file another writer moved
        // to is checked like any other.
        force = moved;
    }
    return false;
}

void CULog::WriteLog(unsigned int level, CUSharedPtr<CUStringMac> format, ...) {
    va_list args;
    va_start(args, format);
    WriteLogWithFormat(level, format, args);
    va_end(args);
}

void CULog::WriteLogWithFormat(unsigned int level, CUSharedPtr<CUStringMac> format, va_list args) {
    CUAutoLock guard(&m_lock);
    if (level > m_level || !format) {
        return;
    }
    try {
        varn::LogFiles* files = z_Files();
        if (files == nullptr) {
            return;
        }
        // The format's UTF-8, as the formatting of strings reads it, is kept while the same
        // text comes back (a text never changes; it is retained while cached).
        __CFString const* formatText = format->GetCFStringRef();
        CUStringMac const& formatObject = *format;
        bool const plain = typeid(formatObject) == typeid(CUStringMac);
        if (!plain || formatText == nullptr || formatText != files->patternText) {
            CUStringMac copy(format);
            char const* pattern = copy;
            if (pattern == nullptr) {
                return;
            }
            if (files->patternText != nullptr) {
                varn::platform::Release(files->patternText);
                files->patternText = nullptr;
            }
            files->pattern = pattern;
            if (plain && formatText != nullptr) {
                files->patternText = varn::platform::Retain(formatText);
            }
        }
        z_WriteLine(level, files->pattern.c_str(), args);
    } catch (...) {
        // A line that cannot be made is lost; logging never throws to its caller.
    }
}

void CULog::z_WriteLine(unsigned int level, char const* pattern, va_list args) {
    CUAutoLock guard(&m_lock);
    if (level > m_level) {
        return;
    }
    try {
        CUSharedPtr<CUDateTime> now = CUDateTime::Create();
        varn::LogFiles* files = z_Files();
        if (!now || files == nullptr) {
            return;
        }
        // The stamp only changes with the second, and lines come many to a second.
        double const second = std::floor(now->GetAbsoluteTime());
        if (second != files->stampSecond) {
            CUSharedPtr<CUStringMac> stamp = GetLogDateTimeString(now);
            if (!stamp || stamp->GetString(files->stamp) != kCUStatusSuccess) {
                files->stampSecond = -HUGE_VAL;
                return;
            }
            files->stampSecond = second;
        }
        char const* message = expand(pattern, args, files->expanded);
        if (message == nullptr) {
            return;
        }
        // The line is put together in UTF-8 as "[%s]\t[%s]\t%s\r\n" would make it, without a
        // string object of its own.
        std::string& line = files->line;
        line.assign(1, '[').append(files->stamp).append("]\t[").append(labelText(level));
        line.append("]\t");
        std::uint64_t units = files->stamp.size() + std::strlen(labelText(level)) + 8;
        units += appendMessage(message, line);
        line.append("\r\n");
        // The rotation reserve is the worst-case size of the line's text plus one character,
        // as asking the line's string for its size with no buffer gives it.
        std::uint64_t const reserve =
            varn::platform::MaxBytesForEncoding(units + 1, varn::platform::Encoding::UTF8);
        if (reserve <= UINT_MAX) {
            z_AppendLine(*files, line.data(), line.size(), static_cast<unsigned int>(reserve));
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
    varn::LogFiles* files = z_Files();
    if (files == nullptr) {
        return CUSharedPtr<CUStringMac>();
    }
    unsigned int const index = files->ring.Index() % kRingSize;
    m_currentIndex = index;
    CUSharedPtr<CUStringMac> const& path = files->paths[index];
    if (!path) {
        return CUSharedPtr<CUStringMac>();
    }
    if (GetLogFileSize(path) + bytes < kMaxFileSize + 1) {
        return CUSharedPtr<CUStringMac>(new CUStringMac(path));
    }
    bool moved = false;
    m_currentIndex =
        files->ring.Advance(index, kRingSize, &varn::LogFiles::Clear, files, moved) % kRingSize;
    CUSharedPtr<CUStringMac> const& next = files->paths[m_currentIndex];
    return next ? CUSharedPtr<CUStringMac>(new CUStringMac(next)) : CUSharedPtr<CUStringMac>();
}

bool CULog::WriteFileString(CUSharedPtr<CUStringMac> line) {
    if (!line) {
        return false;
    }
    unsigned int size = 0;
    if (line->GetString(nullptr, CUString_CharCode_UTF8, size) != kCUStatusSuccess || size == 0) {
        return false;
    }
    varn::LogFiles* files = z_Files();
    if (files == nullptr) {
        return false;
    }
    std::unique_ptr<char, decltype(&std::free)> buffer(static_cast<char*>(std::malloc(size)),
                                                       &std::free);
    if (!buffer ||
        line->GetString(buffer.get(), CUString_CharCode_UTF8, size) != kCUStatusSuccess) {
        return false;
    }
    try {
        return z_AppendLine(*files, buffer.get(), std::strlen(buffer.get()), size);
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
