// CUDriveInfoTest.cpp — resolution, classification and queries of CUDriveInfo, over a fake
// machine (one volume of every kind) and over the running system.
#include "fakes/FakeMachine.h"

#include <VarnUtilityLib/CUDriveInfo.h>

#include "platform/Volume.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

namespace {

std::string text(CUSharedPtr<CUStringMac> const& s) {
    if (!s) {
        return "<empty pointer>";
    }
    std::string out;
    s->GetString(out);
    return out;
}

CUStringMac str(std::string const& s) {
    return CUStringMac(s.c_str(), CUString_CharCode_UTF8);
}

unsigned int codeOf(std::string const& path) {
    try {
        CUStringMac p = str(path);
        CUDriveInfo drive(p);
    } catch (unsigned int code) {
        return code;
    }
    return 0;
}

} // namespace

class CUDriveInfoFake : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { shared = new fakes::FakeMachine; }
    static void TearDownTestSuite() {
        delete shared;
        shared = nullptr;
    }
    void SetUp() override { varn::platform::SetVolumeRootForTesting(machine.tree.Kernel()); }
    void TearDown() override { varn::platform::SetVolumeRootForTesting(""); }

    CUSharedPtr<CUDriveInfo> drive(std::string const& path) {
        CUStringMac p = str(path);
        return CUDriveInfo::CreateCUDriveInfo(p);
    }
    int typeOf(std::string const& path) {
        CUSharedPtr<CUDriveInfo> d = drive(path);
        EXPECT_TRUE(d) << path;
        return d ? d->GetDriveType() : -1;
    }

    static inline fakes::FakeMachine* shared = nullptr;
    fakes::FakeMachine& machine = *shared;
};

TEST_F(CUDriveInfoFake, EachKindOfVolumeGetsItsDriveType) {
    EXPECT_EQ(CUDriveType_Optical, typeOf(machine.optical));
    EXPECT_EQ(CUDriveType_Ram, typeOf(machine.ramDisk));
    EXPECT_EQ(CUDriveType_Ram, typeOf(machine.zram));
    EXPECT_EQ(CUDriveType_Ram, typeOf(machine.tmpfs));
    EXPECT_EQ(CUDriveType_Removable, typeOf(machine.usb));
    EXPECT_EQ(CUDriveType_Fixed, typeOf(machine.nvme));
    EXPECT_EQ(CUDriveType_Fixed, typeOf(machine.mapper));
    EXPECT_EQ(CUDriveType_Removable, typeOf(machine.mapperUsb));
    EXPECT_EQ(CUDriveType_Fixed, typeOf(machine.raid));
    EXPECT_EQ(CUDriveType_Removable, typeOf(machine.loop));
    EXPECT_EQ(CUDriveType_NoDevice, typeOf(machine.nfs));
    EXPECT_EQ(CUDriveType_NoDevice, typeOf(machine.overlay));
    EXPECT_EQ(CUDriveType_Removable, typeOf(machine.sdCard));
    // A device path that sysfs does not know is still a device: fixed, as when the device
    // registry has no entry for a BSD name.
    EXPECT_EQ(CUDriveType_Fixed, typeOf(machine.orphan));
}

TEST_F(CUDriveInfoFake, PathInsideAVolumeResolvesToItsMountPoint) {
    std::string inside = machine.tree.Folder("data/projects/src");
    CUSharedPtr<CUDriveInfo> d = drive(inside);
    ASSERT_TRUE(d);
    EXPECT_EQ(machine.nvme, text(d->GetName()));
    EXPECT_TRUE(d->IsReady());
    EXPECT_FALSE(d->IsSysytemDrive());
    EXPECT_EQ("data & more\\x", text(d->GetVolumeLabel()));
    EXPECT_EQ("data & more\\x", text(d->GetDisplayString()));
}

