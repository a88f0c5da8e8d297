#pragma once
// The mount table: which file system is mounted where, in the kernel's own order. Discovery
// takes a volume's mount point from here and finds the device behind the working folder.
//
// Nothing here raises: a table that can't be read is an empty list.
#include <string>
#include <vector>

namespace platform {

/// One mounted file system, as a line of /proc/self/mountinfo gives it. Texts are
/// unescaped: a mount point with a blank reads "/media/lab/Backup Disk".
struct Mount {
    unsigned major = 0;  // of the device the file system reports (0 for tmpfs, proc, btrfs)
    unsigned minor = 0;
    std::string root;        // the folder of the file system mounted here, "/" for the whole
    std::string mountPoint;  // as seen from this process's root
    std::string fileSystem;  // "ext4", "vfat", "tmpfs"
    std::string source;      // "/dev/sda1", "/dev/mapper/vault", "tmpfs"
    std::string options;       // of this mount: "rw,nosuid,nodev,relatime"
    std::string superOptions;  // of the file system: "rw,uid=1000,gid=1000,fmask=0022"

    bool operator==(const Mount&) const = default;
};

class Mounts {
  public:
    virtual ~Mounts() = default;

    /// Every mount in the table's order: a file system mounted twice shows its first
    /// mount first, and a mount hidden by a later one on the same point stays listed.
    virtual std::vector<Mount> list() const = 0;

  protected:
    Mounts() = default;
    Mounts(const Mounts&) = default;
    Mounts& operator=(const Mounts&) = default;
};

}  // namespace platform
