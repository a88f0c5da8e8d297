#include "drivekit/health/power_mode.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

// Descriptor-format sense as libata and SAT bridges return it for a pass-through command
// with CK_COND set: ATA PASS-THROUGH INFORMATION AVAILABLE and the ATA status return
// descriptor (09h) holding the registers.
Bytes registersAnswer(std::uint8_t count, std::uint8_t status = 0x50) {
    Bytes sense{0x72, 0x01, 0x00, 0x1D, 0, 0, 0, 14, 0x09, 0x0C, 0, 0x00, 0, count,
                0,    0,    0,    0,    0, 0, 0x40, status};
    return sense;
}

TEST(PowerMode, ReadsTheCountRegisterAndTrustsNothingElse) {
    EXPECT_EQ(PowerModes::fromAnswer(registersAnswer(0x00)), PowerMode::standby);
    EXPECT_EQ(PowerModes::fromAnswer(registersAnswer(0x40)), PowerMode::standby);
    EXPECT_EQ(PowerModes::fromAnswer(registersAnswer(0x80)), PowerMode::active);
    // A drive that rejects the command (ERR) says nothing about its state, and neither
    // does an answer without registers.
    EXPECT_FALSE(PowerModes::fromAnswer(registersAnswer(0x00, 0x51)));
    EXPECT_FALSE(PowerModes::fromAnswer(Bytes{0x70, 0, 0x05, 0, 0, 0, 0, 10}));
}

}  // namespace
}  // namespace drivekit
