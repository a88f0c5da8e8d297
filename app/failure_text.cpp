#include "app/failure_text.hpp"

#include <cstring>

namespace app::FailureText {

std::string sentence(const Failure& f) {
    using Kind = app::Failure::Kind;
    const std::string dev = "/dev/" + f.device;
    switch (f.kind) {
        case Kind::noSuchDevice:
            return "no such device: " + dev + ".";
        case Kind::partition:
            return dev + " is a partition; check the whole drive instead.";
        case Kind::unknownKind:
            return dev + " is neither an NVMe nor a SATA or USB drive; Vantrel can't read its health.";
        case Kind::noDrives:
            return f.detail.empty() ? "this computer has no drives to list." : f.detail;
        case Kind::needsRoot:
            return "Reading " + dev +
                   " needs root: run it with sudo, or install Vantrel's service (the vantrel package) to "
                   "read drives as yourself.";
        case Kind::notAuthorized:
            return "The system's policy didn't let Vantrel's service do this to " + dev +
                   " (polkit said no). Authenticate when asked, or run it with sudo.";
        case Kind::cantOpen:
            return dev + " can't be opened: " + std::strerror(f.error) + ".";
        case Kind::noSCSI:
            return dev + " can't take SCSI commands on this computer.";
        case Kind::noPassThrough:
            if (f.usb) return dev + ": This enclosure doesn't pass health requests through to the drive.";
            return dev + " doesn't answer ATA health requests.";
        case Kind::unusableIdentify:
            return dev + ": unusable IDENTIFY data (" + std::to_string(f.bytes) + " bytes).";
        case Kind::notSupported:
            return dev + ": " + f.detail;
        case Kind::readFailed:
            return dev + ": " + f.detail + (f.detail.ends_with('.') ? "" : ".");
        case Kind::asleep:
            return dev + " is asleep, and Vantrel doesn't wake a sleeping disk. Add --wake to read it.";
        case Kind::noCapture:
            return dev + ": this computer offers no way to take over USB devices.";
        case Kind::notUSB:
            return dev + " isn't a USB drive; only USB drives are read by capture.";
        case Kind::captureRefused:
            return dev + ": " + f.detail;
        case Kind::captureFailed:
            return dev + ": " + f.detail;
        case Kind::captureDeviceGone:
            return dev + ": " + f.detail;
        case Kind::interrupted:
            return "interrupted; " + dev + (f.taken ? " was given back to Linux." : " was not taken over.");
        case Kind::noSelfTests:
            return dev + " has no self-tests Vantrel can run; they are for SATA and USB drives.";
        case Kind::selfTestRunning:
            return "A self-test is running on " + dev + " (" + std::to_string(f.percent) +
                   "% done). Starting another would end it: add --abort to do that anyway.";
        case Kind::selfTestNotStarted:
            return "The drive didn't start its self-test. Try again in a moment.";
        case Kind::selfTestNotCancelled:
            return dev + " didn't take the request to end its self-test; it runs on to its end.";
        case Kind::cantWatch:
            return "can't watch for drives: " + f.detail + ".";
        case Kind::noDirectReads:
            return dev + " can't be read past the system's cache.";
    }
    return dev + ": the health read failed.";
}

}  // namespace app::FailureText
