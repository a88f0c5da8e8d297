#include "drivekit/usb/capture_failure.hpp"

#include <utility>

#include "drivekit/core/text.hpp"
#include "platform/scsi_command_policy.hpp"

namespace drivekit {

CaptureFailure CaptureFailure::captureFailed(std::string detail) {
    return {Kind::captureFailed, std::move(detail), 0};
}

CaptureFailure CaptureFailure::transport(std::string detail) {
    return {Kind::transport, std::move(detail), 0};
}

CaptureFailure CaptureFailure::commandFailed(std::uint8_t status) {
    return {Kind::commandFailed, {}, status};
}

CaptureFailure CaptureFailure::of(Kind kind) { return {kind, {}, 0}; }

CaptureFailure CaptureFailure::uas(std::string sentence, std::uint8_t status) {
    return {Kind::uas, std::move(sentence), status};
}

std::string CaptureFailure::text() const {
    switch (kind) {
        case Kind::captureFailed:
            return "Linux wouldn't hand over the device: " + detail;
        case Kind::transport:
            return "USB transfer failed: " + detail;
        case Kind::commandFailed:
            return text::format("The enclosure rejected the command (status %d).", status);
        case Kind::deviceNotFound:
            return "The USB device disappeared.";
        case Kind::notRoot:
            return "Reading SMART over USB needs administrator rights. Run with sudo.";
        case Kind::noMassStorageInterface:
            return "No USB mass-storage interface found.";
        case Kind::noBulkOnlySetting:
            return "This enclosure only speaks UAS; no Bulk-Only fallback found.";
        case Kind::pipes:
            return "Couldn't open the enclosure's data pipes.";
        case Kind::notAllowed:
            return "Linux didn't allow Vantrel to read the drive.";
        case Kind::commandRefused:
            return platform::CommandPolicy::refusedSentence;
        case Kind::uas:
            return detail;
    }
    return "USB transfer failed: " + detail;
}

}  // namespace drivekit
