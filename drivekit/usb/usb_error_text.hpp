#pragma once
// The one form in which the USB path logs a platform error: "0x%08X %@", the code as the
// platform gave it (two's complement for libusb's negative codes) and its sentence.
#include <cstdint>
#include <string>

#include "drivekit/core/text.hpp"
#include "platform/usb_device.hpp"

namespace drivekit {

/// "0xFFFFFFF7 Pipe error"
inline std::string codeText(const platform::USBError& error) {
    return text::format("0x%08X ", static_cast<std::uint32_t>(error.code)) + error.description;
}

}  // namespace drivekit
