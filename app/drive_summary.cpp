#include "app/drive_summary.hpp"

#include <algorithm>
#include <vector>

#include "drivekit/core/text.hpp"
#include "drivekit/health/bridge_words.hpp"
#include "drivekit/health/placeholders.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/sentences.hpp"
#include "drivekit/health/wording.hpp"

namespace app {

using namespace drivekit;

namespace {

using namespace drivekit::Sentences;

std::string joined(const std::vector<std::string>& sentences) {
    std::string text;
    for (const auto& sentence : sentences) {
        if (!text.empty()) text += ' ';
        text += sentence;
    }
    return text;
}

std::string limitedUSBSource(const Drive& drive, bool usbCheckAvailable) {
    const auto bridge = enclosureBridge(drive);
    std::string text =
        bridge && bridge->sentenceName
            ? fillPlaceholders(ReadSource::pageConnectedThrough, {*bridge->sentenceName})
            : std::string(ReadSource::pageConnected);
    text += ' ';
    if (bridge && bridge->isNVMe) {
        text += ReadSource::pageInstead;
    } else if (usbCheckAvailable) {
        text += ReadSource::pageUntilYouRunIt;
    } else {
        text += ReadSource::pageWatches;
    }
    return text;
}

std::string sourceSentence(const Drive& drive, ReadMethod method, bool usbCheckAvailable) {
    switch (method) {
        // A drive that was read says so in the one sentence its document gives.
        case ReadMethod::nvmeSMART:
        case ReadMethod::ataSMARTHandOver:
        case ReadMethod::ataSMARTLive:
            return DocumentWording::readSource(method, drive, std::nullopt, false);
        case ReadMethod::none:
            break;
    }
    switch (drive.transport) {
        case Transport::usb:
            return limitedUSBSource(drive, usbCheckAvailable);
        case Transport::sdCard:
            return std::string(ReadSource::pageSDCard);
        default:
            return std::string(ReadSource::pageWatches);
    }
}

}  // namespace

std::string usbKey(const Drive& drive) {
    const std::uint32_t location = drive.usb ? drive.usb->locationID : 0;
    return std::to_string(location) + "-" + std::to_string(drive.sizeBytes);
}

std::optional<std::string> usbSignature(const Drive& drive) {
    if (!drive.usb) return std::nullopt;
    return text::format("%04X:%04X:", static_cast<unsigned>(drive.usb->vendorID),
                        static_cast<unsigned>(drive.usb->productID)) +
           std::to_string(drive.sizeBytes);
}

std::string DriveSummary::stableKey() const {
    if (kind == Kind::usb && usbSignature) return "usb:" + *usbSignature;
    if (id == bsdName) return "name:" + name + ":" + std::to_string(capacityBytes);
    return id;
}

bool DriveSummary::offersUSBCheck(bool available) const {
    if (kind != Kind::usb || !available) return false;
    if (liveUSBHealth || usbNVMeBridge.value_or(false)) return false;
    // Once a hand-over has read the drive its summary is no longer limited.
    return tier == Tier::limited;
}

bool DriveSummary::notMounted() const {
    return std::none_of(volumes.begin(), volumes.end(),
                        [](const VolumeInfo& volume) { return !volume.mountPoint.empty(); });
}

namespace SummaryWording {

std::string title(Tier tier, DriveKind kind, bool readOnly) {
    if (kind == DriveKind::internalSSD) {
        switch (tier) {
            case Tier::healthy:
                return std::string(Title::ownHealthy);
            case Tier::warning:
                return std::string(Title::ownWarning);
            case Tier::failing:
                return std::string(Title::ownFailing);
            case Tier::failed:
                return std::string(readOnly ? Title::ownReadOnly : Title::ownFailed);
            case Tier::watch:
            case Tier::limited:
                break;
        }
    }
    return DocumentWording::title(tier, kind, readOnly);
}

std::string limitedLine(DriveKind kind, bool usbNVMeBridge, bool asleep) {
    if (kind == DriveKind::sdCard) return std::string(Limited::pageSDCard);
    if (asleep) return joined({std::string(Limited::pageAsleep), std::string(Limited::pageStillTracks)});
    std::string reason;
    if (kind == DriveKind::usb) {
        // A system without the hand-over can't arise here: the USB check goes straight from
        // unmounting to the capture.
        reason = usbNVMeBridge ? Limited::pageNVMeBridge : Limited::pageUSBCheck;
    } else {
        reason = Limited::pageNotReported;
    }
    return joined({reason, std::string(Limited::pageStillTracks)});
}

std::string readSource(const Drive& drive, ReadMethod method, bool modelHidden,
                       bool usbCheckAvailable) {
    std::vector<std::string> sentences;
    if (modelHidden) {
        sentences.emplace_back(drive.transport == Transport::usb ? ReadSource::pageHiddenUSB
                                                                 : ReadSource::pageHidden);
    }
    sentences.push_back(sourceSentence(drive, method, usbCheckAvailable));
    return joined(sentences);
}

}  // namespace SummaryWording

}  // namespace app
