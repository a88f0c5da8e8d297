#include "drivekit/usb/io_buffer_pool.hpp"

#include <gtest/gtest.h>

#include "drivekit/usb/tests/support/sim_enclosure.hpp"

namespace drivekit {
namespace {

TEST(IOBufferPool, FallsBackToOrdinaryMemoryAndSaysSo) {
    sim::SimEnclosure enclosure;
    enclosure.noDeviceMemory = true;
    auto device = enclosure.open();
    DiagnosticsLog log;
    IOBufferPool pool(deviceMemory(device.get(), log, "Bulk-Only"));
    EXPECT_EQ(pool.buffer("data", 4096).size(), 4096u);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "Bulk-Only: no DMA buffer of 4096 bytes (Operation not supported "
                               "or unimplemented on this platform); using ordinary memory"}));

    DiagnosticsLog quiet;
    IOBufferPool withoutDevice(deviceMemory(nullptr, quiet, "UAS"));
    EXPECT_EQ(withoutDevice.buffer("status", 64).size(), 64u);
    EXPECT_TRUE(quiet.lines().empty());
}

}  // namespace
}  // namespace drivekit
