#pragma once
// The enclosure's bridge chip as the drive's sentences name it. A chip known only by its
// number is no name worth telling, so it gives no maker and no sentence name.
#include <optional>
#include <string>

#include "drivekit/discovery/drive.hpp"

namespace drivekit {

struct EnclosureBridge {
    /// The chip's maker; absent for a chip known only by number.
    std::optional<std::string> maker;
    /// The maker and, when the chip is known, the chip: "ASMedia ASM235CM", "JMicron".
    /// Absent with `maker`.
    std::optional<std::string> makerAndChip;
    /// "ASMedia ASM235CM bridge", "JMicron bridge"; absent with `maker`.
    std::optional<std::string> sentenceName;
    /// The chip bridges to NVMe, which the USB check doesn't read.
    bool isNVMe = false;
};

/// The bridge of a USB drive from its ids; nothing without USB facts.
std::optional<EnclosureBridge> enclosureBridge(const Drive& drive);

}  // namespace drivekit
