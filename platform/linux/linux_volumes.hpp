#pragma once
// Volumes on Linux, by the kernel's own calls: umount2 of every file system that lives on
// a disk, and mount(2) again at the remembered points. As root this needs no disk service;
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

#include "platform/mounts.hpp"
#include "platform/sysfs.hpp"
#include "platform/volumes.hpp"

namespace platform {

/// The mount calls, replaceable so tests can watch them instead of touching the system.
struct MountCalls {
    /// umount2 without force; 0 or the errno.
    std::function<int(const std::string& target)> unmount;
    /// mount(2) with the flags; 0 or the errno.
    std::function<int(const std::string& source, const std::string& target,
                      const std::string& fileSystem, unsigned long flags)>
        mount;
    /// The flags the file system at `target` is mounted with (read-only, nosuid, ...), to
    /// mount it back the same way.
    std::function<unsigned long(const std::string& target)> flagsOf;
    /// Creates the folder when it is missing (a disk service removes the folders it made).
    std::function<void(const std::string& target)> makeFolder;
};

/// The real calls.
MountCalls systemMountCalls();

/// The mounts of a whole disk: those of the disk itself, its partitions and the devices
/// stacked on them, matched by device number or by source path, latest first (so nested
/// mounts go before the ones they sit on). Each entry's `source` is rewritten to the
/// kernel name of its device ("sdb1", "dm-0").
std::vector<Mount> mountsOfDisk(std::string_view disk, const Sysfs& sysfs,
                                const std::vector<Mount>& table);

class LinuxVolumes final : public Volumes {
public:
    LinuxVolumes(const Sysfs& sysfs, const Mounts& mounts, MountCalls calls = systemMountCalls());

    /// Each umount2 may take up to `timeoutSeconds`; one that takes longer is a `timeout`
    /// (the call goes on in the background, and the caller mounts back what went).
    std::optional<UnmountFailure> unmountWhole(std::string_view disk, double timeoutSeconds) override;
    void mountWhole(std::string_view disk) override;

private:
    struct Unmounted {
        std::string device;      // "sdb1", "dm-0"
        std::string mountPoint;
        std::string fileSystem;
        unsigned long flags = 0;
    };

    const Sysfs& sysfs_;
    const Mounts& mounts_;
    MountCalls calls_;
    std::map<std::string, std::vector<Unmounted>, std::less<>> unmounted_;
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
