#pragma once
// The one way every front end reads drives: one drive by name (live, or by the careful
// USB check), or every drive of the machine. A drive's reader is chosen by what discovery
// knows of it (its transport), never by its name. The answer is a typed result (the
// reading with the method that really made it, the rated report, the summary and the
// health document) or a typed Failure that the front end words.
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/failure.hpp"
#include "app/machine.hpp"
#include "app/read_all.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/ata_smart_lib.hpp"
#include "drivekit/health/health_document.hpp"

namespace app {

struct CheckRequest {
    /// Kernel name, "sda".
    std::string name;
    /// Read a USB drive by the careful check at once, without trying the live path.
    bool capture = false;
    /// Read a disk that sleeps too, spinning it up.
    bool wake = false;
    /// Asked between the steps of a careful check; true ends it (the device is given back).
    std::function<bool()> stop = {};
    /// The careful check's progress lines, as they come.
    std::function<void(const std::string&)> progress = {};
};

/// One drive checked.
struct CheckedDrive {
    /// The drive, the reading (its report, its true method, the drive's SMART status)
    /// and its summary.
    DriveRead read;
    /// Discovery shows the drive, so the summary is one the list would show too.
    bool shown = true;
    /// The shareable health document of the reading, serial masked.
    drivekit::HealthDocument document;
};

/// Reads one drive. A USB drive whose enclosure refuses pass-through through Linux's
/// driver is read by the careful check when this machine can take USB devices, and the
/// progress lines say so first.
drivekit::Result<CheckedDrive, Failure> checkDrive(Machine& machine, const CheckRequest& request);

/// The limited document and summary of a drive that couldn't be read, as the list shows
/// it; nothing when discovery doesn't show the drive.
std::optional<CheckedDrive> unreadDrive(const Machine& machine, const std::string& name);

/// The drives `check` reads when none is named: every NVMe drive, in discovery's order.
std::vector<std::string> nvmeDriveNames(const Machine& machine);

/// Every shown drive of the machine, read, in discovery's order (concurrently where the
/// machine allows). Sleeping disks are left asleep unless `wake`.
std::vector<DriveRead> readEveryDrive(const Machine& machine, bool wake);

/// The health document of a read drive, dated by the machine's clock. The serial is
/// masked: a document is made to be shared.
drivekit::HealthDocument documentOf(const DriveRead& read, const Machine& machine);

/// A drive's health document and whether the drive needs its user's care.
struct DocumentedDrive {
    drivekit::HealthDocument document;
    bool needsCare = false;
};

/// Every shown drive's health document, read as `readEveryDrive` reads but without the
/// summaries, which a front end that prints only documents would throw away.
std::vector<DocumentedDrive> documentEveryDrive(const Machine& machine, bool wake);

/// The checks a name gets before anything is sent to a drive: that it is a disk of this
/// machine (`noSuchDevice`) and a whole one (`partition`).
std::optional<Failure> refuseName(const Machine& machine, const std::string& name);

/// The full rated report of a reading as JSON: the raw rows a health document leaves out
/// (the NVMe health log, or an ATA drive's attribute table and self-test log, with its
/// SMART status beside it). Nothing for a drive that wasn't read.
std::optional<drivekit::json::Object> fullReport(const DriveRead& read);

/// What discovery reads on this machine; a machine without a mount table or probe reads
/// as one with nothing mounted and no file system known.
drivekit::Discovery::Sources sourcesOf(const Machine& machine);

/// The drive that holds `folder`, read as `check` reads it (a sleeping disk left asleep);
/// nothing when no drive of this computer holds it or it couldn't be read.
std::optional<DriveRead> readDriveHolding(Machine& machine, const std::string& folder);

/// The kernel name of the drive that holds the root file system; nothing when unknown.
std::optional<std::string> systemDriveName(const Machine& machine);

/// How a pass reads the drives of this machine: its discovery sources, its readers and
/// whether it may read drives concurrently. Sleeping disks are left asleep.
ReadContext readContextOf(const Machine& machine);

/// The failure of opening a disk's pass-through with this errno.
Failure openFailure(int error, const std::string& device);

/// The failure of an ATA session that didn't start on this drive.
Failure identifyFailure(const drivekit::ATASMARTLib::IdentifyFailure& why, const drivekit::Drive& drive);

}  // namespace app
