#pragma once
// Result and Unexpected live on the ground floor, where every platform interface reports
// its failures with them; DriveKit names them as its own.
#include "platform/result.hpp"

namespace drivekit {

using platform::Result;
using platform::Unexpected;

}  // namespace drivekit
