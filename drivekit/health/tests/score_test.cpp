#include "drivekit/health/score.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
#include <utility>
#include <vector>

#include "drivekit/health/health_rules.hpp"

namespace drivekit {
namespace {

using ReadoutText::Step;

const Locale en{"en_US"};

NVMeHealth drive(int used, int spare, std::uint64_t errors = 0, std::uint8_t warning = 0,
                 int threshold = 10) {
    NVMeHealth health;
    health.percentageUsed = static_cast<std::uint8_t>(used);
    health.availableSpare = static_cast<std::uint8_t>(spare);
    health.spareThreshold = static_cast<std::uint8_t>(threshold);
    health.mediaErrors = errors;
    health.criticalWarning = warning;
    return health;
}

int score(const NVMeHealth& health) {
    return HealthRules::score(health);
}

// Where the NVMe score's rules meet: caps against penalties, clamping at 0, and the
// bits and thresholds that must say nothing.
TEST(NVMeScore, CapsPenaltiesAndClamps) {
    const std::vector<std::pair<NVMeHealth, int>> cases{
        {drive(10, 50), 50},              // life capped by spare
        {drive(255, 100, 5, 0x30), 0},    // past 100% used, whatever the rest
        {drive(0, 100, 2), 85},           // ten for the first error, five for the next
        {drive(0, 100, UINT64_MAX), 60},  // errors cost forty at most
        {drive(80, 100, 7), 0},           // never below 0
        {drive(95, 100, 0, 0x08), 5},     // read-only
        {drive(0, 100, 0, 0xC0), 100},    // bits 6 and 7 say nothing
        {drive(0, 50, 0, 0x02, 60), 10},  // spare at its threshold, and the temperature bit
        {drive(0, 100, 0, 0x01, 10), 10}, // the alarm bit caps at 10, not the spare's 20
        {drive(0, 95, 0, 0, 99), 95},     // an unusable threshold fails nothing
    };
    for (const auto& [health, expected] : cases) {
        EXPECT_EQ(score(health), expected) << int(health.percentageUsed) << " " << int(health.availableSpare)
                                           << " " << health.mediaErrors << " " << int(health.criticalWarning);
    }
}

std::vector<Step> stepsOf(const NVMeHealth& health) {
    Drive nvme;
    nvme.transport = Transport::internalNVMe;
    const auto report = HealthRules::evaluate(health, nvme, en);
    return ReadoutText::scoreSteps(ReadoutText::scoreFacts(health, report), en);
}

TEST(ScoreBreakdown, NVMeRowsRetellTheArithmetic) {
    EXPECT_EQ(stepsOf(drive(10, 50, 1)), (std::vector<Step>{
                                             {"Life left", "90"},
                                             {"Spare capacity 50%: the lower value counts", "50"},
                                             {"Data errors: 1", "−10"},
                                         }));
    // Past 100% used the life row says 0, not a negative number.
    EXPECT_EQ(stepsOf(drive(150, 100)).front(), (Step{"Life left", "0"}));
}

// An ATA reading of a hard drive: no life, no spare, unless a case adds them.
ATAReadings ataReading() {
    ATAReadings readings;
    readings.family = ATAFamily::of(ATAFamily::Kind::hardDrive);
    return readings;
}

TEST(ATAScore, PenaltiesAndCaps) {
    struct Case {
        const char* what;
        void (*change)(ATAReadings&);
        int score;
    };
    const std::vector<Case> cases{
        {"nothing reported", [](ATAReadings&) {}, 100},
        {"spare lower than life", [](ATAReadings& r) { r.life = 80, r.spare = 70; }, 70},
        {"60 reallocated", [](ATAReadings& r) { r.reallocated = 60; }, 70},
        {"a huge reallocated count", [](ATAReadings& r) { r.reallocated = ~0ull; }, 70},
        {"pending at the family's noise",
         [](ATAReadings& r) { r.family.pendingNoise = 1, r.pending = 1; }, 100},
        {"pending above the noise", [](ATAReadings& r) { r.pending = 1; }, 50},
        {"pending doesn't raise", [](ATAReadings& r) { r.pending = 1, r.life = 40; }, 40},
        {"offline uncorrectable", [](ATAReadings& r) { r.offlineUncorrectable = 1; }, 30},
        {"failing now, above 20", [](ATAReadings& r) { r.life = 80, r.anyFailingNow = true; }, 20},
        {"spare at its threshold", [](ATAReadings& r) { r.spare = 60, r.spareThreshold = 60; }, 20},
        {"everything at once, clamped",
         [](ATAReadings& r) {
             r.life = 5, r.reallocated = 100, r.reportedUncorrectable = 50, r.spinRetries = 3;
         },
         0},
        {"halves round away from zero, lower", [](ATAReadings& r) { r.reallocated = 3; }, 99},
    };
    for (const auto& c : cases) {
        ATAReadings readings = ataReading();
        c.change(readings);
        EXPECT_EQ(HealthRules::score(readings), c.score) << c.what;
    }
}

// The rows of an ATA drive retell the same arithmetic from the report the rules made.
TEST(ScoreBreakdown, ATARowsFromTheReport) {
    auto rows = [](const std::vector<ATAAttribute>& table, Transport transport,
                   SMARTStatus status) {
        Drive drive;
        drive.transport = transport;
        drive.isSolidState = true;
        const auto report = HealthRules::evaluate(std::nullopt, table, drive, "s", {}, en);
        const auto facts = ReadoutText::scoreFacts(report, status);
        return ReadoutText::scoreSteps(facts, en);
    };
    // Life 80, spare 70, three uncorrectable sectors (cap 30), an attribute past its
    // threshold (cap 20): the drive's verdict says the rest.
    const std::vector<ATAAttribute> worn{{231, 0x32, 80, 80, 0, 0},
                                         {232, 0x33, 70, 70, 75, 0},
                                         {198, 0x10, 100, 100, 0, 1},
                                         {187, 0x32, 100, 100, 0, 2}};
    // An internal SATA drive is told in the same ATA form as one over USB, never in the
    // NVMe form of spare and warnings.
    const auto steps = rows(worn, Transport::sata, SMARTStatus::failing);
    EXPECT_EQ(steps, (std::vector<Step>{
                         {"Life left", "80"},
                         {"Spare capacity 70%: the lower value counts", "70"},
                         {"Data errors (3) and other problems the drive reports", "−50"},
                     }));

}

}  // namespace
}  // namespace drivekit