TEST_F(CUDriveInfoFake, MountPointWithABlankAndAnEscapedLabel) {
    std::string file = machine.usb + "/notes.txt";
    { std::ofstream(file) << "x"; }
    CUSharedPtr<CUDriveInfo> d = drive(file);
    ASSERT_TRUE(d);
    EXPECT_EQ(machine.usb, text(d->GetName()));
    EXPECT_EQ("USB Stick", text(d->GetVolumeLabel()));
    EXPECT_EQ(CUDriveType_Removable, d->GetDriveType());
    EXPECT_TRUE(d->IsReady());
    EXPECT_EQ("My Disc", text(drive(machine.optical)->GetVolumeLabel()));
}

TEST_F(CUDriveInfoFake, PathSeveralLevelsBelowAMissingFolderUsesTheNearestAncestor) {
    CUSharedPtr<CUDriveInfo> d = drive(machine.optical + "/missing/deeper/still/file.txt");
    ASSERT_TRUE(d);
    EXPECT_EQ(machine.optical, text(d->GetName()));
    EXPECT_EQ(CUDriveType_Optical, d->GetDriveType());

    CUSharedPtr<CUDriveInfo> spaced = drive(machine.usb + "/no such/folder/x");
    ASSERT_TRUE(spaced);
    EXPECT_EQ(machine.usb, text(spaced->GetName()));
}

TEST_F(CUDriveInfoFake, MediaRootPathOfAnUnmountedVolumeKeepsItsNameAndTypeSix) {
    for (std::string root : {"/media/varn-nobody", "/run/media/varn-nobody", "/Volumes", "/mnt"}) {
        std::string volume = root + "/VARN ABSENT VOLUME";
        ASSERT_FALSE(std::filesystem::exists(volume)) << volume;
        // The recursive case: the rule applies where the walk reaches the media root.
        CUSharedPtr<CUDriveInfo> d = drive(volume + "/DCIM/100/img.jpg");
        ASSERT_TRUE(d) << volume;
        EXPECT_EQ(volume, text(d->GetName()));
        EXPECT_EQ(CUDriveType_Unknown, d->GetDriveType());
        EXPECT_FALSE(d->IsReady());
        EXPECT_FALSE(d->IsSysytemDrive());
        EXPECT_EQ(0u, d->GetTotalSize());
        EXPECT_EQ(0u, d->GetTotalFreeSize());
        EXPECT_FALSE(d->GetVolumeLabel());
        EXPECT_FALSE(d->GetDisplayString());
    }
}

TEST_F(CUDriveInfoFake, MediaRootPathIsReadyWhenTheMountTableListsIt) {
    std::string volume = "/media/varn-nobody/LISTED";
    ASSERT_FALSE(std::filesystem::exists(volume));
    machine.tree.Mount("8:65", volume, "exfat", "/dev/sde1");
    CUSharedPtr<CUDriveInfo> d = drive(volume + "/");
    ASSERT_TRUE(d);
    EXPECT_EQ(volume + "/", text(d->GetName()));
    EXPECT_TRUE(d->IsReady());
}

TEST_F(CUDriveInfoFake, MediaFolderWithoutAUserIsNotAMediaRoot) {
    // "/media" itself is no media root: the walk continues to an existing ancestor.
    CUSharedPtr<CUDriveInfo> d = drive("/media/varn-absent-volume");
    ASSERT_TRUE(d);
    EXPECT_EQ("/", text(d->GetName()));
    EXPECT_NE(CUDriveType_Unknown, d->GetDriveType());
}

TEST(CUDriveInfo, RootOfTheRunningSystemIsTheSystemDriveWithSizes) {
    CUStringMac root("/", CUString_CharCode_UTF8);
    CUDriveInfo d(root);
    EXPECT_EQ("/", text(d.GetName()));
    EXPECT_TRUE(d.IsSysytemDrive());
    EXPECT_TRUE(d.IsReady());
    EXPECT_GT(d.GetTotalSize(), 0u);
    EXPECT_GT(d.GetTotalFreeSize(), 0u);
    EXPECT_LE(d.GetTotalFreeSize(), d.GetTotalSize());
    int type = d.GetDriveType();
    EXPECT_TRUE(type == 0 || type == 1 || type == 2 || type == 4 || type == 5) << type;
    EXPECT_TRUE(d.GetVolumeLabel());
}

