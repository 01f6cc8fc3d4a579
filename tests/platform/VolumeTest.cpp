// The volume service: mount tables, path rules, classification, a fake machine, this one.
#include "platform/Volume.h"

#include "fakes/FakeMachine.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

using namespace varn::platform;

namespace {

MountEntry mountAt(std::string point, unsigned major, unsigned minor, std::string type = "",
                   std::string source = "") {
    return {0, 0, major, minor, "", std::move(point), "", std::move(type), std::move(source), ""};
}

// A device walk in one line: name, chain, disk, type, then m (media removable), d (device
// removable), u (on USB), l (loop, with its backing file), or "-" for each flag not set.
std::string Walk(std::optional<BlockDeviceFacts> const& f) {
    if (!f) {
        return "none";
    }
    std::string out = f->name + (f->inSysfs ? ":" : " (not in sysfs):");
    for (std::string const& device : f->chain) {
        out += " " + device;
    }
    return out + " disk=" + f->disk + " type=" + f->deviceType + " " +
           (f->mediaRemovable ? "m" : "-") + (f->deviceRemovable ? "d" : "-") +
           (f->onUsb ? "u" : "-") + (f->loop ? "l " + f->loopBackingFile : "-");
}

} // namespace

TEST(Volume, EscapesDecodeOctalTriplesInMountInfoAndHexPairsFromUdevOnly) {
    // clang-format off
    struct Row {
        char const* in;
        std::string out;
    } const octal[] = {
        {"/media/a/My\\040Disk", "/media/a/My Disk"}, {"/back\\134slash", "/back\\slash"},
        {"/caf\\303\\251", "/caf\xC3\xA9"}, {"/short\\04", "/short\\04"}, // too few digits: kept
        {"/notoctal\\089", "/notoctal\\089"}, {"/end\\", "/end\\"}, {"\\040\\040", "  "},
    }, hex[] = {
        {"data\\x20\\x26\\x20more", "data & more"}, {"caf\\xc3\\xA9", "caf\xC3\xA9"},
        {"odd\\x2", "odd\\x2"}, {"odd\\xzz", "odd\\xzz"}, {"trail\\", "trail\\"},
    };
    // clang-format on
    for (Row const& row : octal) {
        EXPECT_EQ(row.out, DecodeMountInfoEscapes(row.in)) << row.in;
    }
    for (Row const& row : hex) {
        EXPECT_EQ(row.out, DecodeUdevEscapes(row.in)) << row.in;
    }
}

TEST(Volume, MountInfoLinesOfOddFileSystemsAreParsedAndMalformedOnesRejected) {
    // Each line's fields as "id parent major:minor root point options type source superOptions".
    struct {
        char const* line;
        char const* fields;
    } const rows[] = {
        // clang-format off
        {"36 35 98:0 /mnt1 /mnt/my\\040disk rw,noatime master:1 shared:7 - ext3 /dev/root rw,errors=continue",
         "36 35 98:0 /mnt1 /mnt/my disk rw,noatime ext3 /dev/root rw,errors=continue"},
        {"50 26 0:60 / /net/home rw - nfs4 server:/export\\040share rw,vers=4.2",
         "50 26 0:60 / /net/home rw nfs4 server:/export share rw,vers=4.2"},
        {"53 26 0:33 /@home /home rw - btrfs /dev/nvme0n1p2 rw,subvol=/@home",
         "53 26 0:33 /@home /home rw btrfs /dev/nvme0n1p2 rw,subvol=/@home"},
        // clang-format on
    };
    for (auto const& row : rows) {
        std::optional<MountEntry> e = ParseMountInfoLine(row.line);
        ASSERT_TRUE(e) << row.line;
        EXPECT_EQ(row.fields, std::to_string(e->mountId) + " " + std::to_string(e->parentId) + " " +
                                  std::to_string(e->major) + ":" + std::to_string(e->minor) + " " +
                                  e->root + " " + e->mountPoint + " " + e->options + " " +
                                  e->fsType + " " + e->source + " " + e->superOptions);
    }
    char const* bad[] = {
        "",
        "26 1 254:0 / / rw,relatime ext4 /dev/vda rw", // no separator
        "26 1 254:0 / / rw - ext4",                    // no source
        "x 1 254:0 / / rw - ext4 /dev/vda rw",         // id not a number
        "26 1 2540 / / rw - ext4 /dev/vda rw",         // no colon in the numbers
        "26 1 a:0 / / rw - ext4 /dev/vda rw",
        "26 1 254:0 / / - ext4 /dev/vda rw", // separator inside the fixed fields
    };
    for (char const* line : bad) {
        EXPECT_FALSE(ParseMountInfoLine(line)) << line;
    }
    std::vector<MountEntry> all = ParseMountInfo("garbage\n26 1 254:0 / / rw - ext4 /dev/vda rw\n\n"
                                                 "27 26 0:5 / /proc rw - proc proc rw");
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ("/", all[0].mountPoint);
    EXPECT_EQ("/proc", all[1].mountPoint);
}

