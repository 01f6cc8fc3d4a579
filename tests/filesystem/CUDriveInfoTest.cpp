// CUDriveInfoTest.cpp — resolution, classification and queries of CUDriveInfo, over a fake
// machine (one volume of every kind) and over the running system.
#include "fakes/FakeMachine.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUDriveInfo.h>

#include "platform/Volume.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

using varn::test::CodeOf;
using varn::test::Text;
using varn::test::Utf8;

// One fake machine serves the suite: building it costs a few hundred file operations.
class CUDriveInfoFake : public ::testing::Test {
  protected:
    void SetUp() override { varn::platform::SetVolumeRootForTesting(machine.tree.Kernel()); }
    void TearDown() override { varn::platform::SetVolumeRootForTesting(""); }

    CUSharedPtr<CUDriveInfo> drive(std::string const& path) {
        CUStringMac p = Utf8(path);
        return CUDriveInfo::CreateCUDriveInfo(p);
    }

    static fakes::FakeMachine& Shared() {
        static fakes::FakeMachine machine;
        return machine;
    }
    fakes::FakeMachine& machine = Shared();
};

TEST_F(CUDriveInfoFake, EachKindOfVolumeGetsItsDriveType) {
    // A device path that sysfs does not know (orphan) is still a device: fixed.
    std::pair<std::string const&, int> const rows[] = {
        {machine.optical, CUDriveType_Optical},  {machine.ramDisk, CUDriveType_Ram},
        {machine.zram, CUDriveType_Ram},         {machine.tmpfs, CUDriveType_Ram},
        {machine.usb, CUDriveType_Removable},    {machine.nvme, CUDriveType_Fixed},
        {machine.mapper, CUDriveType_Fixed},     {machine.mapperUsb, CUDriveType_Removable},
        {machine.raid, CUDriveType_Fixed},       {machine.loop, CUDriveType_Removable},
        {machine.nfs, CUDriveType_NoDevice},     {machine.overlay, CUDriveType_NoDevice},
        {machine.sdCard, CUDriveType_Removable}, {machine.orphan, CUDriveType_Fixed},
    };
    for (auto const& [path, type] : rows) {
        CUSharedPtr<CUDriveInfo> d = drive(path);
        ASSERT_TRUE(d) << path;
        EXPECT_EQ(type, d->GetDriveType()) << path;
    }
}

TEST_F(CUDriveInfoFake, PathInsideAVolumeOrBelowAMissingFolderResolvesToItsMountPoint) {
    { std::ofstream(machine.usb + "/notes.txt") << "x"; }
    struct Row {
        std::string path, mount, label;
    } const rows[] = {
        {machine.tree.Folder("data/projects/src"), machine.nvme, "data & more\\x"},
        {machine.usb + "/notes.txt", machine.usb, "USB Stick"},
        {machine.optical + "/missing/deeper/still/file.txt", machine.optical, "My Disc"},
    };
    for (Row const& row : rows) {
        CUSharedPtr<CUDriveInfo> d = drive(row.path);
        ASSERT_TRUE(d) << row.path;
        EXPECT_EQ(row.mount, Text(d->GetName())) << row.path;
        EXPECT_EQ(row.label, Text(d->GetVolumeLabel())) << row.path;
        EXPECT_EQ(row.label, Text(d->GetDisplayString())) << row.path;
        EXPECT_TRUE(d->IsReady()) << row.path;
        EXPECT_FALSE(d->IsSysytemDrive()) << row.path;
    }
}

TEST_F(CUDriveInfoFake, AbsentVolumeBelowAMediaRootKeepsItsNameAndIsNotReady) {
    // The rule applies where the walk up from a missing path reaches the media root.
    std::string const volume = "/media/varn-nobody/VARN ABSENT VOLUME";
    ASSERT_FALSE(std::filesystem::exists(volume));
    CUSharedPtr<CUDriveInfo> d = drive(volume + "/DCIM/100/img.jpg");
    ASSERT_TRUE(d);
    EXPECT_EQ(volume, Text(d->GetName()));
    EXPECT_EQ(CUDriveType_Unknown, d->GetDriveType());
    EXPECT_FALSE(d->IsReady());
    EXPECT_EQ(0u, d->GetTotalSize());
    EXPECT_EQ(0u, d->GetTotalFreeSize());
    EXPECT_FALSE(d->GetVolumeLabel());
}

TEST(CUDriveInfo, RootOfTheRunningSystemIsTheSystemDriveWithSizesAndHoldsItsFolders) {
    CUStringMac root("/", CUString_CharCode_UTF8);
    CUDriveInfo d(root);
    EXPECT_EQ("/", Text(d.GetName()));
    EXPECT_TRUE(d.IsSysytemDrive());
    EXPECT_TRUE(d.IsReady());
    EXPECT_GT(d.GetTotalFreeSize(), 0u);
    EXPECT_LE(d.GetTotalFreeSize(), d.GetTotalSize());
    int type = d.GetDriveType();
    EXPECT_TRUE(type == 0 || type == 1 || type == 2 || type == 4 || type == 5) << type;
    EXPECT_TRUE(d.GetVolumeLabel());
    // /etc lives on the root file system on every ordinary installation.
    CUStringMac etc("/etc/hostname-varn-missing/x/y", CUString_CharCode_UTF8);
    EXPECT_TRUE(CUDriveInfo(etc).IsSysytemDrive());
}

TEST(CUDriveInfo, NullPathsThrowTwoUnresolvableOnesOneAndTheFactoryGivesAnEmptyPointer) {
    EXPECT_EQ(2u, CodeOf([] { CUDriveInfo d{CUSharedPtr<CUStringMac>()}; }));
    for (char const* path : {"varn-missing-bare-name", "varn-missing-relative/a/b"}) {
        CUStringMac p = Utf8(path);
        EXPECT_EQ(1u, CodeOf([&] { CUDriveInfo unresolved(p); })) << path;
        EXPECT_FALSE(CUDriveInfo::CreateCUDriveInfo(p)) << path;
    }
    EXPECT_FALSE(CUDriveInfo::CreateCUDriveInfo(CUSharedPtr<CUStringMac>()));
    CUSharedPtr<CUDriveInfo> ok = CUDriveInfo::CreateCUDriveInfo(
        CUSharedPtr<CUStringMac>(new CUStringMac("/", CUString_CharCode_UTF8)));
    ASSERT_TRUE(ok);
    EXPECT_EQ(1, ok->GetRetainCount());
}
