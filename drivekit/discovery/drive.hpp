#pragma once
// What the program means by a drive: the value records discovery produces on every pass
// and that every reader, rule, view and report takes as input. Plain values; none holds
// a live handle to the operating system.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/json.hpp"
#include "drivekit/discovery/link.hpp"

namespace drivekit {

enum class Transport { internalNVMe, externalNVMe, usb, sdCard, sata, other };

namespace TransportText {
/// Stored form, which is also the English label: "Internal NVMe", "USB", "SATA", ...
std::string_view raw(Transport transport);
std::optional<Transport> parse(std::string_view raw);
/// Localisation key: the text itself for the NVMe cases, "transport.usb" and so on.
std::string_view key(Transport transport);
/// The label in the user's language (English for now; looked up by key).
std::string label(Transport transport);
}  // namespace TransportText

struct Volume {
    std::string bsdName;
    std::optional<std::string> name;
    std::optional<std::string> mountPoint;
    std::optional<std::string> fileSystem;

    bool operator==(const Volume&) const = default;
};

struct USBInfo {
    int vendorID = 0;
    int productID = 0;
    std::uint32_t locationID = 0;
    std::optional<std::string> productName;  // as the device reports it, not trimmed
    std::optional<std::string> vendorName;
    std::uint64_t registryID = 0;

    bool operator==(const USBInfo&) const = default;
};

struct RAIDInfo {
    std::string setName = "RAID set";
    std::string level = "RAID";
    std::string status = "Unknown";
    std::string memberStatus = "Unknown";
    int memberCount = 0;
    std::optional<std::string> setBSDName;

    /// The JSON record with exactly the field names as keys; `setBSDName` left out when
    /// absent.
    json::Object toJSON() const;
    /// Nothing when a key is missing or of the wrong type: damaged counts as absent.
    static std::optional<RAIDInfo> fromJSON(const json::Object& object);

    bool operator==(const RAIDInfo&) const = default;
};

namespace RAIDWording {
std::string levelLabel(const RAIDInfo& raid);         // "Mirror"
std::string levelText(const RAIDInfo& raid);          // "RAID 1 mirror"
std::string statusLabel(const RAIDInfo& raid);        // "Online"
std::string memberStatusLabel(const RAIDInfo& raid);  // "Rebuilding"
}  // namespace RAIDWording

struct Drive {
    std::string bsdName;
    std::string model = "Unknown drive";
    std::int64_t sizeBytes = 0;
    Transport transport = Transport::other;
    std::optional<bool> isSolidState;
    std::optional<USBInfo> usb;
    std::optional<LinkInfo> link;
    std::vector<Volume> volumes;
    bool isRAIDMember = false;
    std::optional<RAIDInfo> raid;
    std::optional<int> blockSize;
    bool hostsCurrentDirectory = false;
    bool hostsBootVolume = false;

    /// A copy with `model` replaced and, when given, `isSolidState` replaced.
    Drive named(std::string newModel, std::optional<bool> solidState = std::nullopt) const;
    /// "/dev/" + bsdName.
    std::string device() const { return "/dev/" + bsdName; }

    bool operator==(const Drive&) const = default;
};

/// The bytes of a block device from its sysfs `size` attribute (512-byte sectors, in
/// decimal, whatever the device's own block size); absent when the text isn't a positive
/// number or the bytes don't fit an int64 (a size of 2^63-1 sectors is a damaged or
/// hostile attribute, not a disk).
std::optional<std::int64_t> sizeFromSectors(std::string_view sysfsSize);

/// The clauses that speak against taking over the drive's USB device, in their fixed
/// order; each ends the sentence "Vantrel won't take over this drive because …".
std::vector<std::string> captureBlockers(const Drive& drive);

enum class SMARTStatus { verified, failing, notSupported };

namespace SMARTStatusText {
std::string_view raw(SMARTStatus status);  // "verified", "failing", "notSupported"
std::optional<SMARTStatus> parse(std::string_view raw);
std::string label(SMARTStatus status);  // "Verified", "Failing", "Not supported"
}  // namespace SMARTStatusText

}  // namespace drivekit
