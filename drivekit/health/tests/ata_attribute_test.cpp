#include "drivekit/health/ata_attribute.hpp"

#include <gtest/gtest.h>

#include "drivekit/health/tests/ata_pages.hpp"

namespace drivekit {
namespace {

using testpages::SmartDataPage;
using testpages::ThresholdsPage;

// Unused slots sit anywhere in the table, the last slot included, and the page order
// is kept rather than sorted by id.
TEST(ATAAttribute, SkipsEmptySlotsAndKeepsPageOrder) {
    const Bytes data = SmartDataPage()
                           .attribute(3, 197, 0x0032, 100, 100, 0)
                           .attribute(7, 1, 0x000F, 117, 99, 0)
                           .attribute(29, 241, 0x0000, 99, 99, 4242)
                           .sealed();
    const auto rows = ATAAttribute::parse(data);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].id, 197);
    EXPECT_EQ(rows[1].id, 1);
    EXPECT_EQ(rows[2].id, 241);
    EXPECT_EQ(rows[2].raw, 4242u);
}

TEST(ATAAttribute, ThresholdsMatchByIdNotBySlot) {
    const Bytes data =
        SmartDataPage().attribute(0, 5, 0x33, 100, 100, 0).attribute(1, 187, 0x32, 90, 90, 0).sealed();
    const Bytes thresholds = ThresholdsPage()
                                 .threshold(0, 187, 50)
                                 .threshold(4, 5, 36)
                                 .threshold(6, 5, 40)  // a later entry for an id wins
                                 .threshold(7, 0, 99)  // an unused entry gives nothing
                                 .sealed();
    const auto rows = ATAAttribute::parse(data, thresholds);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].threshold, 40);
    EXPECT_EQ(rows[1].threshold, 50);
}

TEST(ATAAttribute, PageSizesAtTheEdge) {
    Bytes data = SmartDataPage().attribute(29, 5, 0x33, 100, 100, 7).sealed();
    const Bytes thresholds = ThresholdsPage().threshold(29, 5, 10).sealed();

    const Bytes exact(data.begin(), data.begin() + 362);
    const auto full = ATAAttribute::parse(exact, Bytes(thresholds.begin(), thresholds.begin() + 362));
    ASSERT_EQ(full.size(), 1u);
    EXPECT_EQ(full[0].raw, 7u);
    EXPECT_EQ(full[0].threshold, 10);

    EXPECT_TRUE(ATAAttribute::parse(Bytes(data.begin(), data.begin() + 361)).empty());
    // A short thresholds page is no thresholds page: the rows stay, none can fail.
    const auto unthresholded =
        ATAAttribute::parse(data, Bytes(thresholds.begin(), thresholds.begin() + 100));
    ASSERT_EQ(unthresholded.size(), 1u);
    EXPECT_EQ(unthresholded[0].threshold, 0);
    EXPECT_FALSE(unthresholded[0].isFailingNow());
}

}  // namespace
}  // namespace drivekit
