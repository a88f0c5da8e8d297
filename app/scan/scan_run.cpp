#include "app/scan/scan_run.hpp"

#include <malloc.h>

#include <cerrno>

#include "app/drive_check.hpp"
#include "app/usb_check.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/discovery/io_stats.hpp"

namespace app::ScanRun {
namespace {

std::optional<std::string> attribute(const platform::Sysfs& sysfs, const std::string& path) {
    auto value = sysfs.read(path);
    if (!value) return std::nullopt;
    auto trimmed = drivekit::text::trimmed(*value);
    if (trimmed.empty()) return std::nullopt;
    return std::string(trimmed);
}

// The scan over the drive taken from its driver, with the careful check's sequence around
// it. Nothing here sends a command the scan engine doesn't.
void scanByCapture(const Platform& platform, std::string_view name, drivekit::surface_scan::Mode mode,
                   const drivekit::surface_scan::ShouldStop& shouldStop,
                   const drivekit::surface_scan::Progress& progress, Outcome& outcome) {
    Machine& machine = *platform.capture;
    const auto drive = drivekit::Discovery::drive(name, sourcesOf(machine));
    if (!drive) {
        outcome.failure = Outcome::Failure::notADisk;
        return;
    }
    const auto steps = [&platform](const std::string& line) {
        if (platform.captureSteps) platform.captureSteps(line);
    };
    const auto scan = [&](const drivekit::Checker::USBSteps& wired,
                          const drivekit::Checker::Log& log) -> std::optional<drivekit::Checker::Failure> {
        return drivekit::Checker::take(*drive, wired, log, [&](drivekit::CapturedUSBDrive& captured) {
            std::optional<ScanUsageSampler> sampler;
            if (platform.proc) sampler.emplace([proc = platform.proc] { return ownUse(*proc); });
            // The enclosure takes what its bridge takes; the negotiation finds that out.
            outcome.result =
                drivekit::surface_scan::run(captured, mode, std::nullopt, platform.clock, shouldStop, progress);
            if (sampler) outcome.usage = sampler->finish();
            return std::optional<drivekit::Checker::Failure>();
        });
    };
    const std::function<bool()> stop = [&shouldStop] { return shouldStop && shouldStop(); };
    if (auto failure = withCapture(*drive, machine, stop, steps, scan)) {
        outcome.failure = Outcome::Failure::cannotOpen;
        outcome.captureFailure = std::move(*failure);
        outcome.result.reset();
    }
}

}  // namespace

Route routeFor(std::string_view kernelName) {
    // SATA, SAS and USB disks are the kernel's SCSI disks; NVMe namespaces, SD cards,
    // virtio disks and loop devices take no SCSI commands.
    return kernelName.starts_with("sd") ? Route::scsi : Route::blockReads;
}

Outcome run(const Platform& platform, std::string_view device, drivekit::surface_scan::Mode mode,
            const drivekit::surface_scan::ShouldStop& shouldStop,
            const drivekit::surface_scan::Progress& progress) {
    Outcome outcome;
    std::string_view name = device;
    if (name.starts_with("/dev/")) name.remove_prefix(5);
    outcome.kernelName = std::string(name);
    const std::string base = "/sys/class/block/" + outcome.kernelName;
    const bool plain = !name.empty() && name.find('/') == std::string_view::npos && name != "." && name != "..";
    if (!plain || !platform.sysfs.exists(base) || platform.sysfs.exists(base + "/partition")) {
        outcome.failure = Outcome::Failure::notADisk;
        return outcome;
    }
    outcome.route = platform.capture ? Route::capture : routeFor(name);
    // SG_IO hands the command to the device whole, so it must fit the queue's transfer
    // limit; a direct read of the block device is split by the kernel into requests that
    // fit, and larger reads are then only faster.
    const auto maxBytes = outcome.route == Route::scsi ? drivekit::ReadLimit::maxBytes(name, platform.sysfs)
                                                       : std::nullopt;
    // Named before the scan: a drive taken by capture may come back under another name.
    const std::string model = attribute(platform.sysfs, base + "/device/model").value_or(outcome.kernelName);
    const auto serial = attribute(platform.sysfs, base + "/device/serial");
    std::unique_ptr<drivekit::SCSIDrive> drive;
    // Without root the privileged service takes the USB drive over, when there is one.
    const bool mayCapture = platform.capture && platform.capture->capture && platform.capture->capture->usb.privileged();
    const bool inService = platform.serviceScan && (!platform.capture || !mayCapture);
    if (inService && platform.capture) {
        // Refused here as the capture would refuse it, before the service is asked.
        const auto disk = drivekit::Discovery::drive(name, sourcesOf(*platform.capture));
        if (!disk || disk->transport != drivekit::Transport::usb) {
            outcome.failure = disk ? Outcome::Failure::cannotOpen : Outcome::Failure::notADisk;
            if (disk) outcome.captureFailure = Failure{Failure::Kind::notUSB, outcome.kernelName};
            return outcome;
        }
    }
    if (inService) {
        const auto steps = [&platform](const std::string& line) {
            if (platform.captureSteps) platform.captureSteps(line);
        };
        auto answer = platform.serviceScan(name, mode, platform.capture != nullptr, shouldStop, progress, steps);
        if (!answer) {
            outcome.failure = Outcome::Failure::service;
            outcome.serviceFailure = std::move(answer.error());
            return outcome;
        }
        outcome.result = std::move(answer->result);
        outcome.usage = std::move(answer->usage);
    } else if (platform.capture) {
        scanByCapture(platform, name, mode, shouldStop, progress, outcome);
        if (outcome.failure != Outcome::Failure::none) return outcome;
    } else {
        const OpenSCSI& open = outcome.route == Route::scsi ? platform.openSCSI : platform.openBlockReads;
        if (!open) {
            outcome.failure = Outcome::Failure::cannotOpen;
            outcome.openError = ENOTSUP;
            return outcome;
        }
        auto opened = open(name);
        if (!opened) {
            outcome.failure = Outcome::Failure::cannotOpen;
            outcome.openError = opened.error();
            return outcome;
        }
        drive = std::move(opened).value();
        // Each read's answer is a fresh 512 KB buffer. glibc serves blocks that large with
        // mmap and gives them back on free, so every read would fault in and zero 128 new
        // pages; kept on the heap, the same memory serves read after read.
        ::mallopt(M_MMAP_THRESHOLD, 64 << 20);
        ::mallopt(M_TRIM_THRESHOLD, 128 << 20);
        std::optional<ScanUsageSampler> sampler;
        if (platform.proc) sampler.emplace([proc = platform.proc] { return ownUse(*proc); });
        outcome.result = drivekit::surface_scan::run(*drive, mode, maxBytes, platform.clock, shouldStop, progress);
        if (sampler) outcome.usage = sampler->finish();
    }

    outcome.summaryLine = ScanWording::summaryLine(model, *outcome.result, maxBytes);
    // The service notes the line in its own log of the drive.
    if (drive) drive->log().note(outcome.summaryLine);

    if (!platform.dataFolder.empty()) {
        const auto file = ScanStore::file(platform.dataFolder);
        SavedScans saved = ScanStore::read(platform.files, file);
        SavedScan scan{serial ? "serial:" + *serial : "device:" + outcome.kernelName,
                       serial, std::nullopt, model, model, platform.clock.now(), *outcome.result};
        outcome.saveFailure = ScanStore::save(platform.files, saved, std::move(scan), file);
    }
    return outcome;
}

std::optional<app::Failure> failureOf(const Outcome& outcome) {
    Failure f;
    f.device = outcome.kernelName;
    switch (outcome.failure) {
        case Outcome::Failure::none:
            return std::nullopt;
        case Outcome::Failure::notADisk:
            f.kind = Failure::Kind::noSuchDevice;
            return f;
        case Outcome::Failure::service:
            return outcome.serviceFailure.value_or(f);
        case Outcome::Failure::cannotOpen:
            if (outcome.captureFailure) return outcome.captureFailure;
            break;
    }
    f.error = outcome.openError;
    f.kind = outcome.openError == EACCES || outcome.openError == EPERM ? Failure::Kind::needsRoot
             : outcome.openError == EINVAL                            ? Failure::Kind::noDirectReads
                                                                       : Failure::Kind::cantOpen;
    return f;
}

}  // namespace app::ScanRun
