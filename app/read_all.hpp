#pragma once
// The reading half of a refresh pass: every drive discovery finds, read by the way its
// transport allows, made into its summary. NVMe drives through the NVMe reader; a USB
// drive from the reading kept for its port, else live through the system's own driver;
// internal SATA live; SD cards and drives that couldn't be read as limited summaries. A
// failed read is never an error, only a limited summary. Synchronous and slow (seconds
// for a drive that times out): run it off any thread that draws.
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/drive_summary.hpp"
#include "app/summary_builder.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/ata_smart_lib.hpp"
#include "drivekit/health/health_document.hpp"
#include "drivekit/health/nvme_reader.hpp"
#include "platform/nvme_admin.hpp"

namespace app {

/// USB readings made through a hand-over, kept while the drive stays connected, under the
/// `usbKey` of their drive.
using USBReports = std::map<std::string, SummaryBuilder::Reading>;

/// What a pass reads with.
struct ReadContext {
    drivekit::Discovery::Sources discovery;
    platform::NVMeAdmin& nvme;
    /// The ATA pass-through of a disk by kernel name; empty where no disk takes SCSI
    /// commands, and then nothing is read live.
    drivekit::ATASMARTLib::Connect connect;
    /// Free space of the file system mounted at a path; empty or nothing when unknown.
    std::function<std::optional<FreeSpace>(std::string_view mountPoint)> freeSpace;
    /// The USB check is offered on this system.
    bool usbCheckAvailable = true;
    /// Read ATA disks that sleep too, waking them. Off, a sleeping disk is asked only
    /// whether it sleeps and is left so: a monitor must not keep disks spinning.
    bool wake = false;
    /// Describe and read each drive on a thread of its own, a drive's read starting as
    /// soon as it is described: a pass then takes as long as its slowest drive, not the
    /// sum. Only for platforms whose operations may be called from several threads at
    /// once (each read opens its own handles).
    bool concurrent = false;
};

/// One drive of a pass before its summary: the record discovery gave once the read was
/// over, and what reading it came to.
struct DriveReading {
    drivekit::Drive drive;
    SummaryBuilder::Reading reading;
};

/// One drive of a pass: the record discovery gave once the read was over, what reading
/// it came to, and its summary.
struct DriveRead {
    drivekit::Drive drive;
    SummaryBuilder::Reading reading;
    DriveSummary summary;
};

/// The NVMe read of one drive, rated.
drivekit::Result<SummaryBuilder::Reading, drivekit::NVMeReader::Failure> readNVMe(
    const drivekit::Drive& drive, platform::NVMeAdmin& nvme, const drivekit::Locale& locale);

/// The live ATA read of one disk on its open connection, rated: asked first whether the
/// disk sleeps (a sleeping disk is left so unless `wake`: the reading says `asleep`),
/// then one session that sends IDENTIFY once and reads every page after it.
drivekit::Result<SummaryBuilder::Reading, drivekit::ATASMARTLib::IdentifyFailure> readATA(
    std::unique_ptr<drivekit::SCSIDrive> connection, const drivekit::Drive& drive, bool wake,
    const drivekit::Locale& locale);

/// Reads one drive and summarizes it; nothing for a drive that isn't shown. `live` allows
/// the live ATA read of USB drives that have no kept reading.
std::optional<DriveRead> readDrive(const drivekit::Drive& drive, const USBReports& reports,
                                   bool live, const ReadContext& context);

/// The summary of a drive from a reading made elsewhere (a command that already read
/// it); nothing for a drive that isn't shown.
std::optional<DriveRead> summarized(const drivekit::Drive& drive, SummaryBuilder::Reading reading,
                                    const ReadContext& context);

/// Every shown drive read, in discovery's order, without summaries: for a front end that
/// shows only health documents. When the mount table changed during the reads (a read can
/// take seconds, and a drive may have been mounted or unmounted meanwhile), discovery is
/// asked again and each drive takes up its fresh mount facts; a drive gone by then keeps
/// what it had.
std::vector<DriveReading> readReadings(const USBReports& reports, bool live, const ReadContext& context);

/// `readReadings`, each drive summarized.
std::vector<DriveRead> readDrives(const USBReports& reports, bool live, const ReadContext& context);

/// The summaries of `readDrives`.
std::vector<DriveSummary> readAll(const USBReports& reports, bool live, const ReadContext& context);

/// Whether a drive needs its user's care: its rating is warning or worse, or the drive's
/// own SMART status says it is failing, which the rules leave aside. The one policy
/// behind every front end's "needs care".
bool needsCare(const SummaryBuilder::Reading& reading);
bool needsCare(const DriveRead& read);

/// What the health document of a drive read by this pass is made from.
drivekit::HealthDocument::Source documentSource(const drivekit::Drive& drive,
                                                const SummaryBuilder::Reading& reading);
drivekit::HealthDocument::Source documentSource(const DriveRead& read);

}  // namespace app
