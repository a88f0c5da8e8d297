// `vantrel check` on SATA and USB disks and `vantrel selftest`, end to end over the fixture
// sysfs tree (sda behind libata, sdb behind usb-storage) and a scripted SATA drive.
#include <algorithm>
#include <cerrno>
#include <sstream>

#include <gtest/gtest.h>

#include "cli/cli.hpp"
#include "cli/exit_codes.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/health/tests/fake_sat_disk.hpp"
#include "platform/linux/linux_sysfs.hpp"

namespace {

using drivekit::Bytes;
using drivekit::testpages::FakeSATDisk;

class NoNVMe final : public platform::NVMeAdmin {
public:
    platform::NVMeAdminReply smartLog(std::string_view) override {
        return platform::NVMeAdminFailure{platform::NVMeAdminFailure::Kind::noController, ENODEV};
    }
    platform::NVMeAdminReply identifyController(std::string_view name) override { return smartLog(name); }
};

struct Outcome {
    int code;
    std::string out;
    std::string err;
};

class ATALive : public ::testing::Test {
protected:
    platform::LinuxSysfs sysfs{std::string(VANTREL_TEST_DATA) + "/sysfs"};
    NoNVMe nvme;
    FakeSATDisk disk;
    // Set to make every open fail with that errno.
    int openError = 0;

    Outcome run(std::vector<std::string_view> args) {
        const cli::OpenSCSI open = [this](std::string_view name)
            -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
            if (openError != 0) return drivekit::Unexpected(openError);
            auto drive = disk.connect()(name);
            if (!drive) return drivekit::Unexpected(ENOENT);
            return drive;
        };
        cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}, open};
        std::ostringstream out, err;
        const int code = cli::run(args, machine, out, err);
        return {code, out.str(), err.str()};
    }

    bool sentSelfTestStart(std::uint8_t subcommand) const {
        for (const auto& cdb : disk.sent) {
            if (cdb[0] == 0x85 && cdb[4] == 0xD4 && cdb[8] == subcommand) return true;
        }
        return false;
    }
};

// The fake drive's newest self-test failed: the rules rate it failing and say why first.
TEST_F(ATALive, SATADiskPrintsItsRatingTableStatusAndSelfTests) {
    const Outcome r = run({"check", "sda"});
    ASSERT_EQ(r.code, cli::exitNeedsCare) << r.err;
    EXPECT_EQ(r.err, "");
    for (const char* text : {"/dev/sda  HWLAB SATA SSD  (SATA", "Health: Failing, score 20 of 100\n",
                             "\nFindings\n  [Failing] The drive's last self-test failed on a read error. "
                             "First bad sector: 1,000.\n\nLife forecast\n",
                             "S.M.A.R.T. status                 Verified",
                             "Serial number                     SER123", "Power-on hours                    1,240",
                             "Temperature                       40 °C",
                             "ATA SMART through Linux's own SATA driver, read live",
                             "    5  Reallocated Sectors         0x0033    100    100         10  0",
                             "  194  Temperature                 0x0022     40     30          0  65970698846248",
                             "Extended test     Failed: read                       1,239 hours, first bad sector 1,000",
                             "Short test        Passed                             1,200 hours"}) {
        EXPECT_NE(r.out.find(text), std::string::npos) << text << "\n" << r.out;
    }
    EXPECT_EQ(r.out.find("failing now"), std::string::npos);

    // A passed test on top clears the failure.
    disk.selfTestLog = drivekit::testpages::SelfTestLogPage().descriptor(1, 1, 0x00, 1300).newest(1).sealed();
    const Outcome passed = run({"check", "sda"});
    EXPECT_EQ(passed.code, cli::exitOK) << passed.out;
    EXPECT_NE(passed.out.find("Health: Healthy, score 100 of 100\n"), std::string::npos) << passed.out;
    EXPECT_NE(passed.out.find("Findings\n  None.\n"), std::string::npos) << passed.out;
}

