#include "app/drive_summary.hpp"

#include <algorithm>
#include <vector>

#include "drivekit/core/platform_words.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/health/bridge_words.hpp"
#include "drivekit/health/placeholders.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/wording.hpp"

namespace app {

using namespace drivekit;

namespace {

struct OwnTitle {
    static constexpr std::string_view healthy = "Your SSD is healthy.";
    static constexpr std::string_view warning = "Your SSD needs care.";
    static constexpr std::string_view failing = "Your SSD needs attention.";
    static constexpr std::string_view failed = "Your SSD has failed.";
    static constexpr std::string_view readOnly = "Your SSD is read-only.";
};

struct LimitedWords {
    static constexpr std::string_view usbNVMeBridge =
        "Its enclosure has an NVMe bridge, and Vantrel reads health over USB from SATA drives "
        "only.";
    static constexpr std::string_view usbCheck =
        "Check health reads it over USB: Vantrel borrows the drive for a few seconds.";
    static constexpr std::string_view notReported = "macOS doesn't report this drive's health.";
    static constexpr std::string_view stillTracks =
        "Vantrel still tracks its read and write errors.";
    static constexpr std::string_view asleep =
        "The drive is asleep, and Vantrel doesn't wake a sleeping disk to read it.";
    static constexpr std::string_view sdCard =
        "Vantrel tracks its read and write errors, its speed and its free space.";
};

struct SourceWords {
    static constexpr std::string_view connectedThrough = "Connected over USB through its %@.";
    static constexpr std::string_view connected = "Connected over USB.";
    static constexpr std::string_view untilYouRunIt =
        "Until you run it, Vantrel watches macOS's error counters for this drive, along with its "
        "speed and free space.";
    static constexpr std::string_view instead =
        "Instead, Vantrel watches macOS's error counters for this drive, along with its speed and "
        "free space.";
    static constexpr std::string_view watches =
        "Vantrel watches macOS's error counters for this drive, along with its speed and free "
        "space.";
    static constexpr std::string_view sdCard =
        "The card in the Mac's built-in SD reader. SD cards don't share health data with the Mac, "
        "so Vantrel watches macOS's error counters for it, along with its speed and free space.";
    static constexpr std::string_view hiddenUSB =
        "This enclosure doesn’t report the drive’s model, so Vantrel names it after its volume.";
    static constexpr std::string_view hidden =
        "This drive doesn’t report its model, so Vantrel names it after its volume.";
};

std::string onLinux(std::string_view sentence) {
    return PlatformWords::forLinux(sentence);
}

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
            ? fillPlaceholders(SourceWords::connectedThrough, {*bridge->sentenceName})
            : std::string(SourceWords::connected);
    text += ' ';
    if (bridge && bridge->isNVMe) {
        text += onLinux(SourceWords::instead);
    } else if (usbCheckAvailable) {
        text += onLinux(SourceWords::untilYouRunIt);
    } else {
        text += onLinux(SourceWords::watches);
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
            return onLinux(SourceWords::sdCard);
        default:
            return onLinux(SourceWords::watches);
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
                return std::string(OwnTitle::healthy);
            case Tier::warning:
                return std::string(OwnTitle::warning);
            case Tier::failing:
                return std::string(OwnTitle::failing);
            case Tier::failed:
                return std::string(readOnly ? OwnTitle::readOnly : OwnTitle::failed);
            case Tier::watch:
            case Tier::limited:
                break;
        }
    }
    return DocumentWording::title(tier, kind, readOnly);
}

std::string limitedLine(DriveKind kind, bool usbNVMeBridge, bool asleep) {
    if (kind == DriveKind::sdCard) return std::string(LimitedWords::sdCard);
    if (asleep) return joined({std::string(LimitedWords::asleep), std::string(LimitedWords::stillTracks)});
    std::string reason;
    if (kind == DriveKind::usb) {
        // A system without the hand-over can't arise here: the USB check goes straight from
        // unmounting to the capture.
        reason = usbNVMeBridge ? LimitedWords::usbNVMeBridge : LimitedWords::usbCheck;
    } else {
        reason = onLinux(LimitedWords::notReported);
    }
    return joined({reason, std::string(LimitedWords::stillTracks)});
}

std::string readSource(const Drive& drive, ReadMethod method, bool modelHidden,
                       bool usbCheckAvailable) {
    std::vector<std::string> sentences;
    if (modelHidden) {
        sentences.emplace_back(drive.transport == Transport::usb ? SourceWords::hiddenUSB
                                                                 : SourceWords::hidden);
    }
    sentences.push_back(sourceSentence(drive, method, usbCheckAvailable));
    return joined(sentences);
}

}  // namespace SummaryWording

}  // namespace app
