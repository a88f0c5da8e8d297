#pragma once
// The bridge chip of a USB enclosure, told from the USB vendor and product ids. Whether
// health data can be read at all depends on it: a SATA bridge can pass ATA commands, an
// NVMe bridge is not read. A pure table lookup.
#include <optional>
#include <string>
#include <string_view>

namespace drivekit {

struct USBInfo;

struct Bridge {
    enum class Kind { sata, nvme, unknown };

    std::string vendor;  // the maker, or "0x%04X" of an unknown vendor id
    std::string chip;    // the chip's name, or "0x%04X" of the product id
    Kind kind = Kind::unknown;

    /// Always an answer: a known chip, else a known maker with an unknown chip, else
    /// both ids in hexadecimal.
    static Bridge identify(int vendorID, int productID);

    bool chipUnknown() const { return kind == Kind::unknown; }
    /// The maker; nothing when the vendor is only known by its id.
    std::optional<std::string> maker() const;
    /// The name for sentences: "ASMedia ASM235CM bridge", "JMicron bridge", "USB bridge".
    std::string displayName() const;

    bool operator==(const Bridge&) const = default;
};

/// The bridge of a drive's USB device.
Bridge bridgeOf(const USBInfo& usb);

namespace BridgeKindText {
std::string_view raw(Bridge::Kind kind);  // "SATA", "NVMe", "Unknown"
std::optional<Bridge::Kind> parse(std::string_view raw);
}  // namespace BridgeKindText

}  // namespace drivekit