TEST_F(ATALive, USBDiskAsJSONCarriesTheReportAndTheRawTable) {
    disk.bsdName = "sdb";
    const Outcome r = run({"check", "/dev/sdb", "--json=report"});
    ASSERT_EQ(r.code, cli::exitNeedsCare) << r.err;
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document && document->is_object()) << r.out;
    EXPECT_EQ(r.out.find("null"), std::string::npos);
    const auto& d = *document;
    EXPECT_EQ(d["drive"]["bsdName"], "sdb");
    EXPECT_EQ(d["drive"]["transport"], "USB");
    EXPECT_EQ(d["source"],
              "ATA SMART through Linux's own USB storage driver, read live without unmounting anything.");
    EXPECT_EQ(d["model"], "HWLAB SATA SSD");
    EXPECT_EQ(d["serial"], "SER123");
    EXPECT_EQ(d["smartStatus"], "verified");
    EXPECT_EQ(d["powerOnHours"], 1240);
    EXPECT_EQ(d["temperatureC"], 40);
    EXPECT_EQ(d["score"], 20);
    ASSERT_EQ(d["findings"].size(), 1u);
    EXPECT_EQ(d["findings"][0]["verdict"], 3);
    EXPECT_EQ(d["findings"][0]["signal"], "selfTest");
    EXPECT_EQ(d["ata"]["powerOnHours"], 1240);
    ASSERT_EQ(d["attributes"].size(), 3u);
    EXPECT_EQ(d["attributes"][0]["id"], 5);
    EXPECT_EQ(d["attributes"][0]["threshold"], 10);
    EXPECT_EQ(d["attributes"][2]["raw"], 0x0000'3C00'0012'0028u);
    ASSERT_EQ(d["selfTests"].size(), 2u);
    EXPECT_EQ(d["selfTests"][0]["failingLBA"], 1000);
}

TEST_F(ATALive, PlainJSONIsTheShareableDocumentWithTheSameVerdict) {
    disk.bsdName = "sdb";
    const Outcome r = run({"check", "/dev/sdb", "--json"});
    ASSERT_EQ(r.code, cli::exitNeedsCare) << r.err;
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document && document->is_object()) << r.out;
    EXPECT_EQ(r.out.find("null"), std::string::npos);
    const auto& d = *document;
    EXPECT_EQ(d["schemaVersion"], 1);
    EXPECT_EQ(d["health"]["score"], 20);
    EXPECT_EQ(d["health"]["tier"], "failing");
    EXPECT_EQ(d["smartStatus"], "verified");
    EXPECT_EQ(d["reading"]["method"], "ataSMARTLive");
    EXPECT_FALSE(d.contains("attributes"));  // the raw table is the full report's
    ASSERT_EQ(d["selfTests"].size(), 2u);
    EXPECT_EQ(d["selfTests"][0]["failingLBA"], 1000);
    EXPECT_TRUE(d["selfTests"][0]["failed"]);
}

// Each cause of the needs-care exit on its own, with the self-test log clean so that it
// can't hide a cause that went unnoticed.
TEST_F(ATALive, ADriveNeedsCareForItsStatusOrItsFindings) {
    disk.selfTestLog = drivekit::testpages::SelfTestLogPage().descriptor(1, 1, 0x00, 1300).newest(1).sealed();
    disk.statusAnswer = FakeSATDisk::statusSense(0xF4, 0x2C);
    Outcome r = run({"check", "sda"});
    EXPECT_EQ(r.code, cli::exitNeedsCare);
    EXPECT_NE(r.out.find("Health: Healthy"), std::string::npos) << r.out;  // the rules leave it aside
    EXPECT_NE(r.out.find("S.M.A.R.T. status                 Failing"), std::string::npos) << r.out;
    r = run({"check", "sda", "--json"});
    EXPECT_EQ(r.code, cli::exitNeedsCare);
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document) << r.out;
    EXPECT_EQ((*document)["smartStatus"], "failing");

    // An attribute at its threshold, with the drive's verdict unknown.
    disk.statusAnswer.reset();
    disk.smartData = drivekit::testpages::SmartDataPage().attribute(0, 5, 0x0033, 10, 10, 1800).sealed();
    r = run({"check", "sda"});
    EXPECT_EQ(r.code, cli::exitNeedsCare);
    EXPECT_NE(r.out.find("Not supported"), std::string::npos);
    EXPECT_NE(r.out.find("failing now"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("[Failing] Reallocated Sectors is past the manufacturer's failure threshold "
                         "(10 ≤ 10).\n  [Warning] 1,800 sectors or blocks have been replaced with spares.\n"),
              std::string::npos)
        << r.out;

    // A watch finding alone doesn't need care; SMART turned off is unknown, and no more.
    disk.smartData = drivekit::testpages::SmartDataPage().attribute(0, 5, 0x0033, 100, 100, 3).sealed();
    r = run({"check", "sda"});
    EXPECT_EQ(r.code, cli::exitOK) << r.out;
    EXPECT_NE(r.out.find("Health: Watch, score 99 of 100"), std::string::npos) << r.out;
}

