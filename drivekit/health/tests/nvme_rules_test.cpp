#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "drivekit/health/health_rules.hpp"

namespace drivekit {
namespace {

using Signal = Finding::Signal;

const Locale en{"en_US"};

/// A new, healthy drive: full spare, a sane threshold, no wear, no warnings.
NVMeHealth freshDrive() {
    NVMeHealth health;
    health.temperatureC = 38;
    health.availableSpare = 100;
    health.spareThreshold = 10;
    health.dataUnitsWritten = 2'000'000;
    health.powerOnHours = 1000;
    health.model = "Samsung SSD 980 PRO 1TB";
    health.serial = "S5GXNF0R123456";
    health.firmware = "5B2QGXA7";
    return health;
}

Drive internalDrive() {
    Drive drive;
    drive.bsdName = "nvme0n1";
    drive.model = "Samsung SSD 980 PRO 1TB";
    drive.sizeBytes = 1'000'204'886'016;
    drive.transport = Transport::internalNVMe;
    drive.isSolidState = true;
    return drive;
}

HealthReport rate(const NVMeHealth& health) {
    return HealthRules::evaluate(health, internalDrive(), en);
}

TEST(NVMeRules, AFreshDriveHasNoFindings) {
    const auto report = rate(freshDrive());
    EXPECT_TRUE(report.findings.empty());
    EXPECT_EQ(report.verdict(), Verdict::healthy);
    EXPECT_EQ(report.score, 100);
}

TEST(NVMeRules, EveryAlarmAtOnceComesInRuleOrder) {
    auto health = freshDrive();
    health.criticalWarning = 0xFF;  // bits 6 and 7 say nothing
    health.mediaErrors = 3;
    health.percentageUsed = 95;
    const auto report = rate(health);

    const std::vector<Finding> expected{
        {Verdict::failed, "The drive switched to read-only mode.", Signal::drive},
        {Verdict::failing, "The drive reports its reliability is degraded.", Signal::drive},
        {Verdict::warning,
         "The drive's power-loss backup has failed: a power cut could lose data it hasn't saved "
         "yet.",
         Signal::drive},
        {Verdict::warning,
         "The drive's persistent memory region has become read-only or unreliable.", Signal::drive},
        {Verdict::failed, "The drive reports spare capacity below its critical threshold (100%).",
         Signal::spare},
        {Verdict::watch, "The drive is reporting a temperature warning.", Signal::temp},
        {Verdict::warning, "3 uncorrected data errors recorded.", Signal::errors},
        {Verdict::warning, "95% of rated write endurance used.", Signal::life},
    };
    EXPECT_EQ(report.findings, expected);
    // Read-only and the spare alarm are both failed; the earlier rule is shown.
    EXPECT_EQ(worstFinding(report.findings)->message, "The drive switched to read-only mode.");
    EXPECT_EQ(report.verdict(), Verdict::failed);
    EXPECT_TRUE(report.isReadOnly);
}

TEST(NVMeRules, MediaErrorsAreAWarningFromTheFirstAndNeverMore) {
    auto health = freshDrive();
    health.mediaErrors = 1;
    auto report = rate(health);
    ASSERT_EQ(report.findings.size(), 1u);
    EXPECT_EQ(report.findings[0].verdict, Verdict::warning);
    EXPECT_EQ(report.findings[0].message, "1 uncorrected data errors recorded.");

    // Counts past the signed range are shown as the signed maximum.
    health.mediaErrors = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(rate(health).findings[0].message,
              "9,223,372,036,854,775,807 uncorrected data errors recorded.");
}

TEST(NVMeRules, WearFindingsAndTheirWords) {
    struct Case {
        int used;
        std::optional<Verdict> verdict;
        std::string message;
    };
    const std::string replace = " Many drives keep working, but plan a replacement.";
    for (const auto& c : {
             Case{69, std::nullopt, ""},
             Case{70, Verdict::watch, "70% of rated write endurance used."},
             Case{90, Verdict::warning, "90% of rated write endurance used."},
             Case{100, Verdict::warning,
                  "At or past its rated write endurance (100% used)." + replace},
             Case{101, Verdict::warning, "Past its rated write endurance (101% used)." + replace},
             Case{255, Verdict::warning,
                  "Past its rated write endurance (255% or more used)." + replace},
         }) {
        auto health = freshDrive();
        health.percentageUsed = static_cast<std::uint8_t>(c.used);
        const auto report = rate(health);
        if (!c.verdict) {
            EXPECT_TRUE(report.findings.empty()) << c.used;
            continue;
        }
        ASSERT_EQ(report.findings.size(), 1u) << c.used;
        EXPECT_EQ(report.findings[0].verdict, *c.verdict) << c.used;
        EXPECT_EQ(report.findings[0].signal, Signal::life);
        EXPECT_EQ(report.findings[0].message, c.message);
    }
    // The wording alone, beyond what a byte can hold.
    EXPECT_EQ(HealthRules::wearMessage(300, en),
              "Past its rated write endurance (255% or more used)." + replace);
}

TEST(NVMeRules, SpareRuleVerdicts) {
    using HealthRules::spare;
    // A threshold of 90 or more, or 0, is as good as none.
    EXPECT_EQ(spare(100, 99, false), Verdict::healthy);
    EXPECT_EQ(spare(80, 99, false), Verdict::watch);
    EXPECT_EQ(spare(5, 0, false), Verdict::failing);
    EXPECT_EQ(spare(95, 90, false), Verdict::healthy);
    EXPECT_EQ(spare(40, std::nullopt, false), Verdict::warning);
    EXPECT_EQ(spare(0, std::nullopt, false), Verdict::failed);
    // Against a usable threshold of 10.
    EXPECT_EQ(spare(30, 10, false), Verdict::warning);
    EXPECT_EQ(spare(15, 10, false), Verdict::failing);
    EXPECT_EQ(spare(10, 10, false), Verdict::failed);
    EXPECT_EQ(spare(60, 10, false), Verdict::watch);
    // Near the threshold counts before the 90% test: threshold 85 makes 90 failing.
    EXPECT_EQ(spare(90, 85, false), Verdict::failing);
    EXPECT_EQ(spare(91, 85, false), Verdict::healthy);
    EXPECT_EQ(spare(70, 60, false), Verdict::warning);
    EXPECT_EQ(spare(89, 89, false), Verdict::failed);
    // The drive's own alarm wins over any figure.
    EXPECT_EQ(spare(100, 10, true), Verdict::failed);
}

TEST(NVMeRules, SMARTStatusFromTheCriticalWarning) {
    EXPECT_EQ(SMARTStatusRules::nvme(0x00), SMARTStatus::verified);
    EXPECT_EQ(SMARTStatusRules::nvme(0x02), SMARTStatus::verified);  // watch is not failing
    EXPECT_EQ(SMARTStatusRules::nvme(0xC0), SMARTStatus::verified);
    EXPECT_EQ(SMARTStatusRules::nvme(0x10), SMARTStatus::failing);
    EXPECT_EQ(SMARTStatusRules::nvme(0x01), SMARTStatus::failing);
}

}  // namespace
}  // namespace drivekit