TEST(Volume, LongestMountPointWinsAndDeviceBreaksTiesOfStackedMounts) {
    std::vector<MountEntry> entries = {mountAt("/", 8, 1), mountAt("/home", 8, 2),
                                       mountAt("/home/u/usb", 8, 17), mountAt("/homer", 8, 3)};
    EXPECT_EQ(0u, FindMountFor(entries, "/etc/passwd", 8, 1));
    EXPECT_EQ(1u, FindMountFor(entries, "/home/u/file", 8, 2));
    EXPECT_EQ(2u, FindMountFor(entries, "/home/u/usb/f", 8, 17));
    EXPECT_EQ(3u, FindMountFor(entries, "/homer", 8, 3));
    // A device that matches no entry does not move the answer away from the longest prefix.
    EXPECT_EQ(1u, FindMountFor(entries, "/home/u/file", 0, 99));

    std::vector<MountEntry> stacked = {mountAt("/", 8, 1), mountAt("/mnt/x", 8, 17),
                                       mountAt("/mnt/x", 0, 40)};
    EXPECT_EQ(2u, FindMountFor(stacked, "/mnt/x/f", 0, 40));
    EXPECT_EQ(1u, FindMountFor(stacked, "/mnt/x/f", 8, 17));
    EXPECT_EQ(2u, FindMountFor(stacked, "/mnt/x/f", 0, 99)); // none matches: the last mount
    EXPECT_FALSE(FindMountFor({mountAt("/a", 1, 1)}, "/b", 1, 1));

    // Where "/" is not listed (a chroot), a path on the root's device lies on the root, which
    // takes what a listed mount of that device says of it.
    std::vector<MountEntry> chroot = {mountAt("/proc", 0, 20), mountAt("/srv", 8, 1, "ext4")};
    std::optional<MountEntry> root = MountOrRootFor(chroot, "/etc/passwd", 8, 1, 8, 1);
    ASSERT_TRUE(root);
    EXPECT_EQ("/", root->mountPoint);
    EXPECT_EQ("ext4", root->fsType);
    EXPECT_EQ("/proc", MountOrRootFor(chroot, "/proc/1", 0, 20, 8, 1)->mountPoint);
    EXPECT_FALSE(MountOrRootFor(chroot, "/elsewhere", 8, 3, 8, 1));
    fakes::FakeSystemTree tree; // a table without "/": the root is still a mount point
    std::ofstream(tree.Kernel() + "/proc/self/mountinfo")
        << "22 1 0:20 / /proc rw - proc proc rw\n";
    EXPECT_TRUE(VolumeService(tree.Kernel()).IsMountPoint("/"));
}

