// Volume.h — mounted volumes on Linux: which mount holds a path, the mounted list, sizes,
// labels, and the block device behind a volume with its coarse kind.
//
// Everything the service learns from the kernel it reads as text under a root folder:
// <root>/proc/self/mountinfo, <root>/sys/class/block, <root>/sys/dev/block, <root>/dev
// (including /dev/disk/by-label) and the udev database <root>/run/udev/data. The root is
// empty for the running system; tests point it at a fake tree built in a temporary folder.
// Paths handed in by callers (the path whose volume is wanted) are real paths and are
// resolved with the real file system; only the kernel's tables come from the root.
//
// Parsing and classification are pure functions over text and small records, so they can be
// tested with tables of inputs. No function here throws for routine failures: missing files,
// unreadable tables and unknown devices come back as empty optionals, false or zeros.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varn::platform {

// ---- mount table text ----

/// One line of /proc/self/mountinfo, with the escapes of root, mount point and source decoded.
struct MountEntry {
    int mountId = 0;
    int parentId = 0;
    unsigned major = 0; ///< st_dev of files on the mount (0 for virtual file systems)
    unsigned minor = 0;
    std::string root;       ///< folder of the file system seen at the mount point
    std::string mountPoint; ///< absolute, canonical
    std::string options;    ///< per-mount options
    std::string fsType;
    std::string source; ///< "/dev/sda1", "server:/export", "tmpfs", ...
    std::string superOptions;
};

/// Decodes the kernel's octal escapes (\040 blank, \011 tab, \012 line feed, \134 backslash,
/// any \NNN); a backslash not followed by three octal digits stays as it is.
std::string DecodeMountInfoEscapes(std::string_view field);

/// Decodes udev's \xHH escapes (as in /dev/disk/by-label names and ID_FS_LABEL_ENC); other
/// backslashes stay as they are.
std::string DecodeUdevEscapes(std::string_view text);

/// Parses one mountinfo line (no line end). Empty for a line that lacks a field, the "-"
/// separator, or a number where one is required.
std::optional<MountEntry> ParseMountInfoLine(std::string_view line);

/// Every well-formed line of a mountinfo text, in order (malformed lines are skipped).
std::vector<MountEntry> ParseMountInfo(std::string_view text);

/// True when `mountPoint` is `path` or a leading run of its components ("/a" holds "/a/b"
/// but not "/ab"; "/" holds every absolute path).
bool MountPointHolds(std::string_view mountPoint, std::string_view path);

/// Index of the entry whose mount point is the longest one holding the canonical `path`.
/// Where several entries share that mount point (stacked mounts), the last one whose device
/// numbers equal `major:minor` wins, else the last one (the visible mount). Empty when no
/// entry holds the path.
std::optional<std::size_t> FindMountFor(std::vector<MountEntry> const& entries,
                                        std::string_view path, unsigned major, unsigned minor);

/// The mount that holds `path` (its device `major`:`minor`), as FindMountFor finds it. Where no
/// listed mount holds the path but it lies on the device of the process's root (`rootMajor`:
/// `rootMinor`), as in a chroot or a container whose "/" is not a mount point of its own, the
/// root itself: mount point "/", with the type, source and options of a listed mount of the
/// same device when there is one. Otherwise, and always for an empty table, none.
std::optional<MountEntry> MountOrRootFor(std::vector<MountEntry> const& entries,
                                         std::string_view path, unsigned major, unsigned minor,
                                         unsigned rootMajor, unsigned rootMinor);

// ---- path text ----

/// The last component of a path, trailing separators ignored; "/" for the root.
std::string LastComponentText(std::string_view path);

/// True for the folders under which removable volumes get their mount points, so that a
/// missing path right below one names a volume that is not mounted: "/Volumes", "/mnt",
/// "/media/USER" and "/run/media/USER" (USER one non-empty component).
bool IsMediaRootFolder(std::string_view folder);

// ---- devices and classification ----

/// Coarse kind of a volume. The values are those of the public drive type.
enum class DriveKind : int {
    Optical = 0,
    Fixed = 1,
    NoDevice = 2,
    Ram = 4,
    Removable = 5,
    Unknown = 6,
};

