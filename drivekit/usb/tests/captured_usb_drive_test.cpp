#include "drivekit/usb/captured_usb_drive.hpp"

#include <algorithm>

#include <gtest/gtest.h>

#include "drivekit/health/ata_commands.hpp"
#include "drivekit/usb/tests/support/sim_enclosure.hpp"

namespace drivekit {
namespace {

using Kind = CaptureFailure::Kind;
using Lines = std::vector<std::string>;
using sim::Fault;
using sim::SimEnclosure;

constexpr std::uint32_t location = 0x02140000;

std::size_t count(const Lines& lines, const std::string& line) {
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
}
bool contains(const Lines& lines, const std::string& line) { return count(lines, line) > 0; }

// A UAS transport that answers every command with the same bytes.
class FakeUAS final : public UASLink {
public:
    explicit FakeUAS(bool closes) : closes_(closes) {}
    Result<Bytes, UASFailure> send(ByteView cdb, std::int64_t, double) override {
        sent.emplace_back(cdb.begin(), cdb.end());
        return Bytes{0xCA, 0xFE};
    }
    bool close() override { return closes_; }
    bool wedged() const override { return wedged_; }

    std::vector<Bytes> sent;
    bool wedged_ = false;

private:
    bool closes_;
};

class Capture : public ::testing::Test {
protected:
    Capture() { host.devices[location] = &enclosure; }

    CapturedUSBDrive::Options options() {
        CapturedUSBDrive::Options o;
        o.sleep = [this](double s) { sleeps.push_back(s); };
        return o;
    }

    Result<std::unique_ptr<CapturedUSBDrive>, CaptureFailure> capture() {
        return CapturedUSBDrive::capture(host, location, options());
    }

    // Whatever happened, the device is back with its driver and nothing holds it.
    void expectGivenBack() const {
        EXPECT_TRUE(enclosure.driverAttached);
        EXPECT_FALSE(enclosure.claimed);
        EXPECT_EQ(enclosure.openDevices, 0);
        EXPECT_EQ(enclosure.dataOutAttempts, 0);
        EXPECT_EQ(enclosure.disk.writeAttempts, 0);
    }

    double slept() const {
        double total = 0;
        for (double s : sleeps) total += s;
        return total;
    }

    SimEnclosure enclosure;
    sim::SimUSBHost host;
    std::vector<double> sleeps;
};

TEST_F(Capture, TakesABulkOnlyEnclosureAndGivesItBack) {
    auto drive = capture();
    ASSERT_TRUE(drive) << drive.error().text();
    EXPECT_FALSE(enclosure.driverAttached);
    EXPECT_FALSE((*drive)->usesUAS());
    EXPECT_FALSE((*drive)->stoppedAnswering());

    EXPECT_EQ(CapturedUSBDrive::lastDiagnostics(), (*drive)->diagnostics());
    EXPECT_EQ(enclosure.trace, (Lines{"open", "configure 1", "claim 0", "mass storage reset",
                                      "clear 02", "clear 81", "max LUN"}));
    EXPECT_EQ(sleeps, (std::vector<double>{0.1, 0.1}));

    (*drive)->release();
    expectGivenBack();
    (*drive)->release();
    EXPECT_EQ(count(enclosure.trace, "release 0"), 1u);

    const auto after = (*drive)->command(Bytes{0x00, 0, 0, 0, 0, 0}, 0, 4.0);
    ASSERT_FALSE(after);
    EXPECT_EQ(after.error().message, "Couldn't open the enclosure's data pipes.");
}

TEST_F(Capture, ABlockOffTheAllowListNeverReachesTheEnclosure) {
    auto captured = capture();
    ASSERT_TRUE(captured);
    CapturedUSBDrive& drive = **captured;
    const Bytes write10 = {0x2A, 0, 0, 0, 0, 0, 0, 0, 1, 0};
    const auto answer = drive.send(write10, 0, 5);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().kind, Kind::commandRefused);
    EXPECT_TRUE(enclosure.tagsSeen.empty());
    EXPECT_TRUE(contains(drive.diagnostics(),
                         "Command refused, not sent: opcode 2Ah is not on the allow-list"));
    drive.release();
    expectGivenBack();
}

TEST_F(Capture, RefusesWithoutPrivilegeAndWithoutADevice) {
    host.isPrivileged = false;
    auto refused = capture();
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, Kind::notRoot);
    EXPECT_EQ(enclosure.openDevices, 0);
    // Even a capture that never started is the latest, with its empty log.
    EXPECT_EQ(CapturedUSBDrive::lastDiagnostics(), Lines{});