TEST(Volume, MountPointsHoldWholeComponentsAndMediaRootsAreVolumesMntAndPerUserFolders) {
    EXPECT_TRUE(MountPointHolds("/", "/anything/at/all"));
    EXPECT_TRUE(MountPointHolds("/a", "/a") && MountPointHolds("/a", "/a/b"));
    EXPECT_FALSE(MountPointHolds("/a", "/ab") || MountPointHolds("/a/b", "/a"));
    EXPECT_FALSE(MountPointHolds("/", "relative"));
    EXPECT_EQ("/", LastComponentText("/"));
    EXPECT_EQ("b", LastComponentText("/a/b/"));
    for (char const* root : {"/Volumes", "/mnt", "/media/alice", "/run/media/bob"}) {
        EXPECT_TRUE(IsMediaRootFolder(root)) << root;
    }
    for (char const* other :
         {"/media", "/run/media", "/media/", "/media/alice/x", "/run/media/bob/x", "/Volumes/x",
          "/mnt/x", "/volumes", "/", "media/alice", "/run/media/"}) {
        EXPECT_FALSE(IsMediaRootFolder(other)) << other;
    }
}

TEST(Volume, ClassificationKeepsMemoryThenOpticalThenRamThenRemovableOrder) {
    // Facts: u on USB, m removable media, d removable device, c udev CD-ROM, l loop with a file,
    // x not in sysfs. Without a disk the volume has no device.
    struct {
        char const* fsType;
        char const* disk;
        char const* type;
        char const* flags;
        char const* kind;
    } const rows[] = {
        // clang-format off
        {"ext4", "sr1", "", "um", "optical"}, {"ext4", "sdx", "5", "", "optical"},
        {"ext4", "vdb", "", "c", "optical"}, {"ext4", "ram0", "", "m", "RAM"},
        {"ext4", "zram3", "", "", "RAM"}, {"ext4", "sdb", "", "m", "removable"},
        {"ext4", "sdb", "", "d", "removable"}, {"ext4", "sdb", "", "u", "removable"},
        {"ext4", "mmcblk0", "SD", "", "removable"}, {"ext4", "mmcblk1", "MMC", "", "fixed"},
        {"ext4", "loop0", "", "l", "removable"}, {"ext4", "loop1", "", "", "fixed"},
        {"ext4", "nvme0n1", "", "", "fixed"}, {"iso9660", "sr0", "", "x", "fixed"},
        {"tmpfs", "sr0", "", "", "RAM"}, {"ramfs", "", "", "", "RAM"},
        {"devtmpfs", "", "", "", "RAM"}, {"nfs4", "", "", "", "no device"},
        {"fuse.sshfs", "", "", "", "no device"}, {"proc", "", "", "", "no device"},
        // clang-format on
    };
    for (auto const& row : rows) {
        BlockDeviceFacts f;
        f.disk = row.disk;
        f.deviceType = row.type;
        std::string const flags = row.flags;
        f.inSysfs = flags.find('x') == std::string::npos;
        f.onUsb = flags.find('u') != std::string::npos;
        f.mediaRemovable = flags.find('m') != std::string::npos;
        f.deviceRemovable = flags.find('d') != std::string::npos;
        f.udevCdrom = flags.find('c') != std::string::npos;
        f.loop = flags.find('l') != std::string::npos;
        EXPECT_STREQ(row.kind, DriveKindName(ClassifyVolume(row.fsType, *row.disk ? &f : nullptr)))
            << row.fsType << " " << row.disk << " " << row.flags;
    }
}

// One fake machine serves the whole suite: building it costs a few hundred file operations.
class VolumeFakeTree : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { shared = new fakes::FakeMachine; }
    static void TearDownTestSuite() {
        delete shared;
        shared = nullptr;
    }

    static inline fakes::FakeMachine* shared = nullptr;
    fakes::FakeMachine& machine = *shared;
    VolumeService service{machine.tree.Kernel()};

    MountEntry mountOf(std::string const& path) {
        std::optional<MountEntry> m = service.MountFor(path);
        EXPECT_TRUE(m) << path;
        return m ? *m : MountEntry{};
    }
};

