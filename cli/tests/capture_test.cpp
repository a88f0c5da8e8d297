// `vantrel check` and `vantrel scan` of a USB disk read by capture, over the fixture sysfs tree (sdb behind
// usb-storage on 2-1) with a simulated enclosure at that USB location: when the check
// takes the device over, what it prints as it goes, and who it refuses.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <unistd.h>

#include <gtest/gtest.h>

#include "app/scan/scan_run.hpp"
#include "cli/cli.hpp"
#include "cli/exit_codes.hpp"
#include "cli/failure_text.hpp"
#include "app/usb_check.hpp"
#include "app/drive_check.hpp"
#include "cli/watch_command.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/usb/tests/support/sim_ata_disk.hpp"
#include "drivekit/usb/tests/support/sim_enclosure.hpp"
#include "platform/demo/memory_file_store.hpp"
#include "platform/linux/linux_sysfs.hpp"
#include "cli/tests/support/outcome.hpp"
#include "platform/tests/support/doubles.hpp"

namespace {

using drivekit::sim::SimEnclosure;
using drivekit::sim::SimUSBHost;
using Lines = std::vector<std::string>;

// Nothing mounted and no file systems: the sequence has nothing to unmount, and the drive
// counts as back as soon as it is seen again.
struct NoProbe final : platform::BlockProbe {
    platform::BlockContent probe(std::string_view, unsigned, unsigned) const override { return {}; }
};

// The fixture tree, with the bus number and port path that place sdb's enclosure on the
// USB bus (the tree itself leaves them out).
class LocatedSysfs final : public platform::Sysfs {
public:
    std::optional<std::string> read(std::string_view path) const override {
        if (path.ends_with("/usb2/2-1/busnum")) return "2";
        if (path.ends_with("/usb2/2-1/devpath")) return "1";
        return tree_.read(path);
    }
    std::vector<std::string> list(std::string_view path) const override { return tree_.list(path); }
    bool exists(std::string_view path) const override { return tree_.exists(path); }
    std::optional<std::string> readLink(std::string_view path) const override { return tree_.readLink(path); }
    std::optional<std::string> resolve(std::string_view path) const override { return tree_.resolve(path); }

private:
    platform::LinuxSysfs tree_{std::string(VANTREL_TEST_DATA) + "/sysfs"};
};

using cli::test::Outcome;
using cli::test::linesOf;

class CaptureCommand : public ::testing::Test {
protected:
    CaptureCommand() {
        disk.passesATA = false;  // the kernel's driver refuses ATA PASS-THROUGH
        const drivekit::Discovery::Sources sources{sysfs, mounts, probe, "", drivekit::Locale{"en_US"}};
        const auto sdb = drivekit::Discovery::drive("sdb", sources);
        location = sdb && sdb->usb ? sdb->usb->locationID : 0;
        host.devices[location] = &enclosure;
        options.sleep = [](double) {};
        nvme.failure = platform::NVMeAdminFailure{platform::NVMeAdminFailure::Kind::noController, ENODEV};
    }

    Outcome run(std::vector<std::string_view> args) {
        const cli::OpenSCSI open = [this](std::string_view name)
            -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
            auto drive = links.open(name);
            if (!drive) return drivekit::Unexpected(ENOENT);
            return drive;
        };
        cli::CapturePlatform capture{volumes, holders, host, [](double) {}, options,
                                     [this] {
                                         ++recoveries;
                                         return orphans;
                                     }};
        cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}, open, &mounts, &probe, nullptr, &clock};
        machine.capture = &capture;
        return cli::test::run(std::move(args), machine);
    }

    LocatedSysfs sysfs;
    platform::doubles::ScriptedNVMe nvme;
    drivekit::sim::SimATADisk disk = drivekit::sim::labSATADisk();
    drivekit::sim::SimDiskLinks links{disk, "sdb"};
    platform::doubles::TableMounts mounts;
    NoProbe probe;
    platform::doubles::TestClock clock;
    platform::doubles::RecordedVolumes volumes;
    platform::doubles::ListedHolders holders;
    SimEnclosure enclosure;
    SimUSBHost host;
    drivekit::CapturedUSBDrive::Options options;
    std::uint32_t location = 0;
    Lines orphans;
    int recoveries = 0;
};


