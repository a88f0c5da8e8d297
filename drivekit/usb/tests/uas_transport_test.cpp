#include "drivekit/usb/uas_transport.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "drivekit/health/ata_commands.hpp"
#include "drivekit/usb/captured_usb_drive.hpp"
#include "drivekit/usb/tests/support/sim_enclosure.hpp"

namespace drivekit {
namespace {

using Lines = std::vector<std::string>;
using sim::Fault;
using sim::SimEnclosure;

constexpr std::uint32_t location = 0x02140000;
const Bytes inquiry = {0x12, 0, 0, 0, 36, 0};

bool contains(const Lines& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// A transport on a SuperSpeed enclosure standing on its UAS setting, with a clock that
// only moves when the transport waits for something that doesn't come.
class UASSend : public ::testing::Test {
  protected:
    UASSend() : enclosure(layout()) {
        device = enclosure.open();
        EXPECT_TRUE(device->claimInterface(0, false));
        EXPECT_TRUE(device->selectAlternateSetting(1));
        enclosure.trace.clear();
    }

    static SimEnclosure::Layout layout() {
        SimEnclosure::Layout l;
        l.uasSetting = true;
        return l;
    }

    UASTransport::Timing timing() {
        return {[this](UASSignal& signal, double seconds) {
                    if (!signal.raised()) waited += seconds;
                    return signal.raised();
                },
                [this](double seconds) { waited += seconds; }};
    }

    std::unique_ptr<UASTransport> make(const UASTransport::PipeTable& pipes = fourPipes) {
        auto made = UASTransport::make(*device, pipes, log, timing());
        EXPECT_TRUE(made) << made.error().text();
        return made ? std::move(made).value() : nullptr;
    }

    Lines lines() const { return log.lines(); }

    static inline const UASTransport::PipeTable fourPipes = {
        {1, 0x04}, {2, 0x83}, {3, 0x85}, {4, 0x06}};

    SimEnclosure enclosure;
    std::unique_ptr<platform::USBDevice> device;
    DiagnosticsLog log;
    double waited = 0;
};

TEST_F(UASSend, ACommandQueuesItsReadsOnStreamOneBeforeTheIU) {
    const std::size_t before = UASTransport::alive();
    auto transport = make();
    ASSERT_TRUE(transport);
    const auto answer = transport->send(inquiry, 36, 4.0);
    ASSERT_TRUE(answer) << answer.error().text();
    EXPECT_EQ(answer->size(), 36u);
    EXPECT_EQ(std::string(answer->begin() + 8, answer->begin() + 15), "SimBrdg");

    EXPECT_EQ(enclosure.trace,
              (Lines{"streams 83 85 06", "queue 83/1 64", "queue 85/1 36", "IU 12 tag 1"}));
    EXPECT_EQ(lines().front(),
              "UAS: earlier transports still alive in this run: " + std::to_string(before));
    EXPECT_EQ(waited, 0.0);

    // Success lines only while the log takes them; the tag stays 1.
    log.setNotesSuccesses(false);
    ASSERT_TRUE(transport->send(Bytes{0x00, 0, 0, 0, 0, 0}, 0, 4.0));
    EXPECT_EQ(lines().size(), 4u);
    EXPECT_EQ(enclosure.trace.back(), "IU 00 tag 1");

    EXPECT_TRUE(transport->close());
    EXPECT_EQ(Lines(enclosure.trace.end() - 3, enclosure.trace.end()),
              (Lines{"free streams 83", "free streams 85", "free streams 06"}));
    EXPECT_TRUE(enclosure.streamEndpoints.empty());
    const auto closed = transport->send(inquiry, 36, 4.0);
    ASSERT_FALSE(closed);
    EXPECT_EQ(closed.error().text(), "UAS setup: streams");
    EXPECT_EQ(enclosure.dataOutAttempts, 0);
}

TEST_F(UASSend, ARejectedCommandLeavesTheTransportReady) {
    enclosure.disk.passesATA = false;
    auto transport = make();
    ASSERT_TRUE(transport);
    const Bytes identify = {0xA1, 0x08, 0x0E, 0, 1, 0, 0, 0, 0, 0xEC, 0, 0};
    const auto refused = transport->send(identify, 512, 4.0);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().text(), "The enclosure rejected the command (SCSI status 2).");
    // No data came with the CHECK CONDITION: the data read got half a second, was
    // cancelled and came back, so its buffer is free for the next command.
    EXPECT_DOUBLE_EQ(waited, 0.5);
    EXPECT_TRUE(contains(enclosure.trace, "cancel 85/1"));
    EXPECT_EQ(enclosure.queuedReads(), 0u);
    EXPECT_FALSE(transport->wedged());
    EXPECT_TRUE(transport->send(inquiry, 36, 4.0));

    // A Response IU means the task never ran: status 255, whatever else it holds.
    enclosure.inject(Fault::responseIU);
    const auto response = transport->send(inquiry, 36, 4.0);
    ASSERT_FALSE(response);
    EXPECT_EQ(response.error(), UASFailure::rejected(0xFF));
    EXPECT_TRUE(transport->close());
}

TEST_F(UASSend, AStatusOfSevenBytesIsShortAndOfEightIsEnough) {
    auto transport = make();
    ASSERT_TRUE(transport);
    enclosure.inject(Fault::shortStatus, std::nullopt, 1, 1, 8);
    EXPECT_TRUE(transport->send(inquiry, 36, 4.0));

    enclosure.inject(Fault::shortStatus, std::nullopt, 1, 1, 7);
    const auto cut = transport->send(inquiry, 36, 4.0);
    ASSERT_FALSE(cut);
    EXPECT_EQ(cut.error().text(), "UAS transfer: short status");
    EXPECT_FALSE(transport->wedged());
    EXPECT_TRUE(transport->send(inquiry, 36, 4.0));
}

TEST_F(UASSend, AMissingStatusWedgesForGood) {
    auto transport = make();
    ASSERT_TRUE(transport);
    enclosure.inject(Fault::statusNeverComes);
    const auto silent = transport->send(inquiry, 36, 6.0);
    ASSERT_FALSE(silent);
    EXPECT_EQ(silent.error().text(), "UAS timed out waiting for status.");
    EXPECT_DOUBLE_EQ(waited, 6.0);
    EXPECT_TRUE(transport->wedged());
    // Nothing was cancelled: the status read stays queued.
    EXPECT_FALSE(contains(enclosure.trace, "cancel 83/1"));
    EXPECT_EQ(enclosure.queuedReads(), 1u);

    const auto next = transport->send(inquiry, 36, 6.0);
    ASSERT_FALSE(next);
    EXPECT_EQ(next.error().text(), "UAS transfer: an earlier command didn't finish");
    EXPECT_EQ(enclosure.trace.back(), "IU 12 tag 1");  // nothing more went out

    waited = 0;
    EXPECT_FALSE(transport->close());
    EXPECT_EQ(waited, 0.0);
}

// A status read that fails, or a command IU that won't go out, wedges as a missing status
// does: the queued reads stay, and the streams are not freed.
TEST_F(UASSend, AFailedStatusReadOrCommandIUWedgesToo) {
    for (const Fault fault : {Fault::statusStall, Fault::cbwStall}) {
        auto transport = make();
        ASSERT_TRUE(transport);
        enclosure.inject(fault);
        EXPECT_FALSE(transport->send(inquiry, 36, 4.0));
        EXPECT_TRUE(transport->wedged());
        EXPECT_FALSE(transport->close());
    }
    EXPECT_GE(enclosure.queuedReads(), 2u);
}

TEST_F(UASSend, DataThatNeverEndsIsAbortedAndTheNextCommandStillGoes) {
    auto transport = make();
    ASSERT_TRUE(transport);
    enclosure.inject(Fault::dataNeverEnds);
    const auto empty = transport->send(inquiry, 36, 4.0);
    ASSERT_TRUE(empty) << empty.error().text();
    EXPECT_TRUE(empty->empty());
    EXPECT_DOUBLE_EQ(waited, 0.5);
    EXPECT_FALSE(transport->wedged());
    const auto next = transport->send(inquiry, 36, 4.0);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->size(), 36u);
}

TEST_F(UASSend, AnAbortThatDoesntComeBackReturnsOnceAndThenWedges) {
    auto transport = make();
    ASSERT_TRUE(transport);
    enclosure.cancelsComeBack = false;
    enclosure.inject(Fault::dataNeverEnds);
    const auto empty = transport->send(inquiry, 36, 4.0);
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->empty());
    EXPECT_NEAR(waited, 0.5 + 2.0, 1e-9);
    EXPECT_TRUE(transport->wedged());
    EXPECT_EQ(transport->send(inquiry, 36, 4.0).error().text(),
              "UAS transfer: an earlier command didn't finish");
    EXPECT_FALSE(transport->close());
}

