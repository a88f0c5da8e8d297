#include "drivekit/usb/bot.hpp"

#include <algorithm>

#include <gtest/gtest.h>

#include "drivekit/core/text.hpp"
#include "drivekit/usb/tests/support/sim_enclosure.hpp"

namespace drivekit {
namespace {

using sim::Fault;
using Lines = std::vector<std::string>;

const Bytes inquiry = {0x12, 0x00, 0x00, 0x00, 0x24, 0x00};

Bytes read10(std::uint32_t lba, std::uint16_t blocks) {
    return {0x28, 0, static_cast<std::uint8_t>(lba >> 24), static_cast<std::uint8_t>(lba >> 16),
            static_cast<std::uint8_t>(lba >> 8), static_cast<std::uint8_t>(lba), 0,
            static_cast<std::uint8_t>(blocks >> 8), static_cast<std::uint8_t>(blocks), 0};
}

std::size_t count(const Lines& lines, const std::string& line) {
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
}

TEST(BOTWrapperDeathTest, ACommandBlockTheWireCantCarryStopsTheProcess) {
    EXPECT_DEATH(BOT::commandBlockWrapper(1, 0, false, 0, Bytes(17, 0)), "1 to 16");
    EXPECT_DEATH(BOT::commandBlockWrapper(1, 0, false, 0, Bytes{}), "1 to 16");
}

// ---------------------------------------------------------------------------------------
// The send path, against an enclosure whose Bulk-Only interface is claimed

class BOTSend : public ::testing::Test {
protected:
    void SetUp() override {
        device = enclosure.open();
        ASSERT_TRUE(device->claimInterface(0, false));
        pipes = BOT::Pipes{device.get(), 0x81, 0x02};
    }

    Result<Bytes, CaptureFailure> send(ByteView cdb, std::int64_t dataIn, double timeout = 4.0) {
        return BOT::send(pipes, tag, cdb, dataIn, timeout, buffers, log);
    }

    // The trace after the claim.
    Lines wire() const { return Lines(enclosure.trace.begin() + 2, enclosure.trace.end()); }

    sim::SimEnclosure enclosure;
    std::unique_ptr<platform::USBDevice> device;
    BOT::Pipes pipes;
    std::uint32_t tag = 0x55D40000;
    IOBufferPool buffers;
    DiagnosticsLog log;
};

TEST_F(BOTSend, ACommandGoesOutAsWrapperDataAndStatus) {
    const auto answer = send(inquiry, 36);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->size(), 36u);
    EXPECT_EQ(text::field(*answer, 8, 8), "SimBrdg");
    EXPECT_EQ(wire(), (Lines{"CBW 12 tag 55D40001 len 36", "data-in 36", "status"}));

    // Without a data phase the status follows the wrapper at once.
    ASSERT_TRUE(send(Bytes{0x00, 0, 0, 0, 0, 0}, 0));
    EXPECT_EQ(enclosure.trace.back(), "status");
    EXPECT_EQ(enclosure.tagsSeen, (std::vector<std::uint32_t>{0x55D40001, 0x55D40002}));
    EXPECT_EQ(enclosure.dataOutAttempts, 0);
}

TEST_F(BOTSend, MissingPipesRefuseBeforeAnythingMoves) {
    pipes.bulkIn.reset();
    const auto answer = send(inquiry, 36);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().text(), "Couldn't open the enclosure's data pipes.");
    EXPECT_EQ(tag, 0x55D40000u);
    EXPECT_TRUE(wire().empty());
}

TEST_F(BOTSend, AShortAnswerIsReturnedAsItCame) {
    enclosure.inject(Fault::shortData, 0x28, 1, 1, 512);
    const auto answer = send(read10(100, 8), 4096);
    ASSERT_TRUE(answer);
    EXPECT_EQ(*answer, sim::SimATADisk::blockContent(100));
    EXPECT_EQ(log.lines(), (Lines{"cmd 28: status 0, 512 bytes"}));
}

TEST_F(BOTSend, AStaleStatusBlockIsSkippedButNotTwice) {
    ASSERT_TRUE(send(inquiry, 36));

    // A leftover block with the previous tag comes first: it is read past, no halt clear.
    enclosure.inject(Fault::staleStatus, 0x12);
    const auto once = send(inquiry, 36);
    ASSERT_TRUE(once);
    EXPECT_EQ(once->size(), 36u);
    EXPECT_EQ(Lines(enclosure.trace.end() - 3, enclosure.trace.end()),
              (Lines{"data-in 36", "status", "status"}));

    enclosure.inject(Fault::staleStatus, 0x12, 1, 2);
    const auto twice = send(inquiry, 36);
    ASSERT_FALSE(twice);
    EXPECT_EQ(twice.error().text(), "USB transfer failed: bad status block");
    EXPECT_EQ(count(enclosure.trace, "clear 81"), 0u);
}

