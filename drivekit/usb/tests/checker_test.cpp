#include "drivekit/usb/checker.hpp"

#include <gtest/gtest.h>

#include "drivekit/usb/tests/support/sim_enclosure.hpp"
#include "platform/tests/support/doubles.hpp"

namespace drivekit {
namespace {

using Lines = std::vector<std::string>;
using platform::UnmountFailure;
using sim::SimEnclosure;
using sim::SimUSBHost;

constexpr std::uint32_t location = 0x02140000;

Drive usbDrive() {
    Drive drive;
    drive.bsdName = "sdb";
    drive.transport = Transport::usb;
    drive.usb = USBInfo{0x152D, 0x0578, location, "Enclosure", "Maker", 0};
    drive.volumes = {Volume{"sdb1", "Photos", "/media/lab/Photos", "ext4"},
                     Volume{"sdb2", std::nullopt, std::nullopt, std::nullopt},
                     Volume{"dm-3", "Vault", "/media/lab/Vault", "ext4"},
                     Volume{"dm-1", "Home", "/media/lab/Home", "ext4"}};
    return drive;
}

// The machine as the sequence sees it: every step recorded, the capture a simulated
// enclosure.
class Sequence : public ::testing::Test {
protected:
    Sequence() { host.devices[location] = &enclosure; }

    Checker::USBSteps steps() {
        Checker::USBSteps s;
        s.isRoot = [this] { return root; };
        s.openFileHolders = [this](const Lines& points) {
            calls.push_back("holders " + std::to_string(points.size()));
            return holders;
        };
        s.unmountWhole = [this](const std::string& disk) -> std::optional<UnmountFailure> {
            calls.push_back("unmount " + disk);
            if (auto it = refusals.find(disk); it != refusals.end()) return it->second;
            return std::nullopt;
        };
        s.mountWhole = [this](const std::string& disk) { calls.push_back("mount " + disk); };
        s.stillMounted = [this](const std::string&) { return still; };
        s.capture = [this](const platform::USBTarget& at) {
            calls.push_back("capture");
            CapturedUSBDrive::Options options;
            options.sleep = [](double) {};
            return CapturedUSBDrive::capture(host, at, options);
        };
        s.waitForReturn = [this](std::uint32_t at, std::uint8_t lun, int expected,
                                 const Checker::Log&) {
            calls.push_back("wait " + std::to_string(at) + " " + std::to_string(expected));
            waitedOnLUN = lun;
            EXPECT_TRUE(enclosure.driverAttached);
        };
        s.interrupted = [this] { return interrupted; };
        return s;
    }

    Result<Checker::Reading, Checker::Failure> run(const Drive& drive) {
        return Checker::check(drive, steps(), [this](const std::string& line) { log.push_back(line); },
                              [this] { calls.push_back("released"); });
    }

