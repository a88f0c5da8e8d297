#include "drivekit/core/text.hpp"
#include "drivekit/discovery/bridge.hpp"
#include "drivekit/discovery/discovery_pass.hpp"

namespace drivekit::Discovery {
namespace {

using namespace Internal;

constexpr std::array<std::string_view, 20> genericNameWords{
    "external",      "usb",          "storage",     "media",       "enclosure",
    "disk box",      "mass storage", "generic",     "jmicron",     "asmedia",
    "realtek",       "via labs",     "ugreen",      "orico",       "sabrent",
    "unknown drive", "sata bridge",  "sdxc reader", "card reader", "reader"};
constexpr std::array<std::string_view, 4> defaultCardNames{"NO NAME", "UNTITLED", "Untitled",
                                                           "NONAME"};
// Where desktops and users mount removable volumes; they stand for the other platform's
// /Volumes/ in the naming rules.
constexpr std::array<std::string_view, 3> userMountPrefixes{"/media/", "/run/media/", "/mnt/"};

bool isUserMountPoint(const std::optional<std::string>& mountPoint) {
    if (!mountPoint) return false;
    return std::any_of(userMountPrefixes.begin(), userMountPrefixes.end(),
                       [&](std::string_view prefix) { return mountPoint->starts_with(prefix); });
}

}  // namespace

bool hasRealModel(const Drive& drive) {
    const std::string model = lowered(drive.model);
    if (model.size() < 3) return false;
    return std::none_of(
        genericNameWords.begin(), genericNameWords.end(),
        [&](std::string_view word) { return model.find(word) != std::string::npos; });
}

std::optional<std::string> enclosureName(const Drive& drive) {
    if (!drive.usb) return std::nullopt;
    const std::string vendor = text::trimmed(drive.usb->vendorName.value_or(""));
    const std::string product = text::trimmed(drive.usb->productName.value_or(""));
    const std::string maker = lowered(bridgeOf(*drive.usb).maker().value_or(""));
    const auto namesMaker = [&](const std::string& lower) {
        return !maker.empty() && lower.find(maker) != std::string::npos;
    };
    if (!vendor.empty()) {
        const std::string lower = lowered(vendor);
        if (!namesMaker(lower) && lower.find("unknown") == std::string::npos) {
            return vendor + " enclosure";
        }
    }
    if (!product.empty()) {
        const std::string lower = lowered(product);
        if (!namesMaker(lower) && lower != "external") return product;
    }
    return std::nullopt;
}

DisplayName displayName(const Drive& drive) {
    if (drive.transport == Transport::sdCard) {
        for (const auto& volume : drive.volumes) {
            if (!isUserMountPoint(volume.mountPoint)) continue;
            if (volume.name && !volume.name->empty() && !contains(defaultCardNames, *volume.name)) {
                return {*volume.name, false};
            }
            break;
        }
        return {"SD card", false};
    }
    if (hasRealModel(drive)) return {drive.model, true};

    std::vector<const Volume*> plain;
    for (const auto& volume : drive.volumes) {
        if (volume.name && !volume.name->empty()) plain.push_back(&volume);
    }
    for (const auto* volume : plain) {
        if (isUserMountPoint(volume->mountPoint)) return {*volume->name, false};
    }
    for (const auto* volume : plain) {
        if (!volume->mountPoint) return {*volume->name, false};
    }
    if (auto enclosure = enclosureName(drive)) return {std::move(*enclosure), false};
    return {"External drive", false};
}

}  // namespace drivekit::Discovery
