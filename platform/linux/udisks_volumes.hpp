#pragma once
// Volumes through the desktop's disk service (udisks2 over D-Bus): unmounting with
// Filesystem.Unmount, mounting back with Filesystem.Mount, stopping an array with
// MDRaid.Stop and powering a drive off with Drive.PowerOff keeps the session's
// automounter, its folders under /media and its bookkeeping right, which calling the
// kernel behind its back would not. Where the service doesn't run, the kernel's own calls
// (`platform::LinuxVolumes`) do the job.
//
// Which file systems belong to a disk, and in which order they go, is the same as for the
// kernel's calls (`platform::mountsOfDisk`: innermost first); only the calls differ.
// Nothing is ever forced.
#include <QtDBus/QDBusConnection>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/mounts.hpp"
#include "platform/sysfs.hpp"
#include "platform/volumes.hpp"

namespace app {

namespace UDisks {

/// The service's well-known name on the system bus.
inline constexpr const char* serviceName = "org.freedesktop.UDisks2";

/// The object of a block device: "sdb1" -> "/org/freedesktop/UDisks2/block_devices/sdb1",
/// "dm-0" -> ".../block_devices/dm_2d0" (every byte outside [A-Za-z0-9] as _XX, the
/// service's own escaping).
std::string blockObjectPath(std::string_view device);

/// The failure a D-Bus error of the service stands for: the busy refusal with the kernel's
/// own sentence (so the caller names the processes holding the volume, as for umount2), a
/// time-out, a refusal for want of authorisation (code EPERM, with the service's message),
/// or a refusal carrying the service's message.
platform::UnmountFailure unmountFailure(std::string_view errorName, std::string_view message);

}  // namespace UDisks

class UDisksVolumes final : public platform::Volumes {
public:
    /// `bus` is the system bus in the program and a private bus in tests; it must stay
    /// connected for the object's lifetime.
    UDisksVolumes(QDBusConnection bus, const platform::Sysfs& sysfs, const platform::Mounts& mounts);

    platform::Result<void, platform::UnmountFailure> unmountWhole(std::string_view disk, double timeoutSeconds) override;
    /// Mounts where the service chooses (its folder under /media); a file system somebody
    /// mounted already (the automounter) is left as it is.
    std::vector<std::string> mountWhole(std::string_view disk) override;
    /// What this object unmounted of the disk, then every other file system of it.
    std::vector<std::string> mountAll(std::string_view disk) override;
    /// MDRaid.Stop on the array object the block device names.
    platform::Result<void, platform::UnmountFailure> stopArray(std::string_view array, double timeoutSeconds) override;
    /// Drive.PowerOff on the drive object the block device names.
    platform::Result<void, platform::UnmountFailure> powerOff(std::string_view disk, double timeoutSeconds) override;

private:
    const QDBusConnection bus_;
    const platform::Sysfs& sysfs_;
    const platform::Mounts& mounts_;
    std::map<std::string, std::vector<std::string>, std::less<>> unmounted_;  // devices, in order
    std::string lastDisk_;
};

/// True when somebody owns the disk service's name on `bus`.
bool diskServiceRuns(const QDBusConnection& bus);

/// UDisksVolumes on `bus` when the disk service runs there, else the kernel's calls.
std::unique_ptr<platform::Volumes> chooseVolumes(const QDBusConnection& bus,
                                                 const platform::Sysfs& sysfs,
                                                 const platform::Mounts& mounts);

/// Volumes that connect to the system bus and choose on their first use, so commands that
/// never unmount never touch D-Bus.
std::unique_ptr<platform::Volumes> systemVolumes(const platform::Sysfs& sysfs,
                                                 const platform::Mounts& mounts);

}  // namespace app
