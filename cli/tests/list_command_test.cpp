// `vantrel list` and the summary part of `vantrel check`, end to end over the lab
// machine's fixture tree: an NVMe drive with a real QEMU log, a SATA disk that answers
// ATA pass-through, three USB disks and an SD card that don't.
#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>

#include "cli/cli.hpp"
#include "cli/exit_codes.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/health/tests/fake_sat_disk.hpp"
#include "platform/linux/linux_block_probe.hpp"
#include "platform/linux/linux_mounts.hpp"
#include "platform/linux/linux_sysfs.hpp"

namespace {

std::string data(const std::string& path) {
    return std::string(VANTREL_TEST_DATA) + "/" + path;
}

std::vector<std::uint8_t> fileBytes(const std::string& path) {
    std::ifstream in(data(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class QEMUNVMe final : public platform::NVMeAdmin {
  public:
    platform::NVMeAdminReply smartLog(std::string_view) override {
        return fileBytes("nvme/qemu-7.2-smart-log.bin");
    }
    platform::NVMeAdminReply identifyController(std::string_view) override {
        return fileBytes("nvme/qemu-7.2-id-ctrl.bin");
    }
};

class FixedClock final : public platform::Clock {
  public:
    std::chrono::system_clock::time_point now() const override {
        return std::chrono::system_clock::time_point{std::chrono::seconds{1'794'751'200}};
    }
    std::chrono::steady_clock::time_point steadyNow() const override { return {}; }
};

class SomeSpace final : public platform::VolumeSpace {
  public:
    std::optional<platform::SpaceFigures> space(std::string_view) const override {
        return platform::SpaceFigures{1'000'000, 4'000'000};
    }
};

struct Outcome {
    int code;
    std::string out;
    std::string err;
};

class ListCommand : public ::testing::Test {
  protected:
    const std::string root = data("discovery/lab");
    platform::LinuxSysfs sysfs{root};
    platform::LinuxMounts mounts{root};
    platform::LinuxBlockProbe probe{root};
    SomeSpace space;
    FixedClock clock;
    QEMUNVMe nvme;
    drivekit::testpages::FakeSATDisk sata;  // "sda"

    Outcome run(std::vector<std::string_view> args) {
        const cli::OpenSCSI open = [this](std::string_view name)
            -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
            auto drive = sata.connect()(name);
            if (!drive) return drivekit::Unexpected(EIO);
            return drive;
        };
        cli::Machine machine{
            sysfs, nvme, drivekit::Locale{"en_US"}, open, &mounts, &probe, &space, &clock, "/root"};
        std::ostringstream out, err;
        const int code = cli::run(args, machine, out, err);
        return {code, out.str(), err.str()};
    }
};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

TEST_F(ListCommand, OneAlignedLinePerDriveUnderAHeader) {
    const Outcome r = run({"list"});
    EXPECT_TRUE(r.code == cli::exitOK || r.code == cli::exitNeedsCare) << r.err;
    EXPECT_EQ(r.err, "");
    const auto lines = linesOf(r.out);
    ASSERT_EQ(lines.size(), 7u) << r.out;
    const auto column = lines[0].find("DEVICE");
    const auto tier = lines[0].find("TIER");
    const std::vector<std::string> devices{"/dev/mmcblk0", "/dev/nvme0n1", "/dev/sda",
                                           "/dev/sdb",     "/dev/sdc",     "/dev/sdd"};
    for (std::size_t i = 0; i < devices.size(); ++i) {
        EXPECT_EQ(lines[i + 1].find(devices[i]), column) << lines[i + 1];
    }
    // The card by its volume, limited; a USB disk by its model, with its kind and line.
    EXPECT_EQ(lines[1].rfind("CAMERA", 0), 0u) << lines[1];
    EXPECT_EQ(lines[1].find("limited"), tier) << lines[1];
    EXPECT_NE(lines[1].find("SD card"), std::string::npos);
    EXPECT_EQ(lines[6].rfind("BOT DISK", 0), 0u) << lines[6];
    EXPECT_NE(lines[6].find("USB"), std::string::npos);
    EXPECT_NE(lines[6].find("`vantrel check` reads it over USB"), std::string::npos) << lines[6];
    EXPECT_NE(lines[3].find("SATA"), std::string::npos) << lines[3];
    EXPECT_EQ(lines[3].find("limited"), std::string::npos) << "read live: " << lines[3];
}

// A monitor reading every few minutes must not keep hard drives spinning: a disk that
// sleeps is asked CHECK POWER MODE and nothing else, unless --wake.
TEST_F(ListCommand, ASleepingDiskIsListedAsAsleepAndNotWoken) {
    sata.powerCount = 0x00;
    Outcome r = run({"list"});
    const auto lines = linesOf(r.out);
    ASSERT_EQ(lines.size(), 7u) << r.out;
    EXPECT_EQ(lines[3].find("asleep"), lines[0].find("TIER")) << lines[3];
    EXPECT_NE(lines[3].find("The drive is asleep"), std::string::npos) << lines[3];
    ASSERT_FALSE(sata.sent.empty());
    for (const auto& cdb : sata.sent) EXPECT_EQ(cdb[14], 0xE5) << "only CHECK POWER MODE";

    r = run({"check", "sda"});
    EXPECT_EQ(r.code, cli::exitAsleep);
    EXPECT_EQ(r.err, "vantrel: /dev/sda is asleep, and Vantrel doesn't wake a sleeping disk. "
                     "Add --wake to read it.\n");
    for (const auto& cdb : sata.sent) EXPECT_EQ(cdb[14], 0xE5) << "only CHECK POWER MODE";

    EXPECT_EQ(run({"list", "--wake"}).out.find("asleep"), std::string::npos);
    r = run({"check", "sda", "--wake"});
    EXPECT_NE(r.code, cli::exitAsleep) << r.err;
    EXPECT_NE(r.out.find("S.M.A.R.T. status"), std::string::npos) << r.out;

    sata.powerCount = 0xFF;  // awake: read as always
    EXPECT_EQ(run({"list"}).out.find("asleep"), std::string::npos);
}

TEST_F(ListCommand, RowsFitAHundredColumnsUnlessWide) {
    const Outcome r = run({"list"});
    std::size_t widest = 0;
    for (const auto& line : linesOf(r.out)) {
        std::size_t characters = 0;
        for (const char c : line) characters += (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
        widest = std::max(widest, characters);
    }
    EXPECT_LE(widest, 100u) << r.out;
    EXPECT_NE(r.out.find("\u2026"), std::string::npos) << "some line was cut: " << r.out;
    const Outcome wide = run({"list", "--wide"});
    EXPECT_EQ(wide.out.find("\u2026"), std::string::npos) << wide.out;
    EXPECT_GT(wide.out.size(), r.out.size());
}

// Scripts parse the answer whatever it holds: no drives is an empty array, not silence.
TEST(ListCommandEmpty, JsonOfAMachineWithoutDrivesIsAnEmptyArray) {
    platform::LinuxSysfs nothing{data("no-such-tree")};
    QEMUNVMe nvme;
    cli::Machine machine{nothing, nvme, drivekit::Locale{"en_US"}};
    std::ostringstream out, err;
    EXPECT_EQ(cli::run({"list", "--json"}, machine, out, err), cli::exitOK) << err.str();
    EXPECT_EQ(out.str(), "[]\n");
    std::ostringstream text, textErr;
    EXPECT_EQ(cli::run({"list"}, machine, text, textErr), cli::exitNoDevice);
}

TEST_F(ListCommand, JsonIsAnArrayOfHealthDocuments) {
    const Outcome r = run({"list", "--json"});
    const auto documents = drivekit::json::parse(r.out);
    ASSERT_TRUE(documents && documents->is_array()) << r.out;
    ASSERT_EQ(documents->size(), 6u);
    EXPECT_EQ(r.out.find("null"), std::string::npos);
    EXPECT_EQ(r.out.find("\\/"), std::string::npos) << "slashes are never escaped";
    const auto& card = (*documents)[0];
    EXPECT_EQ(card["drive"]["device"], "/dev/mmcblk0");
    EXPECT_EQ(card["drive"]["kind"], "sdCard");
    EXPECT_EQ(card["health"]["tier"], "limited");
    EXPECT_EQ(card["reading"]["method"], "none");
    EXPECT_TRUE(card["indicators"].is_array() && card["indicators"].empty());
    EXPECT_EQ(card["generatedAt"], "2026-11-15T14:00:00Z");
    EXPECT_EQ((*documents)[1]["reading"]["method"], "nvmeSMART");
    EXPECT_EQ((*documents)[2]["reading"]["method"], "ataSMARTLive");
    EXPECT_EQ((*documents)[2]["drive"]["connection"], "SATA");
}

TEST_F(ListCommand, CheckShowsTheSummaryOfAnyDriveDiscoveryFinds) {
    // An SD card has no reader, but discovery shows it: its summary and general rows.
    Outcome r = run({"check", "/dev/mmcblk0"});
    EXPECT_EQ(r.code, cli::exitOK) << r.err;
    EXPECT_NE(r.out.find("SD cards don't report health data."), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Interface                         SD card reader"), std::string::npos)
        << r.out;
    EXPECT_EQ(r.out.find("Indicators"), std::string::npos);

    // A read NVMe drive: its report, then the summary with the indicators.
    r = run({"check", "nvme0n1"});
    EXPECT_NE(r.out.find("Indicators"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Unsafe shutdowns"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("NVMe SMART, read live from the internal SSD."), std::string::npos);

    r = run({"check", "mmcblk0", "--json"});
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document && document->is_object()) << r.out;
    EXPECT_EQ((*document)["drive"]["name"], "CAMERA");
}

TEST_F(ListCommand, BadOptionsAndHelp) {
    Outcome r = run({"list", "sda"});
    EXPECT_EQ(r.code, cli::exitUsage);
    EXPECT_NE(r.err.find("list takes no device"), std::string::npos) << r.err;
    r = run({"list", "--verbose"});
    EXPECT_EQ(r.code, cli::exitUsage);
    r = run({"list", "--help"});
    EXPECT_EQ(r.code, cli::exitOK);
    EXPECT_EQ(r.out.rfind("Usage: vantrel list", 0), 0u);
}

}  // namespace
