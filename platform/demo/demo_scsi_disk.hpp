#pragma once
// A disk of the demo machine as SCSI commands find it: a SATA disk behind libata or a USB
// bridge. `DemoSCSIDisk` is what the machine's description says of it; `DemoSCSIDrive`
// is one open connection that answers command blocks from it the way a bridge does:
// INQUIRY, READ CAPACITY (10/16), TEST UNIT READY, REQUEST SENSE, READ (10/16) of blank
// blocks, and ATA PASS-THROUGH (12/16) carrying IDENTIFY DEVICE and SMART (READ DATA,
// READ THRESHOLDS, READ LOG of the self-test log, RETURN STATUS, and the self-test
// start, which is accepted and changes nothing).
//
// A bridge that doesn't pass ATA commands through refuses every pass-through with
// ILLEGAL REQUEST, invalid operation code, as such bridges do; a page the description
// leaves out is a command the drive aborts. Failures read like those of the kernel's
// SCSI pass-through ("The drive refused the command."), with the sense in `log()`.
// Nothing is ever written: write commands are refused like unknown ones.
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "drivekit/core/bytes.hpp"
#include "platform/diagnostics_log.hpp"
#include "platform/scsi_drive.hpp"

namespace platform {

struct DemoSCSIDisk {
    // What INQUIRY reports: "ATA" for a disk on libata, the bridge's words behind USB.
    std::string vendor;
    std::string product;
    std::string revision;
    std::uint64_t blocks = 0;
    std::uint32_t blockSize = 512;
    /// Blocks READ fails on with MEDIUM ERROR, as a failing disk's do.
    std::set<std::uint64_t> unreadableBlocks;

    /// False: the bridge refuses ATA PASS-THROUGH; the drive's pages can't be reached.
    bool passesATA = true;
    // The ATA drive's 512-byte pages; absent ones are commands the drive aborts.
    std::optional<drivekit::Bytes> identify;
    std::optional<drivekit::Bytes> smartData;
    std::optional<drivekit::Bytes> smartThresholds;
    std::optional<drivekit::Bytes> selfTestLog;
    /// What SMART RETURN STATUS says: a threshold has been exceeded.
    bool thresholdExceeded = false;
};

class DemoSCSIDrive final : public drivekit::SCSIDrive {
  public:
    /// `name` is the kernel name used in log lines; the disk must outlive the drive.
    DemoSCSIDrive(std::string name, const DemoSCSIDisk& disk);

    Answer command(drivekit::ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override;
    drivekit::DiagnosticsLog& log() override { return log_; }

    /// What the disk did with one command block: data, or CHECK CONDITION with sense.
    struct Reply;

  private:
    Reply execute(drivekit::ByteView cdb) const;
    Reply ataPassThrough(drivekit::ByteView cdb) const;
    Reply read(std::uint64_t lba, std::uint64_t count) const;

    std::string name_;
    const DemoSCSIDisk& disk_;
    drivekit::DiagnosticsLog log_;
    drivekit::Bytes lastSense_;
};

}  // namespace platform
