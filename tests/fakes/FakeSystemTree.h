// FakeSystemTree.h — a fake /proc, /sys, /dev and udev database in a temporary folder, with
// real folders to serve as mount points, for tests of the volume service and CUDriveInfo.
//
// Layout under a fresh temporary folder B:
//   B/kernel/...  the root handed to the volume service (proc/self/mountinfo, sys, dev, run)
//   B/fs/...      real folders used as mount points, so that paths below them resolve
// The mount table always starts with a root entry whose device numbers (0:9999) match no
// real file, so mount lookups are decided by the mount points alone.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace fakes {

class FakeSystemTree {
  public:
    FakeSystemTree() {
        std::filesystem::path temp = std::filesystem::temp_directory_path() / "varn-volume-XXXXXX";
        std::string pattern = temp.string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed");
        }
        m_base = std::filesystem::canonical(pattern).string();
        std::filesystem::create_directories(m_base + "/kernel/proc/self");
        std::filesystem::create_directories(m_base + "/fs");
        m_mountinfo = "1 0 0:9999 / / rw,relatime - ext4 /dev/vda1 rw\n";
        Flush();
    }

    ~FakeSystemTree() {
        std::error_code ignored;
        std::filesystem::remove_all(m_base, ignored);
    }

    FakeSystemTree(FakeSystemTree const&) = delete;
    FakeSystemTree& operator=(FakeSystemTree const&) = delete;

    /// The root to give the volume service.
    std::string Kernel() const { return m_base + "/kernel"; }

    /// Makes the real folder B/fs/<relative> and returns its absolute path.
    std::string Folder(std::string const& relative) const {
        std::string path = m_base + "/fs/" + relative;
        std::filesystem::create_directories(path);
        return path;
    }

    /// Appends a mount-table line; the mount point and source are escaped as the kernel does.
    void Mount(std::string const& numbers, std::string const& mountPoint, std::string const& type,
               std::string const& source) {
        ++m_nextId;
        m_mountinfo += std::to_string(m_nextId) + " 1 " + numbers + " / " + Escape(mountPoint) +
                       " rw,relatime shared:" + std::to_string(m_nextId) + " - " + type + " " +
                       Escape(source) + " rw\n";
        Flush();
    }

    /// Appends a raw line to the mount table.
    void MountLine(std::string const& line) {
        m_mountinfo += line + "\n";
        Flush();
    }

    /// Writes B/kernel/<path> (parents made).
    void File(std::string const& path, std::string const& content) const {
        std::filesystem::path full = Kernel() + path;
        std::filesystem::create_directories(full.parent_path());
        std::ofstream(full) << content;
    }

    /// Makes B/kernel/<path> a symbolic link to `target` (kept as written, like sysfs links).
    void Link(std::string const& path, std::string const& target) const {
        std::filesystem::path full = Kernel() + path;
        std::filesystem::create_directories(full.parent_path());
        std::filesystem::create_symlink(target, full);
    }

    /// A block device at /sys/devices/<devicePath> (its last component is the kernel name),
    /// with its dev numbers, its removable flag, and the /sys/class/block, /sys/dev/block and
    /// /dev entries that point at it. A partition gets its "partition" file.
    void Block(std::string const& devicePath, std::string const& numbers, bool partition = false,
               char const* removable = "0") const {
        std::string name = devicePath.substr(devicePath.rfind('/') + 1);
        std::string folder = "/sys/devices/" + devicePath;
        File(folder + "/dev", numbers + "\n");
        if (partition) {
            File(folder + "/partition", "1\n");
        } else {
            File(folder + "/removable", std::string(removable) + "\n");
        }
        Link("/sys/class/block/" + name, "../../devices/" + devicePath);
        Link("/sys/dev/block/" + numbers, "../../devices/" + devicePath);
        File("/dev/" + name, "");
    }

    static std::string Escape(std::string const& text) {
        std::string out;
        for (char c : text) {
            switch (c) {
            case ' ':
                out += "\\040";
                break;
            case '\t':
                out += "\\011";
                break;
            case '\n':
                out += "\\012";
                break;
            case '\\':
                out += "\\134";
                break;
            default:
                out += c;
            }
        }
        return out;
    }

  private:
    void Flush() const { std::ofstream(Kernel() + "/proc/self/mountinfo") << m_mountinfo; }

    std::string m_base;
    std::string m_mountinfo;
    int m_nextId = 1;
};

} // namespace fakes
