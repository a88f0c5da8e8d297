#pragma once
// The disks the kernel's SCSI disk driver serves ("sda"): SATA disks through libata and
// USB disks through usb-storage or uas. Their health is read live by ATA PASS-THROUGH.
// Enough for checking one named disk; full discovery of every kind of drive replaces it.
#include <string_view>

#include "drivekit/discovery/drive.hpp"
#include "platform/sysfs.hpp"

namespace cli {

/// Whether the kernel name is a whole SCSI disk: "sda", "sdab", not "sda1" or "sg0".
bool isSCSIDiskName(std::string_view name);

/// The drive record of a SCSI disk from sysfs: transport `sata` when a libata port
/// (/ataN/) lies on its device path, `usb` when a USB device does, `other` otherwise;
/// model, size, medium and block size as the disk reports them.
drivekit::Drive scsiDiskDrive(std::string_view name, const platform::Sysfs& sysfs);

}  // namespace cli