// An internal disk is read through the SATA driver, and every output of one check says so
// in the same sentence.
TEST_F(ATALive, OneCheckNamesOneReadSource) {
    std::string all;
    for (const auto& args : {std::vector<std::string_view>{"check", "sda"},
                             std::vector<std::string_view>{"check", "sda", "--json"},
                             std::vector<std::string_view>{"check", "sda", "--json=report"}}) {
        all += run(args).out;
    }
    EXPECT_EQ(all.find("USB storage driver"), std::string::npos) << all;
    EXPECT_EQ(all.find("disk driver"), std::string::npos) << all;
    EXPECT_NE(all.find("Linux's own SATA driver"), std::string::npos) << all;
}

// The drive's own failing status needs care whichever command reads it.
TEST_F(ATALive, AFailingStatusNeedsCareInTheListToo) {
    disk.selfTestLog = drivekit::testpages::SelfTestLogPage().descriptor(1, 1, 0x00, 1300).newest(1).sealed();
    disk.statusAnswer = FakeSATDisk::statusSense(0xF4, 0x2C);
    EXPECT_EQ(run({"check", "sda"}).code, cli::exitNeedsCare);
    const Outcome list = run({"list"});
    EXPECT_EQ(list.code, cli::exitNeedsCare) << list.out << list.err;
}

TEST_F(ATALive, DisksThatCantBeReadSayWhyInOneSentence) {
    struct Case {
        const char* device;
        int openError;
        bool passesThrough;
        int code;
        std::string says;
    };
    const std::vector<Case> cases = {
        {"sdb", 0, false, cli::exitNotSupported,
         "vantrel: /dev/sdb: This enclosure doesn't pass health requests through to the drive.\n"},
        {"sda", 0, false, cli::exitNotSupported, "vantrel: /dev/sda doesn't answer ATA health requests.\n"},
        {"sda", EACCES, true, cli::exitNoPermission,
         "vantrel: Reading the health of /dev/sda needs root: run it with sudo.\n"},
        {"sda", EPERM, true, cli::exitNoPermission,
         "vantrel: Reading the health of /dev/sda needs root: run it with sudo.\n"},
        {"sda", ENOENT, true, cli::exitNoDevice, "vantrel: no such device: /dev/sda.\n"},
        {"sda", EIO, true, cli::exitReadFailed, "vantrel: /dev/sda can't be opened: "},
    };
    for (const auto& c : cases) {
        disk.bsdName = c.device;
        disk.forms.clear();
        if (c.passesThrough) disk.forms = {drivekit::SAT::Variant::sixteen};
        openError = c.openError;
        for (const char* command : {"check", "selftest"}) {
            const Outcome r = run({command, c.device});
            EXPECT_EQ(r.code, c.code) << command << " " << c.device << ": " << r.err;
            EXPECT_EQ(r.err.rfind(c.says, 0), 0u) << r.err;
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
            EXPECT_EQ(r.out, "");
        }
    }
}

TEST_F(ATALive, IdentifyDataThatCantBeUsedIsNamed) {
    disk.identify = Bytes(200, 0x20);
    const Outcome r = run({"check", "sda"});
    EXPECT_EQ(r.code, cli::exitNotSupported);
    EXPECT_EQ(r.err, "vantrel: /dev/sda: unusable IDENTIFY data (200 bytes).\n");
}

TEST_F(ATALive, OtherKindsOfDiskAreRefusedBeforeAnyCommand) {
    Outcome r = run({"check", "sda1"});
    EXPECT_EQ(r.code, cli::exitNotSupported);
    EXPECT_NE(r.err.find("/dev/sda1 is a partition"), std::string::npos);
    r = run({"selftest", "nvme0n1", "short"});
    EXPECT_EQ(r.code, cli::exitNotSupported);
    EXPECT_NE(r.err.find("they are for SATA and USB drives"), std::string::npos) << r.err;
    EXPECT_TRUE(disk.sent.empty());
    EXPECT_EQ(disk.opened, 0);
}

