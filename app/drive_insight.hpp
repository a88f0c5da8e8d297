#pragma once
// The content of a drive's Health data page: what the drive is, row by row, and its
// health indicators, each with a status of its own. Built together with the drive's
// summary, off the main thread, and stored with it as JSON. Pure functions of a reading
// and the drive record; nothing here touches the machine.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/json.hpp"
#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/indicator_rules.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "drivekit/health/report.hpp"

namespace app {

/// One labelled row of a drive page: a fact of the drive or a raw field of its log.
struct DriveField {
    std::string label;
    std::string value;
    /// The grey line under the row; often empty.
    std::string note;
    /// The row's stable English name, which is its `InsightRow` key, when it has one.
    std::optional<std::string> key;

    drivekit::json::Object toJSON() const;
    /// Nothing when a key is missing or has the wrong type.
    static std::optional<DriveField> fromJSON(const drivekit::json::Object& object);

    bool operator==(const DriveField&) const = default;
};

/// The closed list of rows of the Health data page, in the order they are shown.
enum class InsightRow {
    volumes,
    device,
    model,
    serial,
    firmware,
    capacity,
    sectorSize,
    interface,
    transferMode,
    sataTransferMode,
    powerOnTime,
    powerCycles,
    smartStatus,
    lifeLeft,
    availableSpare,
    mediaErrors,
    criticalWarnings,
    temperature,
    unsafeShutdowns,
    errorLogEntries,
    reallocatedSectors,
    reallocationEvents,
    pendingSectors,
    offlineUncorrectable,
    reportedUncorrectable,
    programFails,
    eraseFails,
    commandTimeouts,
    spinRetries,
    lastSelfTest,
    crcErrors,
    reservedSpace,
    dataWritten,
    readErrors,
    writeErrors,
    readRetries,
    writeRetries,
};

namespace InsightRowText {
/// The stable key, which is the English label: "Volumes", "S.M.A.R.T. status", ...
std::string_view key(InsightRow row) noexcept;
/// The label in the user's language, looked up by its English text.
std::string label(InsightRow row);
}  // namespace InsightRowText

struct DriveInsight {
    struct Indicator {
        using Status = drivekit::IndicatorStatus;

        /// In the user's language.
        std::string label;
        /// Formatted for the user's locale.
        std::string value;
        /// 0 to 100, the figure a small meter shows.
        std::optional<int> health;
        Status status = Status::info;
        std::string note;
        /// The row's `InsightRow` key; absent for a row of an attribute past its threshold.
        std::optional<std::string> key;

        drivekit::json::Object toJSON() const;
        static std::optional<Indicator> fromJSON(const drivekit::json::Object& object);

        bool operator==(const Indicator&) const = default;
    };

    /// What the general rows need to know beyond the drive record.
    struct Facts {
        /// The drive reports no model of its own and is named after its volume.
        bool modelHidden = false;
        drivekit::Locale locale;
    };

    std::vector<DriveField> general;
    std::vector<Indicator> indicators;
    /// NVMe only: minutes the drive spent above its warning and critical temperatures.
    std::optional<int> warningTempMinutes;
    std::optional<int> criticalTempMinutes;

    /// An NVMe drive: the general rows and seven indicators from its health log.
    static DriveInsight nvme(const drivekit::NVMeHealth& health, const drivekit::Drive& drive,
                             const Facts& facts);
    /// An ATA drive: the general rows, a row for each figure the reading has, then a row
    /// for each further attribute past its own threshold.
    static DriveInsight ata(const drivekit::HealthReport& report, const drivekit::Drive& drive,
                            const Facts& facts);
    /// A drive with no health data: the general rows alone.
    static DriveInsight limited(const drivekit::Drive& drive, const Facts& facts);

    /// {"general", "indicators", "warningTempMinutes", "criticalTempMinutes"}; the lists
    /// always written, absent minutes left out.
    drivekit::json::Object toJSON() const;
    /// Nothing when a list is missing or one of its rows is damaged.
    static std::optional<DriveInsight> fromJSON(const drivekit::json::Object& object);

    bool operator==(const DriveInsight&) const = default;
};

}  // namespace app
