// The check command end to end over a fixture sysfs tree and a scripted NVMe controller:
// exit codes scripts rely on, the sentences users read, and the JSON shape.
#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

#include "cli/cli.hpp"
#include "cli/exit_codes.hpp"
#include "drivekit/core/json.hpp"
#include "platform/linux/linux_sysfs.hpp"

namespace {

using platform::NVMeAdminFailure;
using platform::NVMeAdminReply;

std::vector<std::uint8_t> fileBytes(const std::string& name) {
    std::ifstream in(std::string(VANTREL_TEST_DATA) + "/nvme/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A controller that answers with a real QEMU log, optionally changed, or fails as told.
class ScriptedNVMe final : public platform::NVMeAdmin {
public:
    std::vector<std::uint8_t> log = fileBytes("qemu-7.2-smart-log.bin");
    std::vector<std::uint8_t> identify = fileBytes("qemu-7.2-id-ctrl.bin");
    std::optional<NVMeAdminFailure> failure;
    std::vector<std::string> asked;

    NVMeAdminReply smartLog(std::string_view name) override {
        asked.emplace_back(name);
        if (failure) return *failure;
        return log;
    }
    NVMeAdminReply identifyController(std::string_view) override {
        if (failure) return *failure;
        return identify;
    }
};

struct Outcome {
    int code;
    std::string out;
    std::string err;
};

class CheckCommand : public ::testing::Test {
protected:
    platform::LinuxSysfs sysfs{std::string(VANTREL_TEST_DATA) + "/sysfs"};
    ScriptedNVMe nvme;

    Outcome run(std::vector<std::string_view> args) {
        cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}};
        std::ostringstream out, err;
        const int code = cli::run(args, machine, out, err);
        return {code, out.str(), err.str()};
    }

    void makeSound() {
        nvme.log[3] = 100;  // available spare 100%
        nvme.log[4] = 10;   // threshold 10%
    }
};

TEST_F(CheckCommand, SoundDrivePrintsTheReportAndExitsZero) {
    makeSound();
    const Outcome r = run({"check", "/dev/nvme0n1"});
    EXPECT_EQ(r.code, cli::exitOK) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("/dev/nvme0n1"), std::string::npos);
    EXPECT_NE(r.out.find("This drive is healthy."), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("score 100 of 100"), std::string::npos) << r.out;
    for (const char* row : {"Critical warning", "Temperature", "Available spare threshold", "Percentage used",
                            "Data units read", "Data units written", "Power cycles", "Power-on hours",
                            "Unsafe shutdowns", "Media and data integrity errors", "Error log entries"}) {
        EXPECT_NE(r.out.find(row), std::string::npos) << row;
    }
    EXPECT_EQ(nvme.asked, std::vector<std::string>{"nvme0n1"});
}

TEST_F(CheckCommand, ReadOnlyDriveNeedsCareAndSaysWhy) {
    makeSound();
    nvme.log[0] = 0x08;
    const Outcome r = run({"check", "nvme0n1"});
    EXPECT_EQ(r.code, cli::exitNeedsCare);
    EXPECT_NE(r.out.find("This drive is read-only."), std::string::npos) << r.out;
}

TEST_F(CheckCommand, JsonIsTheHealthDocumentWithoutNullsAndWithEveryArray) {
    makeSound();
    const Outcome r = run({"check", "nvme0n1", "--json"});
    ASSERT_EQ(r.code, cli::exitOK) << r.err;
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document.has_value()) << r.out;
    EXPECT_TRUE(document->is_object());
    EXPECT_EQ(r.out.find("null"), std::string::npos);
    EXPECT_EQ((*document)["schemaVersion"], 1);
    for (const char* key : {"indicators", "selfTests"}) {
        ASSERT_TRUE(document->contains(key)) << key;
        EXPECT_TRUE((*document)[key].is_array()) << key;
    }
    EXPECT_EQ((*document)["indicators"].size(), 7u);
    EXPECT_EQ((*document)["drive"]["device"], "/dev/nvme0n1");
    EXPECT_EQ((*document)["reading"]["method"], "nvmeSMART");
    // Sorted keys, as the document is always written.
    EXPECT_LT(r.out.find("\"drive\""), r.out.find("\"figures\""));
}

