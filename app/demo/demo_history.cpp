#include "app/demo/demo_history.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "app/drive_check.hpp"
#include "app/read_all.hpp"
#include "app/store/state_files.hpp"

namespace app::DemoHistory {

namespace json = drivekit::json;

namespace {

constexpr auto kDay = std::chrono::hours(24);

// Of a day's writes, by how many days ago: lighter at the weekend, a busier week now
// and then, never nothing.
double writeShare(int daysAgo, double phase) {
    const double week = 0.55 * std::sin(2.0 * std::numbers::pi * daysAgo / 7.0 + phase);
    const double month = 0.25 * std::sin(2.0 * std::numbers::pi * daysAgo / 29.0 + 2.0 * phase);
    return std::max(0.15, 1.0 + week + month);
}

// A phase of its own for each drive, so that the charts of two drives don't move in step.
double phaseOf(const std::string& id) {
    unsigned sum = 0;
    for (const char c : id) sum = sum * 31u + static_cast<unsigned char>(c);
    return static_cast<double>(sum % 628u) / 100.0;
}

}  // namespace

std::vector<Reading> readings(std::span<const DriveSummary> drives, json::SystemTime now, int days) {
    std::vector<Reading> out;
    for (const auto& drive : drives) {
        if (!drive.score) continue;
        const double phase = phaseOf(drive.id);
        // What the drive wrote over the whole span, spread by the day's share: a tenth of
        // all it ever wrote, or nothing for a drive that doesn't count.
        const std::uint64_t total = drive.dataWrittenBytes.value_or(0);
        const double spanBytes = static_cast<double>(total) / 10.0;
        double shares = 0;
        for (int d = 1; d < days; ++d) shares += writeShare(d, phase);
        double behind = 0;  // bytes written between a day and now
        std::vector<Reading> own;
        for (int d = 1; d < days; ++d) {
            behind += spanBytes * writeShare(d, phase) / shares;
            Reading reading = Reading::of(drive, now - d * kDay);
            if (drive.dataWrittenBytes) {
                reading.writtenBytes = total - std::min(total, static_cast<std::uint64_t>(std::llround(behind)));
            }
            if (drive.lifeLeft && drive.lifeUsed && total > 0) {
                // Wear follows writes: the share of all writes made since gave back as much life.
                const double given = *drive.lifeUsed * behind / static_cast<double>(total);
                reading.lifeLeft = std::min(100, *drive.lifeLeft + static_cast<int>(std::floor(given)));
            }
            if (drive.temperatureC) {
                reading.temperatureC = *drive.temperatureC +
                                       static_cast<int>(std::lround(3.0 * std::sin(0.9 * d + phase)));
            }
            own.push_back(std::move(reading));
        }
        out.insert(out.end(), own.rbegin(), own.rend());
    }
    std::stable_sort(out.begin(), out.end(), [](const Reading& a, const Reading& b) { return a.date < b.date; });
    return out;
}

bool seed(const std::filesystem::path& path, std::span<const DriveSummary> drives, json::SystemTime now) {
    auto kept = StateFiles::readReadings(path);
    const bool reachesBack = std::any_of(kept.begin(), kept.end(), [&](const Reading& r) { return now - r.date > 2 * kDay; });
    if (reachesBack) return true;
    auto all = readings(drives, now);
    all.insert(all.end(), kept.begin(), kept.end());
    std::stable_sort(all.begin(), all.end(), [](const Reading& a, const Reading& b) { return a.date < b.date; });
    return StateFiles::writeReadings(path, all);
}

bool seedFrom(const Machine& machine, const std::filesystem::path& path, json::SystemTime now) {
    return seed(path, readAll({}, true, readContextOf(machine)), now);
}

}  // namespace app::DemoHistory
