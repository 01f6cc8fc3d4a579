// FakeMachine.h — a fake machine with one volume of every kind: each member names the real
// mount point of one volume, and tree.Kernel() describes the devices behind them as sysfs, udev
// and the mount table would.
#pragma once

#include "fakes/FakeSystemTree.h"

#include <string>

namespace fakes {

struct FakeMachine {
    FakeSystemTree tree;
    std::string optical;   // sr0, iso9660, label "My Disc" (by-label, escaped blank)
    std::string ramDisk;   // ram0 (brd)
    std::string zram;      // zram0 formatted ext4
    std::string tmpfs;     // tmpfs
    std::string usb;       // sdb1 on a USB stick, mount point with a blank, label "USB Stick"
    std::string nvme;      // nvme0n1p2, label from udev "data & more\x"
    std::string mapper;    // /dev/mapper/vg-root = dm-0 over nvme0n1p3
    std::string mapperUsb; // /dev/mapper/secret = dm-1 over sdc1 (USB, removable media)
    std::string raid;      // md0 over sda1 and sdd1 (fixed SATA disks)
    std::string loop;      // loop0 backed by an image file
    std::string nfs;       // nfs4 from a server
    std::string overlay;   // overlay
    std::string sdCard;    // mmcblk0p1 on an SD host
    std::string orphan;    // /dev/vdz1 that sysfs does not know

    FakeMachine() {
        FakeSystemTree& t = tree;

        optical = t.Folder("mnt/cdrom");
        std::string scsiCd = "pci0000:00/0000:00:1f.2/ata2/host1/target1:0:0/1:0:0:0";
        t.File("/sys/devices/" + scsiCd + "/type", "5\n");
        t.Block(scsiCd + "/block/sr0", "11:0", false, "1");
        t.Link("/sys/devices/" + scsiCd + "/block/sr0/device", "../..");
        t.Link("/dev/disk/by-label/My\\x20Disc", "../../sr0");
        t.Mount("11:0", optical, "iso9660", "/dev/sr0");

        ramDisk = t.Folder("ram");
        t.Block("virtual/block/ram0", "1:0");
        t.Mount("1:0", ramDisk, "ext2", "/dev/ram0");

        zram = t.Folder("zram");
        t.Block("virtual/block/zram0", "252:0");
        t.Mount("252:0", zram, "ext4", "/dev/zram0");

        tmpfs = t.Folder("run/user/1000");
        t.Mount("0:45", tmpfs, "tmpfs", "tmpfs");

        usb = t.Folder("media/alice/USB Stick");
        std::string usbPort = "pci0000:00/0000:00:14.0/usb2/2-1";
        std::string usbDisk = usbPort + "/2-1:1.0/host6/target6:0:0/6:0:0:0/block/sdb";
        t.File("/sys/devices/" + usbPort + "/removable", "removable\n");
        t.Block(usbDisk, "8:16");
        t.Block(usbDisk + "/sdb1", "8:17", true);
        t.Link("/dev/disk/by-label/USB\\x20Stick", "../../sdb1");
        t.Link("/dev/disk/by-label/OTHER", "../../sdz9");
        t.Mount("8:17", usb, "vfat", "/dev/sdb1");

        nvme = t.Folder("data");
        std::string nvmePci = "pci0000:00/0000:00:1d.0/0000:3d:00.0";
        std::string nvmeDisk = nvmePci + "/nvme/nvme0/nvme0n1";
        t.File("/sys/devices/" + nvmePci + "/removable", "fixed\n");
        t.Block(nvmeDisk, "259:0");
        t.Block(nvmeDisk + "/nvme0n1p2", "259:2", true);
        t.Block(nvmeDisk + "/nvme0n1p3", "259:3", true);
        t.File("/run/udev/data/b259:2",
               "S:disk/by-uuid/1234\nE:ID_FS_LABEL=data___more\\x\n"
               "E:ID_FS_LABEL_ENC=data\\x20\\x26\\x20more\\x\nE:ID_FS_TYPE=ext4\n");
        t.Mount("259:2", nvme, "ext4", "/dev/nvme0n1p2");

        mapper = t.Folder("srv");
        t.Block("virtual/block/dm-0", "253:0");
        t.File("/sys/devices/virtual/block/dm-0/slaves/nvme0n1p3", "");
        t.Link("/dev/mapper/vg-root", "../dm-0");
        t.Mount("253:0", mapper, "xfs", "/dev/mapper/vg-root");

        mapperUsb = t.Folder("secret");
        std::string stickDisk =
            "pci0000:00/0000:00:14.0/usb3/3-2/3-2:1.0/host7/target7:0:0/7:0:0:0/block/sdc";
        t.Block(stickDisk, "8:32", false, "1");
        t.Block(stickDisk + "/sdc1", "8:33", true);
        t.Block("virtual/block/dm-1", "253:1");
        t.File("/sys/devices/virtual/block/dm-1/slaves/sdc1", "");
        t.Link("/dev/mapper/secret", "/dev/dm-1"); // absolute: must stay inside the root
        t.Mount("253:1", mapperUsb, "ext4", "/dev/mapper/secret");

        raid = t.Folder("raid");
        std::string sata = "pci0000:00/0000:00:17.0/ata3/host2/target2:0:0/2:0:0:0/block/";
        t.Block(sata + "sda", "8:0");
        t.Block(sata + "sda/sda1", "8:1", true);
        t.Block("virtual/block/md0", "9:0");
        t.File("/sys/devices/virtual/block/md0/slaves/sdd1", "");
        t.File("/sys/devices/virtual/block/md0/slaves/sda1", "");
        std::string sata2 = "pci0000:00/0000:00:17.0/ata4/host3/target3:0:0/3:0:0:0/block/";
        t.Block(sata2 + "sdd", "8:48");
        t.Block(sata2 + "sdd/sdd1", "8:49", true);
        t.Mount("9:0", raid, "ext4", "/dev/md0");

        loop = t.Folder("image");
        t.Block("virtual/block/loop0", "7:0");
        t.File("/sys/devices/virtual/block/loop0/loop/backing_file", "/home/alice/disk.img\n");
        t.Mount("7:0", loop, "squashfs", "/dev/loop0");

        nfs = t.Folder("net/home");
        t.Mount("0:60", nfs, "nfs4", "server:/export/home dir");

        overlay = t.Folder("merged");
        t.Mount("0:61", overlay, "overlay", "overlay");

        sdCard = t.Folder("sd");
        std::string sdHost = "platform/fe340000.mmc/mmc_host/mmc0/mmc0:aaaa";
        t.File("/sys/devices/" + sdHost + "/type", "SD\n");
        t.Block(sdHost + "/block/mmcblk0", "179:0");
        t.Link("/sys/devices/" + sdHost + "/block/mmcblk0/device", "../..");
        t.Block(sdHost + "/block/mmcblk0/mmcblk0p1", "179:1", true);
        t.Mount("179:1", sdCard, "vfat", "/dev/mmcblk0p1");

        orphan = t.Folder("orphan");
        t.Mount("0:70", orphan, "btrfs", "/dev/vdz1");
    }
};

} // namespace fakes
