#pragma once
// Drives and readings shared by the summary, insight and document tests.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/ata_readings.hpp"
#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "drivekit/health/report.hpp"

namespace drivekit::fixtures {

inline const Locale en{"en_US"};

inline NVMeHealth nvmeHealth() {
    NVMeHealth health;
    health.temperatureC = 38;
    health.availableSpare = 100;
    health.spareThreshold = 10;
    health.percentageUsed = 3;
    health.dataUnitsWritten = 40'000'000;  // 20.48 TB
    health.powerOnHours = 5000;
    health.powerCycles = 812;
    health.unsafeShutdowns = 14;
    health.errorLogEntries = 2;
    health.model = "Samsung SSD 980 PRO 1TB";
    health.serial = "S5GXNF0R123456";
    health.firmware = "5B2QGXA7";
    return health;
}

inline Drive nvmeDrive() {
    Drive drive;
    drive.bsdName = "nvme0n1";
    drive.model = "Samsung SSD 980 PRO 1TB";
    drive.sizeBytes = 1'000'204'886'016;
    drive.transport = Transport::internalNVMe;
    drive.isSolidState = true;
    drive.link = LinkInfo{"PCIe 4.0 ×4", std::nullopt, "PCIe 4.0 ×4", 7482};
    drive.volumes = {Volume{"nvme0n1p1", std::nullopt, "/boot/efi", "vfat"},
                     Volume{"nvme0n1p2", std::nullopt, "/", "ext4"}};
    drive.hostsBootVolume = true;
    drive.blockSize = 512;
    return drive;
}

inline HealthReport nvmeReport(const NVMeHealth& health, const Drive& drive) {
    return HealthRules::evaluate(health, drive, en);
}

/// A SATA SSD in a USB enclosure with an ASMedia ASM235CM bridge.
inline Drive usbDrive() {
    Drive drive;
    drive.bsdName = "sdb";
    drive.model = "USB 3.0 Storage Device";  // the bridge's words, no model
    drive.sizeBytes = 500'107'862'016;
    drive.transport = Transport::usb;
    drive.usb = USBInfo{0x174C, 0x235C, 0x02140000, "ASM235CM", "ASMedia", 7};
    drive.link = LinkInfo{"USB 10 Gb/s", std::nullopt, std::nullopt, 1000};
    drive.volumes = {Volume{"sdb1", "Backup", "/media/ana/Backup", "exfat"}};
    return drive;
}

inline ATAAttribute attribute(std::uint8_t id, std::uint8_t value, std::uint64_t raw,
                              std::uint8_t threshold = 0, std::uint16_t flags = 0x0032) {
    return ATAAttribute{id, flags, value, value, threshold, raw};
}

/// A report of an ATA reading of `drive`, with the findings given; the figures come from
/// the attributes as the readings distil them.
inline HealthReport ataReport(const Drive& drive, std::vector<ATAAttribute> attributes,
                              std::vector<Finding> findings = {},
                              std::vector<SelfTest::Entry> selfTests = {}) {
    HealthReport report;
    report.drive = drive;
    report.source = ReadingSource::ataOverUSB();
    report.model = "Samsung SSD 860 EVO 500GB";
    report.serial = "S3Z1NB0K512345";
    report.firmware = "RVT02B6Q";
    report.ata =
        ATAReadings::make(attributes, report.model, report.firmware, true, drive.sizeBytes);
    report.isSSD = report.ata->isSSD;
    report.lifeRemainingPercent = report.ata->life;
    report.temperatureC = report.ata->temperatureC;
    report.powerOnHours = report.ata->powerOnHours;
    report.dataWrittenBytes = report.ata->writtenBytes;
    report.attributes = std::move(attributes);
    report.findings = std::move(findings);
    report.selfTests = std::move(selfTests);
    return report;
}

}  // namespace drivekit::fixtures
