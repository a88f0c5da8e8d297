#include "drivekit/usb/tests/support/sim_ata_disk.hpp"

#include <algorithm>

#include "drivekit/health/tests/ata_pages.hpp"

namespace drivekit::sim {

SimATADisk ataDisk(const ATAContents& contents) {
    SimATADisk disk;
    disk.blocks = contents.sectors;

    testpages::IdentifyPage identify;
    identify.word(0, 0x0040).serial(contents.serial).firmware(contents.firmware).model(contents.model);
    identify.word(49, 0x0300);  // LBA and DMA
    const std::uint64_t lba28 = std::min<std::uint64_t>(contents.sectors, 0x0FFFFFFF);
    identify.word(60, static_cast<std::uint16_t>(lba28 & 0xFFFF)).word(61, static_cast<std::uint16_t>(lba28 >> 16));
    identify.word(82, 0x0001).word(83, 0x4400).word(85, 0x0001).word(86, 0x0400);  // SMART, 48-bit
    for (std::size_t w = 0; w < 4; ++w) {
        identify.word(100 + w, static_cast<std::uint16_t>((contents.sectors >> (16 * w)) & 0xFFFF));
    }
    identify.word(217, 1);  // solid state
    disk.identify = identify.sealed();

    testpages::SmartDataPage data;
    testpages::ThresholdsPage thresholds;
    for (std::size_t slot = 0; slot < contents.attributes.size() && slot < 30; ++slot) {
        const auto& a = contents.attributes[slot];
        data.attribute(slot, a.id, a.flags, a.value, a.worst, a.raw);
        thresholds.threshold(slot, a.id, a.threshold);
    }
    disk.smartData = data.sealed();
    disk.smartThresholds = thresholds.sealed();

    testpages::SelfTestLogPage log;
    const std::size_t kept = std::min<std::size_t>(contents.selfTests.size(), 21);
    for (std::size_t i = 0; i < kept; ++i) {
        const auto& t = contents.selfTests[contents.selfTests.size() - kept + i];
        log.descriptor(i + 1, t.test, t.status, t.hours, t.failingLBA);
    }
    log.newest(static_cast<std::uint8_t>(kept));
    disk.selfTestLog = log.sealed();
    return disk;
}

SimATADisk labSATADisk() {
    SimATADisk disk;
    disk.vendor = "ATA";
    disk.product = "HWLAB SATA SSD";
    disk.identify = testpages::IdentifyPage()
                        .model("HWLAB SATA SSD")
                        .serial("SER123")
                        .firmware("FW1")
                        .word(82, 0x0001)
                        .word(85, 0x0001)
                        .word(217, 1)
                        .word(100, 0x2000)
                        .sealed();
    disk.smartData = testpages::SmartDataPage()
                         .attribute(0, 5, 0x0033, 100, 100, 0)
                         .attribute(1, 9, 0x0032, 99, 99, 1240)
                         .attribute(2, 194, 0x0022, 40, 30, 0x0000'3C00'0012'0028)
                         .selfTestStatus(0xF3)
                         .byteAt(372, 2)
                         .byteAt(373, 30)
                         .sealed();
    disk.smartThresholds = testpages::ThresholdsPage().threshold(0, 5, 10).threshold(1, 9, 0).sealed();
    disk.selfTestLog = testpages::SelfTestLogPage()
                           .descriptor(1, 1, 0x00, 1200)
                           .descriptor(2, 2, 0x79, 1239, 1000)
                           .newest(2)
                           .sealed();
    return disk;
}

}  // namespace drivekit::sim
