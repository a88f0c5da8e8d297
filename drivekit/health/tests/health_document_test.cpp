#include "drivekit/health/health_document.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "drivekit/core/version.hpp"
#include "drivekit/health/tests/report_fixtures.hpp"

namespace drivekit {
namespace {

using fixtures::attribute;
using Status = IndicatorStatus;
using Signal = Finding::Signal;

// 2026-11-15T14:00:00Z
const HealthDocument::Date kNoon =
    std::chrono::sys_days{std::chrono::year{2026} / std::chrono::November / 15} +
    std::chrono::hours{14};

HealthDocument::Source nvmeSource() {
    const Drive drive = fixtures::nvmeDrive();
    const auto health = fixtures::nvmeHealth();
    return HealthDocument::Source{drive, fixtures::nvmeReport(health, drive), health,
                                  ReadMethod::nvmeSMART, SMARTStatus::verified};
}

/// A SATA SSD in a USB enclosure, read by hand-over: a worn drive with a failed self-test
/// and an attribute past its threshold that no row names.
HealthDocument::Source usbSource() {
    Drive drive = fixtures::usbDrive();
    drive.volumes = {Volume{"sdb1", "Photos/2025", "/media/ana/Photos", "exfat"},
                     Volume{"sdb2", std::nullopt, std::nullopt, std::nullopt}};
    const std::vector<Finding> findings{
        {Verdict::failing,
         "The drive's last self-test failed on a read error. First bad sector: "
         "1,234,567.",
         Signal::selfTest},
        {Verdict::watch, "3 sectors or blocks have been replaced with spares.", Signal::sectors},
        {Verdict::healthy,
         "5 connection (CRC) errors: usually the cable or enclosure, not the "
         "drive.",
         Signal::connection},
    };
    const std::vector<SelfTest::Entry> tests{
        {1, SelfTest::Outcome::readFailure, 11'950, 1'234'567u},
        {2, SelfTest::Outcome::passed, 9'000, std::nullopt},
        {9, SelfTest::Outcome::abortedByHost, 100, std::nullopt},
    };
    auto report =
        fixtures::ataReport(drive,
                            {attribute(5, 100, 3), attribute(9, 99, 12'000), attribute(181, 100, 0),
                             attribute(199, 200, 5), attribute(231, 80, 0), attribute(194, 35, 36),
                             attribute(3, 20, 0, 21, 0x0027)},
                            findings, tests);
    report.score = 40;
    report.forecast = LifeForecast{4.2649, 9.0451, LifeForecast::Confidence::low, false};
    report.sataLink = SATALink{SATALink::Speed::gen3, SATALink::Speed::gen3};
    return HealthDocument::Source{drive, report, std::nullopt, ReadMethod::ataSMARTHandOver,
                                  SMARTStatus::notSupported};
}

bool containsNull(const json::Object& value) {
    if (value.is_null()) return true;
    if (value.is_structured()) {
        for (const auto& item : value) {
            if (containsNull(item)) return true;
        }
    }
    return false;
}

TEST(HealthDocument, NoSerialMeansNeitherKey) {
    auto source = nvmeSource();
    source.report->serial = "   ";
    const auto object = HealthDocument::make(source, kNoon, false).toJSON();
    EXPECT_FALSE(object["drive"].contains("serial"));
    EXPECT_FALSE(object["drive"].contains("serialMasked"));
}

TEST(HealthDocument, ADriveWithNothingReadIsAValidLimitedDocument) {
    HealthDocument::Source source;
    source.drive = fixtures::usbDrive();
    source.method = ReadMethod::ataSMARTLive;  // ignored without a report
    const auto document = HealthDocument::make(source, kNoon, false);
    EXPECT_EQ(document.health.tier, Tier::limited);
    EXPECT_EQ(document.health.score, std::nullopt);
    EXPECT_EQ(document.reading.method, ReadMethod::none);
    EXPECT_EQ(document.checkedAt, std::nullopt);
    EXPECT_TRUE(document.indicators.empty());
    // Named after its volume, so the bridge's model isn't told as the drive's.
    EXPECT_EQ(document.drive.model, std::nullopt);

    const auto object = document.toJSON();
    EXPECT_FALSE(containsNull(object));
    EXPECT_TRUE(object["figures"].is_object() && object["figures"].empty());
    EXPECT_FALSE(object["health"].contains("score"));
    EXPECT_FALSE(object.contains("checkedAt"));

    source.drive.usb->productID = 0x2362;  // an NVMe bridge
    EXPECT_TRUE(HealthDocument::make(source, kNoon, false)
                    .health.line.starts_with("Its USB enclosure has an NVMe bridge"));
}

TEST(HealthDocument, ABenchmarkIsWrittenSortedWithItsUTCDate) {
    auto document = HealthDocument::make(usbSource(), kNoon, false);
    document.benchmark = HealthDocument::Benchmark{
        kNoon - std::chrono::hours{24}, 3, 410.5, 380.25, 30.1, 60.9, "USB 10 Gb/s", 1000, 4};
    const std::string text = HealthDocument::json(document);

    // Sorted: the benchmark, absent from the golden document, comes first.
    EXPECT_EQ(text.substr(0, 17), "{\n  \"benchmark\": ");
    EXPECT_NE(text.find("\"date\": \"2026-11-14T14:00:00Z\""), std::string::npos);
    EXPECT_EQ(text.find("null"), std::string::npos);
}

// The golden document: a fixed reading written out and compared whole, so any change
// in the shape of the file shows up in review. VANTREL_UPDATE_GOLDEN=1 rewrites it.
TEST(HealthDocument, GoldenUSBDocument) {
    const std::string path = std::string(VANTREL_TEST_DATA) + "/documents/usb-ata-handover.json";
    auto document = HealthDocument::make(usbSource(), kNoon, false);
    document.generator.version = "1.0.0";  // the golden file must not follow releases
    const std::string written = HealthDocument::json(document) + "\n";
    if (std::getenv("VANTREL_UPDATE_GOLDEN") != nullptr) std::ofstream(path) << written;

    std::ifstream file(path);
    ASSERT_TRUE(file) << path;
    std::stringstream golden;
    golden << file.rdbuf();
    EXPECT_EQ(written, golden.str());
}

}  // namespace
}  // namespace drivekit
