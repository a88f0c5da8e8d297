#include "drivekit/health/ata_readings.hpp"

#include <limits>

#include <gtest/gtest.h>

namespace drivekit {
namespace {

using Kind = ATAFamily::Kind;

constexpr std::int64_t TB = 1'000'000'000'000;

ATAAttribute attr(std::uint8_t id, std::uint8_t value, std::uint64_t raw, std::uint8_t threshold = 0) {
    return ATAAttribute{id, 0x0032, value, value, threshold, raw};
}

// Models that select a family without help from the attributes.
constexpr const char* genericModel = "Samsung SSD 860 EVO 500GB";
constexpr const char* phisonModel = "PNY CS900 240GB SSD";
constexpr const char* mx500Model = "CT500MX500SSD1";

ATAReadings read(std::vector<ATAAttribute> rows, std::string_view model = genericModel,
                 std::optional<bool> isSSD = true, std::int64_t capacity = TB) {
    return ATAReadings::make(rows, model, std::nullopt, isSSD, capacity);
}

TEST(ATAReadings, LifeTakesTheMoreWornOfAttributeAndEraseCounts) {
    const ATAReadings r = read({attr(231, 95, 0), attr(167, 100, 300), attr(168, 100, 3000)});
    EXPECT_EQ(r.life, 90);
    EXPECT_EQ(r.lifeAttributes, (std::vector<std::uint8_t>{231, 167, 168}));

    // The attribute may be the lower one, and far lower (7 against the counts' 97) it still
    // stands: erase counts alone don't overrule it, nor note it. Overruled, and a raw value
    // without erase counts that never overrules: the gallery's ADATA SU650 and Crucial MX100.
    const ATAReadings alone = read({attr(231, 7, 0), attr(167, 100, 45), attr(168, 100, 1'500)});
    EXPECT_EQ(alone.life, 7);
    EXPECT_TRUE(alone.notes.empty());
    // Erase counts are read by their low 32 bits; the result is rounded down.
    EXPECT_EQ(read({attr(167, 100, 0xFFFF'0000'0001), attr(168, 100, 3)}).life, std::nullopt);
    EXPECT_EQ(read({attr(167, 100, 0x0001'0000'0007), attr(168, 100, 0x0005'0000'0100)}).life, 97);
}

TEST(ATAReadings, EraseCountsNeedARealRating) {
    const ATAReadings low = read({attr(231, 95, 0), attr(167, 100, 50), attr(168, 100, 99)});
    EXPECT_EQ(low.life, 95);
    EXPECT_EQ(low.lifeAttributes, (std::vector<std::uint8_t>{231}));

    const ATAReadings worn = read({attr(167, 100, 5000), attr(168, 100, 3000)});
    EXPECT_EQ(worn.life, 0);
    EXPECT_EQ(worn.lifeAttributes, (std::vector<std::uint8_t>{167, 168}));

    // A family without erase counts leaves them alone.
    const ATAReadings crucial = read({attr(202, 80, 0), attr(167, 100, 2900), attr(168, 100, 3000)},
                                     mx500Model);
    EXPECT_EQ(crucial.life, 80);
    EXPECT_EQ(crucial.lifeAttributes, (std::vector<std::uint8_t>{202}));
}

TEST(ATAReadings, LifeAttributeInOrderOfTrustAndOnlyAsAPercentage) {
    // Generic trusts 231 before 233 whatever the page order.
    const ATAReadings r = read({attr(233, 70, 0), attr(231, 60, 0)});
    EXPECT_EQ(r.life, 60);
    EXPECT_EQ(r.lifeAttributes, (std::vector<std::uint8_t>{231}));

    const ATAReadings odd = read({attr(231, 200, 0), attr(233, 70, 0)});
    EXPECT_EQ(odd.life, std::nullopt);
    EXPECT_EQ(odd.lifeAttributes, (std::vector<std::uint8_t>{231}));
    EXPECT_EQ(read({attr(231, 101, 0)}).life, std::nullopt);
}

TEST(ATAReadings, IgnoredIdsAreGoneButStillCountForFailingNow) {
    const ATAReadings r = read({attr(197, 100, 8), attr(10, 100, 3), attr(7, 5, 0, 30),
                                attr(231, 88, 0)},
                               phisonModel, std::nullopt);
    EXPECT_EQ(r.family.kind, Kind::phison);
    EXPECT_EQ(r.pending, std::nullopt);
    EXPECT_EQ(r.spinRetries, std::nullopt);
    EXPECT_EQ(r.life, 88);
    EXPECT_TRUE(r.anyFailingNow);

    // JMicron's life and spare ids are noise.
    const ATAReadings j = read({attr(231, 50, 0), attr(232, 40, 0), attr(170, 40, 0)},
                               "KINGSTON SV100S264G");
    EXPECT_EQ(j.life, std::nullopt);
    EXPECT_EQ(j.spare, std::nullopt);
}

TEST(ATAReadings, SpareFromTheFirstTrustedIdWithAUsableThreshold) {
    const ATAReadings r = read({attr(170, 100, 0, 10), attr(232, 99, 0, 10)});
    EXPECT_EQ(r.spare, 99);
    EXPECT_EQ(r.spareAttribute, 232);
    EXPECT_EQ(r.spareThreshold, 10);

    EXPECT_EQ(read({attr(232, 100, 0, 254)}).spareThreshold, std::nullopt);
    EXPECT_EQ(read({attr(232, 100, 0, 253)}).spareThreshold, 253);
}

TEST(ATAReadings, TemperatureFrom194ElseAirflowButNotAfterAZero) {
    // Min and max sit above the current reading in the raw field.
    const ATAReadings r = read({attr(194, 65, 0x0000'0028'0012'0023), attr(190, 60, 40)});
    EXPECT_EQ(r.temperatureC, 35);
    EXPECT_EQ(r.temperatureAttribute, 194);

    const ATAReadings airflow = read({attr(190, 60, 0x1E00'0029)});
    EXPECT_EQ(airflow.temperatureC, 41);
    EXPECT_EQ(airflow.temperatureAttribute, 190);

    const ATAReadings zero = read({attr(194, 100, 0x0000'0100), attr(190, 60, 40)});
    EXPECT_EQ(zero.temperatureC, std::nullopt);
    EXPECT_EQ(zero.temperatureAttribute, std::nullopt);
}

TEST(ATAReadings, WrittenBytesWithTheFamilyUnit) {
    EXPECT_EQ(read({attr(246, 100, 1000)}, mx500Model).writtenBytes, 512'000u);
    // The MX500 doesn't use 241; it isn't read as a fallback.
    EXPECT_EQ(read({attr(241, 100, 1000)}, mx500Model).writtenBytes, std::nullopt);
    // All 48 bits of the raw count, and a product past 64 bits stops at the top.
    const ATAFamily phison = ATAFamily::of(Kind::phison);
    EXPECT_EQ(ATAReadings::writtenBytesEstimate({{241, attr(241, 100, 0x1'0000'0000)}}, phison, TB),
              0x1'0000'0000ull * 1'073'741'824u);
    EXPECT_EQ(ATAReadings::writtenBytesEstimate({{241, attr(241, 100, 0xFFFF'FFFF'FFFF)}}, phison, TB),
              std::numeric_limits<std::uint64_t>::max());
}

TEST(ATAReadings, WrittenBytesUnitWorkedOutFromEraseCounts) {
    const ATAFamily generic = ATAFamily::of(Kind::generic);
    auto estimate = [&](std::vector<ATAAttribute> rows, std::int64_t capacity = TB) {
        return ATAReadings::writtenBytesEstimate(attributeTable(rows), generic, capacity);
    };
    // 1 TB × 50 erases = 50 TB through the flash; 20,000 GiB units from the host is
    // 21.5 TB, a ratio of 2.33: GiB.
    EXPECT_EQ(estimate({attr(241, 100, 20'000), attr(167, 100, 50)}), 20'000ull * 1'073'741'824u);
    // 640,000 units of 32 MiB = 21.5 TB: the same drive counting in 32 MiB.
    EXPECT_EQ(estimate({attr(241, 100, 640'000), attr(167, 100, 50)}), 640'000ull * 33'554'432u);
    // Zero erases or no capacity: the plain answer.
    EXPECT_EQ(estimate({attr(241, 100, 20'000), attr(167, 100, 0)}), 20'000ull * 512u);
    EXPECT_EQ(estimate({attr(241, 100, 20'000), attr(167, 100, 50)}, 0), 20'000ull * 512u);
}

// The window of plausible write amplification is inclusive at both ends.
TEST(ATAReadings, WrittenBytesUnitWindowEdges) {
    const ATAFamily generic = ATAFamily::of(Kind::generic);
    const std::int64_t capacity = 1'073'741'824;  // 1 GiB
    auto ratioWith = [&](std::uint32_t erases, std::uint64_t raw) {
        return ATAReadings::writtenBytesEstimate(
            attributeTable({attr(241, 100, raw), attr(167, 100, erases)}), generic, capacity);
    };
    // capacity × 25 / (1 × GiB) = 25: in, at the top edge.
    EXPECT_EQ(ratioWith(25, 1), 1'073'741'824u);
    // 26: out, and 32 MiB's ratio of 832 is out too.
    EXPECT_EQ(ratioWith(26, 1), 512u);
    // 0.9 exactly at the bottom edge: 9 erases over 10 GiB.
    EXPECT_EQ(ratioWith(9, 10), 10ull * 1'073'741'824u);
}

TEST(ATAReadings, WearLevelingHoldsItsAverageInTheHighHalf) {
    const ATAFamily generic = ATAFamily::of(Kind::generic);
    // 173's raw: minimum 3 low, average 50 high.
    const auto estimate = ATAReadings::writtenBytesEstimate(
        attributeTable({attr(241, 100, 20'000), attr(173, 100, (50u << 16) | 3u)}), generic, TB);
    EXPECT_EQ(estimate, 20'000ull * 1'073'741'824u);
    // 167 is trusted before 173.
    const auto both = ATAReadings::writtenBytesEstimate(
        attributeTable({attr(241, 100, 20'000), attr(173, 100, 5000), attr(167, 100, 50)}),
        generic, TB);
    EXPECT_EQ(both, 20'000ull * 1'073'741'824u);
}

// Figures no drive can have, on models no quirk names: dropped or read in the unit that
// fits, each with its note.
TEST(ATAReadings, ImpossibleFiguresAreNotTakenAsTheyStand) {
    using Note = ATANote::Kind;
    // Minutes read as hours: 119 years.
    const ATAReadings minutes = read({attr(9, 100, 1'045'000)}, "ST380011A", false);
    EXPECT_EQ(minutes.powerOnHours, std::nullopt);
    EXPECT_EQ(minutes.notes, (std::vector<ATANote>{{Note::powerOnNotHours, 9}}));
    EXPECT_EQ(read({attr(9, 100, 219'000)}).powerOnHours, 219'000u);

    // A count of pending sectors past the drive's 1.95 billion sectors; with IDENTIFY's
    // own count the bound is exact.
    const ATAReadings packed = read({attr(197, 100, 0xFFFF'0000), attr(198, 100, 8)});
    EXPECT_EQ(packed.pending, std::nullopt);
    EXPECT_EQ(packed.offlineUncorrectable, 8u);
    EXPECT_EQ(packed.notes, (std::vector<ATANote>{{Note::notACount, 197}}));
    EXPECT_EQ(ATAReadings::make({attr(187, 100, 1'001)}, genericModel, std::nullopt, true, TB, 1'000)
                  .reportedUncorrectable,
              std::nullopt);

    // A Kingston family drive counting 241 in blocks: 10 exabytes as gibibytes, 5 TB as
    // blocks, which fits.
    const ATAReadings blocks =
        read({attr(9, 100, 9'000), attr(241, 100, 10'000'000'000)}, "KINGSTON SA400S37240G");
    EXPECT_EQ(blocks.family.kind, Kind::kingston);
    EXPECT_EQ(blocks.writtenBytes, 5'120'000'000'000u);
    EXPECT_EQ(blocks.notes, (std::vector<ATANote>{{Note::writtenInBlocks, 241}}));
    // More than the link could carry in 10 hours even as blocks: left out.
    const ATAReadings tooMuch =
        read({attr(9, 100, 10), attr(241, 100, 1'000'000'000'000)}, "KINGSTON SA400S37240G");
    EXPECT_EQ(tooMuch.writtenBytes, std::nullopt);
    EXPECT_EQ(tooMuch.notes, (std::vector<ATANote>{{Note::writtenNotPlausible, 241}}));
}

TEST(ATAReadings, AFallingBadBlockAttributeSpeaksForTheSpare) {
    // A family that reads no spare (the gallery's PNY CS900 rates the whole drive).
    EXPECT_EQ(read({attr(170, 24, 436, 10)}, phisonModel).spareAttribute, 170);
    // Beside a healthy 232, the worse one stands; without a threshold 170 says nothing.
    EXPECT_EQ(read({attr(232, 100, 0, 10), attr(170, 14, 0, 10)}).spareAttribute, 170);
    EXPECT_EQ(read({attr(170, 14, 0, 0)}, phisonModel).spare, std::nullopt);
}

}  // namespace
}  // namespace drivekit