/// What sysfs and udev say about the block device behind a volume, after walking from the
/// mounted device (a partition, dm-N, mdN, loopN...) down to the whole disk that holds it.
struct BlockDeviceFacts {
    std::string name;               ///< the mounted device's kernel name ("sdb1", "dm-0")
    std::vector<std::string> chain; ///< the walk, mounted device first ("dm-0", "nvme0n1p3",
                                    ///< "nvme0n1")
    bool inSysfs = false;           ///< false: a /dev name without a sysfs entry
    std::string disk;               ///< the whole disk reached by the walk
    std::string sysfsPath;          ///< the disk's folder under /sys/devices (root-relative)
    std::string deviceType;         ///< <disk>/device/type: "5" for SCSI ROM, "SD", "MMC"...
    bool mediaRemovable = false;    ///< <disk>/removable is 1 (removable media)
    bool deviceRemovable = false;   ///< an ancestor device's removable attribute is "removable"
    bool onUsb = false;             ///< the sysfs path runs through a USB controller, or udev
                                    ///< says ID_BUS=usb
    bool udevCdrom = false;         ///< udev says ID_CDROM=1
    bool loop = false;              ///< a loop device with a backing file (an attached image)
    std::string loopBackingFile;
};

/// Kind of a block device: optical first (sr*, SCSI type 5, udev CD-ROM), then RAM (ram*,
/// zram*), then removable (removable media, a removable or USB ancestor, an SD card, an
/// attached image), else fixed. A device with no sysfs entry is fixed.
DriveKind ClassifyBlockDevice(BlockDeviceFacts const& facts);

/// Kind of a volume: tmpfs, ramfs and devtmpfs are RAM; no block device is NoDevice; else the
/// device's kind.
DriveKind ClassifyVolume(std::string_view fsType, BlockDeviceFacts const* device);

/// Display name of a kind ("optical", "fixed", "no device", "RAM", "removable", "unknown").
char const* DriveKindName(DriveKind kind);

// ---- the service ----

/// Total and free bytes of a file system; `ok` false when the system could not tell.
struct VolumeSizes {
    bool ok = false;
    std::uint64_t total = 0;
    std::uint64_t free = 0; ///< available to unprivileged users (df's "Avail")
};

class VolumeService {
  public:
    /// A service reading the kernel's tables under `root` ("" for the running system).
    explicit VolumeService(std::string root = {});

    std::string const& Root() const noexcept { return m_root; }

    /// The mounted volumes, in mount-table order; empty when the table cannot be read.
    std::vector<MountEntry> MountedVolumes() const;

    /// The mount that holds an existing path (symbolic links followed); empty when the path
    /// does not exist or no mount holds it.
    std::optional<MountEntry> MountFor(std::string const& path) const;

    /// True when `path` (trailing separators ignored) is the mount point of a mounted volume.
    bool IsMountPoint(std::string_view path) const;

    /// The block device behind a mount and the walk to its whole disk; empty for a mount
    /// without one (network, overlay, tmpfs, proc...).
    std::optional<BlockDeviceFacts> DeviceOf(MountEntry const& mount) const;

    /// The facts of a block device given by kernel name ("sdb1"), walked to its whole disk.
    BlockDeviceFacts DescribeDevice(std::string const& name) const;

    /// ClassifyVolume of the mount's file-system type and device.
    DriveKind Classify(MountEntry const& mount) const;

    /// The file-system label of the mount's device (from /dev/disk/by-label, else the udev
    /// database), else the last component of the mount point ("/" for the root).
    std::string LabelOf(MountEntry const& mount) const;

    /// Sizes of the file system holding `path` (statvfs on the real path).
    static VolumeSizes SizesOf(std::string const& path);

    /// True when `path` names an existing object (symbolic links followed).
    static bool PathExists(std::string const& path);

  private:
    std::string Resolve(std::string_view path) const;
    BlockDeviceFacts Walk(std::string const& name, int depth) const;
    std::optional<std::string> Read(std::string const& path) const;
    bool Exists(std::string const& path) const;
    std::vector<std::string> List(std::string const& folder) const;
    std::string UdevProperty(std::string const& devNumbers, std::string_view key) const;

    std::string m_root;
};

/// The service the library's classes use: the running system, or the tree a test chose.
VolumeService CurrentVolumeService();

/// Points CurrentVolumeService at a fake tree; "" restores the running system.
void SetVolumeRootForTesting(std::string root);

} // namespace varn::platform
