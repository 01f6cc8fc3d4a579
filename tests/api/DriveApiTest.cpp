// DriveApiTest.cpp — names every public operation, enumerator and spelling of CUDriveInfo
// through the shared library.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <type_traits>

TEST(DriveApi, DriveInfoOperationsAreExported) {
    static_assert(std::is_base_of_v<CUObject, CUDriveInfo>);
    static_assert(CUDriveType_Optical == 0 && CUDriveType_Fixed == 1 && CUDriveType_NoDevice == 2 &&
                  CUDriveType_Ram == 4 && CUDriveType_Removable == 5 && CUDriveType_Unknown == 6);
    static_assert(std::is_same_v<decltype(&CUDriveInfo::IsSysytemDrive), bool (CUDriveInfo::*)()>);
    static_assert(std::is_same_v<decltype(&CUDriveInfo::GetDriveType), int (CUDriveInfo::*)()>);

    CUStringMac root("/", CUString_CharCode_UTF8);
    CUDriveInfo byReference(root);
    CUDriveInfo byPointer(CUSharedPtr<CUStringMac>(new CUStringMac(root)));
    CUSharedPtr<CUDriveInfo> made = CUDriveInfo::CreateCUDriveInfo(root);
    CUSharedPtr<CUDriveInfo> madeFromPointer =
        CUDriveInfo::CreateCUDriveInfo(CUSharedPtr<CUStringMac>(new CUStringMac(root)));
    ASSERT_TRUE(made);
    ASSERT_TRUE(madeFromPointer);
    EXPECT_TRUE(made->Init(&root));
    EXPECT_TRUE(made->GetName());
    EXPECT_TRUE(made->GetVolumeLabel());
    EXPECT_TRUE(made->GetDisplayString());
    EXPECT_TRUE(made->IsReady());
    EXPECT_GT(made->GetTotalSize(), 0u);
    EXPECT_GT(made->GetTotalFreeSize(), 0u);
    EXPECT_NE(CUDriveType_Unknown, made->GetDriveType());
    EXPECT_TRUE(made->IsSysytemDrive());
    EXPECT_TRUE(made->Description());
    CUSharedPtr<CUObject> asObject = made;
    CUSharedPtr<CUDriveInfo> back = asObject;
    EXPECT_EQ(made.get(), back.get());
    try {
        byReference.Init(nullptr);
        FAIL();
    } catch (unsigned int code) {
        EXPECT_EQ(static_cast<unsigned int>(CUError_InvalidArgument), code);
    }
}
