#pragma once
// Discovery: the drives of this computer as `Drive` records, read from sysfs, the mount
// table and what the block devices hold. It decides what counts as a drive, how each is
// attached, what it is called, its link, its volumes and RAID set.
//
// A whole disk in /sys/class/block is a drive unless it is a kernel-made device (loop,
// ram, zram, dm, md, nbd, optical sr), has no "device" link, sits on a virtual interface
// (virtio, Xen, Hyper-V, scsi_debug), is a hidden NVMe multipath path, or is an empty
// card-reader slot. Its volumes are the disk itself when it holds a file system, its
// partitions, and the devices stacked on them (dm-crypt, LVM, md), each a volume when it
// has a label or a mount point.
//
// Everything is synchronous and reads only; nothing raises and nothing is reported:
// a device that vanishes halfway gives a thinner record or none, and an empty list is
// a valid answer. One pass reads the mount table once, spawns no process and never
// waits.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "platform/block_probe.hpp"
#include "platform/mounts.hpp"
#include "platform/block_stack.hpp"
#include "platform/sysfs.hpp"

namespace drivekit::Discovery {

/// What one pass reads from. The working folder is the process's own, handed in by the
/// caller (absolute; empty when unknown); it decides `hostsCurrentDirectory`.
struct Sources {
    const platform::Sysfs& sysfs;
    const platform::Mounts& mounts;
    const platform::BlockProbe& probe;
    std::string workingDirectory;
    Locale locale;
};

/// Every drive, sorted by `bsdName` with numbers compared as numbers.
std::vector<Drive> allDrives(const Sources& sources);
/// `allDrives`, each disk described on a thread of its own and handed to `use` there as
/// soon as it is known, so that a caller reading each drive in `use` waits for the slowest
/// disk rather than for the whole discovery and then the slowest read. `use` runs on
/// several threads at once. Only for sources whose calls may come from several threads.
std::vector<Drive> allDrivesConcurrently(const Sources& sources, const std::function<void(const Drive&)>& use);
/// `allDrives` without the internal NVMe drives, order kept.
std::vector<Drive> externalDrives(const Sources& sources);
/// The drive of one whole disk's kernel name; nothing when that is no drive.
std::optional<Drive> drive(std::string_view bsdName, const Sources& sources);

/// The whole disk of a block device name, by the kernel's naming alone: a trailing number
/// after a letter is a partition ("sda1" -> "sda"), and so is "p" and a number after a
/// digit ("nvme0n1p2" -> "nvme0n1", "mmcblk0p1" -> "mmcblk0", "md0p1" -> "md0"). Disks
/// whose own names end in a number ("nvme0n1", "mmcblk0", "md127", "dm-3", "loop0") and
/// names without a suffix come back unchanged.
std::string wholeDiskName(std::string_view name);

/// Kernel names in natural order: "nvme2n1" before "nvme10n1" (platform/block_stack.hpp).
using platform::naturalLess;

/// The 32-bit location of a USB device, laid out as the registry of the other platform
/// lays it, from sysfs's `busnum` and `devpath`: `platform::usbLocationID` of the ports of
/// the path, which the USB host also uses to find the device again.
std::uint32_t locationID(int busNumber, std::string_view devicePath);

/// The devices stacked on a disk, topmost first (platform/block_stack.hpp).
using platform::stackedOn;

/// The name shown for a drive, and whether that name is the drive's model.
struct DisplayName {
    std::string name;
    bool isModel = false;

    bool operator==(const DisplayName&) const = default;
};

/// An SD card by its volume's name unless that is a camera's default ("NO NAME",
/// "UNTITLED", ...), else "SD card"; any other drive by a meaningful model, else by the
/// name of its plain volume, else by its enclosure, else "External drive". The mount
/// points that stand for user-mounted volumes are those under /media/, /run/media/ and
/// /mnt/.
DisplayName displayName(const Drive& drive);
/// Whether the model names a product: at least 3 characters, none of the generic words
/// ("usb", "storage", "generic", a bridge maker, ...).
bool hasRealModel(const Drive& drive);
/// "Ugreen enclosure" from the USB vendor name, else the USB product name, unless either
/// only names the bridge chip's maker; nothing without `USBInfo`.
std::optional<std::string> enclosureName(const Drive& drive);

}  // namespace drivekit::Discovery
