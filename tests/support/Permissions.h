// Permissions.h — makes permission bits apply to the process for one scope. Root passes every
// check, so as root the scope hands the test's folder to an unprivileged id and switches the
// effective ids to it (the saved ids stay 0 for the way back). Process-wide: use it only in
// tests whose threads all run inside the scope.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace varn::test {

class PermissionsApply {
  public:
    /// `folder` is the test's own folder; nothing outside it is touched.
    explicit PermissionsApply(std::filesystem::path const& folder) : folder_(folder) {
        if (geteuid() == 0) {
            if (chown(folder.c_str(), kNobody, kNobody) != 0 || setegid(kNobody) != 0) {
                return;
            }
            if (seteuid(kNobody) != 0) {
                (void)!setegid(0);
                return;
            }
            switched_ = true;
        }
        // Probe: a file without permissions must refuse to open (some capability sets
        // bypass the bits even for other ids).
        std::string probe = (folder / ".varn-probe").string();
        int fd = open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0);
        if (fd >= 0) {
            close(fd);
            int again = open(probe.c_str(), O_RDONLY | O_CLOEXEC);
            applies_ = again < 0;
            if (again >= 0) {
                close(again);
            }
            unlink(probe.c_str());
        }
    }
    /// Gives the owner every right again below the folder, so that it can be removed.
    ~PermissionsApply() {
        namespace fs = std::filesystem;
        std::error_code ignored;
        fs::permissions(folder_, fs::perms::owner_all, fs::perm_options::add, ignored);
        // Each folder is unlocked when it is reached, before the walk goes into it.
        for (fs::recursive_directory_iterator it(folder_, ignored), end; it != end;
             it.increment(ignored)) {
            if (!it->is_symlink(ignored)) {
                fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
            }
        }
        if (switched_) {
            (void)!seteuid(0);
            (void)!setegid(0);
        }
    }
    PermissionsApply(PermissionsApply const&) = delete;
    PermissionsApply& operator=(PermissionsApply const&) = delete;

    /// False when permission bits cannot be made to apply here: skip the test.
    bool Applies() const { return applies_; }

  private:
    static constexpr unsigned kNobody = 65534;

    std::filesystem::path folder_;
    bool switched_ = false;
    bool applies_ = false;
};

} // namespace varn::test
