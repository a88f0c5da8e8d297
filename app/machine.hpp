#pragma once
// The machine every front end runs against: the platform operations and the user's
// locale. The real Linux machine in production (app/linux/linux_machine.hpp), a machine
// described by a fixture file for the demonstration, fixture trees and fakes in tests. A
// plain record of interfaces: whoever builds it owns what it points at and keeps it alive
// while it is used.
#include <functional>
#include <vector>
#include <memory>
#include <string>
#include <string_view>

#include "drivekit/core/local_format.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/usb/captured_usb_drive.hpp"
#include "drivekit/usb/checker.hpp"
#include "app/failure.hpp"
#include "app/scan/scan_usage.hpp"
#include "app/writes/writes_source.hpp"
#include "platform/scsi_drive.hpp"
#include "platform/bench_file.hpp"
#include "platform/block_counters.hpp"
#include "platform/block_probe.hpp"
#include "platform/automount_hold.hpp"
#include "platform/block_use.hpp"
#include "platform/clock.hpp"
#include "platform/disk_events.hpp"
#include "platform/mounts.hpp"
#include "platform/nvme_admin.hpp"
#include "platform/proc_files.hpp"
#include "platform/sysfs.hpp"
#include "platform/usb_device.hpp"
#include "platform/volume_space.hpp"
#include "platform/volumes.hpp"

namespace app {

/// What the careful check needs of this computer beyond the machine's sysfs and mounts.
struct CapturePlatform {
    platform::Volumes& volumes;
    const platform::FileHolders& holders;
    platform::USBHost& usb;
    std::function<void(double seconds)> sleep;
    drivekit::CapturedUSBDrive::Options captureOptions;
    /// Gives drivers back to mass-storage interfaces that an earlier run, killed while it
    /// held them, left without one; a line for each it couldn't. Run before any capture.
    std::function<std::vector<std::string>()> recoverOrphans;
    /// Test hook for the hardware lab: after printing a progress line that begins with
    /// this text, the sequence holds until a signal comes (a minute at most), so a test
    /// can interrupt or kill it at a known step instead of guessing at timings. Empty in
    /// normal use; a `vantrel` built with VANTREL_TEST_HOOKS (the lab preset) takes it from
    /// VANTREL_TEST_HOLD_AFTER, any other build never.
    std::string holdAfter = {};
    /// Swap and exclusive opens of the disks a capture would take; not looked at without.
    const platform::BlockUse* blockUse = nullptr;
    /// Gives every claimed interface back to the kernel at once. Async-signal-safe: a
    /// front end's handler of a second signal calls it and ends the process.
    void (*giveBackNow)() noexcept = nullptr;
};


/// Opens the SCSI pass-through of a disk by kernel name ("sda"); the errno when it can't.
using OpenSCSI = std::function<drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int>(
    std::string_view bsdName)>;

struct Machine {
    const platform::Sysfs& sysfs;
    platform::NVMeAdmin& nvme;
    drivekit::Locale locale;
    /// Absent where no disk takes SCSI commands.
    OpenSCSI openSCSI = nullptr;
    // What discovering every drive needs beyond sysfs. Each may be absent, for commands
    // that read one named drive: no mount table reads as nothing mounted, no probe as no
    // file system known, no space figures as unknown free space.
    const platform::Mounts* mounts = nullptr;
    const platform::BlockProbe* probe = nullptr;
    const platform::VolumeSpace* space = nullptr;
    /// Dates the documents; absent, they carry the system's time.
    const platform::Clock* clock = nullptr;
    /// The process's working folder, absolute; empty when unknown.
    std::string workingDirectory = {};
    /// Every platform operation may be called from several threads at once, so a pass
    /// reads its drives concurrently.
    bool concurrentReads = false;
    /// Direct reads of a disk that isn't a kernel SCSI disk (NVMe, SD cards), for the
    /// surface scan; absent where there is none.
    OpenSCSI openBlockReads = nullptr;
    /// The machine's stream of disks coming and going; nothing, with why, when it can't be
    /// had.
    std::function<std::unique_ptr<platform::DiskEvents>(std::string& why)> openDiskEvents = nullptr;
    /// Taking USB drives from their kernel driver; absent, a USB
    /// enclosure is read only through the driver.
    CapturePlatform* capture = nullptr;
    /// Files the benchmark writes and reads past the cache; absent, no benchmark runs.
    platform::BenchFiles* benchFiles = nullptr;
    /// The processes' own counters, for write accounting; absent, none are read.
    std::shared_ptr<const platform::ProcFiles> procFiles = nullptr;
    /// Holds the desktop's automount back from USB disks that arrive while they are checked;
    /// absent, or nothing with why, when it can't be had.
    std::function<std::unique_ptr<platform::AutomountHold>(std::string& why)> holdAutomount = nullptr;
    /// The careful USB check done by the privileged service, for a user who can't take
    /// USB devices; absent where there is no service.
    std::function<drivekit::Result<drivekit::Checker::Reading, Failure>(
        const drivekit::Drive& drive, bool wake, const std::function<bool()>& stop,
        const std::function<void(const std::string&)>& progress)>
        serviceCheck = nullptr;
    /// True when the privileged service said the user may not do what was last asked of
    /// this drive; never, without a service.
    std::function<bool(std::string_view name)> serviceRefused = nullptr;
    /// A surface scan of a whole disk by kernel name, run by the privileged service for a
    /// user who can't read disks: `progress` gets what it read so far, `shouldStop` true
    /// cancels it there. `byCapture`: a USB drive taken from its kernel driver for the scan
    /// as the careful check takes it, and `steps` gets the capture's lines. Absent where
    /// there is no service.
    std::function<drivekit::Result<ScanAnswer, Failure>(
        std::string_view name, drivekit::surface_scan::Mode mode, bool byCapture,
        const drivekit::surface_scan::ShouldStop& shouldStop, const drivekit::surface_scan::Progress& progress,
        const std::function<void(const std::string&)>& steps)>
        serviceScan = nullptr;
    /// Every process's write counters through the privileged service; absent without one.
    std::shared_ptr<WritesSource> serviceWrites = nullptr;
    /// Waits between the looks at a long job of the drive's own (a self-test); absent, the
    /// thread sleeps.
    std::function<void(double seconds)> pause = nullptr;
    /// Unmounting, stopping arrays and powering drives off, for ejecting; absent, no drive
    /// is ejected or mounted again.
    platform::Volumes* volumes = nullptr;
    /// Who holds files on a volume, named when an eject is refused as busy.
    const platform::FileHolders* holders = nullptr;
    /// The machine's mount table changing (`mountsChanged` events); nothing, with why,
    /// when it can't be watched.
    std::function<std::unique_ptr<platform::DiskEvents>(std::string& why)> openMountEvents = nullptr;
    /// Disks' byte counters for live speeds; from one thread at a time (the store's).
    platform::BlockCounterReader* blockCounters = nullptr;
};

}  // namespace app