TEST_F(ATALive, SelfTestStartsByKindWithTheDrivesEstimate) {
    // The fixture's drive is 70% through a test: starting another would end it.
    Outcome r = run({"selftest", "sda", "short"});
    EXPECT_EQ(r.code, cli::exitBusy);
    EXPECT_EQ(r.err, "vantrel: A self-test is running on /dev/sda (70% done). Starting another "
                     "would end it: add --abort to do that anyway.\n");
    EXPECT_FALSE(sentSelfTestStart(0x01));
    r = run({"selftest", "sda", "short", "--abort"});
    ASSERT_EQ(r.code, cli::exitOK) << r.err;
    EXPECT_TRUE(sentSelfTestStart(0x01));

    disk.smartData = drivekit::testpages::SmartDataPage()
                         .selfTestStatus(0x00)
                         .byteAt(372, 2)
                         .byteAt(373, 30)
                         .sealed();
    disk.sent.clear();
    r = run({"selftest", "sda", "short"});
    ASSERT_EQ(r.code, cli::exitOK) << r.err;
    EXPECT_EQ(r.out,
              "Started the short self-test on /dev/sda. The drive expects it to take about 2 minutes.\n"
              "Follow it with: vantrel selftest sda\n");
    EXPECT_TRUE(sentSelfTestStart(0x01));

    r = run({"selftest", "/dev/sda", "extended", "--json"});
    ASSERT_EQ(r.code, cli::exitOK) << r.err;
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document) << r.out;
    EXPECT_EQ((*document)["started"], "extended");
    EXPECT_EQ((*document)["estimateMinutes"], 30);
    EXPECT_TRUE(sentSelfTestStart(0x02));

    disk.takesSelfTests = false;
    r = run({"selftest", "sda", "short"});
    EXPECT_EQ(r.code, cli::exitReadFailed);
    EXPECT_EQ(r.err, "vantrel: The drive didn't start its self-test. Try again in a moment.\n");
}

TEST_F(ATALive, SelfTestWithoutAKindShowsProgressAndTheLog) {
    Outcome r = run({"selftest", "sda"});
    ASSERT_EQ(r.code, cli::exitOK) << r.err;
    EXPECT_NE(r.out.find("Self-test · 70% done"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("a short test to take about 2 minutes, and an extended test about 30 minutes."),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("Extended test     Failed: read"), std::string::npos) << r.out;
    EXPECT_FALSE(sentSelfTestStart(0x01) || sentSelfTestStart(0x02));

    disk.smartData = drivekit::testpages::SmartDataPage().selfTestStatus(0x00).sealed();
    disk.selfTestLog = drivekit::testpages::SelfTestLogPage().sealed();
    r = run({"selftest", "sda", "--json"});
    ASSERT_EQ(r.code, cli::exitOK) << r.err;
    const auto document = drivekit::json::parse(r.out);
    ASSERT_TRUE(document) << r.out;
    EXPECT_EQ((*document)["progress"]["outcome"], "passed");
    EXPECT_EQ((*document)["progress"]["percentDone"], 100);
    EXPECT_FALSE((*document)["progress"].contains("shortMinutes"));
    EXPECT_TRUE((*document)["selfTests"].is_array());
    EXPECT_TRUE((*document)["selfTests"].empty());
}

TEST_F(ATALive, SelfTestCommandLine) {
    struct Case {
        std::vector<std::string_view> args;
        std::string says;
    };
    const std::vector<Case> cases = {
        {{"selftest"}, "selftest needs a device, such as sda."},
        {{"selftest", "sda", "long"}, "Unknown self-test: long. Give short or extended."},
        {{"selftest", "sda", "short", "extended"}, "selftest takes one test; got a second one: extended."},
        {{"selftest", "sda", "--now"}, "Unknown option for selftest: --now."},
        {{"selftest", "sda", "--abort"}, "--abort goes with a test to start: short or extended."},
    };
    for (const auto& c : cases) {
        const Outcome r = run(c.args);
        EXPECT_EQ(r.code, cli::exitUsage);
        EXPECT_EQ(r.err, "vantrel: " + c.says + "\n");
    }
    const Outcome help = run({"selftest", "--help"});
    EXPECT_EQ(help.code, cli::exitOK);
    EXPECT_NE(help.out.find("Usage: vantrel selftest DEVICE [short|extended [--abort]] [--json]"), std::string::npos);
    EXPECT_TRUE(disk.sent.empty());
}

}  // namespace
