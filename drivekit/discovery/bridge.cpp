#include "drivekit/discovery/bridge.hpp"

#include <array>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/drive.hpp"

namespace drivekit {

namespace {

struct ChipRow {
    int vendorID;
    int productID;
    std::string_view maker;
    std::string_view chip;
    Bridge::Kind kind;
};

constexpr std::array<ChipRow, 9> chips{{
    {0x174C, 0x55AA, "ASMedia", "ASM1051/1053/1153", Bridge::Kind::sata},
    {0x174C, 0x1153, "ASMedia", "ASM1153", Bridge::Kind::sata},
    {0x174C, 0x235C, "ASMedia", "ASM235CM", Bridge::Kind::sata},
    {0x174C, 0x2362, "ASMedia", "ASM2362", Bridge::Kind::nvme},
    {0x174C, 0x2364, "ASMedia", "ASM2364", Bridge::Kind::nvme},
    {0x152D, 0x0578, "JMicron", "JMS578", Bridge::Kind::sata},
    {0x152D, 0x0567, "JMicron", "JMS567", Bridge::Kind::sata},
    {0x152D, 0x0583, "JMicron", "JMS583", Bridge::Kind::nvme},
    {0x0BDA, 0x9210, "Realtek", "RTL9210", Bridge::Kind::nvme},
}};

struct MakerRow {
    int vendorID;
    std::string_view maker;
};

constexpr std::array<MakerRow, 7> makers{{
    {0x152D, "JMicron"},
    {0x174C, "ASMedia"},
    {0x0BDA, "Realtek"},
    {0x2109, "VIA Labs"},
    {0x1F75, "Innostor"},
    {0x125F, "ADATA"},
    {0x14B0, "StarTech"},
}};

struct KindRow {
    Bridge::Kind kind;
    std::string_view raw;
};

constexpr std::array<KindRow, 3> kinds{{
    {Bridge::Kind::sata, "SATA"},
    {Bridge::Kind::nvme, "NVMe"},
    {Bridge::Kind::unknown, "Unknown"},
}};

std::string hexID(int id) {
    return text::format("0x%04X", static_cast<unsigned>(id) & 0xFFFFu);
}

bool isBareID(std::string_view vendor) {
    return vendor.starts_with("0x");
}

}  // namespace

Bridge Bridge::identify(int vendorID, int productID) {
    for (const auto& row : chips) {
        if (row.vendorID == vendorID && row.productID == productID) {
            return {std::string(row.maker), std::string(row.chip), row.kind};
        }
    }
    for (const auto& row : makers) {
        if (row.vendorID == vendorID)
            return {std::string(row.maker), hexID(productID), Kind::unknown};
    }
    return {hexID(vendorID), hexID(productID), Kind::unknown};
}

std::optional<std::string> Bridge::maker() const {
    if (isBareID(vendor)) return std::nullopt;
    return vendor;
}

std::string Bridge::displayName() const {
    if (isBareID(vendor)) return "USB bridge";
    if (kind != Kind::unknown) return vendor + " " + chip + " bridge";
    return vendor + " bridge";
}

Bridge bridgeOf(const USBInfo& usb) {
    return Bridge::identify(usb.vendorID, usb.productID);
}

namespace BridgeKindText {

std::string_view raw(Bridge::Kind kind) {
    for (const auto& row : kinds) {
        if (row.kind == kind) return row.raw;
    }
    return kinds.back().raw;
}

std::optional<Bridge::Kind> parse(std::string_view raw) {
    for (const auto& row : kinds) {
        if (row.raw == raw) return row.kind;
    }
    return std::nullopt;
}

}  // namespace BridgeKindText

}  // namespace drivekit
