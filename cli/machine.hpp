#pragma once
// The machine a command runs against: the platform operations and the user's locale.
// The real Linux machine in production; fixture trees and fakes in tests.
#include "drivekit/core/local_format.hpp"
#include "platform/nvme_admin.hpp"
#include "platform/sysfs.hpp"

namespace cli {

struct Machine {
    const platform::Sysfs& sysfs;
    platform::NVMeAdmin& nvme;
    drivekit::Locale locale;
};

}  // namespace cli