TEST_F(UASSend, SetupNeedsAllFourPipesAndStreams) {
    auto noStatus = fourPipes;
    noStatus.erase(2);
    auto missing = UASTransport::make(*device, noStatus, log, timing());
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().text(), "UAS setup: no status pipe");
}

// --- Through a capture

class UASCaptureOverStreams : public UASSend {
  protected:
    UASCaptureOverStreams() {
        device.reset();
        enclosure.trace.clear();
        host.devices[location] = &enclosure;
    }

    Result<std::unique_ptr<CapturedUSBDrive>, CaptureFailure> capture() {
        CapturedUSBDrive::Options options;
        options.sleep = [](double) {};
        options.makeUAS = UASTransport::maker(timing());
        return CapturedUSBDrive::capture(host, location, options);
    }

    sim::SimUSBHost host;
};

TEST_F(UASCaptureOverStreams, ReadsTheDriveAndGivesItBack) {
    enclosure.disk.unreadableBlocks = {100};
    auto captured = capture();
    ASSERT_TRUE(captured) << captured.error().text();
    CapturedUSBDrive& drive = **captured;
    EXPECT_TRUE(drive.usesUAS());
    EXPECT_EQ(enclosure.resets, 0);

    const auto identified = ATACommands::ataIdentify(drive);
    ASSERT_TRUE(identified);
    EXPECT_EQ(identified->identity.model, "SIMDISK SSD 1TB");
    EXPECT_EQ(ATACommands::smart(drive, identified->variant).size(), 4u);

    // An unreadable block fails its read with the SCSI status; the next read works.
    const Bytes bad = {0x28, 0, 0, 0, 0, 96, 0, 0, 8, 0};
    const auto failed = drive.send(bad, 8 * 512, 4.0);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(),
              CaptureFailure::uas("The enclosure rejected the command (SCSI status 2).", 2));
    const Bytes good = {0x28, 0, 0, 0, 0, 200, 0, 0, 8, 0};
    EXPECT_EQ(drive.send(good, 8 * 512, 4.0)->size(), 8u * 512);
    EXPECT_FALSE(drive.stoppedAnswering());

    drive.release();
    EXPECT_TRUE(enclosure.driverAttached);
    EXPECT_TRUE(enclosure.streamEndpoints.empty());
    EXPECT_EQ(enclosure.queuedReads(), 0u);
    EXPECT_EQ(enclosure.disk.writeAttempts, 0);
    EXPECT_EQ(enclosure.dataOutAttempts, 0);
}

