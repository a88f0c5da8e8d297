#include "drivekit/health/ata_identity.hpp"

#include <limits>

#include <gtest/gtest.h>

#include "drivekit/health/tests/ata_pages.hpp"

namespace drivekit {
namespace {

using testpages::IdentifyPage;

// A SATA SSD as it answers: names, 48-bit size, SMART on, 6 Gb/s link, non-rotating.
IdentifyPage typicalSSD() {
    IdentifyPage p;
    p.serial("S3Z9NB0K123456X")
        .firmware("RVT04B6Q")
        .model("Samsung SSD 860 EVO 500GB")
        .word(60, 0xFFFF)
        .word(61, 0x0FFF)  // 28-bit count saturated, as large drives report it
        .word(76, 0x000E)  // gen 1-3 supported
        .word(77, 0x0006)  // negotiated gen 3
        .word(82, 0x746B)
        .word(85, 0x7469)
        .word(100, 0x6030)
        .word(101, 0x3A38)  // 976,773,168 sectors
        .word(106, 0x6003)
        .word(217, 0x0001);
    return p;
}

// The bytes as they lie on the wire, written out: "Samsung" arrives as "aSsmnu g".
TEST(ATAIdentity, TextSwapsTheBytesOfEachWordAndTrims) {
    IdentifyPage p;
    using namespace std::string_view_literals;
    const std::string_view wire = "aSsmnu gSS D78 0VE\0O\t\t"sv;
    for (std::size_t i = 0; i < wire.size(); ++i) p.bytes[54 + i] = static_cast<std::uint8_t>(wire[i]);
    p.word(0, 0x0040);
    const auto id = ATAIdentity::decode(p.bytes);
    ASSERT_TRUE(id);
    EXPECT_EQ(id->model, "Samsung SSD 870 EVO");
    EXPECT_EQ(id->serial, "");  // a blank field is a legal record
}

TEST(ATAIdentity, AnswersThatAreNoIdentityGiveNothing) {
    EXPECT_FALSE(ATAIdentity::decode(Bytes(512, 0x00)));
    EXPECT_FALSE(ATAIdentity::decode(Bytes(512, 0xFF)));
    EXPECT_FALSE(ATAIdentity::decode(Bytes(511, 0x40)));
    // One word off all-ones is data.
    Bytes almost(512, 0xFF);
    almost[300] = 0xFE;
    EXPECT_TRUE(ATAIdentity::decode(almost));
}

TEST(ATAIdentity, SectorsPrefer48BitCountAndFallBackTo28Bit) {
    // All four words count: a value above 32 bits must not be cut.
    auto big = ATAIdentity::decode(
        typicalSSD().word(100, 0x0001).word(101, 0x0000).word(102, 0x0002).word(103, 0).sealed());
    EXPECT_EQ(big->sectors, 0x0000'0002'0000'0001u);

    auto old = ATAIdentity::decode(typicalSSD()
                                       .word(100, 0).word(101, 0).word(102, 0).word(103, 0)
                                       .word(60, 0x5000).word(61, 0x0095)  // 9,785,344
                                       .sealed());
    EXPECT_EQ(old->sectors, 0x0095'5000u);
}

TEST(ATAIdentity, LogicalSectorSizeNeedsAValidWord106AndARealCount) {
    auto sized = [](std::uint16_t w106, std::uint32_t words) {
        return ATAIdentity::decode(typicalSSD()
                                       .word(106, w106)
                                       .word(117, static_cast<std::uint16_t>(words & 0xFFFF))
                                       .word(118, static_cast<std::uint16_t>(words >> 16))
                                       .sealed())
            ->logicalSectorSize;
    };
    EXPECT_EQ(sized(0x6003 | 0x1000, 2048), 4096);  // other bits of 106 don't matter
    EXPECT_EQ(sized(0x4000, 2048), 512);            // bit 12 clear: words 117-118 unused
    EXPECT_EQ(sized(0xD000, 2048), 512);            // bit 15 set: word 106 invalid
    EXPECT_EQ(sized(0x5000, 256), 512);
    EXPECT_EQ(sized(0x5000, 0x0001'0000), 131'072);  // the high word counts too
}

TEST(ATAIdentity, CapacityStopsAtTheLargestSignedValue) {
    auto id = ATAIdentity::decode(typicalSSD()
                                      .word(100, 0xFFFF).word(101, 0xFFFF)
                                      .word(102, 0xFFFF).word(103, 0x00FF)
                                      .word(106, 0x5000).word(117, 2048).word(118, 0)
                                      .sealed());
    EXPECT_EQ(id->capacityBytes(), std::numeric_limits<std::int64_t>::max());
    id->sectors = std::numeric_limits<std::uint64_t>::max();
    id->logicalSectorSize = 512;
    EXPECT_EQ(id->capacityBytes(), std::numeric_limits<std::int64_t>::max());
}

}  // namespace
}  // namespace drivekit