TEST(CUDriveInfo, PathInsideTheRootVolumeNamesTheMountHoldingIt) {
    // /etc lives on the root file system on every ordinary installation.
    CUStringMac etc("/etc/hostname-varn-missing/x/y", CUString_CharCode_UTF8);
    CUDriveInfo d(etc);
    EXPECT_EQ("/", text(d.GetName()));
    EXPECT_TRUE(d.IsSysytemDrive());

    std::filesystem::path temp = std::filesystem::temp_directory_path();
    CUStringMac tempPath(temp.c_str(), CUString_CharCode_UTF8);
    CUDriveInfo t(tempPath);
    std::string name = text(t.GetName());
    std::string real = std::filesystem::canonical(temp).string();
    bool holds = name == "/" || real == name || real.rfind(name + "/", 0) == 0;
    EXPECT_TRUE(holds) << name << " does not hold " << real;
    EXPECT_TRUE(t.IsReady());
}

TEST(CUDriveInfo, NullPathThrowsTwo) {
    try {
        CUDriveInfo d{CUSharedPtr<CUStringMac>()};
        FAIL() << "no exception";
    } catch (unsigned int code) {
        EXPECT_EQ(2u, code);
    }
    CUStringMac root("/", CUString_CharCode_UTF8);
    CUDriveInfo d(root);
    try {
        d.Init(nullptr);
        FAIL() << "no exception";
    } catch (unsigned int code) {
        EXPECT_EQ(2u, code);
    }
    EXPECT_EQ("/", text(d.GetName())); // a failed Init leaves the object as it was
}

TEST(CUDriveInfo, UnresolvablePathsThrowOneAndTheFactoryGivesAnEmptyPointer) {
    EXPECT_EQ(1u, codeOf("varn-missing-bare-name"));
    EXPECT_EQ(1u, codeOf("varn-missing-relative/a/b"));
    EXPECT_EQ(1u, codeOf(""));
    CUStringMac missing("varn-missing-bare-name", CUString_CharCode_UTF8);
    EXPECT_FALSE(CUDriveInfo::CreateCUDriveInfo(missing));
    EXPECT_FALSE(CUDriveInfo::CreateCUDriveInfo(CUSharedPtr<CUStringMac>()));
    CUStringMac invalid("\xC3\x28", CUString_CharCode_UTF8); // null text
    EXPECT_FALSE(CUDriveInfo::CreateCUDriveInfo(invalid));
    CUSharedPtr<CUDriveInfo> ok = CUDriveInfo::CreateCUDriveInfo(
        CUSharedPtr<CUStringMac>(new CUStringMac("/", CUString_CharCode_UTF8)));
    ASSERT_TRUE(ok);
    EXPECT_EQ(1, ok->GetRetainCount());
}

TEST(CUDriveInfo, DescriptionIsTypeAddressEqualsAndName) {
    CUStringMac root("/", CUString_CharCode_UTF8);
    CUDriveInfo d(root);
    char address[64];
    std::snprintf(address, sizeof address, "%p", static_cast<void*>(&d));
    EXPECT_EQ("11CUDriveInfo(0x" + std::string(address) + ") = /", text(d.Description()));
    EXPECT_TRUE(std::regex_match(text(d.Description()),
                                 std::regex(R"(11CUDriveInfo\(0x0x[0-9a-f]+\) = /)")));
}

TEST(CUDriveInfo, NameIsACopyAndTypeNumberingKeepsTheGap) {
    static_assert(CUDriveType_Optical == 0 && CUDriveType_Fixed == 1 && CUDriveType_NoDevice == 2 &&
                  CUDriveType_Ram == 4 && CUDriveType_Removable == 5 && CUDriveType_Unknown == 6);
    CUStringMac root("/", CUString_CharCode_UTF8);
    CUDriveInfo d(root);
    CUSharedPtr<CUStringMac> a = d.GetName();
    CUSharedPtr<CUStringMac> b = d.GetName();
    EXPECT_NE(a.get(), b.get());
    EXPECT_EQ(1, a->GetRetainCount());
}
