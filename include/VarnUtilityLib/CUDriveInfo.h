// CUDriveInfo.h — the mounted volume on which a path lies.
//
// A CUDriveInfo is made from any path. The path is resolved to the root of the volume that
// holds it (its mount point); a missing path is resolved through its nearest existing
// ancestor, except that a missing path right below a media root ("/Volumes", "/mnt",
// "/media/USER", "/run/media/USER") names the mount point of a volume that is not mounted.
// The object then reports that root, its label, sizes, whether it is mounted, whether it is
// the system volume and a coarse drive type.
//
// Ownership: count 0 at construction; CreateCUDriveInfo returns count 1.
// Threads: no lock; every query reads the system afresh.
// Errors: the constructors and Init throw 2 (CUError_InvalidArgument) for a null path and 1
// (CUError_NotReady) when the path cannot be resolved to a volume. Queries never throw: they
// report failure as 0, false or an empty pointer.
#pragma once

#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUSharedPtr.h>
#include <VarnUtilityLib/CUStringMac.h>

/// Drive types reported by CUDriveInfo::GetDriveType. The value 3 is never produced; the gap
/// is part of the numbering.
enum _CUDriveType : int {
    CUDriveType_Optical = 0,   ///< optical media (CD, DVD, BD)
    CUDriveType_Fixed = 1,     ///< a block device that none of the other rules matches
    CUDriveType_NoDevice = 2,  ///< no block device: network, overlay, FUSE, virtual volumes
    CUDriveType_Ram = 4,       ///< RAM disks (ram*, zram*) and memory file systems (tmpfs)
    CUDriveType_Removable = 5, ///< removable or ejectable media: USB, SD cards, disk images
    CUDriveType_Unknown = 6,   ///< not classified: a media-root path with nothing mounted
};

/// The mounted volume on which a path lies.
class CU_EXPORT CUDriveInfo : public CUObject {
  public:
    /// Resolves `path` with Init. Throws 2 for a null pointer, 1 when unresolvable.
    explicit CUDriveInfo(CUStringMac& path);
    /// \overload
    explicit CUDriveInfo(CUSharedPtr<CUStringMac> path);

    ~CUDriveInfo() override;

    /// A new CUDriveInfo for `path`, or an empty pointer when construction throws.
    static CUSharedPtr<CUDriveInfo> CreateCUDriveInfo(CUStringMac& path);
    /// \overload
    static CUSharedPtr<CUDriveInfo> CreateCUDriveInfo(CUSharedPtr<CUStringMac> path);

    /// Resolves `path` to its volume root and classifies the volume; returns true. A missing
    /// path is resolved through its parent (recursively); a missing path whose parent is a
    /// media root becomes the name itself and keeps the current type. Throws 2 for a null
    /// pointer, 1 when no ancestor exists or the volume cannot be found.
    bool Init(CUStringMac* path);

    /// "%s(0x%p) = " with the run-time type name and this object's address, then the name.
    CUSharedPtr<CUStringMac> Description() override;

    /// A new copy of the name: the volume's root path.
    CUSharedPtr<CUStringMac> GetName();

    /// The volume's label (its file-system label, else the last component of its root, "/"
    /// for the root volume); an empty pointer when the name does not lead to a volume.
    CUSharedPtr<CUStringMac> GetVolumeLabel();

    /// GetVolumeLabel().
    virtual CUSharedPtr<CUStringMac> GetDisplayString();

    /// Whether the name is the mount point of a mounted volume.
    bool IsReady();

    /// The volume's total bytes; 0 on failure.
    unsigned long long GetTotalSize();

    /// The bytes of the volume available to unprivileged users; 0 on failure.
    unsigned long long GetTotalFreeSize();

    /// One of the _CUDriveType values; 6 until Init classifies a volume.
    int GetDriveType();

    /// Whether the name equals "/". The spelling "Sysytem" is part of the interface.
    bool IsSysytemDrive();

  private:
    CUStringMac m_drivePath;
    CUStringMac m_name;
    int m_driveType;
};
