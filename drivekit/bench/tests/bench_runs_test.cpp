#include "drivekit/bench/bench_runs.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

BenchRuns runs(std::vector<double> read, std::vector<double> write) {
    BenchRuns r;
    r.of(BenchTest::seqRead) = std::move(read);
    r.of(BenchTest::seqWrite) = std::move(write);
    return r;
}

TEST(BenchResults, SpreadShowsOnlyAboveTenPercent) {
    EXPECT_EQ(BenchResults::spread(runs({95, 105, 100}, {})), std::nullopt);  // exactly 10%
    EXPECT_EQ(BenchResults::spread(runs({80, 100, 120}, {100})), 40);
}

TEST(BenchResults, VerdictAgainstTheLinksCeiling) {
    const Locale en;
    const std::optional<std::string> usb = "USB 10 Gb/s";
    // 0.85 of the link with a spread of 12: the prize; the same with a spread of 30: solid.
    const auto jackpot = BenchResults::verdict(runs({850, 850}, {800, 900}), 1000, usb, en);
    EXPECT_EQ(jackpot.level, BenchVerdict::Level::jackpot);
    EXPECT_EQ(BenchResults::verdict(runs({850, 850}, {720, 980}), 1000, usb, en).level, BenchVerdict::Level::solid);
    EXPECT_EQ(BenchResults::verdict(runs({600}, {}), 1000, usb, en).level, BenchVerdict::Level::solid);

    const auto slow = BenchResults::verdict(runs({100}, {300}), 1000, std::nullopt, en);
    EXPECT_EQ(slow.level, BenchVerdict::Level::gentle);
    EXPECT_EQ(slow.bestTest, 1);
    EXPECT_TRUE(slow.detail.starts_with("Sequential writes averaged 300 MB/s, 30% of"));

    EXPECT_EQ(BenchResults::verdict(runs({}, {}), 1000, usb, en).level, BenchVerdict::Level::none);
    const auto unknown = BenchResults::verdict(runs({400, 400, 400}, {}), 0, usb, en);
    EXPECT_EQ(unknown.detail, "400 MB/s over 3 runs.");
    EXPECT_FALSE(unknown.share);
}

TEST(BenchResults, SamplesReadBackAsFourLists) {
    const BenchRuns saved = runs({1.5, 2}, {3});
    EXPECT_EQ(BenchRuns::fromJson(saved.toJson()), saved);
    const auto padded = BenchRuns::fromJson(*json::parse(R"({"samples":[[1,"x"],[2]]})"));
    ASSERT_TRUE(padded);
    EXPECT_EQ(padded->of(BenchTest::seqRead), std::vector<double>{1});
    EXPECT_TRUE(padded->of(BenchTest::rndWrite).empty());
    EXPECT_FALSE(BenchRuns::fromJson(*json::parse(R"({"samples":3})")));
}

}  // namespace
}  // namespace drivekit
