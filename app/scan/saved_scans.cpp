#include "app/scan/saved_scans.hpp"

#include <algorithm>
#include <cstring>

#include "drivekit/core/text.hpp"

namespace app {

namespace ScanStore {

std::filesystem::path dataFolder(const std::function<std::optional<std::string>(const char*)>& environment) {
    if (const auto xdg = environment("XDG_DATA_HOME"); xdg && !xdg->empty() && xdg->front() == '/') {
        return std::filesystem::path(*xdg) / "vantrel";
    }
    if (const auto home = environment("HOME"); home && !home->empty()) {
        return std::filesystem::path(*home) / ".local" / "share" / "vantrel";
    }
    return {};
}

std::filesystem::path file(const std::filesystem::path& dataFolder) { return dataFolder / "scans.json"; }

drivekit::json::Object toJson(const SavedScans& scans) {
    drivekit::json::Object byDrive = drivekit::json::Object::object();
    for (const auto& [key, scan] : scans.byDrive) {
        drivekit::json::Object record;
        record["driveKey"] = scan.driveKey;
        drivekit::json::putOptional(record, "serial", scan.serial);
        drivekit::json::putOptional(record, "signature", scan.signature);
        record["driveName"] = scan.driveName;
        record["model"] = scan.model;
        record["date"] = drivekit::json::isoDate(scan.date);
        record["result"] = drivekit::surface_scan::toJson(scan.result);
        byDrive[key] = std::move(record);
    }
    drivekit::json::Object object;
    object["byDrive"] = std::move(byDrive);
    return object;
}

namespace {

std::optional<std::string> text(const drivekit::json::Object& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_string()) return std::nullopt;
    return it->get<std::string>();
}

}  // namespace

SavedScans fromJson(const drivekit::json::Object& value) {
    SavedScans scans;
    if (!value.is_object()) return scans;
    const auto byDrive = value.find("byDrive");
    if (byDrive == value.end() || !byDrive->is_object()) return scans;
    for (const auto& [key, record] : byDrive->items()) {
        if (!record.is_object()) continue;
        const auto driveKey = text(record, "driveKey");
        const auto driveName = text(record, "driveName");
        const auto model = text(record, "model");
        const auto date = text(record, "date");
        const auto parsedDate = date ? drivekit::json::parseIsoDate(*date) : std::nullopt;
        const auto result = record.contains("result") ? drivekit::surface_scan::resultFromJson(record["result"])
                                                      : std::nullopt;
        if (!driveKey || !driveName || !model || !parsedDate || !result) continue;
        scans.byDrive[key] = SavedScan{*driveKey, text(record, "serial"), text(record, "signature"),
                                       *driveName, *model, *parsedDate, *result};
    }
    return scans;
}

SavedScans read(const platform::FileStore& files, const std::filesystem::path& path) {
    const auto text = files.read(path);
    const auto object = text ? drivekit::json::parse(*text) : std::nullopt;
    return object ? fromJson(*object) : SavedScans{};
}

std::optional<std::string> save(platform::FileStore& files, SavedScans& scans, SavedScan scan,
                                const std::filesystem::path& path) {
    const std::string key = scan.driveKey;
    scans.byDrive.insert_or_assign(key, std::move(scan));
    auto written = files.createFolders(path.parent_path());
    if (written) written = files.replace(path, drivekit::json::dump(toJson(scans), drivekit::json::Layout::compact));
    if (!written) {
        return "Couldn't save the scan: " + path.string() + " (" + written.error().call + ": " +
               std::strerror(written.error().code) + ")";
    }
    return std::nullopt;
}

}  // namespace ScanStore