TEST_F(VolumeFakeTree, DevicesAreWalkedFromPartitionToWholeDiskOrFoundByNumbersOrSource) {
    struct Row {
        std::string mount;
        char const* walk;
    } const rows[] = {
        {machine.usb, "sdb1: sdb1 sdb disk=sdb type= -du-"},
        {machine.mapper, "dm-0: dm-0 nvme0n1p3 nvme0n1 disk=nvme0n1 type= ----"},
        {machine.mapperUsb, "dm-1: dm-1 sdc1 sdc disk=sdc type= m-u-"},
        // md0 lists sdd1 and sda1; the first by name decides.
        {machine.raid, "md0: md0 sda1 sda disk=sda type= ----"},
        {machine.loop, "loop0: loop0 disk=loop0 type= ---l /home/alice/disk.img"},
        {machine.optical, "sr0: sr0 disk=sr0 type=5 m---"},
        {machine.nfs, "none"},
        {machine.tmpfs, "none"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.walk, Walk(service.DeviceOf(mountOf(row.mount)))) << row.mount;
    }
    std::optional<BlockDeviceFacts> orphan = service.DeviceOf(mountOf(machine.orphan));
    ASSERT_TRUE(orphan);
    EXPECT_FALSE(orphan->inSysfs);
    EXPECT_EQ("vdz1", orphan->name);
    // btrfs reports 0:NN, and its source names the partition; "/dev/root" names no node, and
    // the numbers find the device.
    EXPECT_EQ("nvme0n1",
              service.DeviceOf(mountAt("/home", 0, 0, "btrfs", "/dev/nvme0n1p3")).value().disk);
    EXPECT_EQ("nvme0n1p2",
              service.DeviceOf(mountAt("/", 259, 2, "ext4", "/dev/root")).value().name);
}

TEST_F(VolumeFakeTree, MountPointWithABlankAndPathsBelowItResolveAndNoTableGivesNoVolumes) {
    std::string inside = machine.tree.Folder("media/alice/USB Stick/photos/2024");
    MountEntry m = mountOf(inside);
    EXPECT_EQ(machine.usb, m.mountPoint);
    EXPECT_EQ("vfat", m.fsType);
    EXPECT_TRUE(service.IsMountPoint(machine.usb));
    EXPECT_TRUE(service.IsMountPoint(machine.usb + "/"));
    EXPECT_FALSE(service.IsMountPoint(inside));
    EXPECT_TRUE(service.IsMountPoint("/"));
    VolumeService empty(machine.tree.Kernel() + "/nothing-here");
    EXPECT_TRUE(empty.MountedVolumes().empty());
    EXPECT_FALSE(empty.MountFor(machine.usb));
    EXPECT_FALSE(empty.IsMountPoint("/"));
    EXPECT_EQ(15u, service.MountedVolumes().size());
}

TEST_F(VolumeFakeTree, LabelsComeFromByLabelThenUdevThenTheMountPointName) {
    EXPECT_EQ("My Disc", service.LabelOf(mountOf(machine.optical)));
    EXPECT_EQ("USB Stick", service.LabelOf(mountOf(machine.usb)));
    // The udev database's encoded label wins over its "safe" form.
    EXPECT_EQ("data & more\\x", service.LabelOf(mountOf(machine.nvme)));
    EXPECT_EQ("home", service.LabelOf(mountOf(machine.nfs)));
    EXPECT_EQ("1000", service.LabelOf(mountOf(machine.tmpfs)));
    EXPECT_EQ("zram", service.LabelOf(mountOf(machine.zram)));
}

TEST(Volume, RunningSystemHasARootMountWithSizes) {
    VolumeService real;
    std::optional<MountEntry> root = real.MountFor("/");
    ASSERT_TRUE(root);
    EXPECT_EQ("/", root->mountPoint);
    VolumeSizes sizes = VolumeService::SizesOf("/");
    ASSERT_TRUE(sizes.ok);
    EXPECT_GT(sizes.total, 0u);
    EXPECT_LE(sizes.free, sizes.total);
    EXPECT_FALSE(VolumeService::SizesOf("/no/such/varn/path").ok);
}
