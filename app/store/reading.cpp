#include "app/store/reading.hpp"

#include <algorithm>
#include <cmath>

#include "app/json_fields.hpp"

namespace app {

namespace json = drivekit::json;

namespace {

/// The drive's own count of error-log entries, from its NVMe health-log row (the row's
/// key is its English label). Digits only: a locale may group them with any separator.
std::optional<std::uint64_t> errorLogCount(const DriveSummary& drive) {
    for (const auto& field : drive.healthLog) {
        if (field.key != std::optional<std::string>("Error log entries")) continue;
        std::uint64_t value = 0;
        bool any = false;
        for (const char c : field.value) {
            if (c < '0' || c > '9') continue;
            value = value * 10 + static_cast<std::uint64_t>(c - '0');
            any = true;
        }
        if (any) return value;
    }
    return std::nullopt;
}

}  // namespace

Reading Reading::of(const DriveSummary& drive, json::SystemTime now,
                    const std::optional<SystemMark>& system) {
    Reading reading;
    reading.driveID = drive.id;
    reading.date = now;
    reading.tier = drive.tier;
    reading.score = drive.score;
    reading.lifeLeft = drive.lifeLeft;
    reading.temperatureC = drive.temperatureC;
    reading.writtenBytes = drive.dataWrittenBytes;
    if (drive.kind == drivekit::DriveKind::internalSSD && system) {
        reading.swapOutBytes = system->swapOutBytes;
        reading.bootDate = system->bootDate;
    }
    reading.spare = drive.spare;
    reading.dataErrors = drive.dataErrors;
    reading.errorLogEntries = errorLogCount(drive);
    if (drive.forecast) {
        reading.forecastYears =
            std::round((drive.forecast->lowYears + drive.forecast->highYears) / 2.0 * 100.0) / 100.0;
    }
    return reading;
}

json::Object Reading::toJSON() const {
    json::Object object;
    object["driveID"] = driveID;
    object["date"] = json::isoDate(date);
    object["tier"] = std::string(drivekit::TierText::raw(tier));
    json::putOptional(object, "score", score);
    json::putOptional(object, "lifeLeft", lifeLeft);
    json::putOptional(object, "temperatureC", temperatureC);
    json::putOptional(object, "writtenBytes", writtenBytes);
    json::putOptional(object, "swapOutBytes", swapOutBytes);
    if (bootDate) object["bootDate"] = json::isoDate(*bootDate);
    json::putOptional(object, "spare", spare);
    json::putOptional(object, "dataErrors", dataErrors);
    json::putOptional(object, "errorLogEntries", errorLogEntries);
    json::putOptional(object, "forecastYears", forecastYears);
    return object;
}

std::optional<Reading> Reading::fromJSON(const json::Object& object) {
    const auto driveID = jsonfield::text(object, "driveID");
    const auto dateText = jsonfield::text(object, "date");
    const auto date = dateText ? json::parseIsoDate(*dateText) : std::nullopt;
    const auto tierText = jsonfield::text(object, "tier");
    const auto tier = tierText ? drivekit::TierText::parse(*tierText) : std::nullopt;
    if (!driveID || !date || !tier) return std::nullopt;
    Reading reading;
    reading.driveID = *driveID;
    reading.date = *date;
    reading.tier = *tier;
    reading.score = jsonfield::integer(object, "score");
    reading.lifeLeft = jsonfield::integer(object, "lifeLeft");
    reading.temperatureC = jsonfield::integer(object, "temperatureC");
    reading.writtenBytes = jsonfield::uint64(object, "writtenBytes");
    reading.swapOutBytes = jsonfield::uint64(object, "swapOutBytes");
    if (const auto boot = jsonfield::text(object, "bootDate")) reading.bootDate = json::parseIsoDate(*boot);
    reading.spare = jsonfield::integer(object, "spare");
    reading.dataErrors = jsonfield::uint64(object, "dataErrors");
    reading.errorLogEntries = jsonfield::uint64(object, "errorLogEntries");
    reading.forecastYears = jsonfield::number(object, "forecastYears");
    return reading;
}

namespace Readings {

std::vector<Reading> updated(std::vector<Reading> readings, std::span<const DriveSummary> drives,
                             int keepDays, const std::optional<SystemMark>& system,
                             json::SystemTime now) {
    using drivekit::DriveKind;
    for (const auto& drive : drives) {
        // A limited internal drive says nothing; a limited USB disk or card at least says
        // it was there.
        if (drive.tier == drivekit::Tier::limited && drive.kind != DriveKind::usb &&
            drive.kind != DriveKind::sdCard) {
            continue;
        }
        const auto newest = std::find_if(readings.rbegin(), readings.rend(),
                                         [&](const Reading& r) { return r.driveID == drive.id; });
        if (newest != readings.rend() &&
            std::chrono::duration<double>(now - newest->date).count() < kSecondsBetween) {
            continue;
        }
        readings.push_back(Reading::of(drive, now, system));
    }
    const auto cutoff = now - std::chrono::seconds(static_cast<std::int64_t>(keepDays) * 86400);
    std::erase_if(readings, [&](const Reading& r) { return r.date < cutoff; });
    return readings;
}

std::vector<Reading> of(std::span<const Reading> readings, const std::string& driveID) {
    std::vector<Reading> out;
    for (const auto& reading : readings) {
        if (reading.driveID == driveID) out.push_back(reading);
    }
    std::stable_sort(out.begin(), out.end(), [](const Reading& a, const Reading& b) { return a.date < b.date; });
    return out;
}

json::Object toJSON(std::span<const Reading> readings) {
    json::Object array = json::Object::array();
    for (const auto& reading : readings) array.push_back(reading.toJSON());
    return array;
}

std::optional<std::vector<Reading>> fromJSON(const json::Object& value) {
    if (!value.is_array()) return std::nullopt;
    std::vector<Reading> out;
    for (const auto& item : value) {
        if (auto reading = Reading::fromJSON(item)) out.push_back(std::move(*reading));
    }
    return out;
}

}  // namespace Readings

}  // namespace app
