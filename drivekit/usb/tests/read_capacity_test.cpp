#include "drivekit/usb/read_capacity.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

using ReadCapacity::Capacity;

TEST(ReadCapacity, AnswersAreCountedAndTheImpossibleOnesAbsent) {
    // 1 TB of 512-byte blocks through (10), and the "ask (16)" mark.
    EXPECT_EQ(ReadCapacity::decode(Bytes{0x74, 0x70, 0x6D, 0xAF, 0, 0, 2, 0}, false),
              (Capacity{0x74706DB0, 512}));
    const Bytes tooLarge{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 2, 0};
    EXPECT_TRUE(ReadCapacity::needsSixteen(tooLarge));
    EXPECT_EQ(ReadCapacity::decode(tooLarge, false), std::nullopt);
    EXPECT_EQ(ReadCapacity::decode(Bytes(7, 0), false), std::nullopt);

    // (16): a last block of all ones has no count; a product past 64 bits has no bytes.
    Bytes answer16(32, 0xFF);
    EXPECT_EQ(ReadCapacity::decode(answer16, true), std::nullopt);
    answer16[7] = 0xFE;
    const auto huge = ReadCapacity::decode(answer16, true);
    ASSERT_TRUE(huge);
    EXPECT_EQ(huge->blocks, 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(ReadCapacity::bytes(*huge), std::nullopt);
    EXPECT_EQ(ReadCapacity::bytes(Capacity{1u << 20, 4096}), 4294967296u);
}

}  // namespace
}  // namespace drivekit
