#include "app/usb_check.hpp"

#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/health_rules.hpp"
#include "drivekit/usb/checker.hpp"
#include "drivekit/usb/read_capacity.hpp"

namespace app {

using namespace drivekit;

namespace {

Failure failureOf(const Checker::Failure& why, const std::string& device) {
    using Kind = Checker::Failure::Kind;
    Failure f;
    f.device = device;
    f.detail = why.text();
    f.kind = Failure::Kind::captureFailed;
    switch (why.kind) {
        case Kind::unsafe:
        case Kind::unsupported:
            f.kind = Failure::Kind::captureRefused;
            break;
        case Kind::asleep:
            f.kind = Failure::Kind::asleep;
            break;
        case Kind::capture:
            if (why.capture.kind == CaptureFailure::Kind::notRoot) f.kind = Failure::Kind::needsRoot;
            if (why.capture.kind == CaptureFailure::Kind::deviceNotFound) f.kind = Failure::Kind::captureDeviceGone;
            break;
        case Kind::busy:
        case Kind::inUse:
        case Kind::unmount:
            break;
    }
    return f;
}

// Which transport the capture chose and how large the medium it reaches is: the user sees
// the right drive was taken, and a read of the capacity proves commands get through
// before any health request does.
void describeCapture(CapturedUSBDrive& capture, const Checker::Log& log) {
    log(capture.usesUAS() ? "Talking to the enclosure over USB Attached SCSI."
                          : "Talking to the enclosure over Bulk-Only.");
    auto answer = capture.command(ReadCapacity::command10(), 8, 4.0);
    if (!answer) return;
    auto capacity = ReadCapacity::decode(*answer, false);
    if (ReadCapacity::needsSixteen(*answer)) {
        answer = capture.command(ReadCapacity::command16(), 32, 4.0);
        if (!answer) return;
        capacity = ReadCapacity::decode(*answer, true);
    }
    if (!capacity) return;
    log("Capacity: " + std::to_string(capacity->blocks) + " blocks of " +
        std::to_string(capacity->blockLength) + " bytes.");
}

// The lab's hold (see `CapturePlatform::holdAfter`): waits for the stop request in short
// sleeps, which a signal also cuts short.
constexpr int holdPolls = 3000;
constexpr double holdPollSeconds = 0.02;

}  // namespace

Result<SummaryBuilder::Reading, Failure> readByCapture(const Drive& drive, Machine& machine,
                                                        const CheckRequest& request) {
    const auto progress = [&request](const std::string& line) {
        if (request.progress) request.progress(line);
    };
    const auto stop = [&request] { return request.stop && request.stop(); };
    auto outcome = captureReading(drive, machine, request.wake, stop, progress);
    if (!outcome) return Unexpected(std::move(outcome).error());
    const Checker::Reading& got = *outcome;
    SummaryBuilder::Reading reading;
    reading.method = ReadMethod::ataSMARTHandOver;
    reading.smartStatus = got.smartStatus;
    reading.report = HealthRules::evaluate(std::optional<ATAIdentity>(got.identity), got.attributes, drive,
                                           got.source, got.selfTests, machine.locale);
    return reading;
}

Result<Checker::Reading, Failure> captureReading(const Drive& drive, Machine& machine, bool wake,
                                                 const std::function<bool()>& stop,
                                                 const std::function<void(const std::string&)>& progress) {
    // Without root the privileged service takes the drive over, when there is one.
    const bool privileged = machine.capture && machine.capture->usb.privileged();
    if (!privileged && machine.serviceCheck && drive.transport == Transport::usb) {
        return machine.serviceCheck(drive, wake, stop, progress);
    }
    std::optional<Checker::Reading> reading;
    const auto read = [&](const Checker::USBSteps& wired, const Checker::Log& log) -> std::optional<Checker::Failure> {
        Checker::USBSteps steps = wired;
        steps.wake = wake;
        auto outcome = Checker::check(drive, steps, log);
        if (!outcome) return std::move(outcome).error();
        reading = std::move(outcome).value();
        return std::nullopt;
    };
    if (auto failure = withCapture(drive, machine, stop, progress, read)) return Unexpected(std::move(*failure));
    // A reading finished as the stop came is still a check the user cut short.
    if (stop()) {
        Failure cut;
        cut.device = drive.bsdName;
        cut.kind = Failure::Kind::interrupted;
        cut.taken = true;
        return Unexpected(cut);
    }
    return std::move(*reading);
}

std::optional<Failure> withCapture(const Drive& drive, Machine& machine, const std::function<bool()>& stop,
                                   const std::function<void(const std::string&)>& progress, const CaptureRun& run) {
    const std::string& name = drive.bsdName;
    CapturePlatform* capture = machine.capture;
    Failure refusal;
    refusal.device = name;
    if (!capture || !machine.mounts || !machine.probe || !machine.clock) {
        refusal.kind = Failure::Kind::noCapture;
        return refusal;
    }
    if (capture->usb.privileged() && capture->recoverOrphans) {
        for (const auto& line : capture->recoverOrphans()) progress("vantrel: " + line);
    }
    if (drive.transport != Transport::usb) {
        refusal.kind = Failure::Kind::notUSB;
        return refusal;
    }
    if (!capture->usb.privileged()) {
        refusal.kind = Failure::Kind::needsRoot;
        refusal.usb = true;
        return refusal;
    }

    const Discovery::Sources sources{machine.sysfs, *machine.mounts, *machine.probe,
                                     machine.workingDirectory, machine.locale};
    const Checker::Machine checkerMachine{
        capture->volumes,
        capture->holders,
        capture->usb,
        *machine.clock,
        capture->sleep,
        [&sources](std::string_view disk) { return Discovery::drive(disk, sources); },
        [&sources] { return Discovery::externalDrives(sources); },
        capture->captureOptions,
        stop,
        &machine.sysfs,
        capture->blockUse};
    const auto log = [&](const std::string& line) {
        progress(line);
        if (!capture->holdAfter.empty() && line.starts_with(capture->holdAfter)) {
            for (int i = 0; i < holdPolls && !stop(); ++i) capture->sleep(holdPollSeconds);
        }
    };
    Checker::USBSteps steps = Checker::steps(checkerMachine);
    bool taken = false;
    steps.capture = [take = steps.capture, &log, &taken](const platform::USBTarget& target) {
        taken = true;
        auto captured = take(target);
        if (captured) describeCapture(**captured, log);
        return captured;
    };
    auto failure = run(steps, log);
    if (failure && stop()) {
        refusal.kind = Failure::Kind::interrupted;
        refusal.taken = taken;
        return refusal;
    }
    if (failure) return failureOf(*failure, name);
    return std::nullopt;
}

}  // namespace app
