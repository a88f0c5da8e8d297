#pragma once
// Why the core couldn't do what a front end asked: one closed set for every request
// (check, self-test, list, watch, scan), each case with the data its sentence needs.
// Its sentences are in one table for every front end (failure_text.hpp); the command line
// adds its exit code.
#include <string>

namespace app {

struct Failure {
    enum class Kind {
        /// No disk of that name on this machine.
        noSuchDevice,
        /// The name is a partition, not a whole drive.
        partition,
        /// A disk no reader serves (neither NVMe nor one that takes SCSI commands).
        unknownKind,
        /// Nothing to read: the machine has no drives (of the kind asked for).
        noDrives,
        /// Opening or asking the drive needs root.
        needsRoot,
        /// The privileged service asked, and the system's policy (polkit) didn't allow it.
        notAuthorized,
        /// The drive can't be opened: `error` is the errno.
        cantOpen,
        /// This machine has no way to send SCSI commands at all.
        noSCSI,
        /// The layer between refuses ATA pass-through; `usb` tells an enclosure from a disk.
        noPassThrough,
        /// What came back to IDENTIFY DEVICE can't be its data: `bytes` of it.
        unusableIdentify,
        /// The drive doesn't give its health this way; `detail` is why, in the reader's words.
        notSupported,
        /// The read reached the drive and failed there (an I/O error, a time-out):
        /// `detail` is what failed.
        readFailed,
        /// The disk sleeps and was left asleep.
        asleep,
        /// No USB take-over on this machine.
        noCapture,
        /// The careful check was asked of a drive that isn't on USB.
        notUSB,
        /// The careful check refused the drive, or the enclosure can't be read that way:
        /// `detail` is the sentence.
        captureRefused,
        /// The careful check failed part-way (unmount, capture, transport): `detail`.
        captureFailed,
        /// The USB device went away before it could be taken: `detail`.
        captureDeviceGone,
        /// A stop request ended the careful check; `taken` says whether the device had
        /// been taken (and was given back).
        interrupted,
        /// Self-tests are for ATA drives; this one isn't.
        noSelfTests,
        /// A self-test runs (`percent` done) and starting another would end it.
        selfTestRunning,
        /// The drive didn't take the self-test start.
        selfTestNotStarted,
        /// The drive (or its bridge) refused to end its self-test.
        selfTestNotCancelled,
        /// Disk events can't be watched: `detail` is why.
        cantWatch,
        /// The disk can't be read past the system's cache (O_DIRECT refused).
        noDirectReads,
    };
    Kind kind = Kind::readFailed;
    /// Kernel name of the drive, "sda"; empty when the request named none.
    std::string device = {};
    std::string detail = {};
    int error = 0;
    int bytes = 0;
    int percent = 0;
    bool usb = false;
    bool taken = false;

    bool operator==(const Failure&) const = default;
};

}  // namespace app
