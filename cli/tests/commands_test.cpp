// `vantrel check`, `list` and `selftest` end to end over the lab machine's fixture tree: an
// NVMe drive with a real QEMU log, a SATA disk (sda, a scripted drive), three USB disks and
// an SD card that don't answer pass-through.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <sstream>

#include "cli/cli.hpp"
#include "cli/exit_codes.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/health/tests/ata_pages.hpp"
#include "drivekit/usb/tests/support/sim_ata_disk.hpp"
#include "platform/linux/linux_block_probe.hpp"
#include "platform/linux/linux_mounts.hpp"
#include "platform/linux/linux_sysfs.hpp"
#include "platform/tests/support/doubles.hpp"
#include "cli/tests/support/outcome.hpp"

namespace {

using drivekit::Bytes;
using drivekit::json::parse;
using drivekit::sim::SimATADisk;
using drivekit::sim::SimDiskLinks;

std::string data(const std::string& path) { return std::string(VANTREL_TEST_DATA) + "/" + path; }


// A dying disk between the program and the scripted drive: IDENTIFY times out, and answers
// may come back cut short.
class Dying final : public drivekit::SCSIDrive {
  public:
    Dying(std::unique_ptr<SCSIDrive> inner, bool identifyTimesOut, std::size_t cutTo)
        : inner_(std::move(inner)), identifyTimesOut_(identifyTimesOut), cutTo_(cutTo) {}
    Answer command(drivekit::ByteView cdb, std::int64_t dataIn, double timeout) override {
        if (identifyTimesOut_ && cdb[0] == 0x85 && cdb[14] == 0xEC) {
            inner_->command(cdb, dataIn, timeout);  // counted as sent
            return drivekit::Unexpected(Failure{"The drive didn't answer in time."});
        }
        auto answer = inner_->command(cdb, dataIn, timeout);
        if (answer && cutTo_ > 0 && answer->size() > cutTo_) return Bytes(answer->begin(), answer->begin() + static_cast<long>(cutTo_));
        return answer;
    }
    drivekit::DiagnosticsLog& log() override { return inner_->log(); }

  private:
    std::unique_ptr<SCSIDrive> inner_;
    bool identifyTimesOut_;
    std::size_t cutTo_;
};

// The ATA command a pass-through carries; 0 for any other block.
std::uint8_t ataCommand(const Bytes& cdb) {
    if (cdb[0] == 0x85) return cdb[14];
    return cdb[0] == 0xA1 ? cdb[9] : 0;
}

SimATADisk refusing() {
    SimATADisk disk;
    disk.passesATA = false;
    return disk;
}

using cli::test::Outcome;
using cli::test::linesOf;

class Commands : public ::testing::Test {
  protected:
    const std::string root = data("discovery/lab");
    platform::LinuxSysfs sysfs{root};
    platform::LinuxMounts mounts{root};
    platform::LinuxBlockProbe probe{root};
    platform::doubles::TestClock clock{std::chrono::system_clock::time_point{std::chrono::seconds{1'794'751'200}}};
    platform::doubles::ScriptedNVMe nvme;
    SimATADisk sata = drivekit::sim::labSATADisk();
    SimDiskLinks links{sata, "sda"};
    SimATADisk other = refusing();  // every other disk: the layer carries no pass-through
    int openError = 0;
    bool identifyTimesOut = false;
    std::size_t cutTo = 0;

    Outcome run(std::vector<std::string_view> args) {
        const cli::OpenSCSI open = [this](std::string_view name)
            -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
            if (openError != 0) return drivekit::Unexpected(openError);
            std::unique_ptr<drivekit::SCSIDrive> drive = links.open(name);
            if (!drive) drive = std::make_unique<platform::SimSCSIDrive>(std::string(name), other);
            return std::unique_ptr<drivekit::SCSIDrive>(std::make_unique<Dying>(std::move(drive), identifyTimesOut, cutTo));
        };
        cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}, open, &mounts, &probe, nullptr, &clock, "/root"};
        return cli::test::run(std::move(args), machine);
    }

