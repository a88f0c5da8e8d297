#pragma once
// The machine a command runs against: the platform operations and the user's locale.
// The real Linux machine in production; fixture trees and fakes in tests.
#include <functional>
#include <memory>
#include <string_view>

#include "drivekit/core/local_format.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/usb/scsi_drive.hpp"
#include "platform/nvme_admin.hpp"
#include "platform/sysfs.hpp"

namespace cli {

/// Opens the SCSI pass-through of a disk by kernel name ("sda"); the errno when it can't.
using OpenSCSI =
    std::function<drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int>(std::string_view bsdName)>;

struct Machine {
    const platform::Sysfs& sysfs;
    platform::NVMeAdmin& nvme;
    drivekit::Locale locale;
    /// Absent where no disk takes SCSI commands.
    OpenSCSI openSCSI = nullptr;
};

}  // namespace cli