TEST_F(CaptureCommand, RefusedPassThroughFallsBackToTheCaptureAndRatesTheDrive) {
    ASSERT_NE(location, 0u) << "the fixture's sdb has a USB location";
    const Outcome r = run({"check", "sdb"});
    EXPECT_EQ(r.code, cli::exitOK) << r.err;
    EXPECT_GT(links.opened, 0) << "the live path was tried first";
    // Progress on stderr, from the fallback to the drive's return.
    const Lines progress = linesOf(r.err);
    ASSERT_FALSE(progress.empty());
    EXPECT_NE(progress.front().find("reading it directly"), std::string::npos) << r.err;
    EXPECT_EQ(progress.back(), "Back as sdb.");
    // The report is the live one's, read another way; the device went back to its driver.
    EXPECT_NE(r.out.find("Health: Healthy"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("ATA SMART over USB"), std::string::npos) << r.out;
    EXPECT_TRUE(enclosure.driverAttached);
    EXPECT_FALSE(enclosure.claimed);
    EXPECT_EQ(enclosure.disk.writeAttempts, 0);
    EXPECT_EQ(recoveries, 1) << "orphans are given back before any capture";
}

// --capture skips the live path even where it would work; progress stays on stderr, and
// the document names the reading as one made by capture.
TEST_F(CaptureCommand, CaptureOptionSkipsTheLivePathAndJsonStaysOnStdout) {
    disk.passesATA = true;  // live would work
    const Outcome r = run({"check", "/dev/sdb", "--capture", "--json"});
    ASSERT_EQ(r.code, cli::exitOK) << r.err;
    EXPECT_EQ(links.opened, 0);
    EXPECT_EQ(r.err.rfind("Taking over the USB device…\n", 0), 0u) << r.err;
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document) << "progress never mixes into the document: " << r.out;
    EXPECT_EQ((*document)["reading"]["method"], "ataSMARTHandOver");
}

// Who isn't taken over: a run without root (nothing is touched, not even orphans), and a
// disk that isn't on USB.
TEST_F(CaptureCommand, OnlyUSBDisksAndOnlyWithRoot) {
    host.isPrivileged = false;
    Outcome r = run({"check", "sdb", "--capture"});
    EXPECT_EQ(r.code, cli::exitNoPermission);
    EXPECT_EQ(r.err, "vantrel: Reading /dev/sdb needs root: run it with sudo, or install Vantrel's service (the vantrel package) to read drives as yourself.\n");
    EXPECT_EQ(recoveries, 0) << "an unprivileged run touches no interface";

    host.isPrivileged = true;
    links.name = "sda";  // a SATA disk the kernel can't pass the requests to
    r = run({"check", "sda"});
    EXPECT_EQ(r.code, cli::exitNotSupported);
    EXPECT_EQ(r.err, "vantrel: /dev/sda doesn't answer ATA health requests.\n");
    r = run({"check", "sda", "--capture"});
    EXPECT_EQ(r.code, cli::exitNotSupported);
    EXPECT_NE(r.err.find("isn't a USB drive; only USB drives are read by capture."), std::string::npos) << r.err;
    EXPECT_TRUE(enclosure.trace.empty());
}

TEST_F(CaptureCommand, AnEnclosureThatIsGoneIsNoDeviceAndAnOrphanLineIsShown) {
    host.devices.clear();
    orphans = {"couldn't give 2-3:1.0 back to its driver: Permission denied."};
    const Outcome r = run({"check", "sdb", "--capture"});
    EXPECT_EQ(r.code, cli::exitNoDevice) << r.err;
    const Lines lines = linesOf(r.err);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "vantrel: couldn't give 2-3:1.0 back to its driver: Permission denied.");
    // The device is still waited for, then the capture's own sentence closes the run.
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Waiting for the drive to come back…"), lines.end());
    EXPECT_EQ(lines.back(), "vantrel: /dev/sdb: The USB device disappeared.");
}

