// The public interface as applications compile against it: class relations, spelled names and
// enumerator values, checked when this file compiles (exports: scripts/check-exports.sh); then
// the exported globals and CUObject's allocation forms, run through the shared library.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <pthread.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <type_traits>
#include <vector>

// Every class named after the first derives from it.
template <class Base, class... Derived>
constexpr bool derive = (std::is_base_of_v<Base, Derived> && ...);

static_assert(std::is_polymorphic_v<CUObject>);
static_assert(std::has_virtual_destructor_v<CUSharedPtr<CUObject>>);
static_assert(derive<CUObject, CUStringMac, CUArray, CUSortDescriptor, CUFileSysytemInfo,
                     CUDriveInfo, CULog, CUStream, CUFile, CUDirectory, CUDateTime, CUXmlDomNode>);
static_assert(derive<CUWaitHandle, CUMutex, CUEventWaitHandle, CUThread>);
static_assert(derive<CULockAbstract, CURecursiveLock> && derive<CUArray, CUMutableArray>);
static_assert(derive<std::vector<short>, CUVector<short>>);
static_assert(derive<CUFileSysytemInfo, CUFileInfo, CUDirectoryInfo>);
static_assert(derive<CUStream, CUMemoryStream, CUFileStream>);
static_assert(derive<CUEventWaitHandle, CUAutoResetEvent, CUManualResetEvent>);
static_assert(
    derive<CUXmlDomNode, CUXmlDomDocumentNode, CUXmlDomElementNode, CUXmlDomCharacterDataNode,
           CUXmlDomProcessingInstructionNode, CUXmlDomEntityReferenceNode>);
static_assert(derive<CUXmlDomCharacterDataNode, CUXmlDomTextNode>);
static_assert(std::is_same_v<decltype(&CUFileInfo::z_CopyMoveWithProgressErrorCheack),
                             void (CUFileInfo::*)(CUSharedPtr<CUStringMac>, _CopyProgress_Info*,
                                                  bool, bool)>);
static_assert(std::is_same_v<decltype(&CUFileInfo::z_WaitFileNotExist),
                             bool (CUFileInfo::*)(CUSharedPtr<CUStringMac>, unsigned int)>);
static_assert(std::is_same_v<decltype(_CopyProgress_Info::callback),
                             bool (*)(unsigned long long, unsigned long long, void*)>);
static_assert(std::is_same_v<decltype(&CUDriveInfo::IsSysytemDrive), bool (CUDriveInfo::*)()>);
static_assert(CUError_NotReady == 1 && CUError_InvalidArgument == 2 &&
              CUError_DirectoryNotFound == 3 && CUError_PlatformFailure == 4 &&
              CUError_NotSupported == 5 && CUError_Unused == 6 && CUError_IsDirectory == 7 &&
              CUError_DeleteFailed == 8 && CUError_FileNotFound == 9);
static_assert(CUString_CharCode_UTF8 == 0 && CUString_CharCode_UTF16 == 1 &&
              CUString_CharCode_ASCII == 2);
static_assert(CUStringComparison_CaseSensitive == 0 && CUStringComparison_CaseInsensitive == 1);
static_assert(CUDriveType_Optical == 0 && CUDriveType_Fixed == 1 && CUDriveType_NoDevice == 2 &&
              CUDriveType_Ram == 4 && CUDriveType_Removable == 5 && CUDriveType_Unknown == 6);
static_assert(_Log_DateTime_Type_Create == 0 && _Log_DateTime_Type_Modify == 1);
static_assert(CUStream_Seek_Origin_Begin == 0 && CUStream_Seek_Origin_Current == 1 &&
              CUStream_Seek_Origin_End == 2);
static_assert(CUStream_FileMode_Append == 0 && CUStream_FileMode_Create == 1 &&
              CUStream_FileMode_CreateNew == 2 && CUStream_FileMode_Open == 3 &&
              CUStream_FileMode_OpenOrCreate == 4 && CUStream_FileMode_Truncate == 5);
static_assert(CUStream_FileAccess_Read == 0 && CUStream_FileAccess_ReadWrite == 1 &&
              CUStream_FileAccess_Write == 2);
static_assert(sizeof(CUStream_Seek_Origin) == 4 && sizeof(CUStream_FileMode) == 4 &&
              sizeof(CUStream_FileAccess) == 4 && sizeof(_CUXmlDomNodeType) == 4);
static_assert(kCURangeNoLocation == 0x7fffffffffffffffULL && kCUStatusXmlWriteFailed == 0x10005);
static_assert(sizeof(CFGregorianDate::month) == 1 && sizeof(CFGregorianDate::year) == 4);
static_assert(CUEventWaitHandle_EventResetMode_AutoReset == 0 &&
              CUEventWaitHandle_EventResetMode_ManualReset == 1);
static_assert(CUXmlDomNodeType_Unknown == 0 && CUXmlDomNodeType_Element == 1 &&
              CUXmlDomNodeType_Attribute == 2 && CUXmlDomNodeType_Text == 3 &&
              CUXmlDomNodeType_CdataSection == 4 && CUXmlDomNodeType_EntityReference == 5 &&
              CUXmlDomNodeType_Entity == 6 && CUXmlDomNodeType_ProcessingInstruction == 7 &&
              CUXmlDomNodeType_Comment == 8 && CUXmlDomNodeType_Document == 9 &&
              CUXmlDomNodeType_DocumentType == 10 && CUXmlDomNodeType_DocumentFragment == 11 &&
              CUXmlDomNodeType_Notation == 12);

TEST(ApiSurface, GlobalsAndPlatformHandlesAreExported) {
    EXPECT_STREQ("\n", CU_NEWLINE_CHAR);
    CUSharedPtr<CUObject> object(new CUObject);
    EXPECT_EQ(1, initMutex_CUObject);
    // Initialised by the first object, with default attributes: a plain mutex, free.
    auto* mutex = reinterpret_cast<pthread_mutex_t*>(&g_MutexHandle_CUObject);
    ASSERT_EQ(0, pthread_mutex_trylock(mutex));
    EXPECT_EQ(0, pthread_mutex_unlock(mutex));
    __CFString const* handle = CUPlatformStringCreateWithUTF8("hi", 2);
    EXPECT_EQ(2u, CUPlatformStringGetLength(handle));
    EXPECT_EQ(u'h', CUPlatformStringGetUnits(handle)[0]);
    CUPlatformRelease(CUPlatformStringRetain(handle));
    CUPlatformRelease(handle);
}

template <std::size_t Size, std::size_t Align> struct alignas(Align) Sized : CUObject {
    unsigned char bytes[Size] = {};
};

// Small, large (past any small block) and over-aligned types, and placement new.
TEST(CUObject, AllocationFormsAreExported) {
    CUSharedPtr<CUStringMac> string(new CUStringMac("text", CUString_CharCode_UTF8));
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(static_cast<void*>(string.get())) % 8);
    CUSharedPtr<Sized<100, 64>> wide(new Sized<100, 64>);
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(wide.get()) % 64);
    CUSharedPtr<Sized<4000, 8>> large(new Sized<4000, 8>);
    large->bytes[3999] = 1;
    alignas(CUStringMac) unsigned char storage[sizeof(CUStringMac)];
    auto* inPlace = new (storage) CUStringMac("here", CUString_CharCode_UTF8);
    EXPECT_EQ(4, inPlace->Length());
    inPlace->~CUStringMac();
}
