#pragma once
// The application core's records the command line works with, under their short names.
#include "app/machine.hpp"

namespace cli {

using app::CapturePlatform;
using app::Machine;
using app::OpenSCSI;

}  // namespace cli