// watch --check: sdb plugged in is held from the automount, checked by capture, then let
// go; the capture's own departure and return of the disk aren't news.
struct ScriptedEvents final : platform::DiskEvents {
    std::vector<std::vector<platform::DiskEvent>> batches;
    std::vector<platform::DiskEvent> wait(std::chrono::milliseconds) override {
        if (batches.empty()) return {};
        auto batch = batches.front();
        batches.erase(batches.begin());
        return batch;
    }
};
struct RecordedHold final : platform::AutomountHold {
    Lines& calls;
    const SimEnclosure& enclosure;
    RecordedHold(Lines& c, const SimEnclosure& e) : calls(c), enclosure(e) {}
    ~RecordedHold() override { calls.push_back("end"); }
    void release(std::uint32_t location) override {
        calls.push_back("release " + std::to_string(location) + (enclosure.driverAttached ? " (given back)" : ""));
    }
    void forget(std::uint32_t location) override { calls.push_back("forget " + std::to_string(location)); }
};

TEST_F(CaptureCommand, WatchCheckHoldsAUSBDriveFromMountingUntilItsCheckIsOver) {
    using platform::DiskEvent;
    ScriptedEvents events;
    events.batches = {{{DiskEvent::Action::removed, "sdb"}, {DiskEvent::Action::added, "sdb"}},
                      {{DiskEvent::Action::removed, "sdb"}, {DiskEvent::Action::added, "sdb"}},
                      {{DiskEvent::Action::removed, "sdb"}}};
    Lines holdCalls;
    cli::CapturePlatform capture{volumes, holders, host, [](double) {}, options, [] { return Lines{}; }};
    const cli::OpenSCSI open = [this](std::string_view name) -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
        auto drive = links.open(name);
        if (!drive) return drivekit::Unexpected(ENOENT);
        return drive;
    };
    cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}, open, &mounts, &probe, nullptr, &clock};
    machine.capture = &capture;
    machine.holdAutomount = [&](std::string&) -> std::unique_ptr<platform::AutomountHold> {
        return std::make_unique<RecordedHold>(holdCalls, enclosure);
    };
    cli::Arguments arguments;
    arguments.command = cli::Command::watch;
    arguments.checkArrivals = true;
    std::ostringstream out;
    cli::watchDrives(arguments, machine, events, [&] { return events.batches.empty(); }, out);

    const Lines lines = linesOf(out.str());
    ASSERT_EQ(lines.size(), 5u) << out.str();
    EXPECT_EQ(lines[0], "Watching for drives. Plug one in.");
    EXPECT_EQ(lines[1], "sdb disconnected.");
    EXPECT_NE(lines[2].find(" connected over USB. Checking before it mounts…"), std::string::npos) << lines[2];
    EXPECT_EQ(lines[3].rfind("sdb: healthy, score ", 0), 0u) << lines[3];
    // The capture's echo is skipped; a departure after the disk came back is the user's.
    EXPECT_EQ(lines[4], "sdb disconnected.");
    EXPECT_EQ(holdCalls, (Lines{"release " + std::to_string(location) + " (given back)",
                                "forget " + std::to_string(location), "end"}));
    EXPECT_TRUE(enclosure.driverAttached);
}

// A full scan by capture finds exactly the enclosure's unreadable blocks, between the
// capture's steps, and the device is back with its driver afterwards.
TEST_F(CaptureCommand, ScanByCaptureReportsExactlyTheBadBlocksAndGivesTheDriveBack) {
    const auto data = std::filesystem::temp_directory_path() / ("vantrel-scancap-" + std::to_string(::getpid()));
    ::setenv("XDG_DATA_HOME", data.c_str(), 1);
    enclosure.disk.blocks = 8192;
    // The engine names the first block of each failing 64 KB piece.
    enclosure.disk.unreadableBlocks = {0, 1536, 8064};
    const Outcome r = run({"scan", "sdb", "--capture"});
    ::unsetenv("XDG_DATA_HOME");
    std::filesystem::remove_all(data);

    EXPECT_EQ(r.code, cli::exitNeedsCare) << r.err;
    EXPECT_EQ(links.opened, 0) << "nothing went through the kernel's driver";
    EXPECT_NE(r.out.find("Unreadable   3\n  block 0\n  block 1536\n  block 8064\n"), std::string::npos)
        << r.out;
    const Lines steps = linesOf(r.err);
    ASSERT_FALSE(steps.empty());
    EXPECT_EQ(steps.front(), "Taking over the USB device…");
    EXPECT_EQ(steps.back(), "Back as sdb.");
    EXPECT_TRUE(enclosure.driverAttached);
    EXPECT_FALSE(enclosure.claimed);
    EXPECT_EQ(enclosure.disk.writeAttempts, 0);
}

