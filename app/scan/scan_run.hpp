#pragma once
// One surface scan of one named drive, from the device name to the saved record: which
// way the drive is read (SCSI commands through the kernel for SATA and USB disks, O_DIRECT
// reads of the block device for NVMe and SD cards), the engine, the summary line and
// scans.json. Front ends parse, call `run`, and print what comes back. For a user who
// can't read disks the privileged service runs the engine, and the rest happens here.
//
// A USB drive can also be read by capture: taken from its kernel driver exactly as the
// careful check takes it (the same refusals, unmount and give-back) and scanned through
// the enclosure, for bridges whose driver won't pass the reads or hides their errors.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "app/failure.hpp"
#include "app/machine.hpp"
#include "app/scan/saved_scans.hpp"
#include "app/scan/scan_usage.hpp"
#include "drivekit/scan/surface_scan.hpp"
#include "platform/clock.hpp"
#include "platform/file_store.hpp"
#include "platform/sysfs.hpp"

namespace app::ScanRun {

enum class Route {
    scsi,        // SG_IO: the kernel carries READ CAPACITY and READ (10/16)
    blockReads,  // O_DIRECT pread behind the same commands
    capture,     // the USB device taken from its driver, the commands sent to the enclosure
};

/// The kernel's SCSI disks (sd*) take SCSI commands; every other disk is read directly.
Route routeFor(std::string_view kernelName);

struct Platform {
    const platform::Sysfs& sysfs;
    const platform::Clock& clock;
    OpenSCSI openSCSI;
    OpenSCSI openBlockReads;
    /// Where scans.json lives; empty: the scan isn't saved.
    std::filesystem::path dataFolder;
    /// Where scans.json is read and written.
    platform::FileStore& files;
    /// This process's own files, for the samples of what the scan costs it; absent, none
    /// are taken.
    const platform::ProcFiles* proc = nullptr;
    /// The scan run by the privileged service instead of here (`Machine::serviceScan`);
    /// what it read is then saved here, in this user's own folder.
    decltype(Machine::serviceScan) serviceScan = nullptr;
    /// Set: the disk is a USB drive scanned by capture, taken through this machine's
    /// capture platform as root, or else by the service (`serviceScan`) when there is one.
    Machine* capture = nullptr;
    /// The capture's own steps ("Unmounting sdb…"), before and after the scan's progress.
    std::function<void(const std::string&)> captureSteps = nullptr;
};

struct Outcome {
    enum class Failure { none, notADisk, cannotOpen, service };
    Failure failure = Failure::none;
    int openError = 0;  // errno, with cannotOpen
    /// Why the service didn't scan, with `service`.
    std::optional<app::Failure> serviceFailure;
    /// With `cannotOpen` of a scan by capture: why the drive couldn't be taken.
    std::optional<app::Failure> captureFailure;
    std::string kernelName;
    Route route = Route::scsi;
    std::optional<drivekit::surface_scan::Result> result;
    std::string summaryLine;
    /// The sentence when saving failed; the scan stands all the same.
    std::optional<std::string> saveFailure;
    /// What the scan cost this program, a sample a second.
    ScanUsage usage;
};

/// Scans "/dev/sda" or "sda": a whole disk, never a partition. Blocks until the scan ends.
/// The result is saved and summed up the same way whether the scan ran here or in the
/// service.
Outcome run(const Platform& platform, std::string_view device, drivekit::surface_scan::Mode mode,
            const drivekit::surface_scan::ShouldStop& shouldStop,
            const drivekit::surface_scan::Progress& progress);

/// The failure of a scan that couldn't start, for the front end to word; nothing when it ran.
std::optional<Failure> failureOf(const Outcome& outcome);

}  // namespace app::ScanRun
