#include "drivekit/health/nvme_reader.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace drivekit {
namespace {

using platform::NVMeAdminFailure;
using platform::NVMeAdminReply;
using Kind = NVMeReader::Failure::Kind;

// Answers each command with what the test put in, and remembers what it was asked.
class FakeAdmin final : public platform::NVMeAdmin {
  public:
    NVMeAdminReply log = Bytes(512, 0);
    NVMeAdminReply identify = Bytes(4096, 0);
    std::vector<std::string> calls;

    NVMeAdminReply smartLog(std::string_view bsdName) override {
        calls.push_back("log " + std::string(bsdName));
        return log;
    }
    NVMeAdminReply identifyController(std::string_view bsdName) override {
        calls.push_back("identify " + std::string(bsdName));
        return identify;
    }
};

platform::Unexpected<NVMeAdminFailure> noController(int error) {
    return platform::Unexpected(NVMeAdminFailure{NVMeAdminFailure::Kind::noController, static_cast<std::uint32_t>(error)});
}
platform::Unexpected<NVMeAdminFailure> systemError(int error) {
    return platform::Unexpected(NVMeAdminFailure{NVMeAdminFailure::Kind::systemError, static_cast<std::uint32_t>(error)});
}
platform::Unexpected<NVMeAdminFailure> commandStatus(std::uint32_t status) {
    return platform::Unexpected(NVMeAdminFailure{NVMeAdminFailure::Kind::commandStatus, status});
}

NVMeReader::Failure failureOf(FakeAdmin& admin) {
    const auto result = NVMeReader::read("nvme0n1", admin);
    EXPECT_FALSE(result.ok());
    return result.ok() ? NVMeReader::Failure{} : result.error();
}

TEST(NVMeReader, ReadsTheLogThenTheIdentifyData) {
    FakeAdmin admin;
    Bytes log(512, 0);
    log[1] = 0x43;  // 323 K
    log[2] = 0x01;
    log[5] = 12;
    admin.log = log;
    Bytes identify(4096, ' ');
    identify[24] = 'X';
    admin.identify = identify;

    const auto result = NVMeReader::read("nvme1n1", admin);
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result->temperatureC, 50);
    EXPECT_EQ(result->percentageUsed, 12);
    EXPECT_EQ(result->model, "X");
    EXPECT_EQ(admin.calls, (std::vector<std::string>{"log nvme1n1", "identify nvme1n1"}));
}

TEST(NVMeReader, NoControllerIsNoSMARTServiceAndKeepsItsErrno) {
    for (const int error : {ENODEV, EACCES}) {
        FakeAdmin admin;
        admin.log = noController(error);
        const auto failure = failureOf(admin);
        EXPECT_EQ(failure.kind, Kind::noSMARTService);
        EXPECT_EQ(failure.status, 0u);
        EXPECT_EQ(failure.errorNumber, error);
        EXPECT_EQ(failure.text(), "This drive doesn't expose NVMe SMART.");
        EXPECT_EQ(admin.calls.size(), 1u) << "nothing more is asked after the log failed";
    }
}

TEST(NVMeReader, FailingLogCommandIsIOErrorWithItsStatus) {
    FakeAdmin admin;
    admin.log = systemError(EIO);
    auto failure = failureOf(admin);
    EXPECT_EQ(failure.kind, Kind::ioError);
    EXPECT_EQ(failure.status, 5u);
    EXPECT_EQ(failure.errorNumber, EIO);
    EXPECT_EQ(failure.text(), "NVMe SMART read failed: Input/output error.");

    admin.log = commandStatus(0x4002);  // Do Not Retry, Invalid Field in Command
    failure = failureOf(admin);
    EXPECT_EQ(failure.kind, Kind::ioError);
    EXPECT_EQ(failure.status, 0x4002u);
    EXPECT_EQ(failure.errorNumber, 0);
    EXPECT_EQ(failure.text(), "NVMe SMART read failed (NVMe status 0x4002).");
}

TEST(NVMeReader, FailingIdentifyFailsTheReadingAfterAGoodLog) {
    FakeAdmin admin;
    admin.identify = commandStatus(0x0002);
    EXPECT_EQ(failureOf(admin), (NVMeReader::Failure{Kind::ioError, 0x0002, 0}));
    EXPECT_EQ(admin.calls.size(), 2u);

    admin.identify = noController(ENODEV);  // the controller went between the commands
    EXPECT_EQ(failureOf(admin), (NVMeReader::Failure{Kind::noSMARTService, 0, ENODEV}));
}

TEST(NVMeReader, ShortLogIsTheGeneralIOError) {
    FakeAdmin admin;
    admin.log = Bytes(511, 0);
    const auto failure = failureOf(admin);
    EXPECT_EQ(failure, (NVMeReader::Failure{Kind::ioError, 0xE00002BC, 0}));
    EXPECT_EQ(failure.text(), "NVMe SMART read failed: the drive's answer was cut short.");

    // The identify answer is the fetch's result: its failure wins over the short log.
    admin.identify = systemError(ETIMEDOUT);
    EXPECT_EQ(failureOf(admin).status, static_cast<std::uint32_t>(ETIMEDOUT));
}

}  // namespace
}  // namespace drivekit
