// Volume.cpp — Linux-only: reads the mount table, sysfs and the udev database.
#include "platform/Volume.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace varn::platform {
namespace {

bool isOctal(char c) {
    return c >= '0' && c <= '7';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool parseUnsigned(std::string_view text, unsigned& out) {
    if (text.empty() || text.size() > 9) {
        return false;
    }
    unsigned value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    out = value;
    return true;
}

std::vector<std::string_view> splitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    std::size_t start = 0;
    while (start <= line.size()) {
        std::size_t end = line.find(' ', start);
        if (end == std::string_view::npos) {
            end = line.size();
        }
        if (end > start) {
            fields.push_back(line.substr(start, end - start));
        }
        start = end + 1;
    }
    return fields;
}

std::string trim(std::string_view text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && (text[begin] == ' ' || text[begin] == '\n' || text[begin] == '\t')) {
        ++begin;
    }
    while (end > begin &&
           (text[end - 1] == ' ' || text[end - 1] == '\n' || text[end - 1] == '\t')) {
        --end;
    }
    return std::string(text.substr(begin, end - begin));
}

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

std::string withoutTrailingSeparators(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    return std::string(path);
}

std::string parentFolder(std::string_view path) {
    std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos || slash == 0) {
        return "/";
    }
    return std::string(path.substr(0, slash));
}

std::string baseName(std::string_view path) {
    std::size_t slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

// "MAJ:MIN" as sysfs and udev name devices. snprintf rather than std::to_string: the latter
// drags a libstdc++ table into the shared library's exported symbols.
std::string deviceNumbers(MountEntry const& mount) {
    char text[32];
    std::snprintf(text, sizeof text, "%u:%u", mount.major, mount.minor);
    return text;
}

// A test may swap the root while library objects elsewhere read it; the lock keeps the copy
// whole.
std::mutex g_rootLock;
std::string g_testRoot;

} // namespace

// ---- mount table text ----

std::string DecodeMountInfoEscapes(std::string_view field) {
    std::string out;
    out.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) &&
            isOctal(field[i + 2]) && isOctal(field[i + 3])) {
            int value = (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
            out.push_back(static_cast<char>(value & 0xFF));
            i += 3;
        } else {
            out.push_back(field[i]);
        }
    }
    return out;
}

std::string DecodeUdevEscapes(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' &&
            hexValue(text[i + 2]) >= 0 && hexValue(text[i + 3]) >= 0) {
            out.push_back(static_cast<char>(hexValue(text[i + 2]) * 16 + hexValue(text[i + 3])));
            i += 3;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::optional<MountEntry> ParseMountInfoLine(std::string_view line) {
    std::vector<std::string_view> fields = splitFields(line);
    // Six fixed fields, any number of optional ones, "-", then type, source, super options.
    std::size_t separator = 0;
    for (std::size_t i = 6; i < fields.size(); ++i) {
        if (fields[i] == "-") {
            separator = i;
            break;
        }
    }
    if (separator == 0 || separator + 2 >= fields.size()) {
        return std::nullopt;
    }
    MountEntry entry;
    unsigned id = 0;
    unsigned parent = 0;
    if (!parseUnsigned(fields[0], id) || !parseUnsigned(fields[1], parent)) {
        return std::nullopt;
    }
    std::size_t colon = fields[2].find(':');
    if (colon == std::string_view::npos ||
        !parseUnsigned(fields[2].substr(0, colon), entry.major) ||
        !parseUnsigned(fields[2].substr(colon + 1), entry.minor)) {
        return std::nullopt;
    }
    entry.mountId = static_cast<int>(id);
    entry.parentId = static_cast<int>(parent);
    entry.root = DecodeMountInfoEscapes(fields[3]);
    entry.mountPoint = DecodeMountInfoEscapes(fields[4]);
    entry.options = std::string(fields[5]);
    entry.fsType = DecodeMountInfoEscapes(fields[separator + 1]);
    entry.source = DecodeMountInfoEscapes(fields[separator + 2]);
    if (separator + 3 < fields.size()) {
        entry.superOptions = std::string(fields[separator + 3]);
    }
    return entry;
}

std::vector<MountEntry> ParseMountInfo(std::string_view text) {
    std::vector<MountEntry> entries;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        if (std::optional<MountEntry> entry = ParseMountInfoLine(text.substr(start, end - start))) {
            entries.push_back(std::move(*entry));
        }
        start = end + 1;
    }
    return entries;
}

bool MountPointHolds(std::string_view mountPoint, std::string_view path) {
    if (mountPoint == "/") {
        return startsWith(path, "/");
    }
    if (!startsWith(path, mountPoint)) {
        return false;
    }
    return path.size() == mountPoint.size() || path[mountPoint.size()] == '/';
}