    SimEnclosure enclosure;
    SimUSBHost host;
    bool root = true;
    bool interrupted = false;
    std::optional<std::uint8_t> waitedOnLUN;
    Lines holders;
    Lines still;
    std::map<std::string, UnmountFailure> refusals;
    Lines calls;
    Lines log;
};

TEST_F(Sequence, ReadsTheDriveAndGivesEverythingBack) {
    sim::ATAContents contents;
    contents.selfTests = {{1, 0x00, 1200, 0}};
    enclosure.disk = sim::ataDisk(contents);
    const auto reading = run(usbDrive());
    ASSERT_TRUE(reading) << reading.error().text();

    EXPECT_EQ(reading->identity.model, "SIMDISK SSD 1TB");
    EXPECT_EQ(reading->variant, SAT::Variant::sixteen);
    EXPECT_EQ(reading->selfTests.size(), 1u);
    // The drive's own disk first, then the stacked ones sorted; never a partition.
    EXPECT_EQ(calls, (Lines{"holders 3", "unmount sdb", "unmount dm-1", "unmount dm-3", "capture",
                            "released", "wait " + std::to_string(location) + " 3"}));
    EXPECT_TRUE(enclosure.driverAttached);
    EXPECT_EQ(enclosure.disk.writeAttempts, 0);
}

TEST_F(Sequence, ASleepingDriveIsGivenBackUnwokenUnlessAskedToWake) {
    enclosure.disk.powerMode = 0x00;
    const auto asleep = run(usbDrive());
    ASSERT_FALSE(asleep);
    EXPECT_EQ(asleep.error().kind, Checker::Failure::Kind::asleep);
    // Nothing but CHECK POWER MODE reached the drive.
    const auto isCheckPowerMode = [](const Bytes& cdb) {
        return (cdb[0] == 0x85 && cdb[14] == 0xE5) || (cdb[0] == 0xA1 && cdb[9] == 0xE5);
    };
    for (const auto& cdb : enclosure.disk.commands) {
        if (cdb[0] == 0x85 || cdb[0] == 0xA1) {
            EXPECT_TRUE(isCheckPowerMode(cdb));
        }
    }
    // Given back and waited for, the volumes mounted again, as after a reading.
    EXPECT_EQ(calls.back(), "wait " + std::to_string(location) + " 3");
    EXPECT_TRUE(enclosure.driverAttached);

    Checker::USBSteps waking = steps();
    waking.wake = true;
    const auto read = Checker::check(usbDrive(), waking, [](const std::string&) {});
    ASSERT_TRUE(read) << read.error().text();
}

TEST_F(Sequence, RefusesWhatItMustNotTouchBeforeTouchingAnything) {
    Drive unsafe = usbDrive();
    unsafe.isRAIDMember = true;
    unsafe.hostsBootVolume = true;
    EXPECT_EQ(run(unsafe).error().text(),
              "Vantrel won't take over this drive because it is a member of a software RAID set, "
              "and it holds the startup volume.");

    Drive sata = usbDrive();
    sata.transport = Transport::sata;
    sata.isRAIDMember = true;
    EXPECT_EQ(run(sata).error().text(),
              "Vantrel can't read health data from this kind of connection yet.");

    Drive noUSB = usbDrive();
    noUSB.usb.reset();
    EXPECT_EQ(run(noUSB).error().text(), "No USB device found for this drive.");

    root = false;
    EXPECT_EQ(run(usbDrive()).error().text(),
              "Reading SMART over USB needs administrator rights. Run with sudo.");
    EXPECT_TRUE(calls.empty());
}

// Any process holding a file stops the check before anything is unmounted, whatever its
// name: no holder's handle closes by itself on Linux.
TEST_F(Sequence, OpenFilesStopItBeforeAnythingIsUnmounted) {
    holders = {"mdworker (PID 12) has /media/lab/Photos/a.jpg open",
               "bash (PID 77) has its working folder at /media/lab/Home"};
    const auto busy = run(usbDrive());
    EXPECT_EQ(busy.error().kind, Checker::Failure::Kind::busy);
    EXPECT_EQ(busy.error().text(),
              "Linux couldn't unmount the drive because something is using it:\n"
              "  mdworker (PID 12) has /media/lab/Photos/a.jpg open\n"
              "  bash (PID 77) has its working folder at /media/lab/Home\n"
              "Close those files or windows (or `cd` out of the drive in a terminal) and try again.");
    EXPECT_EQ(calls, (Lines{"holders 3"}));
}

TEST_F(Sequence, ARefusedUnmountMountsBackWhatWentAndSaysWhoHoldsTheDrive) {
    refusals["dm-1"] = UnmountFailure{UnmountFailure::Kind::refused, "Device or resource busy"};
    auto failure = run(usbDrive());
    // The disk that refused is mounted back too: it may have let some volumes go first.
    EXPECT_EQ(calls, (Lines{"holders 3", "unmount sdb", "unmount dm-1", "mount dm-1", "mount sdb",
                            "holders 3"}));
    EXPECT_EQ(failure.error().text(),
              "Linux couldn't unmount the drive because something is using it:\n"
              "  Linux couldn't unmount the drive: Device or resource busy. Close any open files on "
              "it and try again.\nClose those files or windows (or `cd` out of the drive in a "
              "terminal) and try again.");

    // Holders that appear by the time of the refusal are named instead.
    calls.clear();
    refusals.clear();
    refusals["dm-3"] = UnmountFailure{UnmountFailure::Kind::refused, "Device or resource busy"};
    int asked = 0;
    auto s = steps();
    s.openFileHolders = [&](const Lines&) {
        return ++asked == 1 ? Lines{} : Lines{"cp (PID 9) has /media/lab/Vault/big open"};
    };
    failure = Checker::check(usbDrive(), s, [](const std::string&) {});
    EXPECT_NE(failure.error().text().find("\n  cp (PID 9) has /media/lab/Vault/big open\n"),
              std::string::npos);
    EXPECT_EQ(calls, (Lines{"unmount sdb", "unmount dm-1", "unmount dm-3", "mount dm-3", "mount dm-1",
                            "mount sdb"}));
}

TEST_F(Sequence, OtherUnmountFailuresRiseAsTheyAre) {
    refusals["sdb"] = UnmountFailure{UnmountFailure::Kind::timeout, ""};
    EXPECT_EQ(run(usbDrive()).error().text(), "Timed out waiting for the drive.");
    EXPECT_EQ(calls, (Lines{"holders 3", "unmount sdb", "mount sdb"}));

    calls.clear();
    refusals.clear();
    still = {"/media/lab/Photos", "/media/lab/Home"};
    EXPECT_NE(run(usbDrive()).error().text().find(
                  "\n  Still mounted after unmounting: /media/lab/Photos, /media/lab/Home\n"),
              std::string::npos);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "capture"), 0);
}