    host.isPrivileged = true;
    auto missing = CapturedUSBDrive::capture(host, 0x03100000, options());
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().text(), "The USB device disappeared.");

    host.openError = platform::USBError{platform::USBError::Kind::notPermitted, -3,
                                        "Access denied (insufficient permissions)"};
    auto denied = capture();
    ASSERT_FALSE(denied);
    EXPECT_EQ(denied.error().text(),
              "Linux wouldn't hand over the device: Access denied (insufficient permissions)");
}

TEST_F(Capture, ClaimRetriesThenSeizes) {
    enclosure.claimRefusals = 3;
    auto drive = capture();
    ASSERT_TRUE(drive);
    EXPECT_TRUE(contains((*drive)->diagnostics(), "interface open: ok after 3 retries"));
    EXPECT_EQ(std::count(sleeps.begin(), sleeps.end(), 0.25), 3);
    drive.value().reset();
    expectGivenBack();

    enclosure.trace.clear();
    enclosure.claimRefusals = 100;
    auto seized = capture();
    ASSERT_TRUE(seized);
    EXPECT_EQ(count(enclosure.trace, "claim 0"), 16u);
    EXPECT_EQ(count(enclosure.trace, "claim 0 seize"), 1u);
    const Lines lines = (*seized)->diagnostics();
    EXPECT_TRUE(contains(lines, "interface open: 0xFFFFFFFA Resource busy"));
    EXPECT_TRUE(contains(lines, "interface open with seize: ok"));
}

TEST_F(Capture, AClaimThatNeverComesIsACaptureFailure) {
    enclosure.claimRefusals = 100;
    enclosure.refuseSeize = true;
    auto drive = capture();
    ASSERT_FALSE(drive);
    EXPECT_EQ(drive.error().text(), "Linux wouldn't hand over the device: interface: Resource busy");
    EXPECT_NEAR(slept(), 0.1 + 16 * 0.25, 1e-9);
    expectGivenBack();
}

TEST_F(Capture, ARefusalForWantOfPrivilegeStopsAtOnce) {
    enclosure.claimRefusals = 100;
    enclosure.claimError = {platform::USBError::Kind::notPermitted, -3,
                            "Access denied (insufficient permissions)"};
    auto drive = capture();
    ASSERT_FALSE(drive);
    EXPECT_EQ(drive.error().kind, Kind::notAllowed);
    EXPECT_EQ(drive.error().text(), "Linux didn't allow Vantrel to read the drive.");
    EXPECT_EQ(count(enclosure.trace, "claim 0"), 1u);
    EXPECT_EQ(count(enclosure.trace, "claim 0 seize"), 0u);
    expectGivenBack();
}

TEST_F(Capture, WaitsForTheInterfaceOfAFreshlyConfiguredDevice) {
    enclosure.unconfigured = true;
    enclosure.looksBeforeInterface = 5;
    auto drive = capture();
    ASSERT_TRUE(drive);
    // No active configuration: value 1 is asked for.
    EXPECT_EQ(enclosure.trace[1], "configure 1");
    EXPECT_EQ(std::count(sleeps.begin(), sleeps.end(), 0.1), 7);  // six looks, and the last wait
}

