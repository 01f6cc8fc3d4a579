// FakeSystemTree.h — a fake /proc, /sys, /dev and udev database in a temporary folder B: B/kernel
// is the root handed to the volume service, B/fs holds real folders used as mount points. The
// root entry's numbers (0:9999) match no real file: lookups go by mount point alone.
#pragma once

#include "fakes/FileFaults.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace fakes {

class FakeSystemTree {
  public:
    FakeSystemTree() : m_base(std::filesystem::canonical(m_folder.Path()).string()) {
        std::filesystem::create_directories(m_base + "/kernel/proc/self");
        std::filesystem::create_directories(m_base + "/fs");
        Flush();
    }

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

    /// The text with blanks, tabs, line feeds and backslashes in the kernel's octal escapes.
    static std::string Escape(std::string const& text) {
        std::string out;
        for (char c : text) {
            char octal[8];
            std::snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned char>(c));
            out += c == ' ' || c == '\t' || c == '\n' || c == '\\' ? octal : std::string(1, c);
        }
        return out;
    }

  private:
    void Flush() const { std::ofstream(Kernel() + "/proc/self/mountinfo") << m_mountinfo; }

    varn::test::TempFolder m_folder;
    std::string m_base;
    std::string m_mountinfo = "1 0 0:9999 / / rw,relatime - ext4 /dev/vda1 rw\n";
    int m_nextId = 1;
};

} // namespace fakes
