#pragma once
// One row of a drive's history, and the rule that keeps the history: at most one reading
// per drive an hour, nothing older than `keepDays`. readings.json is an array of these,
// oldest first.
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "app/drive_summary.hpp"
#include "drivekit/core/json.hpp"

namespace app {

/// What the system said at the moment of a reading; only the internal SSD's rows carry it.
struct SystemMark {
    std::uint64_t swapOutBytes = 0;
    std::optional<drivekit::json::SystemTime> bootDate;
};

struct Reading {
    std::string driveID;
    drivekit::json::SystemTime date;
    drivekit::Tier tier = drivekit::Tier::limited;
    std::optional<int> score;
    std::optional<int> lifeLeft;
    std::optional<int> temperatureC;
    std::optional<std::uint64_t> writtenBytes;
    std::optional<std::uint64_t> swapOutBytes;
    std::optional<drivekit::json::SystemTime> bootDate;
    std::optional<int> spare;
    std::optional<std::uint64_t> dataErrors;
    std::optional<std::uint64_t> errorLogEntries;
    /// Centre of the forecast's range, rounded to two decimals.
    std::optional<double> forecastYears;

    /// A reading of `drive` made `now`; the system mark only for the internal SSD.
    static Reading of(const DriveSummary& drive, drivekit::json::SystemTime now,
                      const std::optional<SystemMark>& system = std::nullopt);

    drivekit::json::Object toJSON() const;
    /// Nothing without a drive, a date or a known tier; damaged optional values are absent.
    static std::optional<Reading> fromJSON(const drivekit::json::Object& object);

    bool operator==(const Reading&) const = default;
};

namespace Readings {

constexpr double kSecondsBetween = 3600.0;

/// The history after a pass showed `drives` at `now`: a reading for each drive that says
/// something (a limited drive only when it is a USB disk or a card, which shows it is
/// there), unless its newest is under an hour old; then everything older than `keepDays`
/// goes. Equal to `readings` when nothing changed.
std::vector<Reading> updated(std::vector<Reading> readings, std::span<const DriveSummary> drives,
                             int keepDays, const std::optional<SystemMark>& system,
                             drivekit::json::SystemTime now);

/// The readings of one drive, oldest first.
std::vector<Reading> of(std::span<const Reading> readings, const std::string& driveID);

drivekit::json::Object toJSON(std::span<const Reading> readings);
/// Rows that don't decode are left out; nothing when the value isn't an array.
std::optional<std::vector<Reading>> fromJSON(const drivekit::json::Object& value);

}  // namespace Readings

}  // namespace app
