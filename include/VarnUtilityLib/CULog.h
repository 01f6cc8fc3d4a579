// CULog.h — the process-wide text log: one line per message in a ring of ten files.
//
// One instance at most exists (InitializeWithName); the static Write operations log through it
// from any thread. Lines read "[yyyy/MM/dd HH:mm:ss]\t[LEVEL]\tmessage\r\n" in local time and
// go into "<folder>/<name><n>.log", n = 0-9, each file kept at or under 1,000,000 bytes by the
// worst-case UTF-8 size of the line; after file 9 comes file 0, emptied first. Every line is
// opened, appended and closed, so it is on disk when Write returns.
//
// Several processes may log into one folder under one name: lines are appended whole, and the
// current file number is shared through "<folder>/.<name>.ring" so that only one of them
// rotates. A file may pass 1,000,000 bytes by the lines of writers that checked its size at the
// same moment.
//
// Nothing here throws: failures end an operation with null, 0 or false.
// Locks: the class lock guards the instance pointer, the instance lock the fields and files;
// the class lock is always taken first. Both are recursive.
#pragma once

#include <VarnUtilityLib/CUDateTime.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CURecursiveLock.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <cstdarg>
#include <memory>

namespace varn {
struct LogFiles;
} // namespace varn

/// Which date of a file GetLogFileTime reads.
enum _Log_DateTime_Type {
    _Log_DateTime_Type_Create = 0, ///< the creation (birth) date, where the file system keeps it
    _Log_DateTime_Type_Modify = 1, ///< the content-modification date
};

/// "(NULL)", for the library's users; the log itself never reads it.
CU_EXPORT extern CUSharedPtr<CUStringMac> g_pLogNULL;

/// The process-wide log.
class CU_EXPORT CULog : public CUObject {
  public:
    /// Level 3, index 0, no folder or name.
    CULog();
    ~CULog() override;

    /// Makes and initialises the single instance when both arguments are set and none exists;
    /// a failed Init leaves none. A second call while one exists does nothing.
    static void InitializeWithName(CUSharedPtr<CUStringMac> folder, CUSharedPtr<CUStringMac> name,
                                   unsigned int level);
    /// The instance, or null.
    static CUSharedPtr<CULog> GetInstance();
    /// Drops the library's reference; writers still holding one finish first.
    static void Terminate();
    /// Formats (printf style, %s takes UTF-8 text) and writes one line through the instance;
    /// nothing without one.
    static void Write(unsigned int level, CUSharedPtr<CUStringMac> format, ...);
    /// \overload
    static void Write(unsigned int level, char const* format, ...);

    /// "<folder>/<name><index>.log"; null for a null argument or when the parts cannot be
    /// joined.
    static CUSharedPtr<CUStringMac> GetLogFilePath(CUSharedPtr<CUStringMac> folder,
                                                   CUSharedPtr<CUStringMac> name, int index);
    /// The creation (type 0, where the file system records it) or content-modification (type 1)
    /// date of a file, in local time to the whole second; null for other types, a missing file
    /// or an unknown date.
    static CUSharedPtr<CUDateTime> GetLogFileTime(CUSharedPtr<CUStringMac> path,
                                                  _Log_DateTime_Type type);
    /// The file's length in bytes; 0 when unknown.
    static unsigned long long GetLogFileSize(CUSharedPtr<CUStringMac> path);
    /// The worst-case UTF-8 size of the text plus one character; 0 for null.
    static unsigned int GetStringByteSize(CUSharedPtr<CUStringMac> text);
    /// Deletes the file if it exists; errors are swallowed.
    static void DeleteLogFile(CUSharedPtr<CUStringMac> path);
    /// "yyyy/MM/dd HH:mm:ss" in local time; null for null.
    static CUSharedPtr<CUStringMac> GetLogDateTimeString(CUSharedPtr<CUDateTime> time);

    /// Stores copies of the settings, creates the folder if missing and picks the file to
    /// continue: the one before the first missing number, or the newest of ten (the lower
    /// number on equal dates). 0, or 0x10001 for a null argument or a folder that cannot be
    /// made.
    unsigned int Init(CUSharedPtr<CUStringMac> folder, CUSharedPtr<CUStringMac> name,
                      unsigned int level);
    /// Writes through this instance (not the singleton).
    void WriteLog(unsigned int level, CUSharedPtr<CUStringMac> format, ...);
    /// Writes one line when `level` <= the instance's level; the message is expanded once, so
    /// '%' in it is written literally.
    void WriteLogWithFormat(unsigned int level, CUSharedPtr<CUStringMac> format, va_list args);
    /// "ERROR" (1), "WARNING" (2), "INFO" (3), "DEBUG" (anything else): the shared string.
    CUSharedPtr<CUStringMac> GetLogLevelString(unsigned int level);
    /// The current file when it can take `bytes` more within 1,000,000 bytes; else the next
    /// file of the ring, deleted first. Null without settings. Call under the instance lock.
    CUSharedPtr<CUStringMac> GetWriteableLogPath(unsigned int bytes);
    /// Appends the line to the writeable file; true when written.
    bool WriteFileString(CUSharedPtr<CUStringMac> line);
    /// Starts writing a report on this machine into "<folder>/<fileName>"; returns at once.
    void WriteSystemInfo(CUSharedPtr<CUStringMac> fileName);

  private:
    // The ten paths, the ring number shared with other processes and the line buffer, made
    // from the settings on first use; null without settings.
    varn::LogFiles* z_Files();
    bool z_AppendLine(varn::LogFiles& files, char const* bytes, unsigned long long length,
                      unsigned int reserve);
    // Makes and writes one line from a format already in UTF-8.
    void z_WriteLine(unsigned int level, char const* pattern, va_list args);

    CURecursiveLock m_lock;
    unsigned int m_currentIndex;
    CUSharedPtr<CUStringMac> m_folder;
    CUSharedPtr<CUStringMac> m_name;
    unsigned int m_level;
    std::unique_ptr<varn::LogFiles> m_files;
};

/// Starts the system report for a full path in the background: the machine's profiler where
/// one is installed, run without a shell, else the library's own report (OS release, kernel,
/// processors, memory, volumes, locale and time zone). The file is replaced.
CU_EXPORT void z_WriteSystemInfo(CUSharedPtr<CUStringMac> path);
