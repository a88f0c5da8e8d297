#include "app/bench/saved_benchmarks.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace app {
namespace {

TEST(BenchStore, KeepsTheLatestRunOfEachDriveAndReadsItBack) {
    const auto folder = std::filesystem::path(::testing::TempDir()) / "vantrel-bench-store" / "nested";
    std::filesystem::remove_all(folder.parent_path());
    const auto file = BenchStore::file(folder);
    drivekit::BenchRuns runs;
    runs.of(drivekit::BenchTest::seqRead) = {512.5, 510};
    const auto date = *drivekit::json::parseIsoDate("2026-11-23T08:00:00Z");

    SavedBenchmarks saved;
    SavedBenchmark first{"serial:A", "Backup", "T7", "usb", "USB 10 Gb/s", 1000, date, {}};
    EXPECT_FALSE(BenchStore::save(saved, first, file));  // creates the folder
    SavedBenchmark latest = first;
    latest.runs = runs;
    latest.link = std::nullopt;
    EXPECT_FALSE(BenchStore::save(saved, latest, file));

    const SavedBenchmarks read = BenchStore::read(file);
    ASSERT_EQ(read.byDrive.size(), 1u);
    const SavedBenchmark& back = read.byDrive.at("serial:A");
    EXPECT_EQ(back.runs, runs);
    EXPECT_EQ(back.link, std::nullopt);
    EXPECT_EQ(back.ceilingMBps, 1000);
    EXPECT_EQ(back.date, date);

    std::ofstream(file) << R"({"byDrive":{"x":{"driveKey":"x"}},)";
    EXPECT_TRUE(BenchStore::read(file).byDrive.empty());
    std::filesystem::remove_all(folder.parent_path());
}

}  // namespace
}  // namespace app
