#pragma once
// The link that connects a drive, and the ceiling in MB/s that it can carry. Pure
// arithmetic on link facts from sysfs and from ATA IDENTIFY; no platform.
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/core/local_format.hpp"

namespace drivekit {

struct LinkInfo {
    std::string current;                 // as negotiated: "PCIe 3.0 ×2", "USB 10 Gb/s"
    std::optional<std::string> capable;  // what the device could do when it runs below that
    std::optional<std::string> supported;
    int ceilingMBps = 0;

    enum class Tunnel { thunderbolt3, usb4, thunderbolt5, unknown };

    bool operator==(const LinkInfo&) const = default;
};

namespace LinkRules {
/// The fixed ceiling of a Thunderbolt/USB4 tunnel in MB/s.
int tunnelCeilingMBps(LinkInfo::Tunnel tunnel);
/// 16 -> thunderbolt3, 32 -> usb4, >= 64 -> thunderbolt5, anything else or absent -> unknown.
LinkInfo::Tunnel tunnelFor(std::optional<int> thunderboltVersion);
/// USB link from a positive speed in bits per second.
LinkInfo usb(std::int64_t bitsPerSecond, const Locale& locale);
/// PCI Express link from the link status word (generation bits 0-3, lanes bits 4-9),
/// the optional capabilities word and an optional tunnel; nothing for an unknown
/// generation or zero lanes.
std::optional<LinkInfo> pciExpress(std::uint32_t status, std::optional<std::uint32_t> capabilities,
                                   std::optional<LinkInfo::Tunnel> tunnel);
}  // namespace LinkRules

struct SATALink {
    enum class Speed : int { gen1 = 1, gen2 = 2, gen3 = 3 };
    static constexpr std::array<Speed, 3> allCases{Speed::gen1, Speed::gen2, Speed::gen3};

    std::optional<Speed> current;
    std::optional<Speed> supported;

    static std::optional<SATALink> fromWords(std::uint16_t word76, std::uint16_t word77);
    /// From the 512-byte IDENTIFY DEVICE data; nothing when shorter.
    static std::optional<SATALink> fromIdentify(ByteView identify);

    static double gigabits(Speed speed);
    /// "SATA 1.5 Gb/s", "SATA 3 Gb/s", "SATA 6 Gb/s" with the locale's decimal mark.
    static std::string name(Speed speed, const Locale& locale);

    bool operator==(const SATALink&) const = default;
};

struct Drive;

/// The stored record of a drive's link, for reports. A JSON record with exactly these keys.
struct TransferMode {
    std::optional<std::string> current;
    std::optional<std::string> supported;
    std::optional<std::string> sataCurrent;
    std::optional<std::string> sataSupported;

    bool hasSATA() const { return sataCurrent.has_value() || sataSupported.has_value(); }
    /// Nothing when the record would hold nothing.
    static std::optional<TransferMode> make(const Drive& drive, const std::optional<SATALink>& sata,
                                            const Locale& locale);

    /// The present fields under their own names; absent ones left out.
    json::Object toJSON() const;
    /// Nothing when the value isn't an object or a key has the wrong type.
    static std::optional<TransferMode> fromJSON(const json::Object& object);

    bool operator==(const TransferMode&) const = default;
};

}  // namespace drivekit
