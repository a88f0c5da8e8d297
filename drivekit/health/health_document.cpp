#include "drivekit/health/health_document.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "drivekit/core/rounding.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/core/version.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/bridge_words.hpp"
#include "drivekit/health/sentences.hpp"

namespace drivekit {
namespace {

// The document is in English whatever the user's language.
const Locale kEnglish{"en_US"};

using Labels = Sentences::IndicatorLabel;

struct Values {
    static constexpr std::string_view none = "None";
    static constexpr std::string_view notReported = "Not reported";
    static constexpr std::string_view degrees = " °C";
    static constexpr std::string_view selfTestSeparator = " · ";
};

constexpr std::array<std::pair<IndicatorRules::ATARow, std::string_view>, 15> kATALabels{{
    {IndicatorRules::ATARow::lifeLeft, Labels::lifeLeft},
    {IndicatorRules::ATARow::reallocatedSectors, Labels::reallocatedSectors},
    {IndicatorRules::ATARow::reallocationEvents, Labels::reallocationEvents},
    {IndicatorRules::ATARow::pendingSectors, Labels::pendingSectors},
    {IndicatorRules::ATARow::offlineUncorrectable, Labels::offlineUncorrectable},
    {IndicatorRules::ATARow::reportedUncorrectable, Labels::reportedUncorrectable},
    {IndicatorRules::ATARow::programFails, Labels::programFails},
    {IndicatorRules::ATARow::eraseFails, Labels::eraseFails},
    {IndicatorRules::ATARow::commandTimeouts, Labels::commandTimeouts},
    {IndicatorRules::ATARow::spinRetries, Labels::spinRetries},
    {IndicatorRules::ATARow::lastSelfTest, Labels::lastSelfTest},
    {IndicatorRules::ATARow::crcErrors, Labels::crcErrors},
    {IndicatorRules::ATARow::reservedSpace, Labels::reservedSpace},
    {IndicatorRules::ATARow::dataWritten, Labels::dataWritten},
    {IndicatorRules::ATARow::temperature, Labels::temperature},
}};

constexpr std::array<std::pair<SelfTest::Outcome, std::string_view>, 11> kOutcomeNames{{
    {SelfTest::Outcome::passed, "passed"},
    {SelfTest::Outcome::abortedByHost, "abortedByHost"},
    {SelfTest::Outcome::interruptedByReset, "interruptedByReset"},
    {SelfTest::Outcome::fatalError, "fatalError"},
    {SelfTest::Outcome::unknownFailure, "unknownFailure"},
    {SelfTest::Outcome::electricalFailure, "electricalFailure"},
    {SelfTest::Outcome::servoFailure, "servoFailure"},
    {SelfTest::Outcome::readFailure, "readFailure"},
    {SelfTest::Outcome::handlingDamage, "handlingDamage"},
    {SelfTest::Outcome::inProgress, "inProgress"},
    {SelfTest::Outcome::unknown, "unknown"},
}};

std::string percentText(std::int64_t value) {
    return std::to_string(value) + "%";
}
std::string degreesText(std::int64_t value) {
    return std::to_string(value) + std::string(Values::degrees);
}

std::string_view ataLabel(IndicatorRules::ATARow row) {
    for (const auto& [value, label] : kATALabels) {
        if (value == row) return label;
    }
    return {};
}

std::string connectionWord(const Drive& drive) {
    switch (driveKindFor(drive.transport)) {
        case DriveKind::internalSSD:
            return "Internal";
        case DriveKind::thunderbolt:
            return "Thunderbolt";
        case DriveKind::usb:
            return "USB";
        case DriveKind::sdCard:
            return "SD card";
        case DriveKind::other:
            break;
    }
    return std::string(TransportText::raw(drive.transport));
}

// A USB bridge's product name is not the drive's: name it after what the drive reported.
Discovery::DisplayName nameOf(const HealthDocument::Source& source) {
    const HealthReport* report = source.report ? &*source.report : nullptr;
    if (report && !report->model.empty()) {
        return Discovery::displayName(source.drive.named(report->model));
    }
    return Discovery::displayName(source.drive);
}

// The drive tells no model worth showing and goes by the name of one of its volumes.
bool modelHidden(const Drive& drive, const Discovery::DisplayName& name) {
    if (name.isModel) return false;
    return std::any_of(drive.volumes.begin(), drive.volumes.end(),
                       [&](const Volume& volume) { return volume.name == name.name; });
}

HealthDocument::DriveInfo driveInfo(const HealthDocument::Source& source, bool keepSerial) {
    const Drive& drive = source.drive;
    const HealthReport* report = source.report ? &*source.report : nullptr;
    const std::string model = report && !report->model.empty() ? report->model : drive.model;

    const auto name = nameOf(source);
    HealthDocument::DriveInfo info;
    info.name = name.isModel ? DocumentWording::prettyName(name.name) : name.name;
    if (!modelHidden(drive, name)) info.model = text::nonEmpty(model);
    info.device = drive.device();
    info.kind = driveKindFor(drive.transport);
    info.capacityBytes = drive.sizeBytes;
    if (report) info.firmware = text::nonEmpty(report->firmware);
    info.connection = connectionWord(drive);
    if (drive.link) {
        info.link = drive.link->current;
        info.linkCeilingMBps = drive.link->ceilingMBps;
    }
    if (const auto mode =
            TransferMode::make(drive, report ? report->sataLink : std::nullopt, kEnglish)) {
        // One word for the mode: the SATA generation where there is one, else the link.
        if (mode->sataCurrent)
            info.transferMode = mode->sataCurrent;
        else if (mode->sataSupported)
            info.transferMode = mode->sataSupported;
        else
            info.transferMode = mode->current;
    }
    info.serial = SerialMask::shown(report ? report->serial : std::nullopt, keepSerial);
    if (info.serial) info.serialMasked = !keepSerial;
    for (const auto& volume : DocumentWording::volumeNames(drive.volumes)) {
        info.volumes.push_back(*volume.name);
    }
    return info;
}

HealthDocument::Forecast documentForecast(const LifeForecast& forecast) {
    return HealthDocument::Forecast{roundHalfAway(forecast.lowYears, 2),
                                    roundHalfAway(forecast.highYears, 2), forecast.confidence,
                                    LifeForecast::text(forecast, kEnglish)};
}

HealthDocument::Health healthOf(const HealthDocument::Source& source, DriveKind kind,
                                bool nvmeBridge) {
    HealthDocument::Health health;
    if (!source.report) {
        health.tier = Tier::limited;
        health.title = DocumentWording::title(Tier::limited, kind, false);
        health.line = DocumentWording::limitedReason(kind, nvmeBridge);
    } else {
        const HealthReport& report = *source.report;
        health.tier = tierFor(report.verdict());
        health.score = report.score;
        health.readOnly = report.isReadOnly;
        health.title = DocumentWording::title(health.tier, kind, report.isReadOnly);
        const std::optional<int> lifeUsed =
            source.nvme ? std::optional<int>(source.nvme->percentageUsed) : std::nullopt;
        health.line = DocumentWording::line(health.tier, lifeUsed, report.lifeRemainingPercent,
                                            report.forecast, report.findings,
                                            kEnglish);
        for (const auto& finding : report.findings) health.findings.push_back(finding.message);
        if (report.forecast) health.forecast = documentForecast(*report.forecast);
    }
    if (source.drive.raid) health.line += DocumentWording::raidSentence(*source.drive.raid);
    return health;
}

HealthDocument::Figures figuresOf(const HealthDocument::Source& source) {
    HealthDocument::Figures figures;
    if (!source.report) return figures;
    const HealthReport& report = *source.report;
    figures.lifeLeftPercent = report.lifeRemainingPercent;
    figures.temperatureC = report.temperatureC;
    figures.dataWrittenBytes = report.dataWrittenBytes;
    figures.powerOnHours = report.powerOnHours;
    if (source.nvme) {
        figures.lifeUsedPercent = source.nvme->percentageUsed;
        figures.sparePercent = source.nvme->availableSpare;
        figures.dataErrors = source.nvme->mediaErrors;
        figures.unsafeShutdowns = source.nvme->unsafeShutdowns;
    } else if (report.ata) {
        figures.sparePercent = report.ata->spare;
        figures.dataErrors = report.ata->dataErrors();
    }
    return figures;
}

std::vector<HealthDocument::Indicator> nvmeIndicators(const NVMeHealth& health) {
    using namespace IndicatorRules;
    using Row = HealthDocument::Indicator;
    const int left = nvmeLifeLeft(health.percentageUsed);
    const std::string critical = DocumentWording::criticalText(health.criticalWarning);
    return {
        Row{std::string(Labels::lifeLeft), percentText(left), nvmeLife(health.percentageUsed),
            left},
        Row{std::string(Labels::availableSpare),
            percentText(health.availableSpare) + " (threshold " +
                percentText(health.spareThreshold) + ")",
            nvmeSpare(health), health.availableSpare},
        Row{std::string(Labels::mediaErrors), std::to_string(health.mediaErrors),
            nvmeMediaErrors(health), std::nullopt},
        Row{std::string(Labels::criticalWarnings),
            critical.empty() ? std::string(Values::none) : critical, nvmeCriticalWarnings(health),
            std::nullopt},
        Row{std::string(Labels::temperature),
            health.temperatureC ? degreesText(*health.temperatureC)
                                : std::string(Values::notReported),
            nvmeTemperature(health), std::nullopt},
        Row{std::string(Labels::unsafeShutdowns), std::to_string(health.unsafeShutdowns),
            IndicatorStatus::info, std::nullopt},
        Row{std::string(Labels::errorLogEntries), std::to_string(health.errorLogEntries),
            IndicatorStatus::info, std::nullopt},
    };
}

// A row a rule judges is ok while it holds; one that only tells is info; a failing
// attribute behind either rates it.
IndicatorStatus ataStatus(const IndicatorRules::ATARowFacts& facts) {
    const Verdict worst = facts.worst();
    if (worst != Verdict::healthy) return indicatorStatus(worst);
    if (facts.row == IndicatorRules::ATARow::crcErrors) {
        return facts.figure == 0 ? IndicatorStatus::ok : IndicatorStatus::info;
    }
    return facts.hasRule ? IndicatorStatus::ok : IndicatorStatus::info;
}

HealthDocument::Indicator ataIndicator(const IndicatorRules::ATARowFacts& facts) {
    using IndicatorRules::ATARow;
    HealthDocument::Indicator row;
    row.label = std::string(ataLabel(facts.row));
    row.status = ataStatus(facts);
    switch (facts.row) {
        case ATARow::lifeLeft:
        case ATARow::reservedSpace:
            row.value = percentText(facts.figure);
            row.percent = static_cast<int>(facts.figure);
            break;
        case ATARow::lastSelfTest:
            row.value = facts.selfTest->kindLabel() + std::string(Values::selfTestSeparator) +
                        SelfTest::label(facts.selfTest->outcome);
            break;
        case ATARow::dataWritten:
            row.value = ByteSize::decimal(facts.figure, kEnglish);
            break;
        case ATARow::temperature:
            row.value = degreesText(facts.figure);
            break;
        default:
            row.value = std::to_string(facts.figure);
            break;
    }
    return row;
}

std::vector<HealthDocument::Indicator> indicatorsOf(const HealthDocument::Source& source) {
    if (!source.report) return {};
    if (source.nvme) return nvmeIndicators(*source.nvme);
    std::vector<HealthDocument::Indicator> rows;
    const auto facts = IndicatorRules::ataRows(*source.report);
    for (const auto& row : facts) rows.push_back(ataIndicator(row));
    for (const auto& attribute : IndicatorRules::attributesPastThreshold(*source.report, facts)) {
        rows.push_back(HealthDocument::Indicator{
            attribute.name(), std::to_string(attribute.rawLow()),
            indicatorStatus(IndicatorRules::attributeVerdict(attribute)), std::nullopt});
    }
    return rows;
}

std::vector<HealthDocument::SelfTestRun> selfTestRuns(const HealthDocument::Source& source) {
    std::vector<HealthDocument::SelfTestRun> runs;
    if (!source.report) return runs;
    for (const auto& entry : source.report->selfTests) {
        runs.push_back(HealthDocument::SelfTestRun{std::string(SelfTestRunText::kind(entry.kind)),
                                                   entry.outcome, SelfTest::failed(entry.outcome),
                                                   entry.powerOnHours, entry.failingLBA});
    }
    return runs;
}

// JSON

using Object = ::drivekit::json::Object;

template <typename T>
void put(Object& object, std::string_view key, const std::optional<T>& value) {
    ::drivekit::json::putOptional(object, key, value);
}

std::string date(HealthDocument::Date time) {
    return ::drivekit::json::isoDate(time);
}

Object texts(const std::vector<std::string>& items) {
    Object array = Object::array();
    for (const auto& item : items) array.push_back(item);
    return array;
}

Object encode(const HealthDocument::DriveInfo& info) {
    Object o = Object::object();
    o["name"] = info.name;
    put(o, "model", info.model);
    o["device"] = info.device;
    o["kind"] = std::string(DriveKindText::raw(info.kind));
    o["capacityBytes"] = info.capacityBytes;
    put(o, "firmware", info.firmware);
    o["connection"] = info.connection;
    put(o, "link", info.link);
    put(o, "linkCeilingMBps", info.linkCeilingMBps);
    put(o, "transferMode", info.transferMode);
    put(o, "serial", info.serial);
    put(o, "serialMasked", info.serialMasked);
    o["volumes"] = texts(info.volumes);
    return o;
}

Object encode(const HealthDocument::Health& health) {
    Object o = Object::object();
    o["tier"] = std::string(TierText::raw(health.tier));
    put(o, "score", health.score);
    o["title"] = health.title;
    o["line"] = health.line;
    o["findings"] = texts(health.findings);
    if (health.forecast) {
        Object forecast = Object::object();
        forecast["lowYears"] = health.forecast->lowYears;
        forecast["highYears"] = health.forecast->highYears;
        forecast["confidence"] = std::string(ConfidenceText::raw(health.forecast->confidence));
        forecast["text"] = health.forecast->text;
        o["forecast"] = std::move(forecast);
    }
    o["readOnly"] = health.readOnly;
    return o;
}

Object encode(const HealthDocument::Figures& figures) {
    Object o = Object::object();
    put(o, "lifeUsedPercent", figures.lifeUsedPercent);
    put(o, "lifeLeftPercent", figures.lifeLeftPercent);
    put(o, "temperatureC", figures.temperatureC);
    put(o, "sparePercent", figures.sparePercent);
    put(o, "dataWrittenBytes", figures.dataWrittenBytes);
    put(o, "powerOnHours", figures.powerOnHours);
    put(o, "dataErrors", figures.dataErrors);
    put(o, "unsafeShutdowns", figures.unsafeShutdowns);
    return o;
}

Object encode(const HealthDocument::Indicator& row) {
    Object o = Object::object();
    o["label"] = row.label;
    o["value"] = row.value;
    o["status"] = std::string(IndicatorStatusText::raw(row.status));
    put(o, "percent", row.percent);
    return o;
}

Object encode(const HealthDocument::SelfTestRun& run) {
    Object o = Object::object();
    o["kind"] = run.kind;
    o["outcome"] = std::string(SelfTestRunText::outcome(run.outcome));
    o["failed"] = run.failed;
    o["powerOnHours"] = run.powerOnHours;
    put(o, "failingLBA", run.failingLBA);
    return o;
}

Object encode(const HealthDocument::Benchmark& benchmark) {
    Object o = Object::object();
    o["date"] = date(benchmark.date);
    o["runs"] = benchmark.runs;
    o["sequentialReadMBps"] = benchmark.sequentialReadMBps;
    o["sequentialWriteMBps"] = benchmark.sequentialWriteMBps;
    o["randomReadMBps"] = benchmark.randomReadMBps;
    o["randomWriteMBps"] = benchmark.randomWriteMBps;
    put(o, "link", benchmark.link);
    put(o, "linkCeilingMBps", benchmark.linkCeilingMBps);
    put(o, "spreadPercent", benchmark.spreadPercent);
    return o;
}

Object encode(const HealthDocument::Scan& scan) {
    Object o = Object::object();
    o["date"] = date(scan.date);
    o["mode"] = scan.mode;
    o["finished"] = scan.finished;
    put(o, "stopped", scan.stopped);
    o["bytesRead"] = scan.bytesRead;
    o["plannedBytes"] = scan.plannedBytes;
    o["seconds"] = scan.seconds;
    o["averageMBps"] = scan.averageMBps;
    o["slowReads"] = scan.slowReads;
    o["unreadableReads"] = scan.unreadableReads;
    Object blocks = Object::array();
    for (const auto block : scan.unreadableBlocks) blocks.push_back(block);
    o["unreadableBlocks"] = std::move(blocks);
    o["blockSize"] = scan.blockSize;
    return o;
}

template <typename T>
Object arrayOf(const std::vector<T>& items) {
    Object array = Object::array();
    for (const auto& item : items) array.push_back(encode(item));
    return array;
}

Object encode(const HealthDocument& document) {
    Object o = Object::object();
    o["schemaVersion"] = document.schemaVersion;
    o["generator"] =
        Object{{"name", document.generator.name}, {"version", document.generator.version}};
    o["generatedAt"] = date(document.generatedAt);
    if (document.checkedAt) o["checkedAt"] = date(*document.checkedAt);
    o["drive"] = encode(document.drive);
    o["health"] = encode(document.health);
    o["figures"] = encode(document.figures);
    o["indicators"] = arrayOf(document.indicators);
    o["smartStatus"] = std::string(SMARTStatusText::raw(document.smartStatus));
    o["selfTests"] = arrayOf(document.selfTests);
    if (document.benchmark) o["benchmark"] = encode(*document.benchmark);
    if (document.surfaceScan) o["surfaceScan"] = encode(*document.surfaceScan);
    o["reading"] = Object{{"method", std::string(ReadMethodText::raw(document.reading.method))},
                          {"description", document.reading.description}};
    return o;
}

}  // namespace

namespace SelfTestRunText {
std::string_view kind(std::uint8_t kindByte) noexcept {
    switch (kindByte) {
        case 1:
            return "short";
        case 2:
            return "extended";
        case 3:
            return "conveyance";
        case 4:
            return "selective";
        default:
            return "other";
    }
}
std::string_view outcome(SelfTest::Outcome outcome) noexcept {
    for (const auto& [value, name] : kOutcomeNames) {
        if (value == outcome) return name;
    }
    return "unknown";
}
}  // namespace SelfTestRunText

std::string HealthDocument::Indicator::criticalText(std::uint8_t criticalWarning) {
    return DocumentWording::criticalText(criticalWarning);
}

HealthDocument HealthDocument::make(const Source& source, Date date, bool keepSerial) {
    const auto bridge = enclosureBridge(source.drive);
    const bool nvmeBridge = bridge && bridge->isNVMe;

    HealthDocument document;
    document.generator.version = std::string(version());
    document.generatedAt = date;
    if (source.report) document.checkedAt = date;
    document.drive = driveInfo(source, keepSerial);
    document.health = healthOf(source, document.drive.kind, nvmeBridge);
    document.figures = figuresOf(source);
    document.indicators = indicatorsOf(source);
    document.smartStatus = source.smartStatus;
    document.selfTests = selfTestRuns(source);
    document.reading.method = source.report ? source.method : ReadMethod::none;
    document.reading.description =
        DocumentWording::readSource(document.reading.method, source.drive,
                                    bridge ? bridge->sentenceName : std::nullopt, nvmeBridge);
    return document;
}

::drivekit::json::Object HealthDocument::toJSON() const {
    return encode(*this);
}

std::string HealthDocument::json(const HealthDocument& document) {
    return ::drivekit::json::dump(encode(document), ::drivekit::json::Layout::prettySorted);
}

}  // namespace drivekit
