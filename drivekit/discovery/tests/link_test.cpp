#include "drivekit/discovery/link.hpp"

#include <gtest/gtest.h>

#include "drivekit/discovery/drive.hpp"

namespace drivekit {
namespace {

const Locale english{"en_US"};
const Locale german{"de_DE"};

// A link word: generation in bits 0-3, lane count in bits 4-9.
constexpr std::uint32_t pcie(std::uint32_t generation, std::uint32_t lanes) {
    return generation | (lanes << 4);
}

TEST(USBLink, TextsAndCeilingsEachSideOfTheFactorsAndTheLimit) {
    struct Case {
        std::int64_t bitsPerSecond;
        std::string text;
        int ceiling;
    };
    const Case cases[] = {
        {5'000'000'000, "USB 5 Gb/s", 450},  // still the 72 % factor at exactly 5 Gb/s
        {40'000'000'000, "USB 40 Gb/s", 2000},  // limited
    };
    for (const auto& c : cases) {
        const LinkInfo link = LinkRules::usb(c.bitsPerSecond, english);
        EXPECT_EQ(link.current, c.text);
        EXPECT_EQ(link.ceilingMBps, c.ceiling) << c.text;
        EXPECT_FALSE(link.capable || link.supported) << c.text;
    }
    // Just above 5 Gb/s the 80 % factor applies.
    EXPECT_EQ(LinkRules::usb(5'000'000'010, english).ceilingMBps, 500);
}

TEST(PCIeLink, CapableAndSupportedCompareGenerationAndLanesTogether) {
    // At its capabilities and below them in both: the laptop and built machines in
    // discovery_test. Faster generation, fewer lanes than the capabilities: neither side
    // is above.
    auto link = LinkRules::pciExpress(pcie(4, 4), pcie(3, 8), std::nullopt);
    ASSERT_TRUE(link);
    EXPECT_EQ(link->capable, "PCIe 3.0 \u00D78");
    EXPECT_EQ(link->supported, std::nullopt);

    // No capabilities, or capabilities of an unknown generation: both absent.
    for (auto caps : {std::optional<std::uint32_t>{}, std::optional<std::uint32_t>{pcie(6, 4)}}) {
        link = LinkRules::pciExpress(pcie(1, 1), caps, std::nullopt);
        ASSERT_TRUE(link);
        EXPECT_FALSE(link->capable || link->supported);
    }
    // Sixteen lanes of gen 5; the lane field is six bits wide.
    link = LinkRules::pciExpress(pcie(5, 16), std::nullopt, std::nullopt);
    ASSERT_TRUE(link);
    EXPECT_EQ(link->current, "PCIe 5.0 \u00D716");
    EXPECT_EQ(link->ceilingMBps, 59857);
    EXPECT_EQ(LinkRules::pciExpress(pcie(3, 32), std::nullopt, std::nullopt)->current,
              "PCIe 3.0 \u00D732");
}

TEST(PCIeLink, TunnelsCapTheCeiling) {
    using Tunnel = LinkInfo::Tunnel;
    EXPECT_EQ(LinkRules::pciExpress(pcie(4, 4), std::nullopt, Tunnel::unknown)->ceilingMBps, 3800);
    // A tunnel only ever lowers the ceiling.
    EXPECT_EQ(LinkRules::pciExpress(pcie(3, 2), std::nullopt, Tunnel::usb4)->ceilingMBps, 1871);
    EXPECT_EQ(LinkRules::tunnelFor(48), Tunnel::unknown);
}

TEST(SATALink, Words76And77) {
    using Speed = SATALink::Speed;
    // A drive of all three generations running at 6 Gb/s; bit 8 (NCQ) is above the
    // nibble that must be clear and doesn't matter.
    EXPECT_EQ(SATALink::fromWords(0x010E, 3 << 1), (SATALink{Speed::gen3, Speed::gen3}));
    // Running at 3 Gb/s on a 6 Gb/s drive.
    EXPECT_EQ(SATALink::fromWords(0x000E, 2 << 1), (SATALink{Speed::gen2, Speed::gen3}));
    // Bit 0 of word 76 set: no SATA at all, however good word 77 looks.
    EXPECT_EQ(SATALink::fromWords(0x000F, 3 << 1), std::nullopt);
    // Claims 6 Gb/s current on a 3 Gb/s drive: contradictory, nothing.
    EXPECT_EQ(SATALink::fromWords(0x0006, 3 << 1), std::nullopt);
    // Word 77 unusable (bit 0 set, or a code outside 1-3): supported alone.
    EXPECT_EQ(SATALink::fromWords(0x0006, 4 << 1), (SATALink{std::nullopt, Speed::gen2}));
    // Reserved bits 4-7 set: no supported speed, but a current one still stands alone.
    EXPECT_EQ(SATALink::fromWords(0x0010 | 0x000E, 2 << 1), (SATALink{Speed::gen2, std::nullopt}));
    EXPECT_EQ(SATALink::fromWords(0x0010, 0), std::nullopt);
}

TEST(SATALink, FromIdentifyReadsLittleEndianWords) {
    Bytes identify(512, 0);
    identify[152] = 0x0E;  // word 76
    identify[153] = 0x01;
    identify[154] = 0x04;  // word 77: current code 2
    EXPECT_EQ(SATALink::fromIdentify(identify),
              (SATALink{SATALink::Speed::gen2, SATALink::Speed::gen3}));
    const Bytes shortPage(identify.begin(), identify.begin() + 511);
    EXPECT_EQ(SATALink::fromIdentify(shortPage), std::nullopt);
}

TEST(TransferMode, FromDriveLinkAndSATA) {
    Drive drive;
    drive.bsdName = "nvme0n1";
    drive.transport = Transport::internalNVMe;
    // An internal drive whose link sysfs doesn't tell has no record.
    auto mode = TransferMode::make(drive, std::nullopt, english);
    EXPECT_EQ(mode, std::nullopt);

    // With a link it is an ordinary drive; `capable` is not kept.
    drive.link = LinkRules::pciExpress(pcie(3, 2), pcie(4, 4), std::nullopt);
    mode = TransferMode::make(drive, std::nullopt, english);
    ASSERT_TRUE(mode);
    EXPECT_EQ(*mode, (TransferMode{"PCIe 3.0 \u00D72", "PCIe 4.0 \u00D74", std::nullopt,
                                   std::nullopt}));

    // A SATA drive behind a USB bridge: the USB link and the SATA speeds side by side.
    Drive usb;
    usb.bsdName = "sdb";
    usb.transport = Transport::usb;
    usb.link = LinkRules::usb(5'000'000'000, german);
    mode = TransferMode::make(usb, SATALink{SATALink::Speed::gen1, SATALink::Speed::gen3}, german);
    ASSERT_TRUE(mode);
    EXPECT_EQ(*mode, (TransferMode{"USB 5 Gb/s", std::nullopt, "SATA 1,5 Gb/s", "SATA 6 Gb/s"}));

    // Nothing known at all: no record, not an empty one.
    usb.link.reset();
    EXPECT_EQ(TransferMode::make(usb, std::nullopt, english), std::nullopt);
}

}  // namespace
}  // namespace drivekit
