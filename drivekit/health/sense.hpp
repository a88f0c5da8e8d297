#pragma once
// Sense data is decoded on the ground floor, where the pass-through layers need it to
// classify a command's end; the health readers use the same decoder.
#include "drivekit/core/bytes.hpp"
#include "platform/scsi_sense.hpp"

namespace drivekit {

namespace Sense = platform::Sense;

}  // namespace drivekit
