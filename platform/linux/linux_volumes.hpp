#pragma once
// Volumes on Linux, by the kernel's own calls: umount2 of every file system that lives on
// a disk, and mount(2) again at the remembered points; an md array stopped through its
// "array_state", and a disk let go through sysfs ("remove" of its USB device, else
// "delete" of its SCSI device). As root this needs no disk service;
// when a desktop automounter runs, it usually mounts the disk back first once the kernel
// finds it again, and `mountWhole` then leaves its mounts alone.
//
// Who holds a volume is read from /proc: every process's working folder, open files and
// mapped files.
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/block_stack.hpp"
#include "platform/mounts.hpp"
#include "platform/sysfs.hpp"
#include "platform/volumes.hpp"

namespace platform {

/// The mount calls, replaceable so tests can watch them instead of touching the system.
///
/// Mounting back goes into the folder that was the mount point when it was unmounted,
/// never through a path a user could have changed meanwhile: the folder it lies in is
/// held open (O_PATH) before the unmount, and the mount point is then opened from there
/// without following a link and mounted on through /proc/self/fd. (The mount point
/// itself can't be held across the unmount: any open handle on it keeps the file
/// system busy.)
struct MountCalls {
    /// umount2 without force and without following a link; 0 or the errno.
    std::function<int(const std::string& target)> unmount;
    /// Holds the folder that `mountPoint` lies in, resolved without following any link:
    /// a handle (>= 0), or minus the errno.
    std::function<int(const std::string& mountPoint)> holdFolder;
    /// Mounts `source` on the entry `name` of the held folder, which must be a folder and
    /// no link (made, owner-only, when it is missing); 0 or the errno.
    std::function<int(int folder, const std::string& name, const std::string& source,
                      const std::string& fileSystem, unsigned long flags, const std::string& data)>
        mountAt;
    /// Lets a held folder go.
    std::function<void(int folder)> release;
    /// Writes `value` to the sysfs attribute at `path`; 0 or the errno.
    std::function<int(const std::string& path, const std::string& value)> writeAttribute;
};

/// The mount(2) flags and the file-system data that mount a file system back as it was,
/// from its mountinfo options: "rw,nosuid,nodev,relatime" and "rw,uid=1000,fmask=0022"
/// give MS_NOSUID | MS_NODEV | MS_RELATIME and "uid=1000,fmask=0022". Words the kernel
/// shows but takes from elsewhere ("rw", "ro", "seclabel") stay out of the data.
std::pair<unsigned long, std::string> mountArguments(const Mount& mount);

/// The real calls.
MountCalls systemMountCalls();

class LinuxVolumes final : public Volumes {
public:
    LinuxVolumes(const Sysfs& sysfs, const Mounts& mounts, MountCalls calls = systemMountCalls());
    LinuxVolumes(const LinuxVolumes&) = delete;
    LinuxVolumes& operator=(const LinuxVolumes&) = delete;
    ~LinuxVolumes() override;

    /// Each umount2 may take up to `timeoutSeconds`; one that takes longer is a `timeout`
    /// (the call goes on in the background, and the caller mounts back what went).
    Result<void, UnmountFailure> unmountWhole(std::string_view disk, double timeoutSeconds) override;
    std::vector<std::string> mountWhole(std::string_view disk) override;
    /// What `mountWhole` remembers; the kernel chooses no folders, so a disk this object
    /// never unmounted gets a sentence saying so.
    std::vector<std::string> mountAll(std::string_view disk) override;
    /// Writes "clear" to the array's md/array_state, the kernel's own stop.
    Result<void, UnmountFailure> stopArray(std::string_view array, double timeoutSeconds) override;
    /// Removes the USB device the disk hangs under (its hub port is switched off), else
    /// deletes the SCSI device; either way the kernel's disk driver flushes the drive's
    /// cache and stops it on its way out. A disk with neither (NVMe, SD) is refused.
    Result<void, UnmountFailure> powerOff(std::string_view disk, double timeoutSeconds) override;

private:
    struct Unmounted {
        std::string device;      // "sdb1", "dm-0"
        std::string mountPoint;
        std::string fileSystem;
        unsigned long flags = 0;
        std::string data;
        int folder = -1;         // the held folder the mount point lies in
        /// Lies inside another file system of the same disk, so its folder can only be
        /// held once that one is back (holding it earlier would keep that one busy).
        bool nested = false;
    };

    const Sysfs& sysfs_;
    const Mounts& mounts_;
    MountCalls calls_;
    /// Where a disk sits: its USB or SCSI path with the LUN, without the host and target
    /// numbers the kernel hands out afresh; empty when sysfs doesn't tell.
    std::string identityOf(std::string_view disk) const;

    std::map<std::string, std::vector<Unmounted>, std::less<>> unmounted_;
    std::map<std::string, std::string, std::less<>> identities_;  // disk name -> where it sat
    std::string lastDisk_;
};

class LinuxFileHolders final : public FileHolders {
public:
    explicit LinuxFileHolders(std::filesystem::path proc = "/proc");

    std::vector<FileHolder> holding(const std::vector<std::string>& mountPoints) const override;

private:
    std::filesystem::path proc_;
};

}  // namespace platform
