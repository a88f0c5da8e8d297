#pragma once
// Checker: the careful health read of a USB drive. Refuse a drive that is unsafe to take
// over, make sure nothing holds files on it, unmount the whole drive, capture the USB
// device, read IDENTIFY and SMART through the enclosure, give the device back and wait
// until the drive has come back with its volumes. The drive's volumes are gone for the
// duration, so every step that takes something away is paired with giving it back, on
// the failing paths too.
//
// The machine is reached only through `USBSteps`, a record of replaceable functions, so
// the sequence runs the same against fakes in tests. Everything blocks the caller's
// thread, for minutes at worst; progress lines go to the log function on that thread.
//
// The read gives the drive's own pages, not a verdict: the caller rates them with the
// same rules as a live reading, so a drive reads the same whichever way it was reached.
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/result.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_commands.hpp"
#include "drivekit/health/ata_identity.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/usb/capture_failure.hpp"
#include "drivekit/usb/captured_usb_drive.hpp"
#include "platform/block_use.hpp"
#include "platform/scsi_drive.hpp"
#include "platform/clock.hpp"
#include "platform/sysfs.hpp"
#include "platform/usb_device.hpp"
#include "platform/volumes.hpp"

namespace drivekit::Checker {

/// Takes one progress line ("Unmounting sdb…").
using Log = std::function<void(const std::string&)>;

/// The progress lines that mark the capture and the release, by which a caller follows
/// the steps of a check.
inline constexpr std::string_view takingOverLine = "Taking over the USB device…";
inline constexpr std::string_view givingBackLine = "Giving the device back to Linux…";

/// Why a check ended without a reading: the sentence the user sees. Failures of the
/// unmount and of the capture keep their own layer's sentence.
struct Failure {
    enum class Kind {
        unsafe,         // reasons: the clauses against taking the drive over
        unsupported,    // detail: the sentence itself
        busy,           // detail: what holds the drive
        unmount,        // unmount: the volume layer's failure
        capture,        // capture: the capture's failure
        inUse,          // detail: one sentence per use that only its user can end
        asleep,         // the drive was in standby and was given back without waking it
    };
    Kind kind = Kind::unsupported;
    std::vector<std::string> reasons;
    std::string detail;
    platform::UnmountFailure unmount;
    CaptureFailure capture;

    static Failure unsafeDrive(std::vector<std::string> reasons);
    static Failure unsupportedBy(std::string text);
    static Failure busyWith(std::string detail);
    static Failure unmountFailed(platform::UnmountFailure failure);
    static Failure captureFailed(CaptureFailure failure);
    static Failure inUseBy(std::vector<std::string> sentences);
    static Failure asleepDrive();