namespace ScanWording {

std::string summaryLine(const std::string& driveName, const drivekit::surface_scan::Result& result,
                        std::optional<std::int64_t> maxBytes) {
    const std::string method = result.reads ? drivekit::surface_scan::text(*result.reads) : "no reads";
    const std::string tail = result.stopped ? ", stopped: " + *result.stopped : "";
    const std::string limit = maxBytes ? drivekit::text::format("%lld KB", static_cast<long long>(*maxBytes >> 10))
                                       : std::string("an unknown amount");
    return drivekit::text::format("scan %s (%s): %lld of %lld reads with %s, %lld unreadable, %lld slow, "
                                  "slowest %.0f ms, %.0f s%s (Linux reads %s at once)",
                                  driveName.c_str(), drivekit::surface_scan::modeName(result.mode),
                                  static_cast<long long>(result.readsDone), static_cast<long long>(result.readsPlanned),
                                  method.c_str(), static_cast<long long>(result.unreadableCount()),
                                  static_cast<long long>(result.slowReads), result.slowestMs, result.seconds,
                                  tail.c_str(), limit.c_str());
}

namespace {

std::string duration(double seconds) {
    const auto whole = static_cast<long long>(seconds + 0.5);
    if (whole >= 3600) return drivekit::text::format("%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
    return drivekit::text::format("%lld:%02lld", whole / 60, whole % 60);
}

double megabytesPerSecond(const drivekit::surface_scan::Result& r) {
    return r.seconds > 0 ? static_cast<double>(r.bytesRead) / r.seconds / 1e6 : 0;
}

}  // namespace

std::string progressLine(const drivekit::surface_scan::Result& r) {
    std::string left = "--:--";
    if (r.readsDone > 0 && r.readsPlanned > r.readsDone && r.seconds > 0) {
        left = duration(r.seconds / static_cast<double>(r.readsDone) * static_cast<double>(r.readsPlanned - r.readsDone));
    }
    return drivekit::text::format("%5.1f%%  %7.1f MB/s  %lld unreadable  %lld slow  %s left ", r.fraction() * 100,
                                  megabytesPerSecond(r), static_cast<long long>(r.unreadableCount()),
                                  static_cast<long long>(r.slowReads), left.c_str());
}

std::vector<ResultRow> resultRows(const std::string& kernelName, const drivekit::surface_scan::Result& r,
                                  const ScanUsage& usage) {
    std::vector<ResultRow> rows{
        {"Drive", "/dev/" + kernelName},
        {"Mode", drivekit::surface_scan::modeName(r.mode)},
        {"Reads", std::to_string(r.readsDone) + " of " + std::to_string(r.readsPlanned) +
                      (r.reads ? " with " + drivekit::surface_scan::text(*r.reads) : std::string())},
        {"Read", drivekit::text::format("%.1f GB in %s, %.1f MB/s", static_cast<double>(r.bytesRead) / 1e9,
                                        duration(r.seconds).c_str(), megabytesPerSecond(r))},
        {"Unreadable", std::to_string(r.unreadableCount()), true},
        {"Slow reads", std::to_string(r.slowReads) + drivekit::text::format(" (slowest %.0f ms)", r.slowestMs)},
    };
    if (r.stopped) rows.push_back({"Stopped", *r.stopped});
    // The scan's cost to this program, from its samples of one a second.
    if (!usage.cpu.empty() && !usage.memory.empty()) {
        double sum = 0;
        for (const double share : usage.cpu) sum += share;
        const auto peak = *std::max_element(usage.memory.begin(), usage.memory.end());
        rows.push_back({"Own cost", drivekit::text::format("%.1f%% of a core on average, %.0f MB of memory at most",
                                                           sum / static_cast<double>(usage.cpu.size()),
                                                           static_cast<double>(peak) / 1e6)});
    }
    return rows;
}

}  // namespace ScanWording

ScanProgress ScanProgress::of(const drivekit::surface_scan::Result& result) {
    ScanProgress progress;
    progress.percent = result.readsPlanned > 0 ? static_cast<int>(result.readsDone * 100 / result.readsPlanned) : 0;
    progress.tone = result.unreadableCount() >= 1 ? Tone::unreadable
                    : result.slowReads >= 1       ? Tone::slow
                                                  : Tone::clean;
    progress.done = result.finished();
    return progress;
}

}  // namespace app