TEST_F(BOTSend, AStatusBlockOfAnotherTagIsNeverTheAnswer) {
    // The bridge answers with a tag we never sent; the second read finds nothing to take.
    enclosure.inject(Fault::foreignTag, 0x12);
    const auto answer = send(inquiry, 36, 2.0);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().text(), "USB transfer failed: status: Operation timed out");
}

TEST_F(BOTSend, MalformedStatusBlocksAreReadAgain) {
    enclosure.inject(Fault::badSignature, 0x12);
    EXPECT_TRUE(send(inquiry, 36));
    enclosure.inject(Fault::shortStatus, 0x12);
    EXPECT_TRUE(send(inquiry, 36));
    enclosure.inject(Fault::shortStatus, 0x12, 1, 2);
    const auto answer = send(inquiry, 36);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().text(), "USB transfer failed: bad status block");
}

TEST_F(BOTSend, AStalledStatusIsClearedAndReadAgain) {
    enclosure.inject(Fault::statusStall, 0x12);
    ASSERT_TRUE(send(inquiry, 36));
    EXPECT_EQ(Lines(enclosure.trace.end() - 3, enclosure.trace.end()),
              (Lines{"status", "clear 81", "status"}));

    // The clear failing doesn't stop the second read.
    enclosure.clearHaltFails = true;
    enclosure.inject(Fault::statusStall, 0x12);
    ASSERT_TRUE(send(inquiry, 36));
    EXPECT_EQ(enclosure.trace.back(), "status");
    enclosure.clearHaltFails = false;

    enclosure.inject(Fault::statusStall, 0x12, 1, 2);
    const auto answer = send(inquiry, 36);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().text(), "USB transfer failed: status: Pipe error");
}

TEST_F(BOTSend, AStalledDataPhaseThenAGoodStatusGivesNoData) {
    enclosure.inject(Fault::dataStall, 0x12);
    const auto answer = send(inquiry, 36);
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->empty());
    EXPECT_EQ(wire(),
              (Lines{"CBW 12 tag 55D40001 len 36", "data-in 36", "clear 81", "status"}));
}

TEST_F(BOTSend, AFailedReadIsRejectedWithItsStatus) {
    // The usual bridge halts the data phase of a read that failed.
    enclosure.disk.unreadableBlocks = {1000};
    const auto answer = send(read10(1000, 8), 4096);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error(), CaptureFailure::commandFailed(1));
    // The pipes are as good as before.
    EXPECT_TRUE(send(read10(1008, 8), 4096));
}

TEST_F(BOTSend, APhaseErrorIsARejectionAndNothingIsReset) {
    enclosure.inject(Fault::phaseError, 0x12);
    const auto answer = send(inquiry, 36);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().text(), "The enclosure rejected the command (status 2).");
    EXPECT_EQ(enclosure.resets, 0);
    EXPECT_TRUE(send(inquiry, 36));
}

TEST_F(BOTSend, AWrapperThatWontGoOutEndsTheCommandAtOnce) {
    enclosure.inject(Fault::cbwStall);
    const auto answer = send(inquiry, 36);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().text(), "USB transfer failed: command: Pipe error");
    EXPECT_EQ(wire(), (Lines{"CBW 12 tag 55D40001 len 36"}));
}

TEST_F(BOTSend, ADataReadThatNeverEndsCostsAtMostFourTimeOuts) {
    enclosure.inject(Fault::dataNeverEnds, 0x28);
    const auto answer = send(read10(0, 128), 65536, 3.0);
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().text(), "USB transfer failed: status: Operation timed out");
    EXPECT_LE(enclosure.timeWaited, 4 * 3.0);
    EXPECT_EQ(enclosure.resets, 0);  // no recovery during a run: the caller decides
    // The bridge stays stuck: the next wrapper doesn't go out either.
    const auto next = send(inquiry, 36, 3.0);
    ASSERT_FALSE(next);
    EXPECT_EQ(next.error().text(), "USB transfer failed: command: Operation timed out");
}

TEST_F(BOTSend, ReadsReuseTheirBuffers) {
    log.setNotesSuccesses(false);
    for (std::uint32_t lba = 0; lba < 64 * 128; lba += 128) {
        const auto answer = send(read10(lba, 128), 65536);
        ASSERT_TRUE(answer);
        ASSERT_EQ(answer->size(), 65536u);
        ASSERT_EQ(Bytes(answer->begin(), answer->begin() + 512), sim::SimATADisk::blockContent(lba));
    }
    EXPECT_EQ(buffers.made(), 2u);  // "cbw 31" and "data 65536"
    EXPECT_TRUE(log.lines().empty());  // success lines wait for the log to want them
    ASSERT_TRUE(send(inquiry, 36));
    EXPECT_EQ(buffers.made(), 3u);
}

}  // namespace
}  // namespace drivekit