std::optional<std::size_t> FindMountFor(std::vector<MountEntry> const& entries,
                                        std::string_view path, unsigned major, unsigned minor) {
    std::optional<std::size_t> best;
    bool bestMatchesDevice = false;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        MountEntry const& entry = entries[i];
        if (!MountPointHolds(entry.mountPoint, path)) {
            continue;
        }
        bool matches = entry.major == major && entry.minor == minor;
        // A later mount on the same point hides the earlier one; the device numbers of the
        // path tell which of them the path really lies on.
        bool longer = !best || entry.mountPoint.size() > entries[*best].mountPoint.size();
        bool stacked = best && entry.mountPoint == entries[*best].mountPoint &&
                       (matches || !bestMatchesDevice);
        if (longer || stacked) {
            best = i;
            bestMatchesDevice = matches;
        }
    }
    return best;
}

std::optional<MountEntry> MountOrRootFor(std::vector<MountEntry> const& entries,
                                         std::string_view path, unsigned major, unsigned minor,
                                         unsigned rootMajor, unsigned rootMinor) {
    if (std::optional<std::size_t> index = FindMountFor(entries, path, major, minor)) {
        return entries[*index];
    }
    // No table at all (no /proc) tells nothing, not even that the root is mounted.
    if (entries.empty() || major != rootMajor || minor != rootMinor) {
        return std::nullopt;
    }
    MountEntry root;
    for (MountEntry const& entry : entries) {
        if (entry.major == major && entry.minor == minor) {
            root = entry; // a bind mount of the same file system tells its type and source
            break;
        }
    }
    root.mountPoint = "/";
    root.root = "/";
    root.major = major;
    root.minor = minor;
    return root;
}

// ---- path text ----

std::string LastComponentText(std::string_view path) {
    std::string trimmed = withoutTrailingSeparators(path);
    if (trimmed == "/") {
        return trimmed;
    }
    return baseName(trimmed);
}

bool IsMediaRootFolder(std::string_view folder) {
    if (folder == "/Volumes" || folder == "/mnt") {
        return true;
    }
    for (std::string_view root : {std::string_view("/media/"), std::string_view("/run/media/")}) {
        if (startsWith(folder, root)) {
            std::string_view user = folder.substr(root.size());
            return !user.empty() && user.find('/') == std::string_view::npos;
        }
    }
    return false;
}

// ---- classification ----

DriveKind ClassifyBlockDevice(BlockDeviceFacts const& facts) {
    if (!facts.inSysfs) {
        return DriveKind::Fixed;
    }
    std::string const& disk = facts.disk;
    if (startsWith(disk, "sr") || facts.deviceType == "5" || facts.udevCdrom) {
        return DriveKind::Optical;
    }
    if (startsWith(disk, "ram") || startsWith(disk, "zram")) {
        return DriveKind::Ram;
    }
    bool sdCard = startsWith(disk, "mmcblk") && facts.deviceType == "SD";
    if (facts.mediaRemovable || facts.deviceRemovable || facts.onUsb || sdCard || facts.loop) {
        return DriveKind::Removable;
    }
    return DriveKind::Fixed;
}

DriveKind ClassifyVolume(std::string_view fsType, BlockDeviceFacts const* device) {
    if (fsType == "tmpfs" || fsType == "ramfs" || fsType == "devtmpfs") {
        return DriveKind::Ram;
    }
    if (device == nullptr) {
        return DriveKind::NoDevice;
    }
    return ClassifyBlockDevice(*device);
}

char const* DriveKindName(DriveKind kind) {
    switch (kind) {
    case DriveKind::Optical:
        return "optical";
    case DriveKind::Fixed:
        return "fixed";
    case DriveKind::NoDevice:
        return "no device";
    case DriveKind::Ram:
        return "RAM";
    case DriveKind::Removable:
        return "removable";
    case DriveKind::Unknown:
        break;
    }
    return "unknown";
}

// ---- the service ----

VolumeService::VolumeService(std::string root) : m_root(withoutTrailingSeparators(root)) {
    if (m_root == "/") {
        m_root.clear();
    }
}

