#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/tests/report_fixtures.hpp"

namespace drivekit {
namespace {

using Signal = Finding::Signal;

using fixtures::en;

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

HealthReport rate(const NVMeHealth& health) {
    return HealthRules::evaluate(health, fixtures::nvmeDrive(), en);
}

TEST(NVMeRules, EveryAlarmAtOnceComesInRuleOrder) {
    auto health = freshDrive();
    health.criticalWarning = 0xFF;  // bits 6 and 7 say nothing
    health.mediaErrors = 3;
    health.percentageUsed = 95;
    const auto report = rate(health);

    // The order of the rules by verdict and signal; the sentences are the wording table's.
    using Told = std::pair<Verdict, std::optional<Signal>>;
    const std::vector<Told> expected{
        {Verdict::failed, Signal::drive},  {Verdict::failing, Signal::drive}, {Verdict::warning, Signal::drive},
        {Verdict::warning, Signal::drive}, {Verdict::failed, Signal::spare},  {Verdict::watch, Signal::temp},
        {Verdict::warning, Signal::errors}, {Verdict::warning, Signal::life},
    };
    std::vector<Told> told;
    for (const auto& finding : report.findings) told.emplace_back(finding.verdict, finding.signal);
    EXPECT_EQ(told, expected);
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

// Where wear starts to speak and where it turns to a warning; the words are the table's.
TEST(NVMeRules, WearFindingsFromTheirBoundaries) {
    for (const auto& [used, verdict] : std::vector<std::pair<int, std::optional<Verdict>>>{
             {69, std::nullopt}, {70, Verdict::watch}, {89, Verdict::watch}, {90, Verdict::warning}, {255, Verdict::warning}}) {
        auto health = freshDrive();
        health.percentageUsed = static_cast<std::uint8_t>(used);
        const auto report = rate(health);
        ASSERT_EQ(report.findings.size(), verdict ? 1u : 0u) << used;
        if (verdict) {
            EXPECT_EQ(report.findings[0].verdict, *verdict) << used;
        }
    }
}

// A threshold of 90 or more, or 0, is as good as none; nearness to a usable threshold
// counts before the 90% test; the drive's own alarm wins over any figure.
TEST(NVMeRules, SpareRuleVerdicts) {
    using HealthRules::spare;
    EXPECT_EQ(spare(80, 99, false), Verdict::watch);
    EXPECT_EQ(spare(10, 10, false), Verdict::failed);
    EXPECT_EQ(spare(90, 85, false), Verdict::failing);
    EXPECT_EQ(spare(91, 85, false), Verdict::healthy);
    EXPECT_EQ(spare(100, 10, true), Verdict::failed);
}

}  // namespace
}  // namespace drivekit
