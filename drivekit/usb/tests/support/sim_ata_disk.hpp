#pragma once
// SimATADisk: an ATA drive behind a SCSI-to-ATA bridge, as a capture sees it through the
// bridge: the bridge's INQUIRY, READ CAPACITY, READ (10) and (16), and SAT ATA
// PASS-THROUGH (12/16) carrying IDENTIFY DEVICE and SMART (data, thresholds, the
// self-test log, return status, off-line immediate). Everything the tests need to turn
// is a public field. Test code only.
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "drivekit/core/bytes.hpp"

namespace drivekit::sim {

class SimATADisk {
public:
    struct Attribute {
        std::uint8_t id = 0;
        std::uint16_t flags = 0;
        std::uint8_t value = 100;
        std::uint8_t worst = 100;
        std::uint64_t raw = 0;
        std::uint8_t threshold = 0;
    };
    struct SelfTest {
        std::uint8_t test = 1;     // LBA low of the test that ran: 1 short, 2 extended
        std::uint8_t status = 0;   // high nibble: result, low nibble: percent left / 10
        std::uint16_t hours = 0;
        std::uint32_t failingLBA = 0;
    };
    /// What the bridge answers to one command block.
    struct Reply {
        std::uint8_t status = 0;  // SCSI status: 0 good, 2 CHECK CONDITION
        Bytes data;
        Bytes sense;              // set with CHECK CONDITION
    };

    // The bridge
    std::string vendor = "SimBrdg";
    std::string product = "SATA Bridge";
    /// False: the bridge answers every ATA PASS-THROUGH with ILLEGAL REQUEST.
    bool passesATA = true;

    // The drive
    std::string model = "SIMDISK SSD 1TB";
    std::string serial = "SIM00000001";
    std::string firmware = "SIM1.0";
    std::uint16_t rotationRate = 1;
    std::uint64_t sectors = 1'953'525'168;
    bool smartEnabled = true;
    std::vector<Attribute> attributes = {
        {5, 0x0033, 100, 100, 0, 10},
        {9, 0x0032, 99, 99, 1234, 0},
        {12, 0x0032, 99, 99, 321, 0},
        {194, 0x0022, 65, 50, 35, 0},
    };
    std::vector<SelfTest> selfTests;  // oldest first
    /// Blocks that can't be read: READ fails with MEDIUM ERROR when it touches one.
    std::set<std::uint64_t> unreadable;
    /// SMART RETURN STATUS says a threshold is exceeded.
    bool thresholdExceeded = false;
    /// Spun down: CHECK POWER MODE says so, and any other ATA command wakes the drive.
    bool standby = false;
    int wakeUps = 0;

    Reply execute(ByteView cdb);

    /// The pattern a block reads as, so tests can tell blocks apart.
    static Bytes blockContent(std::uint64_t lba);

    // What came in
    std::vector<Bytes> commands;
    int ataCommands = 0;
    /// Any command that would change the medium. The program must never send one.
    int writeAttempts = 0;

private:
    Reply ataPassThrough(ByteView cdb);
    Reply read(std::uint64_t lba, std::uint64_t count);
    Bytes identifyPage() const;
    Bytes smartDataPage() const;
    Bytes thresholdsPage() const;
    Bytes selfTestLogPage() const;
    Bytes lastSense_;
};

/// Fixed-format sense data: key, ASC, ASCQ.
Bytes fixedSense(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq);

}  // namespace drivekit::sim
