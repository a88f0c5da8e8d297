#pragma once
// The per-drive half of a refresh pass: which reader a drive goes to, and how what came
// back (a report, or nothing) and the drive record become its `DriveSummary`. Reading
// itself happens in the caller; everything here is pure, so the pass only loops over the
// drives discovery found. A drive that couldn't be read becomes a limited summary, never
// an error.
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/drive_summary.hpp"
#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/wording.hpp"

namespace app::SummaryBuilder {

/// How a pass reads a drive.
enum class ReadStep {
    /// The NVMe reader, internal or Thunderbolt.
    nvme,
    /// The USB reading kept in memory under the drive's `usbKey`.
    storedUSBReport,
    /// ATA SMART live through the system's own driver: USB bridges and internal SATA.
    liveATA,
    /// Nothing to read: a limited summary.
    none,
    /// The drive isn't shown at all.
    notShown,
};

/// NVMe drives are read; a USB drive uses its kept reading when there is one, else a
/// live read when `live` allows; SATA is read live; an SD card is never read; any other
/// drive isn't shown.
ReadStep readStep(const drivekit::Drive& drive, bool hasStoredUSBReport, bool live);

/// What reading one drive came to. No report means the drive couldn't be read (or
/// wasn't): the summary is limited.
struct Reading {
    drivekit::ReadMethod method = drivekit::ReadMethod::none;
    std::optional<drivekit::HealthReport> report;
    /// The decoded log, for an NVMe reading.
    std::optional<drivekit::NVMeHealth> nvme;
    /// The drive's own pass/fail word, where the reading gave one.
    drivekit::SMARTStatus smartStatus = drivekit::SMARTStatus::notSupported;
    /// The disk was asleep and left so: nothing was read.
    bool asleep = false;
};

/// The facts around a drive that the summary takes from discovery and the file system.
struct Surroundings {
    /// Kernel names of the devices stacked on the drive's partitions.
    std::vector<std::string> disksOnTop;
    /// Free space of the file system mounted at a path; nothing when it can't be had.
    std::function<std::optional<FreeSpace>(std::string_view mountPoint)> freeSpace;
    /// The USB check is offered on this system.
    bool usbCheckAvailable = true;
    drivekit::Locale locale;
};

/// The summary of one drive: from the report when `reading` has one (an NVMe reading
/// also needs its log), otherwise limited, worded for the kind of drive. The drive is
/// named as discovery names it, after the model the drive itself reported when there is
/// one: a USB bridge's product name is not the drive's.
DriveSummary summarize(const drivekit::Drive& drive, const Reading& reading,
                       const Surroundings& around);

}  // namespace app::SummaryBuilder
