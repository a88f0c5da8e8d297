#include "drivekit/health/report_json.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "drivekit/health/health_rules.hpp"

namespace drivekit {
namespace {

const Locale en{"en_US"};

bool hasNull(const json::Object& value) {
    if (value.is_null()) return true;
    if (!value.is_structured()) return false;  // a primitive iterates over itself
    for (const auto& item : value) {
        if (hasNull(item)) return true;
    }
    return false;
}

std::vector<std::string> keysOf(const json::Object& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.push_back(key);
    return keys;
}

NVMeHealth wornDrive() {
    NVMeHealth health;
    health.criticalWarning = 0x02;
    health.temperatureC = 71;
    health.availableSpare = 100;
    health.spareThreshold = 10;
    health.percentageUsed = 75;
    health.dataUnitsWritten = 400'000'000;
    health.powerOnHours = 20'000;
    health.model = "WD_BLACK SN850X 2000GB";
    health.serial = "23123K800123";
    health.firmware = "620311WD";
    return health;
}

Drive nvmeDrive() {
    Drive drive;
    drive.bsdName = "nvme0n1";
    drive.model = "WD_BLACK SN850X 2000GB";
    drive.sizeBytes = 2'000'398'934'016;
    drive.transport = Transport::internalNVMe;
    drive.isSolidState = true;
    drive.link = LinkInfo{"PCIe 4.0 ×4", std::nullopt, std::nullopt, 7876};
    drive.volumes = {Volume{"nvme0n1p1", std::nullopt, "/boot/efi", "vfat"},
                     Volume{"nvme0n1p2", "root", "/", "ext4"}};
    drive.hostsBootVolume = true;
    return drive;
}

TEST(ReportJSON, NVMeReportHasItsFieldsInOrderAndNoNull) {
    const auto object = ReportJSON::encode(HealthRules::evaluate(wornDrive(), nvmeDrive(), en));
    EXPECT_FALSE(hasNull(object));
    EXPECT_EQ(keysOf(object),
              (std::vector<std::string>{"drive", "source", "model", "serial", "firmware", "isSSD",
                                        "lifeRemainingPercent", "temperatureC", "powerOnHours",
                                        "dataWrittenBytes", "findings", "attributes", "details",
                                        "score", "forecast", "selfTests", "isReadOnly"}));
    // Arrays are written even when empty.
    EXPECT_TRUE(object["attributes"].is_array());
    EXPECT_TRUE(object["attributes"].empty());
    EXPECT_TRUE(object["selfTests"].is_array());
    EXPECT_EQ(object["details"].size(), 12u);
    EXPECT_EQ(keysOf(object["details"][0]), (std::vector<std::string>{"key", "label", "value"}));

    EXPECT_EQ(object["source"], "NVMe SMART");
    EXPECT_EQ(object["dataWrittenBytes"], 204'800'000'000'000u);
    EXPECT_EQ(object["isReadOnly"], false);
    EXPECT_EQ(object["score"], 15);

    const auto& findings = object["findings"];
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0]["verdict"], 1);
    EXPECT_EQ(findings[0]["signal"], "temp");
    EXPECT_EQ(findings[1]["message"], "75% of rated write endurance used.");
    EXPECT_EQ(keysOf(findings[1]), (std::vector<std::string>{"verdict", "message", "signal"}));

    EXPECT_EQ(keysOf(object["forecast"]),
              (std::vector<std::string>{"lowYears", "highYears", "confidence", "usesPrior"}));
    EXPECT_EQ(object["forecast"]["confidence"], "low");

    const auto& drive = object["drive"];
    EXPECT_EQ(keysOf(drive),
              (std::vector<std::string>{
                  "bsdName", "model", "sizeBytes", "transport", "isSolidState", "link", "volumes",
                  "isRAIDMember", "hostsCurrentDirectory", "hostsBootVolume"}));
    EXPECT_EQ(drive["transport"], "Internal NVMe");
    EXPECT_EQ(keysOf(drive["link"]), (std::vector<std::string>{"current", "ceilingMBps"}));
    EXPECT_EQ(keysOf(drive["volumes"][0]),
              (std::vector<std::string>{"bsdName", "mountPoint", "fileSystem"}));
}

TEST(ReportJSON, AbsentFiguresAreLeftOutAndEmptyRecordsStayObjects) {
    // A report with nothing in it but its drive.
    HealthReport bare;
    bare.drive.bsdName = "sdb";
    bare.source = ReadingSource::ataOverUSB();
    bare.model = "Unknown drive";
    bare.findings = {Finding{Verdict::unknown, "The enclosure didn't answer.", std::nullopt}};
    bare.sataLink = SATALink{};
    const auto object = ReportJSON::encode(bare);
    EXPECT_FALSE(hasNull(object));
    EXPECT_EQ(keysOf(object),
              (std::vector<std::string>{"drive", "source", "model", "findings", "attributes",
                                        "details", "selfTests", "isReadOnly", "sataLink"}));
    EXPECT_TRUE(object["sataLink"].is_object());
    EXPECT_TRUE(object["sataLink"].empty());
    EXPECT_EQ(keysOf(object["findings"][0]), (std::vector<std::string>{"verdict", "message"}));
    EXPECT_EQ(object["findings"][0]["verdict"], 5);
    EXPECT_TRUE(object["drive"]["volumes"].is_array());
}

TEST(ReportJSON, ATAPartsByTheirFieldNames) {
    HealthReport report;
    report.attributes = {ATAAttribute{5, 0x33, 100, 100, 10, 12}};
    report.selfTests = {SelfTest::Entry{2, SelfTest::Outcome::readFailure, 1234, 0x1000}};
    ATAReadings readings;
    readings.family.kind = ATAFamily::Kind::crucial;
    readings.family.life = {202};
    readings.family.written = ATAFamily::Written{246, 512};
    readings.family.ignored = {169, 167};
    readings.life = 97;
    readings.lifeAttributes = {202};
    readings.reallocated = 12;
    report.ata = readings;
    report.sataLink = SATALink{SATALink::Speed::gen3, SATALink::Speed::gen3};
    const auto object = ReportJSON::encode(report);
    EXPECT_FALSE(hasNull(object));

    EXPECT_EQ(keysOf(object["attributes"][0]),
              (std::vector<std::string>{"id", "flags", "value", "worst", "threshold", "raw"}));
    EXPECT_EQ(object["attributes"][0]["raw"], 12);
    EXPECT_EQ(object["selfTests"][0]["outcome"], "readFailure");
    EXPECT_EQ(object["selfTests"][0]["failed"], true);
    EXPECT_EQ(object["selfTests"][0]["failingLBA"], 0x1000);

    const auto& ata = object["ata"];
    EXPECT_EQ(keysOf(ata), (std::vector<std::string>{"family", "life", "lifeAttributes",
                                                     "reallocated", "anyFailingNow"}));
    EXPECT_EQ(ata["family"]["kind"], "crucial");
    EXPECT_EQ(ata["family"]["written"]["unit"], 512);
    EXPECT_EQ(ata["family"]["ignored"], json::Object::parse("[167, 169]"));
    EXPECT_TRUE(ata["family"]["spare"].is_array());
    EXPECT_EQ(object["sataLink"]["current"], 3);
}

}  // namespace
}  // namespace drivekit
