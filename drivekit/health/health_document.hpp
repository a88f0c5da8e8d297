#pragma once
// The portable report of one drive: a single JSON record that a user shares with a buyer
// or a repair shop and that a tool can read. Written pretty-printed with every object's
// keys sorted, slashes unescaped and dates in UTC with seconds. No null is ever written:
// an absent value has no key, and every list is written, empty as []. Its texts are in
// English, apart from the finding messages, which keep the language of the reading.
// Building it never fails: a drive with nothing read gives a valid document of tier
// `limited`.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/json.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/forecast.hpp"
#include "drivekit/health/indicator_rules.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/health/tier.hpp"
#include "drivekit/health/wording.hpp"

namespace drivekit {

struct HealthDocument {
    using DriveKind = drivekit::DriveKind;
    using Tier = drivekit::Tier;
    using Date = ::drivekit::json::SystemTime;

    static constexpr int currentSchemaVersion = 1;

    struct Generator {
        std::string name = "Vantrel";
        /// The program's short version.
        std::string version;

        bool operator==(const Generator&) const = default;
    };

    struct DriveInfo {
        /// The display name, after the model the drive reported when there is one; a name
        /// that is the model is cleaned for reading.
        std::string name;
        /// Absent when the model is hidden or empty.
        std::optional<std::string> model;
        /// "/dev/" and the kernel name.
        std::string device;
        DriveKind kind = DriveKind::other;
        std::int64_t capacityBytes = 0;
        std::optional<std::string> firmware;
        /// "Internal", "Thunderbolt", "USB", "SD card", or the transport's label.
        std::string connection;
        std::optional<std::string> link;
        std::optional<int> linkCeilingMBps;
        std::optional<std::string> transferMode;
        /// Masked unless the sharer chose to keep it whole.
        std::optional<std::string> serial;
        /// Present exactly when `serial` is.
        std::optional<bool> serialMasked;
        std::vector<std::string> volumes;

        bool operator==(const DriveInfo&) const = default;
    };

    struct Forecast {
        /// Rounded to two decimals, halves away from zero.
        double lowYears = 0;
        double highYears = 0;
        LifeForecast::Confidence confidence = LifeForecast::Confidence::low;
        std::string text;

        bool operator==(const Forecast&) const = default;
    };

    struct Health {
        Tier tier = Tier::limited;
        std::optional<int> score;
        std::string title;
        std::string line;
        std::vector<std::string> findings;
        std::optional<Forecast> forecast;
        bool readOnly = false;

        bool operator==(const Health&) const = default;
    };

    struct Figures {
        std::optional<int> lifeUsedPercent;
        std::optional<int> lifeLeftPercent;
        std::optional<int> temperatureC;
        std::optional<int> sparePercent;
        std::optional<std::uint64_t> dataWrittenBytes;
        std::optional<std::uint64_t> powerOnHours;
        std::optional<std::uint64_t> dataErrors;
        std::optional<std::uint64_t> unsafeShutdowns;

        bool operator==(const Figures&) const = default;
    };

    struct Indicator {
        std::string label;
        std::string value;
        IndicatorStatus status = IndicatorStatus::info;
        /// For rows shown as a bar: life left, spare.
        std::optional<int> percent;

        /// The set bits of an NVMe critical-warning byte in words: "spare low, read-only".
        static std::string criticalText(std::uint8_t criticalWarning);

        bool operator==(const Indicator&) const = default;
    };

    struct SelfTestRun {
        /// "short", "extended", "conveyance", "selective" or "other".
        std::string kind;
        SelfTest::Outcome outcome = SelfTest::Outcome::unknown;
        bool failed = false;
        int powerOnHours = 0;
        std::optional<std::uint32_t> failingLBA;

        bool operator==(const SelfTestRun&) const = default;
    };

    /// The saved benchmark, in decimal MB/s.
    struct Benchmark {
        Date date;
        int runs = 0;
        double sequentialReadMBps = 0;
        double sequentialWriteMBps = 0;
        double randomReadMBps = 0;
        double randomWriteMBps = 0;
        std::optional<std::string> link;
        std::optional<int> linkCeilingMBps;
        std::optional<int> spreadPercent;

        bool operator==(const Benchmark&) const = default;
    };

    /// The saved surface scan.
    struct Scan {
        Date date;
        std::string mode;
        bool finished = false;
        /// Why it stopped early.
        std::optional<std::string> stopped;
        std::uint64_t bytesRead = 0;
        std::uint64_t plannedBytes = 0;
        double seconds = 0;
        double averageMBps = 0;
        int slowReads = 0;
        int unreadableReads = 0;
        std::vector<std::uint64_t> unreadableBlocks;
        int blockSize = 0;

        bool operator==(const Scan&) const = default;
    };

    struct Reading {
        ReadMethod method = ReadMethod::none;
        /// How the data was read, in a sentence.
        std::string description;

        bool operator==(const Reading&) const = default;
    };

    /// What a reader that runs without the application has in hand.
    struct Source {
        Drive drive;
        std::optional<HealthReport> report;
        /// The decoded log of an NVMe reading.
        std::optional<NVMeHealth> nvme;
        /// How `report` was read; ignored without a report.
        ReadMethod method = ReadMethod::none;
        SMARTStatus smartStatus = SMARTStatus::notSupported;
    };

    int schemaVersion = currentSchemaVersion;
    Generator generator;
    Date generatedAt;
    /// When the drive's health was last read.
    std::optional<Date> checkedAt;
    DriveInfo drive;
    Health health;
    Figures figures;
    std::vector<Indicator> indicators;
    SMARTStatus smartStatus = SMARTStatus::notSupported;
    std::vector<SelfTestRun> selfTests;
    std::optional<Benchmark> benchmark;
    std::optional<Scan> surfaceScan;
    Reading reading;

    /// The document of a reading made at `date` (also the time the document is made).
    /// The serial is masked unless `keepSerial`.
    static HealthDocument make(const Source& source, Date date, bool keepSerial);

    /// The record as a JSON value; its keys are sorted only when written.
    ::drivekit::json::Object toJSON() const;
    /// The document as the bytes of a file: pretty-printed, keys sorted, slashes
    /// unescaped.
    static std::string json(const HealthDocument& document);

    bool operator==(const HealthDocument&) const = default;
};

namespace SelfTestRunText {
/// "short", "extended", "conveyance", "selective", else "other", by the log's kind byte.
std::string_view kind(std::uint8_t kindByte) noexcept;
/// The case name: "passed", "abortedByHost", ... "unknown".
std::string_view outcome(SelfTest::Outcome outcome) noexcept;
}  // namespace SelfTestRunText

}  // namespace drivekit
