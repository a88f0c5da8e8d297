#pragma once
// The demo machine's past: a reading a day for each rated drive, so that `--demo` shows
// history charts on its first start. Made from the drives as the demo reads them now,
// walked back in time with fixed patterns (no randomness): the same drives and the same
// moment give the same history, which keeps screenshots and tests stable.
#include <filesystem>
#include <span>
#include <vector>

#include "app/machine.hpp"
#include "app/store/reading.hpp"

namespace app::DemoHistory {

/// Days of history a demo drive gets.
constexpr int kDays = 90;

/// One reading a day, at the time of day of `now`, for the `days` - 1 days before `now`
/// (today's reading is the store's own first pass), oldest first. Only drives with a
/// score: a limited drive has nothing to chart. Scores, tiers, spare and error counts
/// stay as they are now, so that the history rules find nothing the demo doesn't show;
/// data written grows with a weekly rhythm, life left falls with it, the temperature
/// swings a few degrees.
std::vector<Reading> readings(std::span<const DriveSummary> drives, drivekit::json::SystemTime now, int days = kDays);

/// Gives the readings file at `path` the demo's history unless it already reaches back
/// more than two days; readings already there are kept. False when the file couldn't be
/// written.
bool seed(const std::filesystem::path& path, std::span<const DriveSummary> drives, drivekit::json::SystemTime now);

/// `seed` with the drives of the demo `machine` as it reads them now; called before the
/// store's first pass, which loads the readings file.
bool seedFrom(const Machine& machine, const std::filesystem::path& path, drivekit::json::SystemTime now);

}  // namespace app::DemoHistory
