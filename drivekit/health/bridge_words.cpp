#include "drivekit/health/bridge_words.hpp"

#include "drivekit/discovery/bridge.hpp"

namespace drivekit {

std::optional<EnclosureBridge> enclosureBridge(const Drive& drive) {
    if (!drive.usb) return std::nullopt;
    const Bridge bridge = Bridge::identify(drive.usb->vendorID, drive.usb->productID);
    EnclosureBridge words;
    words.isNVMe = bridge.kind == Bridge::Kind::nvme;
    words.maker = bridge.maker();
    if (words.maker) {
        words.makerAndChip = bridge.chipUnknown() ? *words.maker : *words.maker + " " + bridge.chip;
        words.sentenceName = bridge.displayName();
    }
    return words;
}

}  // namespace drivekit
