#include "app/metrics.hpp"

#include <gtest/gtest.h>


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
    ssd.lifeLeft = 97;
    ssd.powerOnHours = 1200;
    ssd.dataWrittenBytes = 12'345'678'901'234;
    DriveSummary stick;  // no serial, nothing read
    stick.id = stick.bsdName = "sdb";
    stick.model = "Stick\nTwo";
    stick.tier = Tier::limited;
    const std::vector drives{ssd, stick};
    const auto now = std::chrono::system_clock::time_point{} + std::chrono::seconds(1'763'950'000);
    // The stick wasn't read: it keeps the time of its last reading, here none.
    std::map<std::string, Metrics::Time> lastRead;
    Metrics::noteReads(lastRead, drives, now);

    const auto text = Metrics::text(drives, lastRead);
    const std::string labels = R"(device="nvme0n1",model="Fast \"Pro\" 1TB\\x",serial="S4EWNX0R")";
    EXPECT_EQ(linesOf(text, "vantrel_drive_tier{device=\"nvme0n1\"").at(1),
              "vantrel_drive_tier{" + labels + ",tier=\"watch\"} 1");
    EXPECT_EQ(linesOf(text, "vantrel_drive_tier{device=\"sdb\"").at(5),
              R"(vantrel_drive_tier{device="sdb",model="Stick\nTwo",serial="",tier="limited"} 1)");
    // Base units; the limited drive has no samples but its tier.
    EXPECT_EQ(linesOf(text, "vantrel_drive_life_left_ratio{"),
              std::vector<std::string>{"vantrel_drive_life_left_ratio{" + labels + "} 0.97"});
    EXPECT_EQ(linesOf(text, "vantrel_drive_power_on_seconds_total{"),
              std::vector<std::string>{"vantrel_drive_power_on_seconds_total{" + labels + "} 4320000"});
    EXPECT_EQ(linesOf(text, "vantrel_drive_written_bytes_total{"),
              std::vector<std::string>{"vantrel_drive_written_bytes_total{" + labels + "} 12345678901234"});
    EXPECT_EQ(linesOf(text, "vantrel_drive_last_read_timestamp_seconds{"),
              std::vector<std::string>{"vantrel_drive_last_read_timestamp_seconds{" + labels + "} 1763950000"});
    EXPECT_EQ(linesOf(text, "# TYPE ").size(), 9u);
}

}  // namespace
}  // namespace app
