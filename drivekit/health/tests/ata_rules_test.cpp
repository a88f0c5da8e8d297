#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/score.hpp"

namespace drivekit {

// Failures show the finding, not its bytes.
inline void PrintTo(const Finding& finding, std::ostream* out) {
    *out << "{" << VerdictText::caseName(finding.verdict) << ", \"" << finding.message << "\", "
         << (finding.signal ? SignalText::raw(*finding.signal) : "no signal") << "}";
}

namespace {

using Signal = Finding::Signal;
using Outcome = SelfTest::Outcome;

const Locale en{"en_US"};

ATAAttribute attr(std::uint8_t id, std::uint64_t raw, std::uint8_t value = 100,
                  std::uint8_t threshold = 0, std::uint16_t flags = 0x0032) {
    return ATAAttribute{id, flags, value, value, threshold, raw};
}

ATAIdentity identity(std::string model, std::optional<int> rotationRate) {
    ATAIdentity id;
    id.model = std::move(model);
    id.serial = "WD-123";
    id.firmware = "01.01A01";
    id.rotationRate = rotationRate;
    id.smartSupported = true;
    id.smartEnabled = true;
    return id;
}

Drive sataDrive(std::optional<bool> solidState = std::nullopt) {
    Drive drive;
    drive.bsdName = "sda";
    drive.model = "ATA Disk";
    drive.sizeBytes = 1'000'204'886'016;
    drive.transport = Transport::sata;
    drive.isSolidState = solidState;
    return drive;
}

HealthReport rate(const std::vector<ATAAttribute>& attributes,
                  const std::optional<ATAIdentity>& id = identity("Generic SSD", std::nullopt),
                  const std::vector<SelfTest::Entry>& log = {}, const Drive& drive = sataDrive(),
                  const Locale& locale = en) {
    return HealthRules::evaluate(id, attributes, drive, "source", log, locale);
}

SelfTest::Entry test(Outcome outcome, std::optional<std::uint32_t> lba = std::nullopt) {
    return SelfTest::Entry{2, outcome, 1239, lba};
}

// A drive that is neither said to be an SSD nor rotating gets a generic family, so it
// fills every figure: spin retries and the lower temperature limit as well as life and spare.
TEST(ATARules, EveryRuleAtOnceComesInRuleOrder) {
    auto id = identity("Generic SSD", std::nullopt);
    id.smartEnabled = false;
    const std::vector<ATAAttribute> table{
        attr(1, 0, 50, 51, 0x000E),  // old-age attribute past its threshold
        attr(5, 12, 5, 10, 0x0033),  // pre-failure attribute past its threshold
        attr(10, 3),
        attr(188, 4),
        attr(198, 2),
        attr(197, 3),
        attr(187, 7),
        attr(231, 0, 9),
        attr(232, 0, 40, 10),
        attr(194, 58),
        attr(199, 6),
    };
    const std::vector<SelfTest::Entry> log{test(Outcome::inProgress),
                                           test(Outcome::readFailure, 1'234'567)};
    const auto report = rate(table, id, log);

    // The order of the rules, told by each finding's verdict and signal; the sentences
    // themselves are the wording table's.
    using Told = std::pair<Verdict, std::optional<Signal>>;
    const std::vector<Told> expected{
        {Verdict::failing, Signal::selfTest},   {Verdict::warning, Signal::drive},
        {Verdict::watch, Signal::connection},   {Verdict::warning, Signal::drive},
        {Verdict::failing, Signal::drive},      {Verdict::failing, Signal::errors},
        {Verdict::warning, Signal::sectors},    {Verdict::warning, Signal::errors},
        {Verdict::warning, Signal::sectors},    {Verdict::warning, Signal::life},
        {Verdict::warning, Signal::spare},      {Verdict::watch, Signal::temp},
        {Verdict::healthy, Signal::connection}, {Verdict::unknown, std::nullopt},
    };
    std::vector<Told> told;
    for (const auto& finding : report.findings) told.emplace_back(finding.verdict, finding.signal);
    EXPECT_EQ(told, expected);
    EXPECT_EQ(report.findings[0].message,
              "The drive's last self-test failed on a read error. First bad sector: 1,234,567.");
    EXPECT_EQ(report.verdict(), Verdict::failing);
    EXPECT_EQ(worstFinding(report.findings)->signal, Signal::selfTest);  // earliest of equals
    EXPECT_EQ(report.score, 0);  // far below zero before the clamp

    // The last rule needs an empty table, and with SMART off both unknowns stand alone.
    const auto empty = rate({}, id);
    const std::vector<Finding> unknowns{
        {Verdict::unknown, "SMART is turned off on this drive.", std::nullopt},
        {Verdict::unknown, "The drive returned no SMART attributes.", std::nullopt},
    };
    EXPECT_EQ(empty.findings, unknowns);
    EXPECT_EQ(empty.verdict(), Verdict::unknown);
    EXPECT_EQ(empty.score, std::nullopt);
}

// Each rule at the values on either side of where it starts to speak.
TEST(ATARules, EachRuleSpeaksFromItsBoundary) {
    struct Case {
        std::vector<ATAAttribute> table;
        std::optional<int> rotationRate;
        std::string model;
        std::optional<Finding> finding;  // the one finding, or none
    };
    const std::string ssd = "Generic SSD";
    const std::string mx500 = "CT500MX500SSD1";
    // clang-format off
    const std::vector<Case> cases{
        {{attr(5, 10)}, 1, ssd, Finding{Verdict::watch, "10 sectors or blocks have been replaced with spares.", Signal::sectors}},
        {{attr(5, 11)}, 1, ssd, Finding{Verdict::warning, "11 sectors or blocks have been replaced with spares.", Signal::sectors}},
        {{attr(231, 0, 31)}, 1, ssd, std::nullopt},
        {{attr(231, 0, 30)}, 1, ssd, Finding{Verdict::watch, "About 30% of rated life left.", Signal::life}},
        {{attr(231, 0, 10)}, 1, ssd, Finding{Verdict::warning, "About 10% of rated life left.", Signal::life}},
        // The MX500 reports one pending sector that never goes away.
        {{attr(197, 1)}, 1, mx500, std::nullopt},
        {{attr(197, 2)}, 1, mx500, Finding{Verdict::warning, "2 sectors are waiting to be remapped (pending).", Signal::sectors}},
        {{attr(197, 1)}, 1, ssd, Finding{Verdict::warning, "1 sectors are waiting to be remapped (pending).", Signal::sectors}},
        {{attr(194, 70)}, 1, ssd, Finding{Verdict::watch, "Running hot: 70 °C.", Signal::temp}},
        {{attr(194, 55)}, 7200, "HDD", Finding{Verdict::watch, "Running hot: 55 °C.", Signal::temp}},
        // An SSD doesn't count spin retries; a hard drive does.
        {{attr(10, 2)}, 1, ssd, std::nullopt},
        {{attr(10, 2)}, 7200, "HDD", Finding{Verdict::warning, "The drive needed 2 retries to spin up.", Signal::drive}},
        {{attr(250, 1, 3, 5, 0x0000)}, 7200, "HDD", Finding{Verdict::warning, "Attribute 250 is past the manufacturer's failure threshold (3 ≤ 5).", Signal::drive}},
        // A spare threshold of 90 can't be trusted, so 95% is fine; without one, 85 is watched.
        {{attr(232, 0, 95, 90)}, 1, ssd, std::nullopt},
        {{attr(232, 0, 85, 0)}, 1, ssd, Finding{Verdict::watch, "Spare capacity has started to shrink (85%).", Signal::spare}},
    };
    // clang-format on
    for (const auto& c : cases) {
        const auto report = rate(c.table, identity(c.model, c.rotationRate));
        const auto expected = c.finding ? std::vector<Finding>{*c.finding} : std::vector<Finding>{};
        EXPECT_EQ(report.findings, expected)
            << "attribute " << int(c.table[0].id) << " raw " << c.table[0].raw << " value "
            << int(c.table[0].value) << (c.finding ? ": " + c.finding->message : "");
    }
}

TEST(ATARules, OnlyTheNewestFinishedSelfTestCounts) {
    const std::vector<ATAAttribute> healthy{attr(9, 1000)};
    struct Case {
        std::vector<SelfTest::Entry> log;
        std::optional<std::string> message;
    };
    const std::vector<Case> cases{
        {{}, std::nullopt},
        {{test(Outcome::passed), test(Outcome::readFailure, 5)}, std::nullopt},
        // Cancelled or interrupted isn't a failure, and hides none behind it either.
        {{test(Outcome::abortedByHost), test(Outcome::servoFailure)}, std::nullopt},
        {{test(Outcome::interruptedByReset), test(Outcome::servoFailure)}, std::nullopt},
        {{test(Outcome::inProgress), test(Outcome::inProgress), test(Outcome::fatalError)},
         "The drive's last self-test was stopped by a fatal error."},
    };
    for (const auto& c : cases) {
        const auto report = rate(healthy, identity("Generic SSD", 1), c.log);
        if (!c.message) {
            EXPECT_TRUE(report.findings.empty()) << report.findings.front().message;
            EXPECT_EQ(report.score, 100);
            continue;
        }
        ASSERT_EQ(report.findings.size(), 1u) << *c.message;
        EXPECT_EQ(report.findings[0], (Finding{Verdict::failing, *c.message, Signal::selfTest}));
        EXPECT_EQ(report.score, 20) << *c.message;
    }
    // The failed test caps a lower score without raising it, and gives one when the table
    // was empty.
    const std::vector<SelfTest::Entry> failed{test(Outcome::unknownFailure)};
    EXPECT_EQ(rate({attr(231, 0, 15)}, identity("Generic SSD", 1), failed).score, 15);
    EXPECT_EQ(rate({}, identity("Generic SSD", 1), failed).score, 20);
}

TEST(ATARules, NotesAndLocaleFormatting) {
    // A bad cable is a note: it is listed but leaves the drive healthy.
    auto report = rate({attr(199, 5)});
    ASSERT_EQ(report.findings.size(), 1u);
    EXPECT_EQ(report.findings[0].verdict, Verdict::healthy);
    EXPECT_EQ(report.verdict(), Verdict::healthy);
    EXPECT_EQ(worstFinding(report.findings), std::nullopt);
    EXPECT_EQ(report.score, 100);

    const Locale de{"de_DE"};
    report = rate({attr(5, 1800)}, identity("Generic SSD", 1),
                  {test(Outcome::readFailure, 1'234'567)}, sataDrive(), de);
    EXPECT_EQ(report.findings[0].message,
              "The drive's last self-test failed on a read error. First bad sector: 1.234.567.");
}

}  // namespace
}  // namespace drivekit
