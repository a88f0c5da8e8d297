#pragma once
// The latest benchmark of each drive, kept in benchmarks.json in the data folder and
// replaced whole and atomically on every save. Only finished runs are saved.
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "app/drive_summary.hpp"
#include "drivekit/bench/bench_runs.hpp"
#include "drivekit/core/json.hpp"

namespace app {

struct SavedBenchmark {
    std::string driveKey;
    std::string driveName;
    std::string model;
    std::string connection;
    std::optional<std::string> link;
    std::optional<int> ceilingMBps;
    drivekit::json::SystemTime date;
    drivekit::BenchRuns runs;

    /// The record of a drive's summary.
    static SavedBenchmark of(const DriveSummary& drive, drivekit::json::SystemTime date, drivekit::BenchRuns runs);
};

struct SavedBenchmarks {
    std::map<std::string, SavedBenchmark> byDrive;
};

namespace BenchStore {

std::filesystem::path file(const std::filesystem::path& dataFolder);  // .../benchmarks.json

drivekit::json::Object toJson(const SavedBenchmarks& saved);
/// Records that don't read are left out; a damaged file reads as none.
SavedBenchmarks fromJson(const drivekit::json::Object& value);
SavedBenchmarks read(const std::filesystem::path& file);
/// Keeps `benchmark` as its drive's latest, then writes the file whole, creating the
/// folder. The sentence for the user when writing failed.
std::optional<std::string> save(SavedBenchmarks& saved, SavedBenchmark benchmark, const std::filesystem::path& file);

}  // namespace BenchStore

}  // namespace app
