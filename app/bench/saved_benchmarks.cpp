#include "app/bench/saved_benchmarks.hpp"

#include "platform/file_store.hpp"

#include <system_error>

namespace app {

SavedBenchmark SavedBenchmark::of(const DriveSummary& drive, drivekit::json::SystemTime date,
                                  drivekit::BenchRuns runs) {
    return SavedBenchmark{drive.id,   drive.name, drive.model, std::string(drivekit::DriveKindText::raw(drive.kind)),
                          drive.link, drive.ceilingMBps, date, std::move(runs)};
}

namespace BenchStore {
namespace {

std::optional<SavedBenchmark> record(const drivekit::json::Object& value) {
    if (!value.is_object()) return std::nullopt;
    for (const char* key : {"driveKey", "driveName", "model", "connection", "date"}) {
        if (!value.contains(key) || !value[key].is_string()) return std::nullopt;
    }
    const auto date = drivekit::json::parseIsoDate(value["date"].get<std::string>());
    const auto runs = value.contains("runs") ? drivekit::BenchRuns::fromJson(value["runs"]) : std::nullopt;
    if (!date || !runs) return std::nullopt;
    SavedBenchmark saved{value["driveKey"].get<std::string>(), value["driveName"].get<std::string>(),
                         value["model"].get<std::string>(), value["connection"].get<std::string>(),
                         std::nullopt, std::nullopt, *date, *runs};
    if (value.contains("link") && value["link"].is_string()) saved.link = value["link"].get<std::string>();
    if (value.contains("ceilingMBps") && value["ceilingMBps"].is_number_integer()) {
        saved.ceilingMBps = value["ceilingMBps"].get<int>();
    }
    return saved;
}

}  // namespace

std::filesystem::path file(const std::filesystem::path& dataFolder) { return dataFolder / "benchmarks.json"; }

drivekit::json::Object toJson(const SavedBenchmarks& saved) {
    drivekit::json::Object byDrive = drivekit::json::Object::object();
    for (const auto& [key, benchmark] : saved.byDrive) {
        drivekit::json::Object record;
        record["driveKey"] = benchmark.driveKey;
        record["driveName"] = benchmark.driveName;
        record["model"] = benchmark.model;
        record["connection"] = benchmark.connection;
        drivekit::json::putOptional(record, "link", benchmark.link);
        drivekit::json::putOptional(record, "ceilingMBps", benchmark.ceilingMBps);
        record["date"] = drivekit::json::isoDate(benchmark.date);
        record["runs"] = benchmark.runs.toJson();
        byDrive[key] = std::move(record);
    }
    drivekit::json::Object object;
    object["byDrive"] = std::move(byDrive);
    return object;
}

SavedBenchmarks fromJson(const drivekit::json::Object& value) {
    SavedBenchmarks saved;
    if (!value.is_object() || !value.contains("byDrive") || !value["byDrive"].is_object()) return saved;
    for (const auto& [key, entry] : value["byDrive"].items()) {
        if (auto benchmark = record(entry)) saved.byDrive.emplace(key, std::move(*benchmark));
    }
    return saved;
}

SavedBenchmarks read(const std::filesystem::path& file) {
    const auto text = platform::systemFiles().read(file);
    if (!text) return SavedBenchmarks{};
    const auto value = drivekit::json::parse(*text);
    return value ? fromJson(*value) : SavedBenchmarks{};
}

std::optional<std::string> save(SavedBenchmarks& saved, SavedBenchmark benchmark, const std::filesystem::path& file) {
    const std::string key = benchmark.driveKey;
    saved.byDrive.insert_or_assign(key, std::move(benchmark));
    platform::FileStore& files = platform::systemFiles();
    auto written = files.createFolders(file.parent_path());
    if (written) written = files.replace(file, drivekit::json::dump(toJson(saved), drivekit::json::Layout::compact));
    if (!written) {
        return "The benchmark couldn't be saved in " + file.string() + ".";
    }
    return std::nullopt;
}

}  // namespace BenchStore

}  // namespace app