TEST_F(Sequence, AFailedCaptureStillWaitsForTheDrive) {
    enclosure.claimRefusals = 1;
    enclosure.claimError = platform::USBError{platform::USBError::Kind::notPermitted, -3, "Access denied"};
    const auto failure = run(usbDrive());
    EXPECT_EQ(failure.error().text(), "Linux didn't allow Vantrel to read the drive.");
    EXPECT_EQ(calls.back(), "wait " + std::to_string(location) + " 3");
    EXPECT_EQ(calls[calls.size() - 2], "released");
}

TEST_F(Sequence, ADriveWithNothingMountedIsNotUnmounted) {
    Drive bare = usbDrive();
    bare.volumes.clear();
    ASSERT_TRUE(run(bare));
    EXPECT_EQ(calls, (Lines{"capture", "released", "wait " + std::to_string(location) + " 0"}));
    EXPECT_EQ(log.front(), "Taking over the USB device…");
}

TEST_F(Sequence, AnEnclosureThatPassesNothingIsWordedByItsBridge) {
    enclosure.disk.passesATA = false;
    EXPECT_EQ(run(usbDrive()).error().text(),
              "This enclosure (JMicron JMS578 bridge) doesn't pass health requests through to the drive.");
    EXPECT_TRUE(enclosure.driverAttached);
    // The capture's diagnostics reach the progress lines, indented.
    EXPECT_TRUE(std::any_of(log.begin(), log.end(), [](const std::string& l) { return l.starts_with("  "); }));
}

TEST_F(Sequence, AFailingInquiryOnlyLosesItsLine) {
    enclosure.inject(sim::Fault::dataStall, 0x12);
    const auto reading = run(usbDrive());
    ASSERT_TRUE(reading) << reading.error().text() << "\n" << ::testing::PrintToString(log);
    EXPECT_FALSE(reading->enclosure);
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& l) { return l.starts_with("Enclosure reports"); }),
              0);
}

// A stop that comes while the device is held sends nothing more and still gives the device
// back and waits for it; one that comes before the capture takes nothing at all.
TEST_F(Sequence, AnInterruptionStopsTheReadAndGivesTheDeviceBack) {
    Checker::USBSteps s = steps();
    s.capture = [this, take = s.capture](const platform::USBTarget& at) {
        auto taken = take(at);
        interrupted = true;
        return taken;
    };
    const auto failure = Checker::check(usbDrive(), s, [](const std::string&) {},
                                        [this] { calls.push_back("released"); });
    EXPECT_EQ(failure.error().text(), "Interrupted.");
    EXPECT_TRUE(enclosure.driverAttached);
    EXPECT_EQ(enclosure.disk.ataCommands, 0);
    EXPECT_EQ(calls.back(), "wait " + std::to_string(location) + " 3");
}

TEST_F(Sequence, AnInterruptionBeforeTheCaptureLeavesTheDriveAsItWas) {
    interrupted = true;
    EXPECT_EQ(run(usbDrive()).error().text(), "Interrupted.");
    EXPECT_EQ(calls, (Lines{"holders 3"}));

    interrupted = false;
    calls.clear();
    Checker::USBSteps s = steps();
    s.stillMounted = [this](const std::string&) {
        interrupted = true;  // the signal came while unmounting
        return Lines{};
    };
    EXPECT_EQ(Checker::check(usbDrive(), s, [](const std::string&) {}).error().text(), "Interrupted.");
    EXPECT_EQ(calls, (Lines{"holders 3", "unmount sdb", "unmount dm-1", "unmount dm-3", "mount dm-3",
                            "mount dm-1", "mount sdb"}));
    EXPECT_TRUE(enclosure.driverAttached);
}