    std::string text() const;
};

/// The sentence of an unmount that failed: "Linux couldn't unmount the drive: Device or
/// resource busy. Close any open files on it and try again.", "The disk wasn't found.",
/// "Timed out waiting for the drive."
std::string unmountText(const platform::UnmountFailure& failure);

/// What the enclosure gave: the drive's identity, its SMART pages decoded, its self-test
/// log and its own pass/fail word, and how it was reached.
struct Reading {
    std::optional<ATACommands::Inquiry> enclosure;
    ATAIdentity identity;
    SAT::Variant variant = SAT::Variant::sixteen;
    /// Empty when SMART READ DATA failed; thresholds 0 when only the thresholds did.
    std::vector<ATAAttribute> attributes;
    /// Newest first; empty when the log can't be read.
    std::vector<SelfTest::Entry> selfTests;
    SMARTStatus smartStatus = SMARTStatus::notSupported;
    /// "ATA SMART over USB (JMicron JMS578 bridge)", or without the bridge.
    std::string source;
};

/// What the capture of a drive takes besides the drive: the other disks behind its USB
/// interface, and the uses of any of them that only their user can end.
struct InterfaceUse {
    platform::USBTarget target;
    /// The other disks (LUNs) behind the interface, which go away with the drive.
    std::vector<Drive> others;
    /// The LUN of each of `others`, in the same order: after the capture the kernel may
    /// give them each other's names, so only the LUN says which came back as which.
    std::vector<std::uint8_t> otherLUNs;
    /// Sentences refusing the check before anything is unmounted: stacked LUKS, LVM, md
    /// or other device-mapper devices, swap, and unsafe reasons of the other disks.
    std::vector<std::string> refusals;
};

/// The machine, one function per step. Each can be replaced on its own.
struct USBSteps {
    std::function<bool()> isRoot;
    /// Lines naming who holds files under the mount points, one per process.
    std::function<std::vector<std::string>(const std::vector<std::string>& mountPoints)>
        openFileHolders;
    std::function<std::optional<platform::UnmountFailure>(const std::string& bsdName)> unmountWhole;
    std::function<void(const std::string& bsdName)> mountWhole;
    /// The mount points a fresh look at the disk still shows.
    std::function<std::vector<std::string>(const std::string& bsdName)> stillMounted;
    std::function<Result<std::unique_ptr<CapturedUSBDrive>, CaptureFailure>(
        const platform::USBTarget& target)>
        capture;
    /// The drive's interface and what else it carries; when absent, or nothing, the drive
    /// is taken alone at its location, on LUN 0.
    std::function<std::optional<InterfaceUse>(const Drive&)> interfaceUse;
    /// After the unmount: one sentence for each block device of these disks that still
    /// can't be opened exclusively. Nothing, when absent.
    std::function<std::vector<std::string>(const std::vector<std::string>& disks)> exclusiveUse;
    /// Waits for the drive to come back: the disk on `lun` at that location (a card
    /// reader's other slots come back beside it, under other names).
    std::function<void(std::uint32_t locationID, std::uint8_t lun, int expectedVolumes,
                       const Log& log)>
        waitForReturn;
    /// After the drive is back: waits a little for the disk on `lun` at that location to
    /// be back too, under whatever name it has now, and mounts back what the check
    /// unmounted of it.
    std::function<void(std::uint32_t locationID, std::uint8_t lun)> mountBackAt;
    /// True once the user asked to stop: no further command goes to the drive, which is
    /// given back and the sequence ends. Before the capture, nothing more is taken and
    /// what was unmounted is mounted again. Never, when absent.
    std::function<bool()> interrupted;
    /// Read a drive found in standby all the same. Without it, a sleeping drive is asked
    /// nothing that would spin it up, and the check ends `asleep`.
    bool wake = false;
};

/// The clauses against taking the drive over, in their fixed order; empty for a drive
/// that isn't on USB, which is never taken over at all.
std::vector<std::string> unsafeReasons(const Drive& drive);

/// The careful sequence for a USB drive. `onRelease` runs once, right after the device
/// was given back or the capture failed. A drive on another transport is `unsupported`.
Result<Reading, Failure> check(const Drive& drive, const USBSteps& steps, const Log& log,
                               const std::function<void()>& onRelease = {});

/// What runs on the drive while it is taken; a failure ends the sequence with it.
using Work = std::function<std::optional<Failure>(CapturedUSBDrive& drive)>;

/// The careful sequence around any work on the drive (`check` reads its health; a surface
/// scan reads its blocks): the same refusals, unmount, capture, give-back and wait for the
/// drive's return, on every path. Work that fails once the user asked to stop ends
/// `interrupted`. A drive on another transport is `unsupported`.
std::optional<Failure> take(const Drive& drive, const USBSteps& steps, const Log& log, const Work& work,
                            const std::function<void()>& onRelease = {});

/// The read alone, on any SCSIDrive: INQUIRY, IDENTIFY (16, then 12), SMART data and
/// thresholds, the self-test log and SMART RETURN STATUS, each with a 4 s time-out. A drive
/// that gives no identity is `unsupported`, worded by what is known of its bridge.
Result<Reading, Failure> readHealth(SCSIDrive& drive, const Drive& described, const Log& log);

/// How many volumes must come back: those with a mount point, but at least one when the
/// drive has any volume at all.
int expectedVolumes(const Drive& drive);

/// Whether the drive counts as back: all expected volumes mounted, or some mounted for
/// at least `settleSeconds` since the first.
bool isBack(int mounted, int expected,
            std::optional<std::chrono::steady_clock::time_point> firstMountAt,
            std::chrono::steady_clock::time_point now, double settleSeconds);

/// What waiting for the drive needs of the machine.
struct ReturnWatch {
    /// The drive at that USB location now, from a fresh look; nothing while it's away.
    std::function<std::optional<Drive>(std::uint32_t locationID)> find;
    /// The sentences of file systems it won't mount back (see platform::Volumes).
    std::function<std::vector<std::string>(const std::string& bsdName)> mountWhole;
    const platform::Clock* clock = nullptr;
    std::function<void(double seconds)> sleep;
    std::function<bool()> interrupted;
};

/// Waits, looking every 500 ms, until the drive at `locationID` is back (`isBack`, 5 s to
/// settle), asking once after 30 s for its volumes to be mounted. Says how it ended in
/// one log line; never fails. Once interrupted, it ends as soon as the drive is seen,
/// mounting it first when none of its expected volumes is.
void waitForReturn(std::uint32_t locationID, int expectedVolumes, double timeoutSeconds,
                   const Log& log, const ReturnWatch& watch);

/// "cat (PID 4242) has /media/lab/notes.txt open", "bash (PID 77) has its working folder
/// at /media/lab", one line per process.
std::vector<std::string> holderLines(const std::vector<platform::FileHolder>& holders);

/// The machine's own steps.
struct Machine {
    platform::Volumes& volumes;
    const platform::FileHolders& holders;
    platform::USBHost& usb;
    const platform::Clock& clock;
    std::function<void(double seconds)> sleep;
    /// The drive of a whole disk's kernel name, from a fresh look; nothing when it's gone.
    std::function<std::optional<Drive>(std::string_view bsdName)> describe;
    /// The external drives, from a fresh look.
    std::function<std::vector<Drive>()> externalDrives;
    CapturedUSBDrive::Options captureOptions;
    std::function<bool()> interrupted;
    /// Where the drive's interface and its other disks are found; without it the drive
    /// is taken alone.
    const platform::Sysfs* sysfs = nullptr;
    /// Swap and exclusive opens; without it neither is looked at.
    const platform::BlockUse* blockUse = nullptr;
};

inline constexpr double unmountTimeout = 30.0;
inline constexpr double returnTimeout = 120.0;

USBSteps steps(const Machine& machine);

}  // namespace drivekit::Checker
