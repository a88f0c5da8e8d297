#include "app/metrics.hpp"

#include <gtest/gtest.h>

#include "platform/demo/memory_file_store.hpp"

namespace app {
namespace {

using drivekit::Tier;

std::vector<std::string> linesOf(const std::string& text, std::string_view prefix) {
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = text.find('\n', start);
        const auto line = text.substr(start, end - start);
        if (line.starts_with(prefix)) out.push_back(line);
        start = end == std::string::npos ? text.size() : end + 1;
    }
    return out;
}

TEST(MetricsTest, FiguresInBaseUnitsLabelsEscapedAbsentFiguresLeftOut) {
    DriveSummary ssd;
    ssd.id = "S4EWNX0R";
    ssd.bsdName = "nvme0n1";
    ssd.model = "Fast \"Pro\" 1TB\\x";
    ssd.tier = Tier::watch;
    ssd.score = 83;
    ssd.temperatureC = 41;
    ssd.lifeLeft = 97;
    ssd.spare = 100;
    ssd.dataErrors = 0;
    ssd.powerOnHours = 1200;
    ssd.dataWrittenBytes = 12'345'678'901'234;
    DriveSummary stick;  // no serial, nothing read
    stick.id = stick.bsdName = "sdb";
    stick.model = "Stick\nTwo";
    stick.tier = Tier::limited;
    const std::vector drives{ssd, stick};
    const auto now = std::chrono::system_clock::time_point{} + std::chrono::seconds(1'763'950'000);
    std::map<std::string, Metrics::Time> lastRead;
    Metrics::noteReads(lastRead, drives, now);

    const auto text = Metrics::text(drives, lastRead);
    const std::string ssdLabels = R"(device="nvme0n1",model="Fast \"Pro\" 1TB\\x",serial="S4EWNX0R")";
    EXPECT_EQ(linesOf(text, "vantrel_drive_tier{device=\"nvme0n1\""),
              (std::vector<std::string>{"vantrel_drive_tier{" + ssdLabels + ",tier=\"healthy\"} 0",
                                        "vantrel_drive_tier{" + ssdLabels + ",tier=\"watch\"} 1",
                                        "vantrel_drive_tier{" + ssdLabels + ",tier=\"warning\"} 0",
                                        "vantrel_drive_tier{" + ssdLabels + ",tier=\"failing\"} 0",
                                        "vantrel_drive_tier{" + ssdLabels + ",tier=\"failed\"} 0",
                                        "vantrel_drive_tier{" + ssdLabels + ",tier=\"limited\"} 0"}));
    EXPECT_EQ(linesOf(text, "vantrel_drive_tier{device=\"sdb\"").at(5),
              R"(vantrel_drive_tier{device="sdb",model="Stick\nTwo",serial="",tier="limited"} 1)");
    const std::vector<std::string> samples{
        "vantrel_drive_health_score{" + ssdLabels + "} 83",
        "vantrel_drive_temperature_celsius{" + ssdLabels + "} 41",
        "vantrel_drive_life_left_ratio{" + ssdLabels + "} 0.97",
        "vantrel_drive_available_spare_ratio{" + ssdLabels + "} 1",
        "vantrel_drive_media_errors_total{" + ssdLabels + "} 0",
        "vantrel_drive_power_on_seconds_total{" + ssdLabels + "} 4320000",
        "vantrel_drive_written_bytes_total{" + ssdLabels + "} 12345678901234",
        "vantrel_drive_last_read_timestamp_seconds{" + ssdLabels + "} 1763950000",
    };
    EXPECT_EQ(linesOf(text, "vantrel_drive_") , [&] {
        auto all = linesOf(text, "vantrel_drive_tier{");
        all.insert(all.end(), samples.begin(), samples.end());
        return all;
    }());
    // Every family says what it is before its samples, and a family with none still does.
    EXPECT_EQ(linesOf(text, "# TYPE ").size(), 9u);
    EXPECT_EQ(linesOf(text, "# HELP ").size(), 9u);
    EXPECT_EQ(linesOf(text, "# TYPE vantrel_drive_written_bytes_total"),
              std::vector<std::string>{"# TYPE vantrel_drive_written_bytes_total counter"});
}

TEST(MetricsTest, ALimitedOrSleepingDriveKeepsItsLastReadTime) {
    DriveSummary disk;
    disk.id = "W1";
    disk.tier = Tier::healthy;
    std::map<std::string, Metrics::Time> lastRead;
    const Metrics::Time first{std::chrono::seconds(100)};
    Metrics::noteReads(lastRead, std::vector{disk}, first);
    disk.asleep = true;
    Metrics::noteReads(lastRead, std::vector{disk}, first + std::chrono::seconds(600));
    disk.asleep.reset();
    disk.tier = Tier::limited;
    Metrics::noteReads(lastRead, std::vector{disk}, first + std::chrono::seconds(1200));
    EXPECT_EQ(lastRead.at("W1"), first);
}

TEST(MetricsTest, TheFileIsReplacedWholeInItsFolderWhichMustExist) {
    platform::MemoryFileStore files;
    const auto missing = Metrics::write(files, "/var/lib/prom", "a 1\n");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code, ENOENT);
    ASSERT_TRUE(files.createFolders("/var/lib/prom"));
    ASSERT_TRUE(Metrics::write(files, "/var/lib/prom", "a 1\n"));
    ASSERT_TRUE(Metrics::write(files, "/var/lib/prom", "a 2\n"));
    EXPECT_EQ(files.read("/var/lib/prom/vantrel.prom").value(), "a 2\n");
}

}  // namespace
}  // namespace app
