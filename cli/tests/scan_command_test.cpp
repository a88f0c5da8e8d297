// `vantrel scan` end to end over the fixture sysfs tree and a small drive with one bad
// block: what it prints, what it saves, and its exit codes.
#include <cerrno>
#include <cstdlib>
#include <sstream>

#include <gtest/gtest.h>

#include "cli/cli.hpp"
#include "cli/exit_codes.hpp"
#include "drivekit/core/json.hpp"
#include "platform/linux/linux_sysfs.hpp"

namespace {

class NoNVMe final : public platform::NVMeAdmin {
public:
    platform::NVMeAdminReply smartLog(std::string_view) override { return platform::NVMeAdminFailure{}; }
    platform::NVMeAdminReply identifyController(std::string_view) override { return platform::NVMeAdminFailure{}; }
};

/// 2048 blocks of 512 bytes that read as zeros, but block 1500.
class OneBadBlock final : public drivekit::SCSIDrive {
public:
    Answer command(drivekit::ByteView cdb, std::int64_t dataIn, double) override {
        if (cdb[0] == 0x9E) return drivekit::Bytes{0, 0, 0, 0, 0, 0, 0x07, 0xFF, 0, 0, 2, 0};
        if (cdb[0] != 0x28) return drivekit::Unexpected(Failure{"refused"});
        const std::uint32_t lba = drivekit::be32(cdb, 2);
        if (lba <= 1500 && lba + drivekit::be16(cdb, 7) > 1500) return drivekit::Unexpected(Failure{"medium error"});
        return drivekit::Bytes(static_cast<std::size_t>(dataIn), 0);
    }
    drivekit::DiagnosticsLog& log() override { return log_; }

private:
    drivekit::DiagnosticsLog log_;
};

struct StillClock final : platform::Clock {
    std::chrono::system_clock::time_point now() const override { return {}; }
    std::chrono::steady_clock::time_point steadyNow() const override { return {}; }
};

class ScanCommandTest : public ::testing::Test {
protected:
    StillClock clock;
    platform::LinuxSysfs sysfs{std::string(VANTREL_TEST_DATA) + "/sysfs"};
    NoNVMe nvme;
    int openError = 0;
    std::filesystem::path data = std::filesystem::path(::testing::TempDir()) / "scan_command_test";

    void SetUp() override {
        std::filesystem::remove_all(data);
        ::setenv("XDG_DATA_HOME", data.c_str(), 1);
    }
    void TearDown() override {
        ::unsetenv("XDG_DATA_HOME");
        std::filesystem::remove_all(data);
    }

    int scan(std::vector<std::string_view> args, std::string& out, std::string& err) {
        const cli::OpenSCSI open = [this](std::string_view) -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
            if (openError != 0) return drivekit::Unexpected(openError);
            return std::unique_ptr<drivekit::SCSIDrive>(std::make_unique<OneBadBlock>());
        };
        cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}, open, nullptr, nullptr, nullptr, &clock};
        machine.openBlockReads = open;
        std::ostringstream o, e;
        args.insert(args.begin(), "scan");
        const int code = cli::run(args, machine, o, e);
        out = o.str();
        err = e.str();
        return code;
    }
};

TEST_F(ScanCommandTest, PrintsAndSavesWhatItReadAndExitsOneForABadBlock) {
    std::string out, err;
    EXPECT_EQ(scan({"/dev/sda", "--json"}, out, err), cli::exitNeedsCare);
    const auto result = drivekit::json::parse(out);
    ASSERT_TRUE(result) << out;
    EXPECT_EQ((*result)["unreadable"], drivekit::json::Object::parse("[1408]"));
    EXPECT_TRUE(std::filesystem::exists(data / "vantrel/scans.json"));

    EXPECT_EQ(scan({"sda", "--quick"}, out, err), cli::exitNeedsCare);
    EXPECT_NE(out.find("Unreadable   1\n  block 1408\n"), std::string::npos) << out;
}

TEST_F(ScanCommandTest, RefusesWhatIsNotAWholeDiskOrNotAllowed) {
    std::string out, err;
    EXPECT_EQ(scan({}, out, err), cli::exitUsage);
    EXPECT_EQ(scan({"sda", "--fast"}, out, err), cli::exitUsage);
    EXPECT_EQ(scan({"sda1"}, out, err), cli::exitNoDevice);
    openError = EACCES;
    EXPECT_EQ(scan({"sda"}, out, err), cli::exitNoPermission);
    EXPECT_EQ(err, "vantrel: Reading /dev/sda needs root: run it with sudo.\n");
}

}  // namespace
