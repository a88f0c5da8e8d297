// The allow-list of platform/ against the blocks DriveKit builds: every builder's output
// must pass, and the commands that could change a drive must not.
#include "platform/scsi_command_policy.hpp"

#include <gtest/gtest.h>

#include "drivekit/health/sat.hpp"
#include "drivekit/health/sat_non_data.hpp"
#include "drivekit/usb/read_capacity.hpp"

namespace drivekit {
namespace {

using platform::CommandPolicy::judge;

bool allowed(const Bytes& cdb) { return judge(cdb).allowed; }

TEST(CommandPolicy, EveryBlockTheProgramBuildsPasses) {
    for (const SAT::Variant variant : SAT::attemptOrder) {
        for (const Bytes& cdb :
             {SAT::identify(variant), SAT::smartReadData(variant),
              SAT::smartReadThresholds(variant), SAT::smartReadLog(variant, 0x06),
              SAT::smartReadLog(variant, 0x00), SAT::smartReturnStatus(variant),
              SAT::smartExecuteOffLineImmediate(variant, SAT::ata::shortSelfTestOffLine),
              SAT::smartExecuteOffLineImmediate(variant, SAT::ata::extendedSelfTestOffLine),
              SAT::smartExecuteOffLineImmediate(variant, 0x7F)}) {
            const auto decision = judge(cdb);
            EXPECT_TRUE(decision.allowed) << decision.what;
        }
    }
    EXPECT_TRUE(allowed(SAT::inquiry()));
    // The blocks the capture and the checker send without a builder of their own.
    EXPECT_TRUE(allowed({0x03, 0x01, 0x00, 0x00, 0xFC, 0x00}));  // REQUEST SENSE
    EXPECT_TRUE(allowed({0x00, 0, 0, 0, 0, 0}));                  // TEST UNIT READY
    EXPECT_TRUE(allowed(ReadCapacity::command10()));
    EXPECT_TRUE(allowed(ReadCapacity::command16()));
    EXPECT_TRUE(allowed({0x28, 0, 0, 0, 0, 0, 0, 0, 8, 0}));
    EXPECT_TRUE(allowed({0x88, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0}));
    // CHECK POWER MODE, non-data, registers asked for.
    EXPECT_TRUE(allowed({0x85, 0x06, 0x20, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE5, 0}));
}

TEST(CommandPolicy, WritesFormatsAndUnknownOpcodesAreRefused) {
    for (const Bytes& cdb : {
             Bytes{0x2A, 0, 0, 0, 0, 0, 0, 0, 1, 0},                          // WRITE (10)
             Bytes{0x8A, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0},        // WRITE (16)
             Bytes{0x04, 0, 0, 0, 0, 0},                                      // FORMAT UNIT
             Bytes{0x41, 0, 0, 0, 0, 0, 0, 0, 0, 0},                          // WRITE SAME (10)
             Bytes{0x9E, 0x12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0},    // other SAI action
             Bytes{0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},                    // vendor-specific
             Bytes{0x28, 0, 0, 0, 0, 0},                                      // READ (10) cut short
             Bytes{},
         }) {
        EXPECT_FALSE(allowed(cdb)) << judge(cdb).what;
    }
}

TEST(CommandPolicy, PassThroughCarriesOnlyReadsAndSelfTests) {
    for (const SAT::Variant variant : SAT::attemptOrder) {
        // ATA commands that change the drive, in the shape of an allowed data-in read.
        // SECURITY ERASE UNIT, SECURITY SET PASSWORD, DOWNLOAD MICROCODE, WRITE LOG EXT,
        // WRITE DMA, DATA SET MANAGEMENT (trim).
        for (const std::uint8_t command : Bytes{0xF4, 0xF1, 0x92, 0x3F, 0xCA, 0x06}) {
            EXPECT_FALSE(allowed(SAT::pioDataIn(variant, command, 0, 0, 0, 0))) << int{command};
        }
        // SMART WRITE LOG (D6h), a log other than the two read, and off-line collection.
        EXPECT_FALSE(allowed(SAT::pioDataIn(variant, 0xB0, 0xD6, 0x06, 0x4F, 0xC2)));
        EXPECT_FALSE(allowed(SAT::smartReadLog(variant, 0x80)));
        EXPECT_FALSE(allowed(SAT::smartExecuteOffLineImmediate(variant, 0x00)));
        EXPECT_FALSE(allowed(SAT::smartNonData(variant, 0xD8, 0, false)));  // ENABLE OPERATIONS

        // An allowed ATA command under a protocol that sends data to the device.
        Bytes dataOut = SAT::identify(variant);
        dataOut[1] = 5 << 1;  // PIO data-out
        EXPECT_FALSE(allowed(dataOut));
        Bytes towardDevice = SAT::identify(variant);
        towardDevice[2] &= static_cast<std::uint8_t>(~0x08);  // T_DIR: to the device
        EXPECT_FALSE(allowed(towardDevice));
    }
}

}  // namespace
}  // namespace drivekit
