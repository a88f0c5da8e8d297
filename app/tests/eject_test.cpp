#include "app/eject.hpp"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/tests/support/doubles.hpp"

namespace app {
namespace {

using Lines = std::vector<std::string>;
using Kind = EjectOutcome::Kind;
using Failure = platform::UnmountFailure;

DriveSummary drive(std::string name) {
    DriveSummary d;
    d.id = "id-" + name;
    d.bsdName = name;
    d.name = "Disk " + name;
    return d;
}

DriveSummary member(std::string name, std::string set = "md0") {
    DriveSummary d = drive(std::move(name));
    d.isRAIDMember = true;
    d.raid = drivekit::RAIDInfo{};
    d.raid->setName = "Photos mirror";
    d.raid->setBSDName = set;
    d.disksOnTop = {set};
    return d;
}

using FakeVolumes = platform::doubles::RecordedVolumes;
using FakeHolders = platform::doubles::ListedHolders;

TEST(EjectJob, AMemberTakesItsWholeSetAndADriveOfNoKnownSetGoesAlone) {
    DriveSummary noArray = member("sdd");
    noArray.raid->setBSDName.reset();
    const std::vector<DriveSummary> drives{drive("sda"), member("sdb"), member("sdc"), member("sde", "md1"), noArray};

    const EjectJob set = Eject::job(drives[2], drives);
    ASSERT_EQ(set.members.size(), 2u);
    EXPECT_EQ(set.members[0].bsdName, "sdb");
    EXPECT_EQ(set.members[1].bsdName, "sdc");
    EXPECT_EQ(Eject::title(set), "Photos mirror (all its drives)");

    const EjectJob alone = Eject::job(noArray, drives);
    ASSERT_EQ(alone.members.size(), 1u);
    EXPECT_EQ(Eject::title(alone), "Disk sdd");
}

TEST(EjectRun, ArraysAreUnmountedAndStoppedBeforeEachMemberIsUnmountedAndPoweredOff) {
    const std::vector<DriveSummary> drives{member("sdb"), member("sdc")};
    FakeVolumes volumes;
    FakeHolders holders;

    EXPECT_EQ(Eject::run(Eject::job(drives[0], drives), volumes, holders, {}).kind, Kind::ejected);
    EXPECT_EQ(volumes.calls, (Lines{"unmount md0", "stop md0", "unmount sdb", "power off sdb", "unmount sdc",
                                    "power off sdc"}));

    // A LUKS container is unmounted but not stopped; a disk gone meanwhile isn't a refusal.
    DriveSummary usb = drive("sdd");
    usb.disksOnTop = {"dm-0"};
    FakeVolumes more;
    more.failures["power off sdd"] = Failure{Failure::Kind::noDisk, "", ENODEV};
    EXPECT_EQ(Eject::run(Eject::job(usb, {usb}), more, holders, {}).kind, Kind::ejected);
    EXPECT_EQ(more.calls, (Lines{"unmount dm-0", "unmount sdd", "power off sdd"}));
}

TEST(EjectRun, ABusyVolumeNamesWhoHoldsItAndStopsTheJob) {
    const std::vector<DriveSummary> drives{member("sdb"), member("sdc")};
    FakeVolumes volumes;
    volumes.failures["stop md0"] = Failure{Failure::Kind::refused, "Device or resource busy", EBUSY};
    FakeHolders holders;
    holders.held = {{4242, "cat", "/media/lab/Photos/a.jpg", false}};

    const auto outcome = Eject::run(Eject::job(drives[0], drives), volumes, holders, {"/media/lab/Photos"});
    EXPECT_EQ(outcome.kind, Kind::busy);
    EXPECT_EQ(Eject::reason(outcome),
              "Something is still using this drive: cat (PID 4242) has /media/lab/Photos/a.jpg open. Close it, "
              "then try again.");
    EXPECT_EQ(holders.askedAbout, (std::vector<Lines>{{"/media/lab/Photos"}}));
    EXPECT_EQ(volumes.calls, (Lines{"unmount md0", "stop md0"}));

    // Nobody to name: the general sentence and its log line.
    holders.held.clear();
    const auto unnamed = Eject::run(Eject::job(drives[0], drives), volumes, holders, {});
    EXPECT_EQ(Eject::reason(unnamed),
              "Something is still using this drive. Close any files or windows on it, then try again.");
    EXPECT_EQ(Eject::logLine(unnamed), "Eject refused: a file on the drive is open.");
}

TEST(EjectRefusal, ACheckUnderWayOrTheStartupVolumeRefusesTheWholeSet) {
    std::vector<DriveSummary> drives{member("sdb"), member("sdc")};
    drives[1].usbKey = "33619968-1000";
    EXPECT_EQ(Eject::refusal(Eject::job(drives[0], drives), {"33619968-1000"})->reason,
              "A health check is using this drive. Cancel it first.");
    EXPECT_FALSE(Eject::refusal(Eject::job(drives[0], drives), {"other"}));

    drives[1].hostsBootVolume = true;
    EXPECT_EQ(Eject::refusal(Eject::job(drives[0], drives), {})->log,
              "Eject refused: the drive holds the startup volume.");
}

TEST(EjectLine, TheStateComesBeforeTheMountFactsAndAScanBeforeBoth) {
    DriveSummary usb = drive("sdb");
    usb.hasVolumes = true;  // and none mounted
    EXPECT_EQ(Eject::line(usb, std::nullopt, "Healthy"), "Not mounted \u00b7 safe to unplug");
    EXPECT_EQ(Eject::line(usb, EjectState{EjectState::Kind::ejected}, "Healthy"), "Ejected \u00b7 safe to unplug");
    EXPECT_EQ(Eject::line(usb, EjectState{EjectState::Kind::refused, "Why."}, "Healthy", "Scanning 40%"),
              "Scanning 40%");
    usb.hasVolumes = false;
    EXPECT_EQ(Eject::line(usb, std::nullopt, "Healthy"), "Healthy");
}

}  // namespace
}  // namespace app
