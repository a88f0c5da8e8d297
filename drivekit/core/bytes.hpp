#pragma once
// The byte buffers and field readers live on the ground floor, where the SCSI and NVMe
// interfaces need them; DriveKit names them as its own.
#include "platform/bytes.hpp"

namespace drivekit {

using platform::ByteView;
using platform::Bytes;
using platform::be16;
using platform::be32;
using platform::be64;
using platform::le16;
using platform::le32;
using platform::le64;
using platform::putBE;
using platform::readBE;
using platform::readLE;

}  // namespace drivekit