TEST_F(UASCaptureOverStreams, AWedgedCaptureIsResetAndGivenBackAndTheNextCaptureSaysSo) {
    // The kept capture outlives the test, and so must its enclosure.
    auto* kept = &enclosureForTheRestOfTheRun(layout());
    host.devices[location] = kept;
    const std::size_t keptBefore = CapturedUSBDrive::keptOpenCount();
    const std::size_t aliveBefore = UASTransport::alive();
    auto captured = capture();
    ASSERT_TRUE(captured);
    kept->inject(Fault::statusNeverComes);
    const auto silent = (*captured)->command(inquiry, 36, 4.0);
    ASSERT_FALSE(silent);
    EXPECT_EQ(silent.error().message, "UAS timed out waiting for status.");
    EXPECT_TRUE((*captured)->stoppedAnswering());
    captured.value().reset();
    EXPECT_FALSE(kept->claimed);
    EXPECT_TRUE(kept->driverAttached);
    EXPECT_EQ(kept->queuedReads(), 0u);
    EXPECT_EQ(CapturedUSBDrive::lastDiagnostics()->back(),
              "UAS: left open; resetting the device and giving it back");
    EXPECT_EQ(CapturedUSBDrive::keptOpenCount(), keptBefore + 1);

    host.devices[location] = &enclosure;
    auto next = capture();
    ASSERT_TRUE(next);
    const Lines l = (*next)->diagnostics();
    EXPECT_EQ(l[1], "captures kept open in this run (streams left for Linux to reset): " +
                        std::to_string(keptBefore + 1));
    EXPECT_TRUE(contains(
        l, "UAS: earlier transports still alive in this run: " + std::to_string(aliveBefore + 1)));
}

}  // namespace
}  // namespace drivekit
