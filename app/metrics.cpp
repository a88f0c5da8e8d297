#include "app/metrics.hpp"

#include <array>
#include <charconv>
#include <optional>

namespace app::Metrics {

namespace {

using drivekit::Tier;

/// Label values may hold anything a drive reports: backslash, quote and line feed are
/// escaped as the format asks.
std::string escaped(std::string_view value) {
    std::string out;
    for (const char c : value) {
        if (c == '\\') {
            out += "\\\\";
        } else if (c == '"') {
            out += "\\\"";
        } else if (c == '\n') {
            out += "\\n";
        } else {
            out += c;
        }
    }
    return out;
}

std::string number(double value) {
    std::array<char, 32> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return error == std::errc() ? std::string(buffer.data(), end) : std::string("NaN");
}

std::string labels(const DriveSummary& drive) {
    // `id` is the serial when the drive told one, else its kernel name.
    const std::string serial = drive.id == drive.bsdName ? std::string() : drive.id;
    return "device=\"" + escaped(drive.bsdName) + "\",model=\"" + escaped(drive.model) + "\",serial=\"" +
           escaped(serial) + "\"";
}

struct Family {
    const char* name;
    const char* type;
    const char* help;
    std::optional<double> (*value)(const DriveSummary&);
};

template <typename T>
std::optional<double> scaled(const std::optional<T>& value, double factor) {
    return value ? std::optional<double>(static_cast<double>(*value) * factor) : std::nullopt;
}

const std::array<Family, 7> kFamilies{{
    {"vantrel_drive_health_score", "gauge", "Health score of the drive, 0 to 100.",
     [](const DriveSummary& d) { return scaled(d.score, 1.0); }},
    {"vantrel_drive_temperature_celsius", "gauge", "Temperature the drive reports.",
     [](const DriveSummary& d) { return scaled(d.temperatureC, 1.0); }},
    {"vantrel_drive_life_left_ratio", "gauge", "Share of the drive's rated write endurance left (1 is new).",
     [](const DriveSummary& d) { return scaled(d.lifeLeft, 0.01); }},
    {"vantrel_drive_available_spare_ratio", "gauge", "Share of the drive's spare blocks still available.",
     [](const DriveSummary& d) { return scaled(d.spare, 0.01); }},
    {"vantrel_drive_media_errors_total", "counter", "Media errors the drive reports.",
     [](const DriveSummary& d) { return scaled(d.dataErrors, 1.0); }},
    {"vantrel_drive_power_on_seconds_total", "counter", "Time the drive has been powered on.",
     [](const DriveSummary& d) { return scaled(d.powerOnHours, 3600.0); }},
    {"vantrel_drive_written_bytes_total", "counter", "Data written to the drive, as the drive counts it.",
     [](const DriveSummary& d) { return scaled(d.dataWrittenBytes, 1.0); }},
}};

}  // namespace

void noteReads(std::map<std::string, Time>& lastRead, std::span<const DriveSummary> drives, Time now) {
    for (const auto& drive : drives) {
        if (drive.tier != Tier::limited && !drive.asleep.value_or(false)) lastRead[drive.id] = now;
    }
}

std::string text(std::span<const DriveSummary> drives, const std::map<std::string, Time>& lastRead) {
    std::string out;
    out += "# HELP vantrel_drive_tier Health tier of the drive: 1 for the tier it is at, 0 for the others.\n"
           "# TYPE vantrel_drive_tier gauge\n";
    constexpr std::array kTiers{Tier::healthy, Tier::watch, Tier::warning, Tier::failing, Tier::failed, Tier::limited};
    for (const auto& drive : drives) {
        for (const Tier tier : kTiers) {
            out += "vantrel_drive_tier{" + labels(drive) + ",tier=\"" + std::string(drivekit::TierText::raw(tier)) +
                   "\"} " + (drive.tier == tier ? "1" : "0") + "\n";
        }
    }
    const auto family = [&](const char* name, const char* type, const char* help, auto value) {
        out += std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
        for (const auto& drive : drives) {
            if (const auto v = value(drive)) out += std::string(name) + "{" + labels(drive) + "} " + number(*v) + "\n";
        }
    };
    for (const auto& f : kFamilies) family(f.name, f.type, f.help, f.value);
    family("vantrel_drive_last_read_timestamp_seconds", "gauge", "When the drive's health was last read, in Unix time.",
           [&](const DriveSummary& d) -> std::optional<double> {
               const auto it = lastRead.find(d.id);
               if (it == lastRead.end()) return std::nullopt;
               return std::chrono::duration<double>(it->second.time_since_epoch()).count();
           });
    return out;
}

platform::Result<void, platform::FileError> write(platform::FileStore& files, const std::filesystem::path& folder,
                                                  std::string_view text) {
    return files.replace(folder / kFileName, text);
}

}  // namespace app::Metrics
