#include "app/drive_insight.hpp"

#include <array>
#include <utility>

#include "app/json_fields.hpp"
#include "drivekit/core/rounding.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/discovery/link.hpp"
#include "drivekit/health/bridge_words.hpp"
#include "drivekit/health/placeholders.hpp"
#include "drivekit/health/sentences.hpp"
#include "drivekit/health/wording.hpp"

namespace app {

using namespace drivekit;

namespace {

constexpr std::array<std::pair<InsightRow, std::string_view>, 37> kRows{{
    {InsightRow::volumes, "Volumes"},
    {InsightRow::device, "Device"},
    {InsightRow::model, "Model"},
    {InsightRow::serial, "Serial"},
    {InsightRow::firmware, "Firmware"},
    {InsightRow::capacity, "Capacity"},
    {InsightRow::sectorSize, "Sector size"},
    {InsightRow::interface, "Interface"},
    {InsightRow::transferMode, "Transfer mode"},
    {InsightRow::sataTransferMode, "SATA transfer mode"},
    {InsightRow::powerOnTime, "Power-on time"},
    {InsightRow::powerCycles, "Power cycles"},
    {InsightRow::smartStatus, "S.M.A.R.T. status"},
    {InsightRow::lifeLeft, Sentences::IndicatorLabel::lifeLeft},
    {InsightRow::availableSpare, Sentences::IndicatorLabel::availableSpare},
    {InsightRow::mediaErrors, Sentences::IndicatorLabel::mediaErrors},
    {InsightRow::criticalWarnings, Sentences::IndicatorLabel::criticalWarnings},
    {InsightRow::temperature, Sentences::IndicatorLabel::temperature},
    {InsightRow::unsafeShutdowns, Sentences::IndicatorLabel::unsafeShutdowns},
    {InsightRow::errorLogEntries, Sentences::IndicatorLabel::errorLogEntries},
    {InsightRow::reallocatedSectors, Sentences::IndicatorLabel::reallocatedSectors},
    {InsightRow::reallocationEvents, Sentences::IndicatorLabel::reallocationEvents},
    {InsightRow::pendingSectors, Sentences::IndicatorLabel::pendingSectors},
    {InsightRow::offlineUncorrectable, Sentences::IndicatorLabel::offlineUncorrectable},
    {InsightRow::reportedUncorrectable, Sentences::IndicatorLabel::reportedUncorrectable},
    {InsightRow::programFails, Sentences::IndicatorLabel::programFails},
    {InsightRow::eraseFails, Sentences::IndicatorLabel::eraseFails},
    {InsightRow::commandTimeouts, Sentences::IndicatorLabel::commandTimeouts},
    {InsightRow::spinRetries, Sentences::IndicatorLabel::spinRetries},
    {InsightRow::lastSelfTest, Sentences::IndicatorLabel::lastSelfTest},
    {InsightRow::crcErrors, Sentences::IndicatorLabel::crcErrors},
    {InsightRow::reservedSpace, Sentences::IndicatorLabel::reservedSpace},
    {InsightRow::dataWritten, Sentences::IndicatorLabel::dataWritten},
    {InsightRow::readErrors, "Read errors"},
    {InsightRow::writeErrors, "Write errors"},
    {InsightRow::readRetries, "Read retries"},
    {InsightRow::writeRetries, "Write retries"},
}};

// The catalogue holds English only so far; its keys are the English texts unless named.
std::string localized(std::string_view english) {
    return std::string(english);
}
std::string localized(std::string_view /*key*/, std::string_view english) {
    return std::string(english);
}

struct Words {
    static constexpr std::string_view notReportedByEnclosure = "Not reported by the enclosure";
    static constexpr std::string_view notReportedKey = "insight.model.notReported";
    static constexpr std::string_view notReported = "Not reported";
    static constexpr std::string_view bytes = "%@ bytes";
    static constexpr std::string_view hours = "%lld hours (%@)";
    static constexpr std::string_view days = "%lld days";
    static constexpr std::string_view nvmeThunderbolt = "NVMe over Thunderbolt";
    static constexpr std::string_view nvmeInternal = "NVMe, internal";
    static constexpr std::string_view sataViaUSBBridge = "SATA via USB (%@ bridge)";
    static constexpr std::string_view sataViaUSB = "SATA via USB";
    static constexpr std::string_view usbBridge = "USB (%@ bridge)";
    static constexpr std::string_view sdCardReader = "SD card reader";
    // Internal SATA has no row of its own elsewhere: it is the transport's label.
    static constexpr std::string_view sata = "SATA";
    static constexpr std::string_view external = "External";
    static constexpr std::string_view thresholdOf = "%@ (threshold %@)";
    static constexpr std::string_view noneKey = "insight.criticalWarnings.none";
    static constexpr std::string_view none = "None";
    static constexpr std::string_view temperatureNotReportedKey = "insight.temperature.notReported";
    static constexpr std::string_view selfTestSeparator = " · ";
};

struct Notes {
    static constexpr std::string_view nvmeLife = "100 − the drive's own Percentage Used";
    static constexpr std::string_view nvmeSpare = "Reserve blocks for replacing worn ones";
    static constexpr std::string_view mediaErrors = "Data the drive couldn't recover";
    static constexpr std::string_view criticalWarnings = "The drive's own alarm bits";
    static constexpr std::string_view nvmeTemperature = "Composite, now";
    static constexpr std::string_view unsafeShutdowns =
        "Power lost before the drive could finish; usually harmless";
    static constexpr std::string_view errorLogEntries =
        "Commands the drive logged as failed; often benign";
    static constexpr std::string_view ataLife = "The drive's own wear estimate";
    static constexpr std::string_view reallocated = "Sectors replaced from the spare pool";
    static constexpr std::string_view reallocationEvents = "Times the drive remapped a sector";
    static constexpr std::string_view pending = "Waiting to be remapped; unreadable now";
    static constexpr std::string_view offlineUncorrectable =
        "Found unreadable by the drive's own scan";
    static constexpr std::string_view reportedUncorrectable = "Errors the drive couldn't fix";
    static constexpr std::string_view programFails = "Writes the flash refused";
    static constexpr std::string_view eraseFails = "Erases the flash refused";
    static constexpr std::string_view commandTimeouts =
        "Often the cable or power, sometimes the drive";
    static constexpr std::string_view spinRetries = "A hard drive struggling to spin up";
    static constexpr std::string_view selfTestHours = "At %lld power-on hours";
    static constexpr std::string_view crcErrors = "Usually the cable or enclosure, not the drive";
    static constexpr std::string_view reservedSpace = "Spare blocks left";
    static constexpr std::string_view dataWritten = "Lifetime host writes";
    static constexpr std::string_view dataWrittenTimes = "Lifetime host writes, %@× its capacity";
    static constexpr std::string_view ataTemperature = "Now";
    static constexpr std::string_view pastThreshold = "Below the drive's own threshold";
};

// What the general rows show besides the drive record, by kind of reading.
struct GeneralFacts {
    std::string model;
    std::optional<std::string> serial;
    std::optional<std::string> firmware;
    std::optional<SATALink> sataLink;
    std::optional<std::uint64_t> powerOnHours;
    std::optional<std::uint64_t> powerCycles;
    /// Health data came through the drive's own ATA commands.
    bool readATA = false;
};

DriveField field(InsightRow row, std::string value) {
    return DriveField{InsightRowText::label(row), std::move(value), "",
                      std::string(InsightRowText::key(row))};
}

std::string modelText(const Drive& drive, const GeneralFacts& facts, bool modelHidden) {
    if (modelHidden && drive.transport == Transport::usb) {
        return localized(Words::notReportedByEnclosure);
    }
    // "Unknown drive" is discovery's own stand-in, not something the drive said.
    if (modelHidden || facts.model.empty() || facts.model == Drive{}.model) {
        return localized(Words::notReportedKey, Words::notReported);
    }
    return facts.model;
}

std::string interfaceText(const Drive& drive, bool readATA) {
    switch (drive.transport) {
        case Transport::externalNVMe:
            return localized(Words::nvmeThunderbolt);
        case Transport::internalNVMe:
            return localized(Words::nvmeInternal);
        case Transport::sdCard:
            return localized(Words::sdCardReader);
        case Transport::sata:
            return localized(Words::sata);
        case Transport::other:
            return localized(Words::external);
        case Transport::usb:
            break;
    }
    const auto bridge = enclosureBridge(drive);
    const bool makerKnown = bridge && bridge->makerAndChip;
    if (readATA) {
        return makerKnown
                   ? fillPlaceholders(localized(Words::sataViaUSBBridge), {*bridge->makerAndChip})
                   : localized(Words::sataViaUSB);
    }
    return makerKnown ? fillPlaceholders(localized(Words::usbBridge), {*bridge->makerAndChip})
                      : localized(Words::external);
}

std::string powerOnText(std::uint64_t hours, const Locale& locale) {
    const auto days = static_cast<std::uint64_t>(roundHalfAway(static_cast<double>(hours) / 24.0));
    const std::string daysText =
        fillPlaceholders(localized(Words::days), {LocalFormat::plainCount(days, locale)});
    return fillPlaceholders(localized(Words::hours),
                            {LocalFormat::plainCount(hours, locale), daysText});
}

std::vector<DriveField> generalRows(const Drive& drive, const GeneralFacts& facts,
                                    const DriveInsight::Facts& options) {
    const Locale& locale = options.locale;
    std::vector<DriveField> rows;

    std::string names;
    for (const auto& volume : DocumentWording::volumeNames(drive.volumes)) {
        if (!names.empty()) names += ", ";
        names += *volume.name;
    }
    if (!names.empty()) rows.push_back(field(InsightRow::volumes, names));
    rows.push_back(field(InsightRow::device, drive.device()));
    rows.push_back(field(InsightRow::model, modelText(drive, facts, options.modelHidden)));
    if (const auto serial = text::nonEmpty(facts.serial))
        rows.push_back(field(InsightRow::serial, *serial));
    if (const auto firmware = text::nonEmpty(facts.firmware)) {
        rows.push_back(field(InsightRow::firmware, *firmware));
    }
    if (drive.sizeBytes > 0) {
        rows.push_back(field(InsightRow::capacity,
                             ByteSize::decimal(drive.sizeBytes, locale) + " (" +
                                 LocalFormat::count(drive.sizeBytes, locale) + " bytes)"));
    }
    if (drive.blockSize) {
        rows.push_back(field(InsightRow::sectorSize,
                             fillPlaceholders(localized(Words::bytes),
                                              {LocalFormat::count(*drive.blockSize, locale)})));
    }
    rows.push_back(field(InsightRow::interface, interfaceText(drive, facts.readATA)));
    if (const auto mode = TransferMode::make(drive, facts.sataLink, locale)) {
        if (mode->current) rows.push_back(field(InsightRow::transferMode, *mode->current));
        if (const auto sata = mode->sataCurrent ? mode->sataCurrent : mode->sataSupported) {
            rows.push_back(field(InsightRow::sataTransferMode, *sata));
        }
    }
    if (facts.powerOnHours) {
        rows.push_back(field(InsightRow::powerOnTime, powerOnText(*facts.powerOnHours, locale)));
    }
    if (facts.powerCycles) {
        rows.push_back(
            field(InsightRow::powerCycles, LocalFormat::count(*facts.powerCycles, locale)));
    }
    return rows;
}

DriveInsight::Indicator indicator(InsightRow row, std::string value, std::optional<int> health,
                                  IndicatorStatus status, std::string note) {
    return DriveInsight::Indicator{
        InsightRowText::label(row),           std::move(value), health, status, std::move(note),
        std::string(InsightRowText::key(row))};
}

std::vector<DriveInsight::Indicator> nvmeIndicators(const NVMeHealth& health,
                                                    const Locale& locale) {
    using namespace IndicatorRules;
    const int used = health.percentageUsed;
    const int left = nvmeLifeLeft(used);
    const std::string critical = DocumentWording::criticalText(health.criticalWarning);

    std::vector<DriveInsight::Indicator> rows;
    rows.push_back(indicator(InsightRow::lifeLeft, LocalFormat::percent(left, locale), left,
                             nvmeLife(used), localized(Notes::nvmeLife)));
    rows.push_back(
        indicator(InsightRow::availableSpare,
                  fillPlaceholders(localized(Words::thresholdOf),
                                   {LocalFormat::percent(health.availableSpare, locale),
                                    LocalFormat::percent(health.spareThreshold, locale)}),
                  health.availableSpare, nvmeSpare(health), localized(Notes::nvmeSpare)));
    rows.push_back(indicator(InsightRow::mediaErrors,
                             LocalFormat::count(health.mediaErrors, locale), std::nullopt,
                             nvmeMediaErrors(health), localized(Notes::mediaErrors)));
    rows.push_back(indicator(InsightRow::criticalWarnings,
                             critical.empty() ? localized(Words::noneKey, Words::none) : critical,
                             std::nullopt, nvmeCriticalWarnings(health),
                             localized(Notes::criticalWarnings)));
    rows.push_back(indicator(
        InsightRow::temperature,
        health.temperatureC ? LocalFormat::celsius(*health.temperatureC, locale)
                            : localized(Words::temperatureNotReportedKey, Words::notReported),
        std::nullopt, nvmeTemperature(health), localized(Notes::nvmeTemperature)));
    rows.push_back(indicator(InsightRow::unsafeShutdowns,
                             LocalFormat::count(health.unsafeShutdowns, locale), std::nullopt,
                             IndicatorStatus::info, localized(Notes::unsafeShutdowns)));
    rows.push_back(indicator(InsightRow::errorLogEntries,
                             LocalFormat::count(health.errorLogEntries, locale), std::nullopt,
                             IndicatorStatus::info, localized(Notes::errorLogEntries)));
    return rows;
}

// The status a row shows when nothing rates it worse than healthy.
IndicatorStatus defaultStatus(const IndicatorRules::ATARowFacts& facts) {
    using IndicatorRules::ATARow;
    switch (facts.row) {
        case ATARow::lastSelfTest:
            return facts.selfTest && facts.selfTest->outcome == SelfTest::Outcome::passed
                       ? IndicatorStatus::ok
                       : IndicatorStatus::info;
        case ATARow::crcErrors:
            return facts.figure == 0 ? IndicatorStatus::ok : IndicatorStatus::info;
        case ATARow::dataWritten:
            return IndicatorStatus::info;
        default:
            return IndicatorStatus::ok;
    }
}

IndicatorStatus statusOf(const IndicatorRules::ATARowFacts& facts) {
    const Verdict worst = facts.worst();
    return worst == Verdict::healthy ? defaultStatus(facts) : indicatorStatus(worst);
}

std::string dataWrittenNote(std::int64_t written, std::int64_t capacity, const Locale& locale) {
    if (capacity < 1) return localized(Notes::dataWritten);
    const double times = static_cast<double>(written) / static_cast<double>(capacity);
    return fillPlaceholders(localized(Notes::dataWrittenTimes),
                            {LocalFormat::decimalTrimmed(times, locale)});
}

std::optional<DriveInsight::Indicator> ataIndicator(const IndicatorRules::ATARowFacts& facts,
                                                    const Drive& drive, const Locale& locale) {
    using IndicatorRules::ATARow;
    const auto count = [&] { return LocalFormat::count(facts.figure, locale); };
    const IndicatorStatus status = statusOf(facts);
    const auto figure = static_cast<int>(facts.figure);
    switch (facts.row) {
        case ATARow::lifeLeft:
            return indicator(InsightRow::lifeLeft, LocalFormat::percent(facts.figure, locale),
                             figure, status, localized(Notes::ataLife));
        case ATARow::reallocatedSectors:
            return indicator(InsightRow::reallocatedSectors, count(), std::nullopt, status,
                             localized(Notes::reallocated));
        case ATARow::reallocationEvents:
            return indicator(InsightRow::reallocationEvents, count(), std::nullopt, status,
                             localized(Notes::reallocationEvents));
        case ATARow::pendingSectors:
            return indicator(InsightRow::pendingSectors, count(), std::nullopt, status,
                             localized(Notes::pending));
        case ATARow::offlineUncorrectable:
            return indicator(InsightRow::offlineUncorrectable, count(), std::nullopt, status,
                             localized(Notes::offlineUncorrectable));
        case ATARow::reportedUncorrectable:
            return indicator(InsightRow::reportedUncorrectable, count(), std::nullopt, status,
                             localized(Notes::reportedUncorrectable));
        case ATARow::programFails:
            return indicator(InsightRow::programFails, count(), std::nullopt, status,
                             localized(Notes::programFails));
        case ATARow::eraseFails:
            return indicator(InsightRow::eraseFails, count(), std::nullopt, status,
                             localized(Notes::eraseFails));
        case ATARow::commandTimeouts:
            // Told only once a command did time out.
            if (facts.figure == 0) return std::nullopt;
            return indicator(InsightRow::commandTimeouts, count(), std::nullopt, status,
                             localized(Notes::commandTimeouts));
        case ATARow::spinRetries:
            return indicator(InsightRow::spinRetries, count(), std::nullopt, status,
                             localized(Notes::spinRetries));
        case ATARow::lastSelfTest: {
            const SelfTest::Entry& entry = *facts.selfTest;
            return indicator(
                InsightRow::lastSelfTest,
                entry.kindLabel() + std::string(Words::selfTestSeparator) +
                    SelfTest::label(entry.outcome),
                std::nullopt, status,
                fillPlaceholders(
                    localized(Notes::selfTestHours),
                    {LocalFormat::plainCount(
                        static_cast<std::uint64_t>(std::max(entry.powerOnHours, 0)), locale)}));
        }
        case ATARow::crcErrors:
            return indicator(InsightRow::crcErrors, count(), std::nullopt, status,
                             localized(Notes::crcErrors));
        case ATARow::reservedSpace:
            return indicator(InsightRow::reservedSpace, LocalFormat::percent(facts.figure, locale),
                             figure, status, localized(Notes::reservedSpace));
        case ATARow::dataWritten:
            return indicator(InsightRow::dataWritten, ByteSize::decimal(facts.figure, locale),
                             std::nullopt, status,
                             dataWrittenNote(facts.figure, drive.sizeBytes, locale));
        case ATARow::temperature:
            return indicator(InsightRow::temperature, LocalFormat::celsius(facts.figure, locale),
                             std::nullopt, status, localized(Notes::ataTemperature));
    }
    return std::nullopt;
}

std::optional<std::uint64_t> powerCyclesAttribute(const HealthReport& report) {
    constexpr std::uint8_t kPowerCycleCount = 12;
    for (const auto& attribute : report.attributes) {
        if (attribute.id == kPowerCycleCount) return attribute.rawLow();
    }
    return std::nullopt;
}

std::optional<int> minutes(std::uint32_t value) {
    return static_cast<int>(std::min<std::uint32_t>(value, std::numeric_limits<int>::max()));
}

}  // namespace

namespace InsightRowText {
std::string_view key(InsightRow row) noexcept {
    for (const auto& [value, text] : kRows) {
        if (value == row) return text;
    }
    return {};
}
std::string label(InsightRow row) {
    return localized(key(row));
}
}  // namespace InsightRowText

DriveInsight DriveInsight::nvme(const NVMeHealth& health, const Drive& drive, const Facts& facts) {
    GeneralFacts general;
    general.model = health.model.empty() ? drive.model : health.model;
    general.serial = health.serial;
    general.firmware = health.firmware;
    general.powerOnHours = health.powerOnHours;
    general.powerCycles = health.powerCycles;

    DriveInsight insight;
    insight.general = generalRows(drive, general, facts);
    insight.indicators = nvmeIndicators(health, facts.locale);
    insight.warningTempMinutes = minutes(health.warningTempMinutes);
    insight.criticalTempMinutes = minutes(health.criticalTempMinutes);
    return insight;
}

DriveInsight DriveInsight::ata(const HealthReport& report, const Drive& drive, const Facts& facts) {
    GeneralFacts general;
    general.model = report.model;
    general.serial = report.serial;
    general.firmware = report.firmware;
    general.sataLink = report.sataLink;
    general.powerOnHours = report.powerOnHours;
    general.powerCycles = powerCyclesAttribute(report);
    general.readATA = true;

    DriveInsight insight;
    insight.general = generalRows(drive, general, facts);
    const auto rows = IndicatorRules::ataRows(report);
    for (const auto& row : rows) {
        if (auto shown = ataIndicator(row, drive, facts.locale)) {
            insight.indicators.push_back(std::move(*shown));
        }
    }
    for (const auto& attribute : IndicatorRules::attributesPastThreshold(report, rows)) {
        insight.indicators.push_back(
            Indicator{attribute.name(), LocalFormat::count(attribute.rawLow(), facts.locale),
                      std::nullopt, indicatorStatus(IndicatorRules::attributeVerdict(attribute)),
                      localized(Notes::pastThreshold), std::nullopt});
    }
    return insight;
}

DriveInsight DriveInsight::limited(const Drive& drive, const Facts& facts) {
    GeneralFacts general;
    general.model = drive.model;
    DriveInsight insight;
    insight.general = generalRows(drive, general, facts);
    return insight;
}

// JSON

json::Object DriveField::toJSON() const {
    json::Object object = json::Object::object();
    object["label"] = label;
    object["value"] = value;
    object["note"] = note;
    json::putOptional(object, "key", key);
    return object;
}

std::optional<DriveField> DriveField::fromJSON(const json::Object& object) {
    auto label = jsonfield::text(object, "label");
    auto value = jsonfield::text(object, "value");
    auto note = jsonfield::text(object, "note");
    if (!label || !value || !note) return std::nullopt;
    return DriveField{std::move(*label), std::move(*value), std::move(*note),
                      jsonfield::text(object, "key")};
}

json::Object DriveInsight::Indicator::toJSON() const {
    json::Object object = json::Object::object();
    object["label"] = label;
    object["value"] = value;
    json::putOptional(object, "health", health);
    object["status"] = std::string(IndicatorStatusText::raw(status));
    object["note"] = note;
    json::putOptional(object, "key", key);
    return object;
}

std::optional<DriveInsight::Indicator> DriveInsight::Indicator::fromJSON(
    const json::Object& object) {
    auto label = jsonfield::text(object, "label");
    auto value = jsonfield::text(object, "value");
    auto note = jsonfield::text(object, "note");
    const auto statusText = jsonfield::text(object, "status");
    const auto status = statusText ? IndicatorStatusText::parse(*statusText) : std::nullopt;
    if (!label || !value || !note || !status) return std::nullopt;
    return Indicator{std::move(*label), std::move(*value), jsonfield::integer(object, "health"),
                     *status,           std::move(*note),  jsonfield::text(object, "key")};
}

json::Object DriveInsight::toJSON() const {
    json::Object object = json::Object::object();
    object["general"] = json::Object::array();
    for (const auto& row : general) object["general"].push_back(row.toJSON());
    object["indicators"] = json::Object::array();
    for (const auto& row : indicators) object["indicators"].push_back(row.toJSON());
    json::putOptional(object, "warningTempMinutes", warningTempMinutes);
    json::putOptional(object, "criticalTempMinutes", criticalTempMinutes);
    return object;
}

std::optional<DriveInsight> DriveInsight::fromJSON(const json::Object& object) {
    auto general = jsonfield::records(object, "general", &DriveField::fromJSON);
    auto indicators = jsonfield::records(object, "indicators", &Indicator::fromJSON);
    if (!general || !indicators) return std::nullopt;
    DriveInsight insight;
    insight.general = std::move(*general);
    insight.indicators = std::move(*indicators);
    insight.warningTempMinutes = jsonfield::integer(object, "warningTempMinutes");
    insight.criticalTempMinutes = jsonfield::integer(object, "criticalTempMinutes");
    return insight;
}

}  // namespace app
