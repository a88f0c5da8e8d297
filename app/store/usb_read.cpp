#include "app/store/usb_read.hpp"

#include "app/drive_check.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/usb/checker.hpp"

namespace app::USBRead {

namespace {

std::string named(std::string_view pattern, const std::string& name) {
    std::string text(pattern);
    if (const auto at = text.find("%s"); at != std::string::npos) text.replace(at, 2, name);
    return text;
}

// The titles and advice of a failed check, in the words of this system.
constexpr std::string_view readFailedTitle = "Couldn't read %s's health";
constexpr std::string_view unmountRefusedTitle = "Linux wouldn't unmount %s";
constexpr std::string_view unmountRefusedAdvice =
    "Try again in a moment. If it keeps happening, eject it, plug it back in, and check again.";
constexpr std::string_view unansweredTitle = "Linux didn't answer";
constexpr std::string_view unansweredAdvice = "Try again in a moment.";
constexpr std::string_view notReadableTitle = "Vantrel can't read %s over USB";
constexpr std::string_view notReadableAdvice = "Vantrel still tracks its read and write errors.";
constexpr std::string_view notHandedOverTitle = "%s wasn't handed over";
constexpr std::string_view notHandedOverAdvice =
    "When Linux asks for your password to let Vantrel check the drive, give it, then try again.";
constexpr std::string_view unavailableAdvice =
    "Reading health over USB needs Vantrel's service: install the vantrel package, or run Vantrel with sudo.";
constexpr std::string_view leftUnmountedTitle = "%s is unmounted";
constexpr std::string_view leftUnmountedAdvice =
    "It wasn't handed over, and Vantrel can't mount it again by itself. Try again, or unplug it and plug it back "
    "in.";
constexpr std::string_view keptTitle = "Linux kept %s this time";
constexpr std::string_view keptAdvice =
    "Its health wasn't read, and it's unmounted. Try again to give it to Vantrel, or unplug it and plug it back "
    "in.";
constexpr std::string_view unpluggedAdvice = "The drive was unplugged.";

}  // namespace

std::optional<Step> stepAfter(const std::string& line) {
    if (line == drivekit::Checker::takingOverLine) return Step::reading;
    if (line == drivekit::Checker::givingBackLine) return Step::returning;
    return std::nullopt;
}

CheckProblem problemOf(const Failure& failure, Step step, const std::string& name, bool automatic) {
    using Kind = Failure::Kind;
    CheckProblem problem{step, named(readFailedTitle, name), "", std::nullopt};
    switch (failure.kind) {
        case Kind::notAuthorized:
            if (automatic) return {step, named(keptTitle, name), std::string(keptAdvice), std::nullopt};
            return {step, named(notHandedOverTitle, name), std::string(notHandedOverAdvice), std::nullopt};
        case Kind::needsRoot:
        case Kind::noCapture:
            return {step, "", std::string(unavailableAdvice), std::nullopt};
        case Kind::captureRefused:
        case Kind::noPassThrough:
        case Kind::notSupported:
        case Kind::unusableIdentify:
            return {step, named(notReadableTitle, name), std::string(notReadableAdvice), std::nullopt};
        case Kind::captureDeviceGone:
            problem.advice = std::string(unpluggedAdvice);
            return problem;
        case Kind::captureFailed:
            // Before the capture, what failed is the unmount.
            if (step == Step::unmounting) {
                if (failure.detail.find("Timed out") != std::string::npos) {
                    return {step, std::string(unansweredTitle), std::string(unansweredAdvice), std::nullopt};
                }
                return {step, named(unmountRefusedTitle, name), std::string(unmountRefusedAdvice), std::nullopt};
            }
            break;
        case Kind::interrupted:
            // Stopped without being asked to: the drive went back unread and is unmounted.
            if (!failure.taken) return {step, named(leftUnmountedTitle, name), std::string(leftUnmountedAdvice), std::nullopt};
            break;
        default:
            break;
    }
    if (failure.error != 0) problem.code = drivekit::text::format("%08X", static_cast<unsigned>(failure.error));
    return problem;
}

Run runOn(Machine& machine) {
    return [&machine](const std::string& bsdName, const std::function<bool()>& stop,
                      const std::function<void(const std::string&)>& progress)
               -> drivekit::Result<SummaryBuilder::Reading, Failure> {
        CheckRequest request;
        request.name = bsdName;
        request.capture = true;
        request.stop = stop;
        request.progress = progress;
        auto checked = checkDrive(machine, request);
        if (!checked) return drivekit::Unexpected(std::move(checked).error());
        return std::move(checked->read.reading);
    };
}

}  // namespace app::USBRead
