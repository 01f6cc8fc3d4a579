// LogApiTest.cpp — names every public operation of the log through the shared library.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <type_traits>

TEST(ApiSurface, LogOperationsAndGlobalsAreExported) {
    static_assert(std::is_base_of_v<CUObject, CULog>);
    static_assert(_Log_DateTime_Type_Create == 0 && _Log_DateTime_Type_Modify == 1);
    auto str = [](std::string const& s) {
        return CUSharedPtr<CUStringMac>(new CUStringMac(s.c_str(), CUString_CharCode_UTF8));
    };
    auto dir =
        std::filesystem::temp_directory_path() / ("varn-log-api-" + std::to_string(::getpid()));
    CULog::InitializeWithName(str(dir.string()), str("Api"), 3);
    ASSERT_TRUE(CULog::GetInstance());
    CULog::Write(3, "%d", 1);
    CULog::Write(3, str("%s"), "two");
    CULog::GetInstance()->WriteLog(3, str("three"));
    CUSharedPtr<CUStringMac> path = CULog::GetLogFilePath(str(dir.string()), str("Api"), 0);
    EXPECT_GT(CULog::GetLogFileSize(path) + CULog::GetStringByteSize(str("x")), 0u);
    EXPECT_TRUE(CULog::GetLogFileTime(path, _Log_DateTime_Type_Modify) &&
                CULog::GetLogDateTimeString(CUDateTime::Create()) &&
                CULog::GetInstance()->GetLogLevelString(1) &&
                CULog::GetInstance()->WriteFileString(str("raw\r\n")) &&
                CULog::GetInstance()->GetWriteableLogPath(1) && g_pLogNULL);
    CULog::Terminate();
    CULog::DeleteLogFile(path);
    z_WriteSystemInfo(CUSharedPtr<CUStringMac>()); // null: nothing to do
    CULog own;
    EXPECT_EQ(0x10001u, own.Init(CUSharedPtr<CUStringMac>(), str("x"), 3));
    std::filesystem::remove_all(dir);
}
