#include "drivekit/scan/scan_map.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

TEST(ScanMap, ReadsFallIntoCellsByProportion) {
    EXPECT_EQ(ScanMap::make(0).count(), 0);
    EXPECT_EQ(ScanMap::make(0).region(5), 0);
    EXPECT_EQ(ScanMap::make(-3).readsPlanned, 0);
    const ScanMap big = ScanMap::make(5000);
    EXPECT_EQ(big.count(), 2048);
    EXPECT_EQ(big.region(0), 0);
    EXPECT_EQ(big.region(4999), 2047);
    const ScanMap small = ScanMap::make(100);
    EXPECT_EQ(small.count(), 100);
    EXPECT_EQ(small.region(42), 42);
}

TEST(ScanMap, StatesOnlyGetWorseAndSpeedsAreHeldTo16Bits) {
    ScanMap map = ScanMap::make(4);
    map.record(0, ScanMap::State::unreadable, std::nullopt);
    map.record(0, ScanMap::State::fine, 12.6);
    EXPECT_EQ(map.state(0), ScanMap::State::unreadable);
    EXPECT_EQ(map.speed(0), 13);
    map.record(1, ScanMap::State::fine, 70'000);
    EXPECT_EQ(map.speed(1), 65'535);
    map.states[2] = 9;
    EXPECT_EQ(map.state(2), ScanMap::State::notRead);
    map.record(2, ScanMap::State::fine, std::nullopt);
    EXPECT_EQ(map.state(2), ScanMap::State::fine);
    map.record(7, ScanMap::State::slow, 1);  // out of range: ignored
    EXPECT_EQ(map.tally(), (std::array<int, 4>{1, 2, 0, 1}));
}

TEST(ScanMap, ByteRangesCoverTheDriveWithoutGaps) {
    const ScanMap map = ScanMap::make(3);
    EXPECT_EQ(map.byteRange(0, 1000), (std::pair<std::uint64_t, std::uint64_t>{0, 333}));
    EXPECT_EQ(map.byteRange(1, 1000), (std::pair<std::uint64_t, std::uint64_t>{333, 666}));
    EXPECT_EQ(map.byteRange(2, 1000), (std::pair<std::uint64_t, std::uint64_t>{666, 1000}));
    EXPECT_EQ(map.byteRange(3, 1000), (std::pair<std::uint64_t, std::uint64_t>{0, 0}));
}

}  // namespace
}  // namespace drivekit
