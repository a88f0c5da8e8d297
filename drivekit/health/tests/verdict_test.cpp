#include "drivekit/health/verdict.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "drivekit/health/finding.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/tier.hpp"

namespace drivekit {
namespace {

Finding finding(Verdict verdict, std::string message) {
    return Finding{verdict, std::move(message), Finding::Signal::drive};
}

Verdict overall(const std::vector<Finding>& findings) {
    HealthReport report;
    report.findings = findings;
    return report.verdict();
}

TEST(Verdict, IntegersNamesKeysAndSummaries) {
    EXPECT_EQ(VerdictText::raw(Verdict::healthy), 0);
    EXPECT_EQ(VerdictText::raw(Verdict::failed), 4);
    EXPECT_EQ(VerdictText::raw(Verdict::unknown), 5);
    for (int i = 0; i <= 5; ++i) EXPECT_EQ(VerdictText::raw(*VerdictText::fromInt(i)), i);
    EXPECT_FALSE(VerdictText::fromInt(-1));
    EXPECT_FALSE(VerdictText::fromInt(6));

    EXPECT_EQ(VerdictText::name(Verdict::watch), "Watch");
    EXPECT_EQ(VerdictText::key(Verdict::failing), "tier.failing");
    EXPECT_EQ(VerdictText::key(Verdict::unknown), "tier.unknown");
    EXPECT_EQ(VerdictText::summary(Verdict::healthy), "This drive is healthy. Nothing to do.");
    EXPECT_EQ(VerdictText::summary(Verdict::failed),
              "This drive has failed or is read-only. Copy what you can and replace it.");
    EXPECT_EQ(VerdictText::summary(Verdict::unknown),
              "Vantrel couldn't read this drive's health data.");
}

TEST(Verdict, WorstOfAListKeepsUnknownAndIsNothingWhenEmpty) {
    EXPECT_FALSE(worstVerdict({}));
    const std::vector<Verdict> verdicts{Verdict::watch, Verdict::failed, Verdict::warning};
    EXPECT_EQ(worstVerdict(verdicts), Verdict::failed);
    // Callers drop unknown themselves; the plain worst doesn't.
    const std::vector<Verdict> withUnknown{Verdict::failed, Verdict::unknown};
    EXPECT_EQ(worstVerdict(withUnknown), Verdict::unknown);
}

TEST(Verdict, SignalsParseOnlyTheirOwnWords) {
    EXPECT_EQ(SignalText::raw(Finding::Signal::selfTest), "selfTest");
    EXPECT_EQ(SignalText::raw(Finding::Signal::temp), "temp");
    for (auto signal : {Finding::Signal::life, Finding::Signal::spare, Finding::Signal::errors,
                        Finding::Signal::temp, Finding::Signal::sectors, Finding::Signal::selfTest,
                        Finding::Signal::drive, Finding::Signal::connection}) {
        EXPECT_EQ(SignalText::parse(SignalText::raw(signal)), signal);
    }
    EXPECT_FALSE(SignalText::parse("temperature"));
    EXPECT_FALSE(SignalText::parse("Life"));
}

TEST(Verdict, OverallVerdictOfAReport) {
    // Nothing found is healthy, even when nothing else could be read.
    EXPECT_EQ(overall({}), Verdict::healthy);
    // Only unknown findings: unknown.
    EXPECT_EQ(overall({finding(Verdict::unknown, "a"), finding(Verdict::unknown, "b")}),
              Verdict::unknown);
    // Unknown is not a severity: a watch beside it decides.
    EXPECT_EQ(overall({finding(Verdict::unknown, "a"), finding(Verdict::watch, "b")}),
              Verdict::watch);
    // A healthy note never raises the verdict, and stays in the list.
    HealthReport noted;
    noted.findings = {finding(Verdict::healthy, "connection note")};
    EXPECT_EQ(noted.verdict(), Verdict::healthy);
    EXPECT_EQ(noted.findings.size(), 1u);
    EXPECT_EQ(overall({finding(Verdict::warning, "a"), finding(Verdict::failed, "b"),
                       finding(Verdict::watch, "c")}),
              Verdict::failed);
}

TEST(Verdict, WorstFindingIsTheFirstOfTheHighestVerdict) {
    EXPECT_FALSE(worstFinding({}));
    const std::vector<Finding> notesOnly{finding(Verdict::healthy, "note"),
                                         finding(Verdict::unknown, "unread")};
    EXPECT_FALSE(worstFinding(notesOnly));

    const std::vector<Finding> twoWarnings{
        finding(Verdict::watch, "watch"), finding(Verdict::warning, "first warning"),
        finding(Verdict::unknown, "unread"), finding(Verdict::warning, "second warning")};
    EXPECT_EQ(worstFinding(twoWarnings)->message, "first warning");

    const std::vector<Finding> laterWorse{finding(Verdict::warning, "warning"),
                                          finding(Verdict::failing, "failing")};
    EXPECT_EQ(worstFinding(laterWorse)->message, "failing");
}

TEST(Verdict, TiersAndKinds) {
    EXPECT_EQ(tierFor(Verdict::failing), Tier::failing);
    EXPECT_EQ(tierFor(Verdict::unknown), Tier::limited);
    EXPECT_EQ(TierText::raw(Tier::limited), "limited");
    EXPECT_EQ(TierText::parse("watch"), Tier::watch);
    EXPECT_FALSE(TierText::parse("unknown"));
    EXPECT_EQ(TierText::key(Tier::limited), "tier.limited");
    EXPECT_EQ(driveKindFor(Transport::internalNVMe), DriveKind::internalSSD);
    EXPECT_EQ(driveKindFor(Transport::externalNVMe), DriveKind::thunderbolt);
    EXPECT_EQ(driveKindFor(Transport::sata), DriveKind::other);
    EXPECT_EQ(DriveKindText::raw(DriveKind::sdCard), "sdCard");
}

}  // namespace
}  // namespace drivekit
