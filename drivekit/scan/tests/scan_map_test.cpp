#include "drivekit/scan/scan_map.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

TEST(ScanMap, ReadsFallIntoCellsByProportion) {
    EXPECT_EQ(ScanMap::make(0).region(5), 0);
    const ScanMap big = ScanMap::make(5000);
    EXPECT_EQ(big.count(), 2048);
    EXPECT_EQ(big.region(0), 0);
    EXPECT_EQ(big.region(4999), 2047);
    const ScanMap small = ScanMap::make(100);
    EXPECT_EQ(small.count(), 100);
    EXPECT_EQ(small.region(42), 42);
}

TEST(ScanMap, ByteRangesCoverTheDriveWithoutGaps) {
    const ScanMap map = ScanMap::make(3);
    EXPECT_EQ(map.byteRange(1, 1000), (std::pair<std::uint64_t, std::uint64_t>{333, 666}));
    EXPECT_EQ(map.byteRange(2, 1000), (std::pair<std::uint64_t, std::uint64_t>{666, 1000}));
    EXPECT_EQ(map.byteRange(3, 1000), (std::pair<std::uint64_t, std::uint64_t>{0, 0}));
}

}  // namespace
}  // namespace drivekit
