#pragma once
// What else a capture takes away. Claiming a USB mass-storage interface takes every disk
// behind it from the kernel at once: each LUN of a card reader or a dual-bay dock, with
// their partitions and whatever is stacked on them. Before a capture, all of them must be
// free, so this unit finds them in sysfs, names the stacked devices that only their user
// can close (an unlocked LUKS volume, an active LVM group, a running RAID array), and
// words the sentences that refuse the check.
//
// Pure functions over `platform::Sysfs`; tests run them on fixture trees.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sysfs.hpp"
#include "platform/usb_device.hpp"

namespace drivekit::USBInterface {

/// The USB interface a disk hangs under, and every disk behind it.
struct Disks {
    std::string interfaceName;  // "2-1:1.0"
    platform::USBTarget target;  // the device's address, the interface and the disk's LUN
    /// The disk asked about first, then the others behind the interface in natural order.
    std::vector<std::string> disks;

    bool operator==(const Disks&) const = default;
};

/// Nothing when the disk isn't behind a USB interface.
std::optional<Disks> of(std::string_view disk, const platform::Sysfs& sysfs);

/// The disk and its partitions ("sdb", "sdb1", "sdb2").
std::vector<std::string> blockDevices(std::string_view disk, const platform::Sysfs& sysfs);

/// A device stacked on a disk or one of its partitions.
struct Holder {
    enum class Kind { luks, lvm, md, deviceMapper };
    std::string device;  // the partition or disk it is stacked on, "sdb1"
    std::string name;    // "dm-0", "md127"
    Kind kind = Kind::deviceMapper;
    /// What the user's tools call it: the mapping ("luks-5c1e"), the volume group ("vg0"),
    /// the array ("md127").
    std::string label;

    bool operator==(const Holder&) const = default;
};

/// The devices stacked directly on the disks and their partitions, in the order of the
/// disks given.
std::vector<Holder> holders(const std::vector<std::string>& disks, const platform::Sysfs& sysfs);

/// One sentence per holder saying what to close first; the check never closes them
/// itself, since opening them again needs the user (a passphrase, a volume group).
std::string holderSentence(const Holder& holder);
/// "/dev/sdb2 is in use as swap. Turn it off first (`swapoff /dev/sdb2`) and try again."
std::string swapSentence(std::string_view device);
/// For a block device the kernel won't let us open exclusively after the unmount.
std::string exclusiveSentence(std::string_view device);
/// Progress line naming the other disks the capture takes away with the drive.
std::string sharedLine(const std::vector<std::string>& others);

/// The volume group of an LVM mapping's name: "vg0-home" -> "vg0", "my--vg-lv" -> "my-vg".
std::string volumeGroupOf(std::string_view mappingName);

}  // namespace drivekit::USBInterface
