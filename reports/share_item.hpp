#pragma once
// One thing a user sends out (a card, the Health report): its name, its formats and how
// its bytes are made; and the readings of all drives as a CSV file.
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "reports/share.hpp"

namespace reports {

struct ShareItem {
    /// "Share benchmark result".
    std::string title;
    /// The word in the file's name: "Benchmark", "Disk Health", "Health Report".
    std::string what;
    std::string driveName;
    drivekit::json::SystemTime date;
    std::vector<ShareFormat> formats;
    /// The choice to show the serial whole is offered.
    bool offersFullSerial = false;
    /// The personal details the share holds: the volume names.
    std::optional<std::string> note;
    /// The bytes in a format; nothing when they couldn't be made.
    std::function<std::optional<std::string>(const ShareOptions&)> make;

    /// Nothing for a format the item doesn't offer or bytes that couldn't be made.
    std::optional<ShareFile> file(const ShareOptions& options) const;
    /// "Vantrel Disk Health – Samsung T7 – 2026-11-15.png", with the local date.
    std::string fileName(ShareFormat format) const;
    /// A drive's name made safe for a file name.
    static std::string safeName(std::string_view name);
    /// "Includes the volume name “Data”", or nothing without volumes.
    static std::optional<std::string> volumeNote(std::span<const std::string> volumes);
};

namespace ReadingsCSV {

inline constexpr const char* kHeader = "date,drive,status,health,life_left_percent,temperature_c,data_written_bytes";

/// Every reading in stored order, each drive by its name in `names` (by drive id), else by
/// its id. UTF-8, a line feed after every line.
std::string text(std::span<const app::Reading> readings, const std::map<std::string, std::string>& names);

}  // namespace ReadingsCSV

}  // namespace reports