std::optional<std::string> VolumeService::Read(std::string const& path) const {
    int fd = ::open((m_root + path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    // Kernel tables report a size of 0, so read to the end instead of trusting fstat.
    std::string text;
    char buffer[4096];
    for (;;) {
        ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            ::close(fd);
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        text.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    return text;
}

bool VolumeService::Exists(std::string const& path) const {
    struct stat info;
    return ::stat((m_root + path).c_str(), &info) == 0;
}

std::vector<std::string> VolumeService::List(std::string const& folder) const {
    std::vector<std::string> names;
    DIR* dir = ::opendir((m_root + folder).c_str());
    if (dir == nullptr) {
        return names;
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is private to this call
    while (dirent* entry = ::readdir(dir)) {
        std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

// Follows symbolic links component by component inside the root. realpath() cannot be used:
// it needs every target to exist and would let an absolute link leave a fake tree. Absolute
// targets restart at the root; a missing component is kept as it is.
std::string VolumeService::Resolve(std::string_view path) const {
    std::vector<std::string> pending;
    auto push = [&pending](std::string_view text) {
        std::vector<std::string> parts;
        std::size_t start = 0;
        while (start <= text.size()) {
            std::size_t end = text.find('/', start);
            if (end == std::string_view::npos) {
                end = text.size();
            }
            if (end > start) {
                parts.emplace_back(text.substr(start, end - start));
            }
            start = end + 1;
        }
        pending.insert(pending.end(), parts.rbegin(), parts.rend());
    };
    push(path);
    std::vector<std::string> done;
    int links = 0;
    while (!pending.empty()) {
        std::string part = std::move(pending.back());
        pending.pop_back();
        if (part == ".") {
            continue;
        }
        if (part == "..") {
            if (!done.empty()) {
                done.pop_back();
            }
            continue;
        }
        done.push_back(part);
        std::string here = m_root;
        for (std::string const& d : done) {
            here += '/';
            here += d;
        }
        char target[PATH_MAX];
        ssize_t length = ::readlink(here.c_str(), target, sizeof target - 1);
        if (length <= 0) {
            continue;
        }
        if (++links > 40) {
            break;
        }
        done.pop_back();
        std::string_view link(target, static_cast<std::size_t>(length));
        if (link.front() == '/') {
            done.clear();
        }
        push(link);
    }
    std::string out;
    for (std::string const& d : done) {
        out += '/';
        out += d;
    }
    return out.empty() ? "/" : out;
}

std::vector<MountEntry> VolumeService::MountedVolumes() const {
    std::optional<std::string> text = Read("/proc/self/mountinfo");
    return text ? ParseMountInfo(*text) : std::vector<MountEntry>{};
}

std::optional<MountEntry> VolumeService::MountFor(std::string const& path) const {
    if (path.empty()) {
        return std::nullopt;
    }
    char* real = ::realpath(path.c_str(), nullptr);
    if (real == nullptr) {
        return std::nullopt;
    }
    std::string canonical(real);
    std::free(real);
    struct stat info;
    if (::stat(canonical.c_str(), &info) != 0) {
        return std::nullopt;
    }
    struct stat root;
    if (::stat("/", &root) != 0) {
        return std::nullopt;
    }
    return MountOrRootFor(MountedVolumes(), canonical, major(info.st_dev), minor(info.st_dev),
                          major(root.st_dev), minor(root.st_dev));
}

bool VolumeService::IsMountPoint(std::string_view path) const {
    std::string wanted = withoutTrailingSeparators(path);
    std::vector<MountEntry> entries = MountedVolumes();
    if (wanted == "/" && !entries.empty()) {
        return true; // the root of what this process sees, listed or not (a chroot's is not)
    }
    return std::any_of(entries.begin(), entries.end(),
                       [&wanted](MountEntry const& e) { return e.mountPoint == wanted; });
}

std::string VolumeService::UdevProperty(std::string const& devNumbers, std::string_view key) const {
    if (devNumbers.empty()) {
        return {};
    }
    std::optional<std::string> text = Read("/run/udev/data/b" + devNumbers);
    if (!text) {
        return {};
    }
    std::string wanted = "E:" + std::string(key) + "=";
    std::size_t start = 0;
    while (start < text->size()) {
        std::size_t end = text->find('\n', start);
        if (end == std::string::npos) {
            end = text->size();
        }
        std::string_view line(text->data() + start, end - start);
        if (startsWith(line, wanted)) {
            return std::string(line.substr(wanted.size()));
        }
        start = end + 1;
    }
    return {};
}

BlockDeviceFacts VolumeService::Walk(std::string const& name, int depth) const {
    BlockDeviceFacts facts;
    facts.name = name;
    facts.chain.push_back(name);
    std::string folder = Resolve("/sys/class/block/" + name);
    if (!Exists(folder)) {
        return facts;
    }
    facts.inSysfs = true;
    std::string disk = name;
    if (Exists(folder + "/partition")) {
        folder = parentFolder(folder);
        disk = baseName(folder);
        facts.chain.push_back(disk);
    }
    // Device-mapper and md devices sit on other block devices; their kind is that of what
    // lies beneath. The first one by name decides, so the answer does not depend on readdir.
    std::vector<std::string> slaves = List(folder + "/slaves");
    if (!slaves.empty() && depth < 8) {
        BlockDeviceFacts below = Walk(slaves.front(), depth + 1);
        below.name = name;
        facts.chain.insert(facts.chain.end(), below.chain.begin(), below.chain.end());
        below.chain = std::move(facts.chain);
        return below;
    }
    facts.disk = disk;
    facts.sysfsPath = folder;
    if (startsWith(disk, "loop")) {
        if (std::optional<std::string> backing = Read(folder + "/loop/backing_file")) {
            facts.loopBackingFile = trim(*backing);
            facts.loop = !facts.loopBackingFile.empty();
        }
    }
    facts.deviceType = trim(Read(folder + "/device/type").value_or(""));
    facts.mediaRemovable = trim(Read(folder + "/removable").value_or("")) == "1";
    // The device-level attribute ("removable", "fixed", "unknown") sits on the bus devices
    // above the disk: a USB port, a PCI slot, an SD host.
    for (std::string up = parentFolder(folder); startsWith(up, "/sys/devices/");
         up = parentFolder(up)) {
        if (trim(Read(up + "/removable").value_or("")) == "removable") {
            facts.deviceRemovable = true;
            break;
        }
    }
    std::string numbers = trim(Read(folder + "/dev").value_or(""));
    facts.onUsb =
        folder.find("/usb") != std::string::npos || UdevProperty(numbers, "ID_BUS") == "usb";
    facts.udevCdrom = UdevProperty(numbers, "ID_CDROM") == "1";
    return facts;
}

BlockDeviceFacts VolumeService::DescribeDevice(std::string const& name) const {
    return Walk(name, 0);
}

std::optional<BlockDeviceFacts> VolumeService::DeviceOf(MountEntry const& mount) const {
    std::string name;
    if (startsWith(mount.source, "/dev/")) {
        std::string resolved = Resolve(mount.source);
        std::string candidate = baseName(resolved);
        if (startsWith(resolved, "/dev/") && Exists("/sys/class/block/" + candidate)) {
            name = candidate;
        }
    }
    // btrfs and friends report an anonymous device (major 0); the source names the disk. For
    // the others the numbers find the device even when the source is "/dev/root".
    if (name.empty() && mount.major != 0) {
        std::string link = "/sys/dev/block/" + deviceNumbers(mount);
        std::string resolved = Resolve(link);
        if (resolved != link && Exists(resolved)) {
            name = baseName(resolved);
        }
    }
    if (name.empty()) {
        if (!startsWith(mount.source, "/dev/")) {
            return std::nullopt;
        }
        // A device path without a sysfs entry: a device all the same, of unknown build.
        BlockDeviceFacts facts;
        facts.name = baseName(mount.source);
        facts.chain.push_back(facts.name);
        return facts;
    }
    return Walk(name, 0);
}

DriveKind VolumeService::Classify(MountEntry const& mount) const {
    std::optional<BlockDeviceFacts> device = DeviceOf(mount);
    return ClassifyVolume(mount.fsType, device ? &*device : nullptr);
}

std::string VolumeService::LabelOf(MountEntry const& mount) const {
    std::optional<BlockDeviceFacts> device = DeviceOf(mount);
    if (device) {
        for (std::string const& entry : List("/dev/disk/by-label")) {
            if (baseName(Resolve("/dev/disk/by-label/" + entry)) == device->name) {
                return DecodeUdevEscapes(entry);
            }
        }
        std::string numbers = trim(Read("/sys/class/block/" + device->name + "/dev").value_or(""));
        if (numbers.empty() && mount.major != 0) {
            numbers = deviceNumbers(mount);
        }
        std::string encoded = UdevProperty(numbers, "ID_FS_LABEL_ENC");
        if (!encoded.empty()) {
            return DecodeUdevEscapes(encoded);
        }
        std::string plain = UdevProperty(numbers, "ID_FS_LABEL");
        if (!plain.empty()) {
            return plain;
        }
    }
    return LastComponentText(mount.mountPoint);
}

VolumeSizes VolumeService::SizesOf(std::string const& path) {
    VolumeSizes sizes;
    struct statvfs info;
    int result;
    do {
        result = ::statvfs(path.c_str(), &info);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        return sizes;
    }
    sizes.ok = true;
    sizes.total = static_cast<std::uint64_t>(info.f_blocks) * info.f_frsize;
    sizes.free = static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
    return sizes;
}

bool VolumeService::PathExists(std::string const& path) {
    struct stat info;
    return !path.empty() && ::stat(path.c_str(), &info) == 0;
}

VolumeService CurrentVolumeService() {
    std::lock_guard<std::mutex> hold(g_rootLock);
    return VolumeService(g_testRoot);
}

void SetVolumeRootForTesting(std::string root) {
    std::lock_guard<std::mutex> hold(g_rootLock);
    g_testRoot = std::move(root);
}

} // namespace varn::platform
