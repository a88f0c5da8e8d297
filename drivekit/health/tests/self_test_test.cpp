#include "drivekit/health/self_test.hpp"

#include <gtest/gtest.h>

#include "drivekit/health/tests/ata_pages.hpp"

namespace drivekit {
namespace {

using SelfTest::Outcome;
using testpages::SelfTestLogPage;
using testpages::SmartDataPage;

TEST(SelfTestProgress, RunningTestCountsTensOfPercentLeft) {
    auto progress = [](std::uint8_t status) {
        return SelfTest::Progress::fromSmartData(SmartDataPage().selfTestStatus(status).sealed());
    };
    EXPECT_EQ(progress(0xF3)->outcome, Outcome::inProgress);
    EXPECT_EQ(progress(0xF3)->percentDone, 70);
    EXPECT_EQ(progress(0xFA)->percentDone, 0);
    // Only a running test reads the low nibble.
    EXPECT_EQ(progress(0x95)->outcome, Outcome::unknown);
    EXPECT_EQ(progress(0x95)->percentDone, 100);
}

TEST(SelfTestProgress, TimeEstimates) {
    const auto typical =
        SelfTest::Progress::fromSmartData(SmartDataPage().byteAt(372, 2).byteAt(373, 85).sealed());
    EXPECT_EQ(typical->shortMinutes, 2);
    EXPECT_EQ(typical->extendedMinutes, 85);

    // A large disk's extended test doesn't fit a byte: 255 points at the word.
    const auto large = SelfTest::Progress::fromSmartData(
        SmartDataPage().byteAt(373, 0xFF).byteAt(375, 0x2C).byteAt(376, 0x01).sealed());
    EXPECT_EQ(large->extendedMinutes, 300);
    EXPECT_EQ(large->shortMinutes, std::nullopt);

    const Bytes page = SmartDataPage().byteAt(373, 0xFF).byteAt(376, 0x01).sealed();
    EXPECT_TRUE(SelfTest::Progress::fromSmartData(ByteView(page).first(377)));
    EXPECT_FALSE(SelfTest::Progress::fromSmartData(ByteView(page).first(376)));
}

TEST(SelfTestLog, NewestFirstWrappingBackwards) {
    SelfTestLogPage log;
    for (std::uint8_t n = 1; n <= 21; ++n) {
        log.descriptor(n, 1, 0x00, static_cast<std::uint16_t>(1000 + n));
    }
    const auto entries = SelfTest::parseLog(log.newest(2).sealed());
    ASSERT_EQ(entries.size(), 21u);
    std::vector<int> order;
    for (const auto& e : entries) order.push_back(e.powerOnHours - 1000);
    const std::vector<int> expected{2, 1, 21, 20, 19, 18, 17, 16, 15, 14, 13,
                                    12, 11, 10, 9, 8, 7, 6, 5, 4, 3};
    EXPECT_EQ(order, expected);
}

TEST(SelfTestLog, ReadsEachDescriptorAndSkipsEmptyOnes) {
    const Bytes page = SelfTestLogPage()
                           .descriptor(1, 1, 0x00, 500)
                           .descriptor(2, 2, 0x74, 0x1234, 0x00A1'B2C3)  // read failure
                           .descriptor(3, 0, 0x10, 700)  // kind 0 but a status: counts
                           .newest(3)
                           .sealed();
    const auto entries = SelfTest::parseLog(page);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0], (SelfTest::Entry{0, Outcome::abortedByHost, 700, std::nullopt}));
    EXPECT_EQ(entries[1], (SelfTest::Entry{2, Outcome::readFailure, 0x1234, 0x00A1'B2C3u}));
    EXPECT_EQ(entries[2], (SelfTest::Entry{1, Outcome::passed, 500, std::nullopt}));
}

TEST(SelfTestLog, FailingLBAOnlyForAFailureWithARealAddress) {
    const Bytes page = SelfTestLogPage()
                           .descriptor(1, 2, 0x70, 10, 0)            // read failure at 0
                           .descriptor(2, 2, 0x70, 11, 0xFFFF'FFFF)  // no address
                           .descriptor(3, 1, 0x00, 12, 0x0000'1000)  // passed with junk
                           .descriptor(4, 2, 0x30, 14, 0x0000'2000)  // fatal error
                           .newest(4)
                           .sealed();
    const auto entries = SelfTest::parseLog(page);
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[0].failingLBA, 0x2000u);
    for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(entries[i].failingLBA, std::nullopt) << i;
}

TEST(SelfTestLog, UnusableLogsAreEmpty) {
    const Bytes filled = SelfTestLogPage().descriptor(1, 1, 0x00, 5).newest(1).sealed();
    EXPECT_EQ(SelfTest::parseLog(filled).size(), 1u);
    EXPECT_TRUE(SelfTest::parseLog(ByteView(filled).first(511)).empty());
    EXPECT_TRUE(SelfTest::parseLog(SelfTestLogPage().descriptor(1, 1, 0, 5).newest(22).sealed()).empty());
    // A fresh drive: a valid index, nothing logged.
    EXPECT_TRUE(SelfTest::parseLog(SelfTestLogPage().newest(1).sealed()).empty());
}

}  // namespace
}  // namespace drivekit
