#include "platform/linux/linux_sg_drive.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace platform {
namespace {

using Kind = SGOutcome::Kind;

// Sense data as the kernel hands it back, byte for byte.
// libata after SMART RETURN STATUS with the check-condition bit: fixed format, VALID,
// RECOVERED ERROR, 00h/1Dh, the registers of a passing drive.
const Bytes libataRegisters = {0xF0, 0x00, 0x01, 0x00, 0x50, 0x00, 0x00, 0x0A, 0x00,
                               0x00, 0x4F, 0xC2, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x00};
// A USB disk that doesn't pass ATA through: ILLEGAL REQUEST, invalid operation code.
const Bytes illegalRequest = {0x70, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x0A, 0x00,
                              0x00, 0x00, 0x00, 0x20, 0x00, 0x00, 0x00, 0x00, 0x00};
// A bridge whose drive aborted the command: descriptor sense, ABORTED COMMAND, the ATA
// Status Return descriptor with ERR set.
const Bytes driveAborted = {0x72, 0x0B, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0E, 0x09, 0x0C, 0x00,
                            0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x4F, 0x00, 0xC2, 0xA0, 0x51};

SGCompletion completion(std::uint8_t status, Bytes sense = {}, std::int32_t resid = 0) {
    SGCompletion c;
    c.status = status;
    c.driverStatus = sense.empty() ? 0 : 0x08;  // DRIVER_SENSE
    c.sense = std::move(sense);
    c.resid = resid;
    return c;
}

TEST(SGOutcome, GoodStatusGivesWhatTheDeviceSent) {
    EXPECT_EQ(classify(completion(0x00), 512).kind, Kind::data);
    EXPECT_EQ(classify(completion(0x00, {}, 312), 512).length, 200u);
    EXPECT_EQ(classify(completion(0x00, {}, 4096), 512).length, 0u);
    EXPECT_EQ(classify(completion(0x00, {}, -4), 512).length, 512u);
}

TEST(SGOutcome, RegistersAskedForAreASuccess) {
    const SGOutcome out = classify(completion(0x02, libataRegisters), 0);
    EXPECT_EQ(out.kind, Kind::ataRegisters);
    EXPECT_EQ(out.sentence(), "");

    // Some bridges report GOOD and still hand the registers back.
    const Bytes descriptor = {0x72, 0x00, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x0E, 0x09, 0x0C, 0x00,
                              0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF4, 0x00, 0x2C, 0x00, 0x50};
    EXPECT_EQ(classify(completion(0x00, descriptor), 0).kind, Kind::ataRegisters);

    // 00h/1Dh without registers that can be read is no answer.
    Bytes cut = libataRegisters;
    cut.resize(13);
    EXPECT_EQ(classify(completion(0x02, cut), 0).kind, Kind::checkCondition);
}

TEST(SGOutcome, CheckConditionSaysWhyInTheLog) {
    SGOutcome out = classify(completion(0x02, illegalRequest), 512);
    EXPECT_EQ(out.kind, Kind::checkCondition);
    EXPECT_EQ(out.detail, "CHECK CONDITION, ILLEGAL REQUEST, ASC/ASCQ 20h/00h (invalid command operation code)");
    EXPECT_EQ(out.sentence(), "The drive refused the command.");

    // The drive's own refusal carries registers too, but it isn't the answer asked for.
    out = classify(completion(0x02, driveAborted), 0);
    EXPECT_EQ(out.kind, Kind::checkCondition);

    out = classify(completion(0x02), 512);
    EXPECT_EQ(out.kind, Kind::checkCondition);
    EXPECT_EQ(out.detail, "CHECK CONDITION without sense data");

    // A recovered error completed the command.
    Bytes recovered = illegalRequest;
    recovered[2] = 0x01;
    recovered[12] = 0x17;
    out = classify(completion(0x02, recovered, 12), 512);
    EXPECT_EQ(out.kind, Kind::data);
    EXPECT_EQ(out.length, 500u);
}

TEST(SGOutcome, HostAndDriverStatusComeBeforeTheSCSIStatus) {
    struct Case {
        std::uint16_t host;
        std::uint16_t driver;
        Kind kind;
        const char* detail;
        const char* sentence;
    };
    const Case cases[] = {
        {0x01, 0, Kind::gone, "host status DID_NO_CONNECT (0x01)", "The drive is no longer connected."},
        {0x03, 0, Kind::timedOut, "host status DID_TIME_OUT (0x03)", "The drive didn't answer in time."},
        {0x07, 0, Kind::transportFailed, "host status DID_ERROR (0x07)", "The command didn't reach the drive."},
        {0, 0x06, Kind::timedOut, "driver status 0x06 (timeout)", "The drive didn't answer in time."},
    };
    for (const auto& c : cases) {
        SGCompletion in = completion(0x02, illegalRequest);
        in.hostStatus = c.host;
        in.driverStatus = c.driver;
        const SGOutcome out = classify(in, 512);
        EXPECT_EQ(out.kind, c.kind) << c.detail;
        EXPECT_EQ(out.detail, c.detail);
        EXPECT_EQ(out.sentence(), c.sentence);
    }
    EXPECT_EQ(classify(completion(0x08), 512).kind, Kind::busy);
    EXPECT_EQ(classify(completion(0x40), 512).detail, "SCSI status 0x40");
}

TEST(LinuxSGDrive, OpenReportsWhyANodeCantBeUsed) {
    auto missing = LinuxSGDrive::open("/nonexistent/vantrel/sdz");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(), ENOENT);

    // A plain file opens but takes no SCSI command; the failure is a sentence and the
    // reason is in the log.
    const auto file = std::filesystem::temp_directory_path() / ("vantrel-sg-test-" + std::to_string(::getpid()));
    std::ofstream(file) << "not a disk";
    auto opened = LinuxSGDrive::open(file);
    if (!mayPassThrough()) {
        ASSERT_FALSE(opened);
        EXPECT_EQ(opened.error(), EPERM);
    } else {
        ASSERT_TRUE(opened);
        auto& drive = *opened.value();
        const auto answer = drive.command(Bytes{0x12, 0x00, 0x00, 0x00, 0x24, 0x00}, 36, 1.0);
        ASSERT_FALSE(answer);
        EXPECT_EQ(answer.error().message, "The command didn't reach the drive.");
        ASSERT_EQ(drive.log().lines().size(), 1u);
        EXPECT_NE(drive.log().lines()[0].find("12 00 00 00 24 00: SG_IO failed"), std::string::npos)
            << drive.log().lines()[0];
        EXPECT_FALSE(drive.stoppedAnswering());
        EXPECT_FALSE(drive.command(Bytes(17, 0), 0, 1.0));
    }
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace platform
