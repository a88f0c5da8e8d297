#pragma once
// Volumes of a disk, as a whole: unmount every file system that lives on a disk (its
// partitions and the devices stacked on them) and mount them back; stop an md array and
// power a disk off, so that it can be unplugged; and who holds files open under a set of
// mount points, the reason an unmount is refused.
//
// All of them block the calling thread. Unmounting is never forced: a busy file system is a
// refusal the caller reports, never a lazy or forced detach that would leave a process
// writing to a disk that is about to go away.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.hpp"

namespace platform {

/// Why a disk's volumes couldn't be unmounted.
struct UnmountFailure {
    enum class Kind {
        refused,  // a file system stayed mounted; `reason` is the system's sentence
        noDisk,   // no disk of that name
        timeout,  // the system didn't answer in time
    };
    Kind kind = Kind::refused;
    /// "Device or resource busy", or what the disk service answered.
    std::string reason;
    /// The errno of a refusal, when the system gave one (EBUSY); 0 otherwise.
    int code = 0;

    bool operator==(const UnmountFailure&) const = default;
};

class Volumes {
public:
    virtual ~Volumes() = default;

    /// Unmounts every mounted file system of the whole disk `disk` ("sdb"): its own, its
    /// partitions' and those of devices stacked on them, the innermost mount first. Stops
    /// at the first refusal, leaving what was unmounted so far unmounted; the caller mounts
    /// it back. Nothing mounted is success.
    virtual Result<void, UnmountFailure> unmountWhole(std::string_view disk, double timeoutSeconds) = 0;

    /// Mounts the disk's file systems back where they were before `unmountWhole` (for a
    /// disk that came back under another name, those of the last disk unmounted). Gives one
    /// sentence for each file system it won't mount because its folder is gone or was
    /// replaced meanwhile (by a link, say); no other failure is reported: callers watch the
    /// mount table for the outcome.
    virtual std::vector<std::string> mountWhole(std::string_view disk) = 0;

    /// Mounts every file system of the disk that isn't mounted, for a user who asks for
    /// the drive back (not only what `unmountWhole` took): where the system chooses, or,
    /// where it can't choose, what `mountWhole` remembers. Sentences as for `mountWhole`.
    virtual std::vector<std::string> mountAll(std::string_view disk) { return mountWhole(disk); }

    /// Stops the md array `array` ("md0") whole, which lets its members go; its file
    /// systems must be unmounted first. An array that is gone already is success. Never
    /// forced: an array still open is refused as busy.
    virtual Result<void, UnmountFailure> stopArray(std::string_view array, double timeoutSeconds) = 0;

    /// Has the system flush and let go of the whole disk `disk` and power it off where it
    /// can (a USB port), so it can be unplugged; afterwards the disk is gone from the
    /// system. Its volumes must be unmounted and the arrays on it stopped first.
    virtual Result<void, UnmountFailure> powerOff(std::string_view disk, double timeoutSeconds) = 0;

protected:
    Volumes() = default;
    Volumes(const Volumes&) = default;
    Volumes& operator=(const Volumes&) = default;
};

/// A process that holds a file, or its working folder, under a mount point.
struct FileHolder {
    int pid = 0;
    std::string command;  // the process's short name, as /proc/PID/comm gives it
    std::string path;     // the file or folder held
    bool workingFolder = false;

    bool operator==(const FileHolder&) const = default;
};

class FileHolders {
public:
    virtual ~FileHolders() = default;

    /// Every process with an open file, a mapped file or its working folder at or under
    /// one of `mountPoints`: one entry per process, for the first such file found (the
    /// working folder first). Processes that can't be inspected are left out.
    virtual std::vector<FileHolder> holding(const std::vector<std::string>& mountPoints) const = 0;

protected:
    FileHolders() = default;
    FileHolders(const FileHolders&) = default;
    FileHolders& operator=(const FileHolders&) = default;
};

}  // namespace platform