// Stopped mid-scan, what was read stands, and the device goes back all the same; a drive
// not on USB is refused before anything is taken.
TEST_F(CaptureCommand, ScanByCaptureStoppedMidwayKeepsWhatItReadAndGivesTheDriveBack) {
    enclosure.disk.blocks = 1 << 16;
    enclosure.disk.unreadableBlocks = {128, 60032};
    cli::CapturePlatform capture{volumes, holders, host, [](double) {}, options, [] { return Lines{}; }};
    cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}, nullptr, &mounts, &probe, nullptr, &clock};
    machine.capture = &capture;
    platform::FileStore& files = platform::systemFiles();
    Lines steps;
    const app::ScanRun::Platform platform{sysfs,   clock,   nullptr, nullptr, {}, files, nullptr, nullptr, &machine,
                                          [&](const std::string& line) { steps.push_back(line); }};
    int asked = 0;
    const auto outcome = app::ScanRun::run(
        platform, "sdb", drivekit::surface_scan::Mode::full, [&] { return ++asked > 20; }, {});
    ASSERT_TRUE(outcome.result) << steps.back();
    EXPECT_TRUE(outcome.result->cancelled);
    EXPECT_GT(outcome.result->readsDone, 0);
    EXPECT_LT(outcome.result->readsDone, outcome.result->readsPlanned);
    EXPECT_EQ(outcome.result->unreadable, (std::vector<std::uint64_t>{128}));
    EXPECT_TRUE(enclosure.driverAttached);
    EXPECT_FALSE(enclosure.claimed);

    links.name = "sda";
    const auto refused = app::ScanRun::run(platform, "sda", drivekit::surface_scan::Mode::full, {}, {});
    ASSERT_TRUE(app::ScanRun::failureOf(refused));
    EXPECT_EQ(app::ScanRun::failureOf(refused)->kind, app::Failure::Kind::notUSB);
}

// A stop that comes before the device is taken ends a scan by capture exactly as it ends
// the careful check: interrupted, nothing taken, nothing scanned or saved, the same sentence.
TEST_F(CaptureCommand, ScanByCaptureStoppedBeforeTheTakeEndsAsTheCheckDoes) {
    cli::CapturePlatform capture{volumes, holders, host, [](double) {}, options, [] { return Lines{}; }};
    cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}, nullptr, &mounts, &probe, nullptr, &clock};
    machine.capture = &capture;
    platform::MemoryFileStore files;
    const app::ScanRun::Platform platform{sysfs, clock, nullptr, nullptr, "/data", files, nullptr, nullptr, &machine, {}};
    const auto stopped = [] { return true; };
    const auto outcome = app::ScanRun::run(platform, "sdb", drivekit::surface_scan::Mode::full, stopped, {});
    const auto scanFailure = app::ScanRun::failureOf(outcome);
    ASSERT_TRUE(scanFailure);
    EXPECT_FALSE(files.read("/data/scans.json")) << "nothing read, nothing saved";

    const auto checked = app::captureReading(*drivekit::Discovery::drive("sdb", app::sourcesOf(machine)), machine,
                                             false, stopped, [](const std::string&) {});
    ASSERT_FALSE(checked);
    EXPECT_EQ(*scanFailure, checked.error());
    EXPECT_EQ(cli::said(*scanFailure).sentence, "interrupted; /dev/sdb was not taken over.");
    EXPECT_TRUE(enclosure.trace.empty()) << "the enclosure was never spoken to";
}

}  // namespace