    long identifies() const {
        return std::count_if(sata.commands.begin(), sata.commands.end(), [](const Bytes& cdb) { return ataCommand(cdb) == 0xEC; });
    }
};


// The scripted drive's newest self-test failed: failing, said first; a passed test on top
// clears it. One check opens the disk once and sends IDENTIFY once.
TEST_F(Commands, CheckOfASATADiskIsOneSessionAndItsReport) {
    const Outcome r = run({"check", "sda"});
    ASSERT_EQ(r.code, cli::exitNeedsCare) << r.err;
    for (const char* text : {"Health: Failing, score 20 of 100\n", "S.M.A.R.T. status                 Verified",
                             "    5  Reallocated Sectors         0x0033    100    100         10  0",
                             "Extended test     Failed: read                       1,239 hours, first bad sector 1,000"}) {
        EXPECT_NE(r.out.find(text), std::string::npos) << text << "\n" << r.out;
    }
    EXPECT_EQ(links.opened, 1);
    EXPECT_EQ(identifies(), 1);
    sata.selfTestLog = drivekit::testpages::SelfTestLogPage().descriptor(1, 1, 0x00, 1300).newest(1).sealed();
    EXPECT_EQ(run({"check", "sda"}).code, cli::exitOK);
}

// Every output of one reading says the same: one read source (the SATA driver, never the
// USB one), one line, one method.
TEST_F(Commands, EveryOutputOfOneReadingSaysTheSame) {
    const Outcome text = run({"check", "sda"});
    const auto document = parse(run({"check", "sda", "--json"}).out);
    const auto report = parse(run({"check", "sda", "--json=report"}).out);
    ASSERT_TRUE(document && report);
    const std::string all = text.out + drivekit::json::dump(*document) + drivekit::json::dump(*report);
    EXPECT_EQ(all.find("USB storage driver"), std::string::npos) << all;
    EXPECT_EQ(all.find("disk driver"), std::string::npos) << all;
    const std::string line = (*document)["health"]["line"].get<std::string>();
    EXPECT_NE(text.out.find(line), std::string::npos) << line << "\n" << text.out;
    EXPECT_EQ((*document)["reading"]["method"], "ataSMARTLive");
    EXPECT_EQ((*report)["smartStatus"], "verified");
}

// The drive's own failing status needs care whichever command reads it, though the rules
// leave it aside.
TEST_F(Commands, AFailingSMARTStatusNeedsCareInCheckAndList) {
    sata.selfTestLog = drivekit::testpages::SelfTestLogPage().descriptor(1, 1, 0x00, 1300).newest(1).sealed();
    sata.thresholdExceeded = true;
    const Outcome check = run({"check", "sda"});
    EXPECT_EQ(check.code, cli::exitNeedsCare);
    EXPECT_NE(check.out.find("Health: Healthy"), std::string::npos) << check.out;
    EXPECT_EQ(run({"list"}).code, cli::exitNeedsCare);
    EXPECT_EQ(run({"list", "--json"}).code, cli::exitNeedsCare);
}

// A dying disk: IDENTIFY times out. With SMART still readable the drive is rated from it;
// without, the read failed (6), which is not "doesn't answer ATA health requests" (4).
// Short pages are the start of the page, filled with zeros.
TEST_F(Commands, ADyingDiskIsReadFromItsSMARTPagesOrFailsAsARead) {
    identifyTimesOut = true;
    cutTo = 400;
    Outcome r = run({"check", "sda"});
    EXPECT_TRUE(r.code == cli::exitOK || r.code == cli::exitNeedsCare) << r.err;
    EXPECT_NE(r.out.find("  194  Temperature"), std::string::npos) << r.out;
    EXPECT_EQ(identifies(), 1) << "the 12-byte form is only for a refused 16-byte one";

    sata.smartData.reset();
    r = run({"check", "sda"});
    EXPECT_EQ(r.code, cli::exitReadFailed);
    EXPECT_EQ(r.err, "vantrel: /dev/sda: IDENTIFY DEVICE failed: The drive didn't answer in time.\n");
}

TEST_F(Commands, FailuresAreOneSentenceAndTheirExitCode) {
    struct Case {
        std::vector<std::string_view> args;
        int openError;
        int code;
        std::string says;
    };
    const std::vector<Case> cases = {
        {{"check", "sdb"}, 0, cli::exitNotSupported,
         "/dev/sdb: This enclosure doesn't pass health requests through to the drive."},
        {{"check", "sda"}, EACCES, cli::exitNoPermission, "Reading /dev/sda needs root: run it with sudo, or install Vantrel's service (the vantrel package) to read drives as yourself."},
        {{"selftest", "sda"}, ENOENT, cli::exitNoDevice, "no such device: /dev/sda."},
        {{"check", "sda"}, EIO, cli::exitReadFailed, "/dev/sda can't be opened: "},
        {{"check", "sda1"}, 0, cli::exitNotSupported, "/dev/sda1 is a partition"},
        {{"check", "nosuch0"}, 0, cli::exitNoDevice, "no such device: /dev/nosuch0."},
        {{"selftest", "nvme0n1", "short"}, 0, cli::exitNotSupported, "/dev/nvme0n1 has no self-tests Vantrel can run"},
        {{"check", "/etc/passwd"}, 0, cli::exitUsage, "Not a device name: /etc/passwd."},
        {{"check", "--frobnicate"}, 0, cli::exitUsage, "Unknown option for check: --frobnicate."},
        {{"list", "sda"}, 0, cli::exitUsage, "list takes no device"},
    };
    for (const auto& c : cases) {
        openError = c.openError;
        const Outcome r = run(c.args);
        EXPECT_EQ(r.code, c.code) << c.args[0] << " " << c.args[1] << ": " << r.err;
        EXPECT_EQ(r.err.rfind("vantrel: " + c.says, 0), 0u) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_EQ(r.out, "");
    }
    sata.identify = Bytes(200, 0x20);
    EXPECT_EQ(run({"check", "sda"}).err, "vantrel: /dev/sda: unusable IDENTIFY data (200 bytes).\n");
    nvme.failure = platform::NVMeAdminFailure{platform::NVMeAdminFailure::Kind::commandStatus, 0x4002};
    const Outcome r = run({"check", "nvme0n1"});
    EXPECT_EQ(r.code, cli::exitReadFailed);
    EXPECT_NE(r.err.find("NVMe SMART read failed (NVMe status 0x4002)."), std::string::npos) << r.err;
}

// A monitor reading every few minutes must not keep hard drives spinning.
TEST_F(Commands, ASleepingDiskIsAskedNothingMoreUnlessWoken) {
    sata.powerMode = 0x00;
    const auto lines = linesOf(run({"list"}).out);
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_EQ(lines[3].find("asleep"), lines[0].find("TIER")) << lines[3];
    const Outcome r = run({"check", "sda"});
    EXPECT_EQ(r.code, cli::exitAsleep) << r.err;
    for (const auto& cdb : sata.commands) {
        if (ataCommand(cdb) != 0) {
            EXPECT_EQ(ataCommand(cdb), 0xE5) << "only CHECK POWER MODE";
        }
    }
    EXPECT_NE(run({"check", "sda", "--wake"}).out.find("S.M.A.R.T. status"), std::string::npos);
}

TEST_F(Commands, ListIsOneAlignedRowPerDriveWithinAHundredColumns) {
    const Outcome r = run({"list"});
    const auto lines = linesOf(r.out);
    ASSERT_EQ(lines.size(), 7u) << r.out;
    const auto column = lines[0].find("DEVICE");
    std::size_t widest = 0;
    for (const auto& line : lines) {
        EXPECT_EQ(line.find("/dev/") == std::string::npos ? column : line.find("/dev/"), column) << line;
        std::size_t characters = 0;
        for (const char c : line) characters += (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
        widest = std::max(widest, characters);
    }
    EXPECT_LE(widest, 100u) << r.out;
    EXPECT_EQ(run({"list", "--wide"}).out.find("\u2026"), std::string::npos);

    links.opened = 0;
    const auto documents = parse(run({"list", "--json"}).out);
    ASSERT_TRUE(documents && documents->is_array());
    EXPECT_EQ(documents->size(), 6u);
    EXPECT_EQ((*documents)[1]["reading"]["method"], "nvmeSMART");
    EXPECT_EQ(links.opened, 1) << "one pass opens each disk once";
}

// Starting a test while one runs ends the running one: only on request.
TEST_F(Commands, SelfTestStartsOnlyWhenNoneRunsUnlessAborted) {
    Outcome r = run({"selftest", "sda", "short"});  // the scripted drive is 70% through one
    EXPECT_EQ(r.code, cli::exitBusy) << r.err;
    EXPECT_FALSE(std::any_of(sata.commands.begin(), sata.commands.end(), [](const Bytes& cdb) { return cdb[0] == 0x85 && cdb[4] == 0xD4; }));
    r = run({"selftest", "sda", "short", "--abort"});
    EXPECT_EQ(r.code, cli::exitOK) << r.err;
    EXPECT_NE(r.out.find("The drive expects it to take about 2 minutes."), std::string::npos) << r.out;
    r = run({"selftest", "sda"});
    EXPECT_NE(r.out.find("Self-test · 70% done"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Self-test log"), std::string::npos) << r.out;
}

}  // namespace
