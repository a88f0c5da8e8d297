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

TEST(Verdict, WorstOfAListKeepsUnknownAndIsNothingWhenEmpty) {
    EXPECT_FALSE(worstVerdict({}));
    const std::vector<Verdict> verdicts{Verdict::watch, Verdict::failed, Verdict::warning};
    EXPECT_EQ(worstVerdict(verdicts), Verdict::failed);
    // Callers drop unknown themselves; the plain worst doesn't.
    const std::vector<Verdict> withUnknown{Verdict::failed, Verdict::unknown};
    EXPECT_EQ(worstVerdict(withUnknown), Verdict::unknown);
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
}

}  // namespace
}  // namespace drivekit
