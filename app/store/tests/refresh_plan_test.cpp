#include "app/store/refresh_plan.hpp"

#include <gtest/gtest.h>

namespace app {
namespace {

using namespace std::chrono_literals;
const drivekit::json::SystemTime kNow = drivekit::json::SystemTime{} + 24h * 365 * 56;

DriveSummary usb(std::string id, std::string bsd, std::string key) {
    DriveSummary d;
    d.id = std::move(id);
    d.bsdName = std::move(bsd);
    d.kind = drivekit::DriveKind::usb;
    d.usbKey = std::move(key);
    return d;
}

RefreshPlan::Inputs inputs(std::vector<DriveSummary> previous, std::vector<DriveSummary> drives) {
    RefreshPlan::Inputs in;
    in.previous = std::move(previous);
    in.drives = std::move(drives);
    for (const auto& d : in.previous) {
        if (d.usbKey) in.knownUSB.insert(*d.usbKey);
    }
    in.readStarted = kNow - 2s;
    in.now = kNow;
    return in;
}

TEST(RefreshPlan, TheSelectionFollowsADriveThatChangedItsNameByItsPort) {
    auto in = inputs({usb("A1", "sdb", "3-100")}, {usb("A1-new", "sdc", "3-100")});
    in.selectedID = "A1";
    auto plan = RefreshPlan::make(in);
    EXPECT_EQ(plan.selectedID, "A1-new");
    EXPECT_EQ(plan.selectionKey, (RefreshPlan::SelectionKey{"3-100", "sdb"}));
    // On another port and under another name it is found by neither: left as it was.
    in.drives = {usb("A1-new", "sdd", "4-100")};
    plan = RefreshPlan::make(in);
    EXPECT_EQ(plan.selectedID, "A1");
}

TEST(RefreshPlan, OnlyTheFirstNewDriveArrivesAndNotOnTheFirstRead) {
    auto in = inputs({}, {usb("X", "sdb", "1-1"), usb("Y", "sdc", "2-1")});
    in.isFirstRead = true;
    EXPECT_FALSE(RefreshPlan::make(in).arriving);
    in.isFirstRead = false;
    const auto plan = RefreshPlan::make(in);
    ASSERT_TRUE(plan.arriving);
    EXPECT_EQ(plan.arriving->card.driveID, "X");
    EXPECT_EQ(plan.knownUSB, (std::vector<std::string>{"1-1", "2-1"}));
}

TEST(RefreshPlan, ARecentReadHidesTheDrivesReturnForAMinute) {
    auto in = inputs({}, {usb("X2", "sdc", "1-1")});
    in.recentReads = {{"1-1", kNow - 59s}};
    auto plan = RefreshPlan::make(in);
    EXPECT_FALSE(plan.arriving);
    EXPECT_TRUE(plan.recentReads.empty());  // it came back in a pass begun after the read
    in.recentReads = {{"1-1", kNow - 60s}};
    plan = RefreshPlan::make(in);
    EXPECT_TRUE(plan.arriving);
    EXPECT_TRUE(plan.recentReads.empty());
}

TEST(RefreshPlan, AnUnpluggedDrivesCardClosesUnlessItIsBeingRead) {
    auto in = inputs({usb("X", "sdb", "1-1")}, {});
    in.arrival = Arrival{"X", kNow - 10s, "1-1", false};
    in.reports = {"1-1"};
    in.scans = {"1-1"};
    auto plan = RefreshPlan::make(in);
    EXPECT_TRUE(plan.closesArrival);
    EXPECT_EQ(plan.droppedScans, std::set<std::string>{"1-1"});
    in.reading = {"1-1"};
    in.isFirstRead = true;
    plan = RefreshPlan::make(in);
    EXPECT_FALSE(plan.closesArrival);
    EXPECT_EQ(plan.droppedReports, std::set<std::string>{"1-1"});  // reports die even during a read
    EXPECT_TRUE(plan.droppedScans.empty());
}

}  // namespace
}  // namespace app
