#pragma once
// The result of one health reading of one drive. A plain value made once by the rules
// and never changed afterwards; the application turns it into a drive summary and the
// document writer into a health document.
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "drivekit/discovery/drive.hpp"
#include "drivekit/discovery/link.hpp"
#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_readings.hpp"
#include "drivekit/health/detail.hpp"
#include "drivekit/health/finding.hpp"
#include "drivekit/health/forecast.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/health/verdict.hpp"

namespace drivekit {

struct HealthReport {
    /// The drive as discovery saw it when the reading began.
    Drive drive;
    /// How the data was read; one of the texts of `ReadingSource`.
    std::string source;
    /// The model the drive gave; the drive record's when the drive gave none.
    std::string model;
    std::optional<std::string> serial;
    std::optional<std::string> firmware;
    std::optional<bool> isSSD;
    std::optional<int> lifeRemainingPercent;
    std::optional<int> temperatureC;
    std::optional<std::uint64_t> powerOnHours;
    std::optional<std::uint64_t> dataWrittenBytes;
    /// In the order in which the rules ran.
    std::vector<Finding> findings;
    /// The raw ATA table; empty for NVMe.
    std::vector<ATAAttribute> attributes;
    /// Rows of the raw data view; NVMe only.
    std::vector<Detail> details;
    /// 0 to 100.
    std::optional<int> score;
    std::optional<LifeForecast> forecast;
    /// Newest first; empty for NVMe.
    std::vector<SelfTest::Entry> selfTests;
    /// The NVMe drive switched itself to read-only; false for ATA.
    bool isReadOnly = false;
    std::optional<ATAReadings> ata;
    std::optional<SATALink> sataLink;

    /// The overall verdict: see `overallVerdict`.
    Verdict verdict() const { return overallVerdict(findings); }

    /// The greatest verdict of the findings once every `unknown` is dropped; `unknown`
    /// when all of them said `unknown`; `healthy` when there is no finding at all.
    static Verdict overallVerdict(std::span<const Finding> findings);

    bool operator==(const HealthReport&) const = default;
};

/// The finding that gives a drive its one line: the first of the highest verdict among
/// those that are neither `healthy` nor `unknown`; a later equal never replaces it, which
/// makes the order of the rules part of the behaviour. Nothing when none qualifies.
std::optional<Finding> worstFinding(std::span<const Finding> findings);

/// The values of `HealthReport::source`.
namespace ReadingSource {
/// The NVMe log read through the platform, internal or Thunderbolt.
std::string nvme();
/// ATA through a captured USB device.
std::string ataOverUSB();
/// ATA read live through the system's own driver: the USB storage driver for a USB
/// enclosure, the SATA driver for any other disk.
std::string ataLive(Transport transport);
}  // namespace ReadingSource

}  // namespace drivekit
