#pragma once
// The one simulated ATA disk, behind libata or a USB bridge, as SCSI commands find it:
// the demo machine's disks and every test of the SCSI, ATA and USB layers run on it.
//
// `SimATADisk` answers command blocks the way a bridge does: INQUIRY, READ CAPACITY
// (10/16), TEST UNIT READY, REQUEST SENSE, READ (10/16), and ATA PASS-THROUGH (12/16)
// carrying IDENTIFY DEVICE, CHECK POWER MODE and SMART (READ DATA, READ THRESHOLDS, READ
// LOG of the self-test log, RETURN STATUS, ENABLE OPERATIONS and the self-test start,
// which is accepted and changes nothing). A bridge that doesn't pass ATA commands through refuses
// every pass-through with ILLEGAL REQUEST, invalid operation code, as such bridges do; a
// page left out is a command the drive aborts. Nothing is ever written: write commands are
// counted and refused like unknown ones.
//
// `SimSCSIDrive` is one open connection to it, with failures worded like those of the
// kernel's SCSI pass-through ("The drive refused the command.") and the sense in `log()`.
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/bytes.hpp"
#include "platform/diagnostics_log.hpp"
#include "platform/scsi_drive.hpp"

namespace platform {

struct SimATADisk {
    // What INQUIRY reports: "ATA" for a disk on libata, the bridge's words behind USB.
    std::string vendor = "SimBrdg";
    std::string product = "SATA Bridge";
    std::string revision = "0100";
    std::uint64_t blocks = 1'953'525'168;
    std::uint32_t blockSize = 512;
    /// Blocks READ fails on with MEDIUM ERROR, as a failing disk's do.
    std::set<std::uint64_t> unreadableBlocks;

    /// False: the bridge refuses ATA PASS-THROUGH; the drive's pages can't be reached.
    bool passesATA = true;
    /// False: only the 16-byte pass-through is carried; the 12-byte one is refused.
    bool carriesTwelve = true;
    /// False: only the 12-byte pass-through is carried, as some older bridges do.
    bool carriesSixteen = true;
    // The ATA drive's 512-byte pages; absent ones are commands the drive aborts.
    std::optional<Bytes> identify;
    std::optional<Bytes> smartData;
    std::optional<Bytes> smartThresholds;
    std::optional<Bytes> selfTestLog;
    /// What SMART RETURN STATUS says: a threshold has been exceeded.
    bool thresholdExceeded = false;
    /// What CHECK POWER MODE answers in the count register (00h standby, FFh active);
    /// nothing for a drive that aborts the command.
    std::optional<std::uint8_t> powerMode = 0xFF;
    /// False: the drive aborts a self-test start.
    bool takesSelfTests = true;

    /// What the disk did with one command block.
    struct Reply {
        std::uint8_t status = 0;  // SCSI status: 0 good, 2 CHECK CONDITION
        Bytes data;               // with CHECK CONDITION after a READ: the blocks before the bad one
        Bytes sense;              // set with CHECK CONDITION
    };
    Reply execute(ByteView cdb);
    /// When set, what RETURN STATUS answers instead of the registers `thresholdExceeded`
    /// gives: the other forms layers and bridges answer in (fixed-format sense, no sense,
    /// a failure).
    std::optional<Reply> statusReply;

    /// What block `lba` reads as: a pattern of its number, so tests can tell blocks apart.
    static Bytes blockContent(std::uint64_t lba, std::uint32_t size = 512);

    // What came in
    std::vector<Bytes> commands;
    int ataCommands = 0;
    /// Commands that would change the medium. The program must never send one.
    int writeAttempts = 0;

private:
    Reply answer(ByteView cdb);
    Reply ataPassThrough(ByteView cdb);
    Reply read(std::uint64_t lba, std::uint64_t count);
    Bytes lastSense_;
};

/// Fixed-format sense data: key, ASC, ASCQ.
Bytes fixedSense(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq);

class SimSCSIDrive final : public SCSIDrive {
public:
    /// `name` is the kernel name used in log lines; the disk must outlive the drive.
    /// Connections that share a disk from several threads share `guard` too: the disk
    /// records every command it is sent.
    SimSCSIDrive(std::string name, SimATADisk& disk, std::mutex* guard = nullptr);

    Answer command(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override;
    DiagnosticsLog& log() override { return log_; }

private:
    std::string name_;
    SimATADisk& disk_;
    std::mutex* guard_;
    DiagnosticsLog log_;
};

}  // namespace platform