TEST_F(Capture, ADeviceWithoutMassStorageIsRefusedAfterThreeSeconds) {
    SimEnclosure::Layout layout;
    layout.bulkOnlySetting = false;
    SimEnclosure plain(layout);
    host.devices[location] = &plain;
    auto drive = capture();
    ASSERT_FALSE(drive);
    EXPECT_EQ(drive.error().text(), "No USB mass-storage interface found.");
    EXPECT_NEAR(slept(), 3.0, 1e-9);
    EXPECT_EQ(plain.openDevices, 0);
}

TEST_F(Capture, FindsTheMassStorageInterfaceBesideAnother) {
    SimEnclosure::Layout layout;
    layout.otherInterfaceFirst = true;
    layout.interfaceNumber = 1;
    SimEnclosure composite(layout);
    host.devices[location] = &composite;
    auto drive = capture();
    ASSERT_TRUE(drive) << drive.error().text();
    EXPECT_TRUE(contains((*drive)->diagnostics(),
                         "interface 1: class 08 subclass 06 protocol 50, alt 0"));
    EXPECT_TRUE(contains(composite.trace, "claim 1"));
}

TEST_F(Capture, FailingClassRequestsDontStopTheSetup) {
    enclosure.resetStalls = true;
    enclosure.maxLUNStalls = true;
    enclosure.clearHaltFails = true;
    auto drive = capture();
    ASSERT_TRUE(drive);
    EXPECT_TRUE(ATACommands::inquiry(**drive));
}

TEST_F(Capture, AMissingBulkInEndsInPipes) {
    SimEnclosure::Layout layout;
    layout.bulkInEndpoint = false;
    SimEnclosure halfway(layout);
    host.devices[location] = &halfway;
    auto drive = capture();
    ASSERT_FALSE(drive);
    EXPECT_EQ(drive.error().text(), "Couldn't open the enclosure's data pipes.");
    EXPECT_EQ(CapturedUSBDrive::lastDiagnostics()->back(), "pipes: in missing, out ok");
    EXPECT_TRUE(halfway.driverAttached);
    EXPECT_EQ(halfway.openDevices, 0);
}

// --- Enclosures with a UAS setting

class UASCapture : public Capture {
protected:
    UASCapture() : uasEnclosure(uasLayout()) { host.devices[location] = &uasEnclosure; }

    static SimEnclosure::Layout uasLayout(bool bulkOnly = true) {
        SimEnclosure::Layout layout;
        layout.uasSetting = true;
        layout.bulkOnlySetting = bulkOnly;
        return layout;
    }

    SimEnclosure uasEnclosure;
};

TEST_F(UASCapture, AHighSpeedUASSettingFallsBackToBulkOnly) {
    auto layout = uasLayout();
    layout.streams = false;
    SimEnclosure highSpeed(layout);
    highSpeed.alternate = 1;
    host.devices[location] = &highSpeed;
    auto drive = capture();
    ASSERT_TRUE(drive);
    EXPECT_FALSE((*drive)->usesUAS());
    EXPECT_TRUE(contains((*drive)->diagnostics(), "now at alt 0"));
    EXPECT_TRUE(ATACommands::inquiry(**drive));
    drive.value().reset();
    EXPECT_TRUE(highSpeed.driverAttached);
}

TEST_F(UASCapture, AFailingUASTransportFallsBackToBulkOnly) {
    uasEnclosure.alternate = 1;  // standing on UAS: Bulk-Only first, then UAS again
    auto o = options();
    o.makeUAS = [](platform::USBDevice&, const std::map<int, std::uint8_t>& pipes, DiagnosticsLog&)
        -> Result<std::unique_ptr<UASLink>, std::string> {
        EXPECT_EQ(pipes, (std::map<int, std::uint8_t>{{1, 0x04}, {2, 0x83}, {3, 0x85}, {4, 0x06}}));
        return Unexpected(std::string("setup: streams: not on this link"));
    };
    auto drive = CapturedUSBDrive::capture(host, location, o);
    ASSERT_TRUE(drive);
    const Lines wire(uasEnclosure.trace.begin() + 3, uasEnclosure.trace.begin() + 6);
    EXPECT_EQ(wire, (Lines{"alt 0", "alt 1", "alt 0"}));
    EXPECT_EQ(std::vector<double>(sleeps.begin() + 1, sleeps.begin() + 3),
              (std::vector<double>{0.05, 0.1}));
}

