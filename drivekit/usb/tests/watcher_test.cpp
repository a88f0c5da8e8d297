#include "drivekit/usb/watcher.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

using platform::DiskEvent;
using Action = DiskEvent::Action;

Drive usbStick(std::string name) {
    Drive drive;
    drive.bsdName = std::move(name);
    drive.model = "Extreme Pro";
    drive.sizeBytes = 64'000'000'000;
    drive.transport = Transport::usb;
    drive.usb = USBInfo{0x0781, 0x5581, 0x02100000, "Extreme", "SanDisk", 0};
    return drive;
}

TEST(Watcher, ReportsEachDriveOnceAsItComesAndGoes) {
    int described = 0;
    Watcher watcher(
        [&](std::string_view name) -> std::optional<Drive> {
            ++described;
            if (name == "loop3") return std::nullopt;
            return usbStick(std::string(name));
        },
        {"sda", "nvme0n1"});

    // Drives present at the start, and disks that aren't drives, are no news.
    EXPECT_FALSE(watcher.handle({Action::added, "sda"}));
    EXPECT_FALSE(watcher.handle({Action::added, "loop3"}));
    const auto came = watcher.handle({Action::added, "sdb"});
    ASSERT_TRUE(came);
    EXPECT_EQ(came->kind, Watcher::News::Kind::connected);
    EXPECT_FALSE(watcher.handle({Action::added, "sdb"}));
    EXPECT_EQ(described, 2);

    const auto went = watcher.handle({Action::removed, "sdb"});
    ASSERT_TRUE(went);
    EXPECT_EQ(*went, (Watcher::News{Watcher::News::Kind::disconnected, "sdb", std::nullopt}));
    EXPECT_FALSE(watcher.handle({Action::removed, "sdb"}));
    EXPECT_FALSE(watcher.handle({Action::removed, "loop3"}));
    // Plugged in again: news again.
    EXPECT_TRUE(watcher.handle({Action::added, "sdb"}));
    // A drive that was there at the start is news when it goes.
    EXPECT_TRUE(watcher.handle({Action::removed, "nvme0n1"}));
}

}  // namespace
}  // namespace drivekit
