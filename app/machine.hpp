#pragma once
// The machine a command runs against: the platform operations and the user's locale.
// The real Linux machine in production (built in cli.cpp), a machine described by a
// fixture file for the demonstration, fixture trees and fakes in tests. A plain record of
// interfaces: whoever builds it owns what it points at and keeps it alive while commands
// run.
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "drivekit/core/local_format.hpp"
#include "drivekit/core/result.hpp"
#include "platform/scsi_drive.hpp"
#include "platform/block_probe.hpp"
#include "platform/clock.hpp"
#include "platform/mounts.hpp"
#include "platform/nvme_admin.hpp"
#include "platform/sysfs.hpp"
#include "platform/volume_space.hpp"

namespace cli {

struct CapturePlatform;

/// Opens the SCSI pass-through of a disk by kernel name ("sda"); the errno when it can't.
using OpenSCSI = std::function<drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int>(
    std::string_view bsdName)>;

struct Machine {
    const platform::Sysfs& sysfs;
    platform::NVMeAdmin& nvme;
    drivekit::Locale locale;
    /// Absent where no disk takes SCSI commands.
    OpenSCSI openSCSI = nullptr;
    // What discovering every drive needs beyond sysfs. Each may be absent, for commands
    // that read one named drive: no mount table reads as nothing mounted, no probe as no
    // file system known, no space figures as unknown free space.
    const platform::Mounts* mounts = nullptr;
    const platform::BlockProbe* probe = nullptr;
    const platform::VolumeSpace* space = nullptr;
    /// Dates the documents; absent, they carry the system's time.
    const platform::Clock* clock = nullptr;
    /// The process's working folder, absolute; empty when unknown.
    std::string workingDirectory = {};
    /// Taking USB drives from their kernel driver (capture_command.hpp); absent, a USB
    /// enclosure is read only through the driver.
    CapturePlatform* capture = nullptr;
};

}  // namespace cli