TEST_F(UASCapture, OnBulkOnlyOnlyTheUASSettingIsSelected) {
    auto o = options();
    auto* link = new FakeUAS(true);
    o.makeUAS = [link](platform::USBDevice&, const std::map<int, std::uint8_t>&, DiagnosticsLog&)
        -> Result<std::unique_ptr<UASLink>, std::string> { return std::unique_ptr<UASLink>(link); };
    auto drive = CapturedUSBDrive::capture(host, location, o);
    ASSERT_TRUE(drive);
    EXPECT_TRUE((*drive)->usesUAS());
    EXPECT_EQ(count(uasEnclosure.trace, "alt 1"), 1u);
    EXPECT_EQ(count(uasEnclosure.trace, "alt 0"), 0u);
    EXPECT_EQ(uasEnclosure.resets, 0);  // the Bulk-Only preparation isn't done on UAS

    EXPECT_EQ((*drive)->command(Bytes{0x12, 0, 0, 0, 36, 0}, 36, 4.0).value(), (Bytes{0xCA, 0xFE}));
    EXPECT_EQ(link->sent.size(), 1u);
    link->wedged_ = true;
    EXPECT_TRUE((*drive)->stoppedAnswering());
    (*drive)->release();
    EXPECT_TRUE(uasEnclosure.driverAttached);
}

TEST_F(UASCapture, AUASOnlyEnclosureWithoutUASHasNoFallback) {
    SimEnclosure only(uasLayout(false));
    host.devices[location] = &only;
    auto o = options();
    o.makeUAS = [](platform::USBDevice&, const std::map<int, std::uint8_t>&, DiagnosticsLog&)
        -> Result<std::unique_ptr<UASLink>, std::string> {
        return Unexpected(std::string("UAS setup: streams: Operation not supported"));
    };
    auto drive = CapturedUSBDrive::capture(host, location, o);
    ASSERT_FALSE(drive);
    EXPECT_EQ(drive.error().text(), "This enclosure only speaks UAS; no Bulk-Only fallback found.");
    EXPECT_TRUE(only.driverAttached);
    EXPECT_EQ(only.openDevices, 0);
}

TEST_F(UASCapture, ATransportThatWontCloseIsResetAndGivenBackAtOnce) {
    // The kept capture lives until the process ends, and so must its enclosure.
    auto* kept = &enclosureForTheRestOfTheRun(uasLayout());
    host.devices[location] = kept;
    const std::size_t before = CapturedUSBDrive::keptOpenCount();
    auto o = options();
    o.makeUAS = [](platform::USBDevice&, const std::map<int, std::uint8_t>&, DiagnosticsLog&)
        -> Result<std::unique_ptr<UASLink>, std::string> {
        return std::unique_ptr<UASLink>(new FakeUAS(false));
    };
    auto drive = CapturedUSBDrive::capture(host, location, o);
    ASSERT_TRUE(drive);
    (*drive)->release();
    EXPECT_EQ((*drive)->diagnostics().back(), "UAS: left open; resetting the device and giving it back");
    EXPECT_EQ(CapturedUSBDrive::keptOpenCount(), before + 1);
    drive.value().reset();
    // The device is never held while the check waits for it: reset, then given back.
    EXPECT_TRUE(contains(kept->trace, "port reset"));
    EXPECT_FALSE(kept->claimed);
    EXPECT_TRUE(kept->driverAttached);
    EXPECT_EQ(kept->openDevices, 1);  // the objects live on for late completions

    host.devices[location] = &enclosure;
    auto next = capture();
    ASSERT_TRUE(next);
    EXPECT_EQ((*next)->diagnostics()[1],
              "captures kept open in this run (streams left for Linux to reset): " +
                  std::to_string(before + 1));
}

}  // namespace
}  // namespace drivekit
