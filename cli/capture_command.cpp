#include "cli/capture_command.hpp"

#include <atomic>
#include <csignal>
#include <iterator>
#include <sstream>

#include "cli/exit_codes.hpp"
#include "cli/scsi_disks.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/usb/checker.hpp"
#include "drivekit/usb/read_capacity.hpp"
#include "platform/linux/linux_usb_recovery.hpp"

namespace cli {

using namespace drivekit;

namespace {

std::atomic<int> caughtSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

// Async-signal-safe: a lock-free store; the sequence looks at it between steps. A second
// signal means the user won't wait for the orderly way: the interfaces go back to the
// kernel from here, with open and write only, and the process ends by the signal.
void onSignal(int signal) {
    if (caughtSignal.exchange(signal) != 0) {
        platform::giveBackClaimedInterfacesNow();
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

// Every signal whose default action ends the process and that can come from outside
// while a drive is held: Ctrl-C, a service manager, a closed terminal or SSH session,
// Ctrl-\\, and a reader of our output that went away (`vantrel check sdb 2>&1 | head`).
constexpr int stopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};
struct sigaction previous[std::size(stopSignals)] {};

std::string dev(std::string_view name) { return "/dev/" + std::string(name); }


int exitFor(const Checker::Failure& failure) {
    using Kind = Checker::Failure::Kind;
    switch (failure.kind) {
        case Kind::unsafe:
        case Kind::unsupported:
            return exitNotSupported;
        case Kind::capture:
            if (failure.capture.kind == CaptureFailure::Kind::notRoot) return exitNoPermission;
            if (failure.capture.kind == CaptureFailure::Kind::deviceNotFound) return exitNoDevice;
            return exitReadFailed;
        case Kind::asleep:
            return exitAsleep;
        case Kind::busy:
        case Kind::inUse:
        case Kind::unmount:
            break;
    }
    return exitReadFailed;
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

// The lab's hold (see `CapturePlatform::holdAfter`): waits for the signal in short sleeps,
// which the signal also cuts short.
constexpr int holdPolls = 3000;
constexpr double holdPollSeconds = 0.02;

void holdForSignal(const std::function<void(double)>& sleep) {
    for (int i = 0; i < holdPolls && !StopOnSignals::requested(); ++i) sleep(holdPollSeconds);
}

ATALiveReading liveReadingOf(Checker::Reading reading, Drive drive) {
    ATALiveReading live;
    live.drive = std::move(drive);
    live.source = std::move(reading.source);
    live.method = ReadMethod::ataSMARTHandOver;
    live.identity = std::move(reading.identity);
    live.attributes = std::move(reading.attributes);
    live.selfTests = std::move(reading.selfTests);
    live.smartStatus = reading.smartStatus;
    return live;
}

}  // namespace

StopOnSignals::StopOnSignals() {
    caughtSignal = 0;
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a wait in progress returns early, so the flag is seen soon.
    action.sa_flags = 0;
    for (std::size_t i = 0; i < std::size(stopSignals); ++i) {
        sigaction(stopSignals[i], &action, &previous[i]);
    }
}

StopOnSignals::~StopOnSignals() {
    for (std::size_t i = 0; i < std::size(stopSignals); ++i) {
        sigaction(stopSignals[i], &previous[i], nullptr);
    }
}

bool StopOnSignals::requested() { return caughtSignal.load() != 0; }
int StopOnSignals::signal() { return caughtSignal.load(); }

void StopOnSignals::endBySignal() {
    const int which = caughtSignal.load() != 0 ? caughtSignal.load() : SIGTERM;
    std::signal(which, SIG_DFL);
    std::raise(which);
    std::_Exit(128 + which);
}

std::variant<ATALiveReading, int> readByCapture(std::string_view name, Machine& machine,
                                                std::ostream& err, bool wake) {
    CapturePlatform* capture = machine.capture;
    if (!capture || !machine.mounts || !machine.probe || !machine.clock) {
        err << "vantrel: " << dev(name) << ": this computer offers no way to take over USB devices.\n";
        return exitNotSupported;
    }
    if (capture->usb.privileged() && capture->recoverOrphans) {
        for (const auto& line : capture->recoverOrphans()) err << "vantrel: " << line << '\n';
    }
    const Discovery::Sources sources{machine.sysfs, *machine.mounts, *machine.probe,
                                     machine.workingDirectory, machine.locale};
    const auto drive = Discovery::drive(name, sources);
    if (!drive || drive->transport != Transport::usb) {
        err << "vantrel: " << dev(name) << " isn't a USB drive; only USB drives are read by capture.\n";
        return exitNotSupported;
    }
    if (!capture->usb.privileged()) {
        err << "vantrel: " << CaptureFailure::of(CaptureFailure::Kind::notRoot).text() << '\n';
        return exitNoPermission;
    }
    // The record the report shows is the drive as it was before it went away: it may
    // come back under another name.
    const Drive described = scsiDiskDrive(name, machine.sysfs);

    const StopOnSignals stop;
    const Checker::Machine checkerMachine{
        capture->volumes,
        capture->holders,
        capture->usb,
        *machine.clock,
        capture->sleep,
        [&sources](std::string_view disk) { return Discovery::drive(disk, sources); },
        [&sources] { return Discovery::externalDrives(sources); },
        capture->captureOptions,
        [] { return StopOnSignals::requested(); },
        &machine.sysfs,
        capture->blockUse};
    const auto log = [&err, capture](const std::string& line) {
        err << line << std::endl;
        if (!capture->holdAfter.empty() && line.starts_with(capture->holdAfter)) {
            holdForSignal(capture->sleep);
        }
    };
    Checker::USBSteps steps = Checker::steps(checkerMachine);
    steps.wake = wake;
    steps.capture = [take = steps.capture, &log](const platform::USBTarget& target) {
        auto taken = take(target);
        if (taken) describeCapture(**taken, log);
        return taken;
    };
    bool taken = false;
    const auto original = steps.capture;
    steps.capture = [&original, &taken](const platform::USBTarget& target) {
        taken = true;
        return original(target);
    };
    auto reading = Checker::check(*drive, steps, log);
    if (StopOnSignals::requested()) {
        // Said as it is: the device is given back before the check returns, on every path.
        err << "vantrel: interrupted; " << dev(name)
            << (taken ? " was given back to Linux.\n" : " was not taken over.\n");
        StopOnSignals::endBySignal();
    }
    if (!reading) {
        err << "vantrel: " << dev(name) << ": " << reading.error().text() << '\n';
        return exitFor(reading.error());
    }
    return liveReadingOf(std::move(reading).value(), described);
}

std::variant<ATALiveReading, int> readATADrive(std::string_view name, Machine& machine,
                                               std::ostream& err, bool capture, bool wake) {
    if (capture) return readByCapture(name, machine, err, wake);
    // The live path's sentence is held back until it is known whether the capture takes
    // over: a refusal it can get around is no error of the check.
    std::ostringstream live;
    auto read = readATALive(name, machine, live, wake);
    const int* code = std::get_if<int>(&read);
    const bool refused = code && *code == exitNotSupported;
    if (refused && machine.capture && scsiDiskDrive(name, machine.sysfs).transport == Transport::usb) {
        err << "The enclosure of " << dev(name)
            << " doesn't pass health requests through Linux's driver; reading it directly.\n";
        return readByCapture(name, machine, err, wake);
    }
    err << live.str();
    return read;
}

}  // namespace cli
