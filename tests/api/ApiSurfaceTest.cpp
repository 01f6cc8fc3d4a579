// Every public class, operation, enumerator and global through the shared library: a rename, a
// lost export or a "corrected" spelling breaks the build. What the operations do is tested in
// the folder suites; here each is only reached once.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <type_traits>

TEST(ApiSurface, ObjectsStringsPlatformHandlesAndLocksAreExported) {
    static_assert(std::is_polymorphic_v<CUObject>);
    static_assert(std::has_virtual_destructor_v<CUSharedPtr<CUObject>>);
    static_assert(std::is_base_of_v<CUObject, CUStringMac>);
    static_assert(CUError_NotReady == 1 && CUError_InvalidArgument == 2 &&
                  CUError_DirectoryNotFound == 3 && CUError_PlatformFailure == 4 &&
                  CUError_NotSupported == 5 && CUError_Unused == 6 && CUError_IsDirectory == 7 &&
                  CUError_DeleteFailed == 8 && CUError_FileNotFound == 9);
    static_assert(CUString_CharCode_UTF8 == 0 && CUString_CharCode_UTF16 == 1 &&
                  CUString_CharCode_ASCII == 2);
    static_assert(CUStringComparison_CaseSensitive == 0 && CUStringComparison_CaseInsensitive == 1);
    static_assert(std::is_base_of_v<CUWaitHandle, CUMutex>);
    static_assert(std::is_base_of_v<CULockAbstract, CURecursiveLock>);
    EXPECT_STREQ("\n", CU_NEWLINE_CHAR);
    EXPECT_EQ(1, initMutex_CUObject);
    EXPECT_NE(nullptr, &g_MutexHandle_CUObject);
    CUSharedPtr<CUObject> object(new CUObject);
    CUSharedPtr<CUStringMac> notAString = object;
    EXPECT_TRUE(object->Description() && !notAString);

    CUStringMac a("abc", CUString_CharCode_UTF8);
    CUStringMac b("abc", 3u, CUString_CharCode_UTF8);
    unsigned short units[] = {'x'};
    CUStringMac c(units, 2u);
    CUStringMac d(a.GetCFStringRef());
    CUSharedPtr<CUStringMac> e(new CUStringMac(CUSharedPtr<CUStringMac>(new CUStringMac(a))));
    CUStringMac f;
    f = a + b;
    unsigned int size = 0;
    std::string s;
    EXPECT_EQ(0u, a.GetString(nullptr, CUString_CharCode_UTF8, size) + a.GetString(s));
    EXPECT_TRUE(a == b && a.Equals(d, CUStringComparison_CaseInsensitive) && !(a < *e));
    EXPECT_EQ(6, a.Length() + a.CountOfChars());
    EXPECT_TRUE(static_cast<char const*>(f) && static_cast<__CFString const*>(c));
    EXPECT_EQ(0u, a.Find(e, CUStringComparison_CaseSensitive).location);
    EXPECT_TRUE(a.SubString(1, 1) && a.SubString(1) && a.Trim() && a.Description() &&
                CUStringMac::CreateWithFormat(e, 1));
    EXPECT_EQ(0x08000100u, CUStringMac::ConvertCharCode(CUString_CharCode_UTF8));
    CUStringMac p("/a/b.txt", CUString_CharCode_UTF8), out;
    CUSharedPtr<CUArray> parts;
    HFSUniStr255 record{};
    EXPECT_EQ(0u, p.PathAppend(b, out) + p.PathRemoveLastComponent(out) +
                      p.RemoveLastComponent(out, "/") + p.PathGetFileName(out) +
                      p.PathGetFileNameNoExtension(out) + p.PathGetExtension(out) +
                      p.PathGetLastComponent(out) + p.PathComponents(&parts) +
                      p.SplitComponents(&parts, ".") + CUStringMac::GetUnicodeFileName(e, &record));

    __CFString const* handle = CUPlatformStringCreateWithUTF8("hi", 2);
    EXPECT_EQ(2u, CUPlatformStringGetLength(handle));
    EXPECT_EQ(u'h', CUPlatformStringGetUnits(handle)[0]);
    CUPlatformRelease(CUPlatformStringRetain(handle));
    CUPlatformRelease(handle);
    CUPlatformRelease(CUPlatformStringCreateWithUTF16(u"w", 1));

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
    EXPECT_TRUE(mutex.WaitOne() && mutex.GetMutex() != nullptr && mutex.ReleaseMutex() == 0);
    EXPECT_FALSE(CUWaitHandle().WaitOne());
}