TEST_F(CheckCommand, WithoutDeviceChecksEveryNVMeDriveAsAnArray) {
    makeSound();
    const Outcome r = run({"check", "--json"});
    ASSERT_EQ(r.code, cli::exitOK) << r.err;
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document && document->is_array()) << r.out;
    EXPECT_EQ(document->size(), 1u);
    EXPECT_EQ(nvme.asked, std::vector<std::string>{"nvme0n1"});  // never the SATA or USB disks
}

TEST_F(CheckCommand, BadInputGetsOneSentenceAndItsOwnExitCode) {
    struct Case {
        std::vector<std::string_view> args;
        int code;
        std::string says;
    };
    const std::vector<Case> cases = {
        {{"check", "nosuch0"}, cli::exitNoDevice, "no such device: /dev/nosuch0."},
        {{"check", "mmcblk0"}, cli::exitNoDevice, "no such device: /dev/mmcblk0."},
        {{"check", "sda1"}, cli::exitNotSupported, "/dev/sda1 is a partition"},
        {{"check", "/etc/passwd"}, cli::exitUsage, "Not a device name: /etc/passwd."},
        {{"check", "nvme0n1", "sda"}, cli::exitUsage, "check takes one device"},
        {{"check", "--frobnicate"}, cli::exitUsage, "Unknown option for check: --frobnicate."},
        {{"frobnicate"}, cli::exitUsage, "Unknown command: frobnicate."},
        {{}, cli::exitUsage, "No command given."},
    };
    for (const auto& c : cases) {
        const Outcome r = run(c.args);
        EXPECT_EQ(r.code, c.code) << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
        if (!c.args.empty()) {
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        }
        EXPECT_EQ(r.out, "");
    }
    EXPECT_TRUE(nvme.asked.empty()) << "nothing reaches a controller on bad input";
}

TEST_F(CheckCommand, ReadFailuresMapToPermissionUnsupportedAndIOError) {
    nvme.failure = NVMeAdminFailure{NVMeAdminFailure::Kind::noController, EACCES};
    Outcome r = run({"check", "nvme0n1"});
    EXPECT_EQ(r.code, cli::exitNoPermission);
    EXPECT_NE(r.err.find("run it with sudo"), std::string::npos) << r.err;

    nvme.failure = NVMeAdminFailure{NVMeAdminFailure::Kind::noController, ENODEV};
    r = run({"check", "nvme0n1"});
    EXPECT_EQ(r.code, cli::exitNotSupported);
    EXPECT_NE(r.err.find("This drive doesn't expose NVMe SMART."), std::string::npos) << r.err;

    nvme.failure = NVMeAdminFailure{NVMeAdminFailure::Kind::commandStatus, 0x4002};
    r = run({"check", "nvme0n1"});
    EXPECT_EQ(r.code, cli::exitReadFailed);
    EXPECT_NE(r.err.find("NVMe SMART read failed (NVMe status 0x4002)."), std::string::npos) << r.err;
}

TEST(ExitCodes, SeveralDrivesReportTheWorstOutcome) {
    EXPECT_EQ(cli::worseExit(cli::exitOK, cli::exitNeedsCare), cli::exitNeedsCare);
    EXPECT_EQ(cli::worseExit(cli::exitNeedsCare, cli::exitOK), cli::exitNeedsCare);
    EXPECT_EQ(cli::worseExit(cli::exitNeedsCare, cli::exitReadFailed), cli::exitReadFailed);
    EXPECT_EQ(cli::worseExit(cli::exitNoPermission, cli::exitNeedsCare), cli::exitNoPermission);
}

}  // namespace
