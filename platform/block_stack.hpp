#pragma once
// How block devices stack on a disk, read from sysfs: its partitions, the devices that
// hold each ("holders": device-mapper, md), and the order of kernel names people expect.
// Discovery and the unmounting of a disk's volumes both walk the stack with these.
#include <string>
#include <string_view>
#include <vector>

#include "platform/mounts.hpp"
#include "platform/sysfs.hpp"

namespace platform {

/// Ascending order with runs of digits compared by value, so that "nvme2n1" comes before
/// "nvme10n1" and "sda2" before "sda10"; letters compare without regard to case.
bool naturalLess(std::string_view a, std::string_view b);

/// The devices that hold block device `name` ("dm-0", "md127"), in natural order.
std::vector<std::string> holdersOf(const Sysfs& sysfs, std::string_view name);

/// The partitions of whole disk `disk` ("sda1", "nvme0n1p2"), in natural order.
std::vector<std::string> partitionsOf(const Sysfs& sysfs, std::string_view disk);

/// Every block device stacked on the disk or its partitions, through the "holders"
/// folders and again through theirs: the topmost first, so that they can be closed in
/// the order given ("dm-1" of an LVM volume before the "dm-0" of the LUKS container it
/// lies in). Each name once.
std::vector<std::string> stackedOn(std::string_view disk, const Sysfs& sysfs);

/// The mounts of a whole disk: those of the disk itself, its partitions and the devices
/// stacked on them, matched by device number or by source path, latest first (so nested
/// mounts go before the ones they sit on). Each entry's `source` is rewritten to the
/// kernel name of its device ("sdb1", "dm-0").
std::vector<Mount> mountsOfDisk(std::string_view disk, const Sysfs& sysfs,
                                const std::vector<Mount>& table);

}  // namespace platform