TEST(WaitForReturn, CountsADriveBackWhenItsVolumesMountOrSettle) {
    platform::doubles::TestClock clock;
    Lines log;
    Lines mounts;
    int looks = 0;
    Checker::ReturnWatch watch;
    watch.clock = &clock;
    watch.sleep = [&](double s) { clock.advance(s); };
    Lines refusals;
    watch.mountWhole = [&](const std::string& disk) {
        mounts.push_back(disk);
        return refusals;
    };
    // Away for the first second, then back as sdc with one of its two volumes mounted.
    watch.find = [&](std::uint32_t) -> std::optional<Drive> {
        if (++looks <= 2) return std::nullopt;
        Drive drive = usbDrive();
        drive.bsdName = "sdc";
        drive.volumes = {Volume{"sdc1", "A", "/media/a", "ext4"}, Volume{"sdc2", "B", {}, {}}};
        return drive;
    };
    const auto writer = [&](const std::string& line) { log.push_back(line); };
    Checker::waitForReturn(location, 2, 120, writer, watch);
    EXPECT_EQ(log, (Lines{"Back as sdc, 1 of 2 volumes mounted."}));
    EXPECT_DOUBLE_EQ(std::chrono::duration<double>(clock.steady.time_since_epoch()).count(), 6.0);
    EXPECT_TRUE(mounts.empty());

    // Nothing ever mounts: one request to mount after 30 s, then the closing line.
    log.clear();
    clock.steady = {};
    watch.find = [&](std::uint32_t) -> std::optional<Drive> {
        Drive drive = usbDrive();
        drive.bsdName = "sdc";
        for (auto& v : drive.volumes) v.mountPoint.reset();
        return drive;
    };
    Checker::waitForReturn(location, 1, 120, writer, watch);
    EXPECT_EQ(mounts, (Lines{"sdc"}));
    EXPECT_EQ(log, (Lines{"The drive is back, but Linux hadn't mounted it after 120 s. If it doesn't "
                          "appear, unplug it and plug it back in."}));

    // A volume whose folder was replaced meanwhile won't come back: said at once, at the
    // first mount, not after the whole wait.
    log.clear();
    mounts.clear();
    clock.steady = {};
    refusals = {"/dev/sdc1 wasn't mounted back at /media/a: that folder was replaced."};
    Checker::waitForReturn(location, 1, 120, writer, watch);
    EXPECT_EQ(log, refusals);
    EXPECT_LE(std::chrono::duration<double>(clock.steady.time_since_epoch()).count(), 31.0);
    refusals.clear();

    // A drive without volumes is back as soon as it is seen.
    log.clear();
    Checker::waitForReturn(location, 0, 120, writer, watch);
    EXPECT_EQ(log, (Lines{"Back as sdc."}));

    // Interrupted: no settling, but a drive that came back without volumes is mounted at once.
    mounts.clear();
    clock.steady = {};
    watch.interrupted = [] { return true; };
    Checker::waitForReturn(location, 1, 120, writer, watch);
    EXPECT_EQ(mounts, (Lines{"sdc"}));
    EXPECT_DOUBLE_EQ(std::chrono::duration<double>(clock.steady.time_since_epoch()).count(), 0.0);

    // Ctrl-C while the drive is still away: a few seconds for it to reappear, not the
    // two minutes of the wait, and the line says what was left undone.
    log.clear();
    mounts.clear();
    watch.find = [](std::uint32_t) -> std::optional<Drive> { return std::nullopt; };
    Checker::waitForReturn(location, 1, 120, writer, watch);
    EXPECT_TRUE(mounts.empty());
    EXPECT_EQ(log, (Lines{"Stopped waiting: the drive hasn't come back yet, and its volumes are not "
                          "mounted again."}));
    EXPECT_LE(std::chrono::duration<double>(clock.steady.time_since_epoch()).count(), 10.5);
}

TEST(Checker, HolderLinesNameEachProcessOnce) {
    const std::vector<platform::FileHolder> holders = {
        {77, "bash", "/media/lab", true},
        {4242, "vim", "/media/lab/a.txt", false},
        {4242, "vim", "/media/lab/b.txt", false},
    };
    EXPECT_EQ(Checker::holderLines(holders),
              (Lines{"bash (PID 77) has its working folder at /media/lab",
                     "vim (PID 4242) has /media/lab/a.txt open"}));
}

}  // namespace
}  // namespace drivekit

namespace drivekit {
namespace {

// A card reader with two cards: the drive on LUN 1, the other card on LUN 0 mounted.
class CardReader : public Sequence {
protected:
    CardReader() {
        sim::ATAContents card;
        card.model = "SIMCARD B";
        enclosure.otherLUNs = {sim::ataDisk(card)};
        enclosure.busAddress = std::pair<std::uint8_t, std::uint8_t>{2, 7};
        other.bsdName = "sdc";
        other.transport = Transport::usb;
        other.usb = usbDrive().usb;
        other.volumes = {Volume{"sdc1", "CARD A", "/media/lab/CARD A", "vfat"}};
    }

