// Every public class, operation, enumerator and global through the shared library: a rename, a
// lost export or a "corrected" spelling breaks the build.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

template <class T> void keep(T const&) {}

} // namespace

TEST(ApiSurface, CoreObjectsAndGlobalsAreExported) {
    static_assert(std::is_polymorphic_v<CUObject>);
    static_assert(std::has_virtual_destructor_v<CUSharedPtr<CUObject>>);
    static_assert(std::is_base_of_v<CUObject, CUStringMac>);
    static_assert(CUError_NotReady == 1 && CUError_InvalidArgument == 2 &&
                  CUError_DirectoryNotFound == 3 && CUError_PlatformFailure == 4 &&
                  CUError_NotSupported == 5 && CUError_Unused == 6 && CUError_IsDirectory == 7 &&
                  CUError_DeleteFailed == 8 && CUError_FileNotFound == 9);
    CUSharedPtr<CUObject> object(new CUObject);
    EXPECT_EQ(1, object->GetRetainCount());
    EXPECT_STREQ("\n", CU_NEWLINE_CHAR);
    EXPECT_EQ(1, initMutex_CUObject);
    keep(g_MutexHandle_CUObject);
    EXPECT_TRUE(object->Description());
    CUSharedPtr<CUStringMac> notAString = object;
    EXPECT_FALSE(notAString);
}

TEST(ApiSurface, StringOperationsAreExported) {
    static_assert(CUString_CharCode_UTF8 == 0 && CUString_CharCode_UTF16 == 1 &&
                  CUString_CharCode_ASCII == 2);
    static_assert(CUStringComparison_CaseSensitive == 0 && CUStringComparison_CaseInsensitive == 1);
    CUStringMac a("abc", CUString_CharCode_UTF8);
    CUStringMac b("abc", 3u, CUString_CharCode_UTF8);
    unsigned short units[] = {'x'};
    CUStringMac c(units, 2u);
    CUStringMac d(a.GetCFStringRef());
    CUStringMac e(CUSharedPtr<CUStringMac>(new CUStringMac(a)));
    CUStringMac f;
    f = a + b;
    unsigned int size = 0;
    EXPECT_EQ(0u, a.GetString(nullptr, CUString_CharCode_UTF8, size));
    std::string s;
    EXPECT_EQ(0u, a.GetString(s));
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(a.Equals(d, CUStringComparison_CaseInsensitive));
    EXPECT_FALSE(a < e);
    EXPECT_EQ(3, a.Length());
    EXPECT_EQ(3, a.CountOfChars());
    EXPECT_STREQ("abcabc", static_cast<char const*>(f));
    EXPECT_NE(nullptr, static_cast<__CFString const*>(c));
    EXPECT_EQ(0u,
              a.Find(CUSharedPtr<CUStringMac>(new CUStringMac(b)), CUStringComparison_CaseSensitive)
                  .location);
    EXPECT_TRUE(a.SubString(1, 1));
    EXPECT_TRUE(a.SubString(1));
    EXPECT_TRUE(a.Trim());
    EXPECT_TRUE(a.Description());
    EXPECT_TRUE(CUStringMac::CreateWithFormat(CUSharedPtr<CUStringMac>(new CUStringMac(a)), 1));
    EXPECT_EQ(0x08000100u, CUStringMac::ConvertCharCode(CUString_CharCode_UTF8));

    __CFString const* handle = CUPlatformStringCreateWithUTF8("hi", 2);
    EXPECT_EQ(2u, CUPlatformStringGetLength(handle));
    EXPECT_EQ(u'h', CUPlatformStringGetUnits(handle)[0]);
    CUPlatformRelease(CUPlatformStringRetain(handle));
    CUPlatformRelease(handle);
    __CFString const* wide = CUPlatformStringCreateWithUTF16(u"w", 1);
    CUPlatformRelease(wide);
}

TEST(ApiSurface, LockClassesAreExported) {
    static_assert(std::is_base_of_v<CUWaitHandle, CUMutex>);
    static_assert(std::is_base_of_v<CULockAbstract, CURecursiveLock>);
    CUSharedPtr<CULockAbstract> lock(new CURecursiveLock);
    {
        CUAutoLock guard(lock);
        CUAutoLock raw(lock.get());
        raw.CallExit();
        raw.CallEnter();
    }
    CUSimpleMonitor::Enter(lock);
    CUSimpleMonitor::Exit(lock);
    CUSimpleMonitor::Enter(lock.get());
    CUSimpleMonitor::Exit(lock.get());
    CUMutex mutex;
    EXPECT_TRUE(mutex.WaitOne());
    EXPECT_NE(nullptr, mutex.GetMutex());
    EXPECT_EQ(0, mutex.ReleaseMutex());
    CUWaitHandle handle;
    EXPECT_FALSE(handle.WaitOne());
}
