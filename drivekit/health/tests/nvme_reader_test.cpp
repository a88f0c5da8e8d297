#include "drivekit/health/nvme_reader.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
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

// Whichever command fails, and however, the reading fails with one kind, the status or
// errno it came with, and nothing more asked of the drive after a failed log.
TEST(NVMeReader, EachFailureKeepsItsKindStatusAndErrno) {
    const std::nullopt_t good = std::nullopt;  // FakeAdmin's own good answer
    struct Case {
        std::optional<NVMeAdminReply> log;
        std::optional<NVMeAdminReply> identify;
        NVMeReader::Failure failure;
        std::size_t calls;
        std::string text;
    };
    const Case cases[] = {
        {noController(ENODEV), good, {Kind::noSMARTService, 0, ENODEV}, 1, "This drive doesn't expose NVMe SMART."},
        {noController(EACCES), good, {Kind::noSMARTService, 0, EACCES}, 1, ""},
        {systemError(EIO), good, {Kind::ioError, 5, EIO}, 1, "NVMe SMART read failed: Input/output error."},
        // Do Not Retry, Invalid Field in Command
        {commandStatus(0x4002), good, {Kind::ioError, 0x4002, 0}, 1, "NVMe SMART read failed (NVMe status 0x4002)."},
        {good, commandStatus(0x0002), {Kind::ioError, 0x0002, 0}, 2, ""},
        // The controller went between the commands.
        {good, noController(ENODEV), {Kind::noSMARTService, 0, ENODEV}, 2, ""},
        {Bytes(511, 0), good, {Kind::ioError, 0xE00002BC, 0}, 2,
         "NVMe SMART read failed: the drive's answer was cut short."},
        // The identify answer is the fetch's result: its failure wins over the short log.
        {Bytes(511, 0), systemError(ETIMEDOUT), {Kind::ioError, static_cast<std::uint32_t>(ETIMEDOUT), ETIMEDOUT}, 2, ""},
    };
    for (const Case& c : cases) {
        FakeAdmin admin;
        if (c.log) admin.log = *c.log;
        if (c.identify) admin.identify = *c.identify;
        const auto failure = failureOf(admin);
        EXPECT_EQ(failure, c.failure) << failure.text();
        EXPECT_EQ(admin.calls.size(), c.calls) << failure.text();
        if (!c.text.empty()) {
            EXPECT_EQ(failure.text(), c.text);
        }
    }
}

}  // namespace
}  // namespace drivekit