    Checker::USBSteps readerSteps() {
        Checker::USBSteps s = steps();
        s.interfaceUse = [this](const Drive&) {
            Checker::InterfaceUse use;
            use.target = platform::USBTarget{location, 2, 7, 0, 1};
            use.others = {other};
            use.otherLUNs = {0};
            use.refusals = refusalsBefore;
            return use;
        };
        s.mountBackAt = [this](std::uint32_t at, std::uint8_t lun) {
            calls.push_back("mount back " + std::to_string(at) + " LUN " + std::to_string(lun));
        };
        s.exclusiveUse = [this](const Lines& disks) {
            calls.push_back("exclusive " + std::to_string(disks.size()));
            return exclusive;
        };
        return s;
    }

    Result<Checker::Reading, Checker::Failure> check(Drive drive) {
        return Checker::check(drive, readerSteps(), [this](const std::string& line) { log.push_back(line); });
    }

    Drive other;
    Lines refusalsBefore;
    Lines exclusive;
};

TEST_F(CardReader, UnmountsEveryCardAndReadsTheDrivesOwnLUN) {
    const auto reading = check(usbDrive());
    ASSERT_TRUE(reading) << reading.error().text();
    EXPECT_EQ(reading->identity.model, "SIMCARD B");
    EXPECT_TRUE(std::all_of(enclosure.lunsSeen.begin(), enclosure.lunsSeen.end(),
                            [](std::uint8_t lun) { return lun == 1; }));
    EXPECT_EQ(calls, (Lines{"holders 4", "unmount sdb", "unmount dm-1", "unmount dm-3", "unmount sdc",
                            "exclusive 2", "capture", "wait " + std::to_string(location) + " 3",
                            "mount back " + std::to_string(location) + " LUN 0"}));
    EXPECT_EQ(log.front(), "The same USB connection carries /dev/sdc, which goes away during the check too.");
    // The wait looks for the checked card, not whichever comes back first at the location,
    // and the other card is mounted back by its LUN, not by a name it may have lost.
    EXPECT_EQ(waitedOnLUN, std::uint8_t{1});
}

TEST_F(CardReader, AnotherCardInUseStopsItAndEverythingGoesBack) {
    holders = {"vim (PID 5) has /media/lab/CARD A/notes.txt open"};
    EXPECT_NE(check(usbDrive()).error().text().find("vim (PID 5) has /media/lab/CARD A/notes.txt open"),
              std::string::npos);
    EXPECT_EQ(calls, (Lines{"holders 4"}));

    holders.clear();
    calls.clear();
    refusals["sdc"] = UnmountFailure{UnmountFailure::Kind::refused, "Device or resource busy"};
    EXPECT_EQ(check(usbDrive()).error().kind, Checker::Failure::Kind::busy);
    EXPECT_EQ(calls, (Lines{"holders 4", "unmount sdb", "unmount dm-1", "unmount dm-3", "unmount sdc",
                            "mount sdc", "mount dm-3", "mount dm-1", "mount sdb", "holders 4"}));
    EXPECT_TRUE(enclosure.driverAttached);
}

TEST_F(CardReader, StackedDevicesAndSwapRefuseBeforeAnythingIsUnmounted) {
    refusalsBefore = {"/dev/sdc1 holds the unlocked encrypted volume luks-card. Lock it first."};
    const auto failure = check(usbDrive());
    EXPECT_EQ(failure.error().kind, Checker::Failure::Kind::inUse);
    EXPECT_EQ(failure.error().text(), refusalsBefore.front());
    EXPECT_TRUE(calls.empty());
}

TEST_F(CardReader, AnExclusiveHolderAfterTheUnmountRefusesAndMountsBack) {
    exclusive = {"/dev/sdc1 is still in use after unmounting."};
    const auto failure = check(usbDrive());
    EXPECT_EQ(failure.error().text(), exclusive.front());
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "capture"), 0);
    EXPECT_EQ(calls.back(), "mount sdb");
    EXPECT_TRUE(enclosure.driverAttached);
}

TEST_F(CardReader, ADeviceReplacedAtTheSameLocationIsNotTaken) {
    enclosure.busAddress = std::pair<std::uint8_t, std::uint8_t>{2, 9};
    const auto failure = check(usbDrive());
    EXPECT_EQ(failure.error().kind, Checker::Failure::Kind::capture);
    EXPECT_EQ(failure.error().capture.kind, CaptureFailure::Kind::deviceNotFound);
    EXPECT_FALSE(enclosure.claimed);
    EXPECT_TRUE(enclosure.lunsSeen.empty());
}

}  // namespace
}  // namespace drivekit
