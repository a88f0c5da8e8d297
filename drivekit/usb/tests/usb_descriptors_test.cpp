#include "drivekit/usb/usb_descriptors.hpp"

#include <gtest/gtest.h>

#include "drivekit/usb/tests/support/sim_enclosure.hpp"

namespace drivekit {
namespace {

// An enclosure with Bulk-Only on alt 0 and UAS on alt 1, as real ones lay it out.
Bytes twoSettings() {
    sim::SimEnclosure::Layout layout;
    layout.uasSetting = true;
    return sim::SimEnclosure(layout).configurationDescriptor();
}

TEST(USBDescriptors, ReadsSettingsAndEndpoints) {
    const auto configuration = USBDescriptors::parse(twoSettings());
    ASSERT_TRUE(configuration);
    ASSERT_EQ(configuration->interfaces.size(), 2u);
    const auto* bot = configuration->firstMassStorage(0, USBDescriptors::bulkOnlyProtocol);
    ASSERT_NE(bot, nullptr);
    EXPECT_EQ(bot->alternate, 0);
    EXPECT_EQ(bot->endpoints, (std::vector<USBDescriptors::Endpoint>{{0x81, 2, 512}, {0x02, 2, 512}}));
    const auto* uas = configuration->firstMassStorage(0, USBDescriptors::uasProtocol);
    ASSERT_NE(uas, nullptr);
    EXPECT_EQ(uas->alternate, 1);
    EXPECT_EQ(uas->endpoints.size(), 4u);
}

TEST(USBDescriptors, StopsAtBrokenLengthsAndNeverReadsPastTheEnd) {
    Bytes d = twoSettings();
    const Bytes whole = d;
    // wTotalLength larger than the bytes: only what is there is walked.
    d[2] = 0xFF;
    d[3] = 0x0F;
    EXPECT_EQ(USBDescriptors::parse(d), USBDescriptors::parse(whole));
    // A zero length byte ends the walk where it stands.
    Bytes cut = whole;
    cut[9 + 9 + 7 + 7] = 0;  // the UAS interface descriptor
    const auto partial = USBDescriptors::parse(cut);
    ASSERT_TRUE(partial);
    EXPECT_EQ(partial->interfaces.size(), 1u);
    // A descriptor that says it runs past the end is left out.
    Bytes truncated(whole.begin(), whole.begin() + 9 + 9 + 3);
    truncated[2] = static_cast<std::uint8_t>(truncated.size());
    const auto shortOne = USBDescriptors::parse(truncated);
    ASSERT_TRUE(shortOne);
    EXPECT_TRUE(shortOne->interfaces[0].endpoints.empty());

    EXPECT_FALSE(USBDescriptors::parse(Bytes{9, 4, 0, 0, 2, 8, 6, 0x50, 0}));
    EXPECT_FALSE(USBDescriptors::parse(Bytes{}));
}

TEST(USBDescriptors, TheLaterMassStorageInterfaceWins) {
    const Bytes d = {9, 2, 27, 0, 2, 1, 0, 0x80, 50,
                     9, 4, 0, 0, 0, 0x08, 0x06, 0x50, 0,
                     9, 4, 1, 0, 0, 0x03, 0x00, 0x00, 0,
                     9, 4, 2, 0, 0, 0x08, 0x06, 0x50, 0};
    // wTotalLength counts 27 bytes: the third interface is outside it.
    EXPECT_EQ(USBDescriptors::massStorageInterface(*USBDescriptors::parse(d)), 0);
    Bytes all = d;
    all[2] = static_cast<std::uint8_t>(all.size());
    EXPECT_EQ(USBDescriptors::massStorageInterface(*USBDescriptors::parse(all)), 2);
}

}  // namespace
}  // namespace drivekit
