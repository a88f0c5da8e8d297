// The ATA rule set: a SATA drive's attribute table, read live or over USB, rated into a
// HealthReport. Hard drives and SSDs go through the same rules; they differ only in which
// figures their family fills and in the temperature they may run at.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/placeholders.hpp"
#include "drivekit/health/score.hpp"

namespace drivekit {
namespace {

using Signal = Finding::Signal;

// The sentences of the rules, in rule order.
struct Wording {
    static constexpr std::string_view spinRetries = "The drive needed %lld retries to spin up.";
    static constexpr std::string_view commandTimeouts =
        "%lld commands timed out: often the cable or power, sometimes the drive.";
    static constexpr std::string_view pastThreshold =
        "%@ is past the manufacturer's failure threshold (%@ ≤ %@).";
    static constexpr std::string_view offlineUncorrectable =
        "%lld sectors can't be read (offline uncorrectable).";
    static constexpr std::string_view pending =
        "%lld sectors are waiting to be remapped (pending).";
    static constexpr std::string_view reportedUncorrectable =
        "%lld errors the drive couldn't correct.";
    static constexpr std::string_view reallocated =
        "%lld sectors or blocks have been replaced with spares.";
    static constexpr std::string_view lifeLeft = "About %@ of rated life left.";
    static constexpr std::string_view hot = "Running hot: %@.";
    static constexpr std::string_view crcErrors =
        "%lld connection (CRC) errors: usually the cable or enclosure, not the drive.";
    static constexpr std::string_view smartOff = "SMART is turned off on this drive.";
    static constexpr std::string_view noAttributes = "The drive returned no SMART attributes.";
    static constexpr std::string_view firstBadSector = " First bad sector: ";
};

// Replaced sectors: a few are routine wear of the surface, more than ten a trend.
constexpr std::uint64_t kReallocatedWarning = 10;
// Life left at which the life rule speaks, and where it turns from watch to warning.
constexpr int kLifeWatch = 30;
constexpr int kLifeWarning = 10;
// An SSD is built to run warmer than a spinning disk.
constexpr int kHotSSD = 70;
constexpr int kHotOther = 55;
// A failed self-test caps the score here: the drive itself found a fault.
constexpr int kSelfTestScoreCap = 20;

/// A 64-bit count shown as a signed one, held at the signed maximum.
std::string shownCount(std::uint64_t count, const Locale& locale) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return LocalFormat::count(static_cast<std::int64_t>(std::min(count, most)), locale);
}

/// The finding of a failed self-test, with the first bad sector when the drive logged one.
std::optional<Finding> selfTestFinding(const std::optional<SelfTest::Entry>& latest,
                                       const Locale& locale) {
    if (!latest) return std::nullopt;
    auto sentence = SelfTest::failureSentence(latest->outcome);
    if (!sentence) return std::nullopt;
    if (latest->failingLBA) {
        *sentence += std::string(Wording::firstBadSector) +
                     LocalFormat::count(*latest->failingLBA, locale) + ".";
    }
    return Finding{Verdict::failing, std::move(*sentence), Signal::selfTest};
}

/// A finding for every attribute at or below a real threshold, in table order. Past dips
/// (`worst`) don't count, and a family's ignored ids still do: the drive set the threshold.
void addFailingAttributes(const std::vector<ATAAttribute>& attributes, const Locale& locale,
                          std::vector<Finding>& findings) {
    for (const auto& attribute : attributes) {
        if (!attribute.isFailingNow()) continue;
        findings.push_back(
            Finding{attribute.isPrefailure() ? Verdict::failing : Verdict::warning,
                    fillPlaceholders(Wording::pastThreshold,
                                     {attribute.name(), LocalFormat::count(attribute.value, locale),
                                      LocalFormat::count(attribute.threshold, locale)}),
                    Signal::drive});
    }
}

class Findings {
  public:
    explicit Findings(const Locale& locale) : locale_(locale) {}

    void add(Verdict verdict, Signal signal, std::string message) {
        list_.push_back(Finding{verdict, std::move(message), signal});
    }
    void addCount(Verdict verdict, Signal signal, std::string_view pattern, std::uint64_t count) {
        add(verdict, signal, fillPlaceholders(pattern, {shownCount(count, locale_)}));
    }
    void addUnknown(std::string_view message) {
        list_.push_back(Finding{Verdict::unknown, std::string(message), std::nullopt});
    }
    std::vector<Finding>& list() { return list_; }

  private:
    const Locale& locale_;
    std::vector<Finding> list_;
};

std::vector<Finding> runRules(const ATAReadings& r, const std::optional<ATAIdentity>& identity,
                              const std::vector<ATAAttribute>& attributes,
                              const std::optional<SelfTest::Entry>& latestTest,
                              const Locale& locale) {
    Findings findings(locale);
    if (auto finding = selfTestFinding(latestTest, locale)) {
        findings.list().push_back(std::move(*finding));
    }
    if (r.spinRetries && *r.spinRetries > 0) {
        findings.addCount(Verdict::warning, Signal::drive, Wording::spinRetries, *r.spinRetries);
    }
    if (r.commandTimeouts && *r.commandTimeouts > 0) {
        findings.addCount(Verdict::watch, Signal::connection, Wording::commandTimeouts,
                          *r.commandTimeouts);
    }
    addFailingAttributes(attributes, locale, findings.list());
    if (r.offlineUncorrectable && *r.offlineUncorrectable > 0) {
        findings.addCount(Verdict::failing, Signal::errors, Wording::offlineUncorrectable,
                          *r.offlineUncorrectable);
    }
    if (r.pendingVerdict() != Verdict::healthy) {
        findings.addCount(r.pendingVerdict(), Signal::sectors, Wording::pending, *r.pending);
    }
    if (r.reportedUncorrectable && *r.reportedUncorrectable > 0) {
        findings.addCount(Verdict::warning, Signal::errors, Wording::reportedUncorrectable,
                          *r.reportedUncorrectable);
    }
    if (r.reallocated && *r.reallocated > 0) {
        findings.addCount(*r.reallocated > kReallocatedWarning ? Verdict::warning : Verdict::watch,
                          Signal::sectors, Wording::reallocated, *r.reallocated);
    }
    // No life value reaches failing: a worn-out SSD usually still reads.
    if (r.life && *r.life <= kLifeWatch) {
        findings.add(*r.life <= kLifeWarning ? Verdict::warning : Verdict::watch, Signal::life,
                     fillPlaceholders(Wording::lifeLeft, {LocalFormat::percent(*r.life, locale)}));
    }
    if (r.spare) {
        const Verdict verdict = HealthRules::spare(*r.spare, r.spareThreshold, false);
        if (verdict != Verdict::healthy) {
            findings.add(
                verdict, Signal::spare,
                HealthRules::spareMessage(*r.spare, r.spareThreshold, false, locale).value_or(""));
        }
    }
    // A drive that doesn't say it is an SSD gets the lower limit.
    if (r.temperatureC && *r.temperatureC >= (r.isSSD.value_or(false) ? kHotSSD : kHotOther)) {
        findings.add(
            Verdict::watch, Signal::temp,
            fillPlaceholders(Wording::hot, {LocalFormat::celsius(*r.temperatureC, locale)}));
    }
    // A note, never a verdict: a bad cable must not make the drive look bad.
    if (r.crcErrors && *r.crcErrors > 0) {
        findings.addCount(Verdict::healthy, Signal::connection, Wording::crcErrors, *r.crcErrors);
    }
    // Raw values not taken as they stand: one line each, so the reader sees why a figure
    // differs from what a raw table shows. Notes, never verdicts.
    for (const ATANote& note : r.notes) findings.add(Verdict::healthy, Signal::drive, note.sentence());
    if (identity && !identity->smartEnabled) findings.addUnknown(Wording::smartOff);
    if (attributes.empty()) findings.addUnknown(Wording::noAttributes);
    return std::move(findings.list());
}

}  // namespace

namespace HealthRules {

std::optional<SelfTest::Entry> latestFinishedSelfTest(const std::vector<SelfTest::Entry>& log) {
    for (const auto& entry : log) {
        if (entry.outcome != SelfTest::Outcome::inProgress) return entry;
    }
    return std::nullopt;
}

HealthReport evaluate(const std::optional<ATAIdentity>& identity,
                      const std::vector<ATAAttribute>& attributes, const Drive& drive,
                      const std::string& source, const std::vector<SelfTest::Entry>& selfTests,
                      const Locale& locale) {
    // A USB bridge may call any disk rotating; the drive's own rotation rate wins.
    const std::string_view model = identity ? std::string_view(identity->model) : drive.model;
    const std::optional<std::string_view> firmware =
        identity ? std::optional<std::string_view>(identity->firmware) : std::nullopt;
    const std::optional<bool> isSSD =
        identity && identity->isSSD() ? identity->isSSD() : drive.isSolidState;
    const std::optional<std::uint64_t> sectors =
        identity && identity->sectors > 0 ? std::optional<std::uint64_t>(identity->sectors)
                                          : std::nullopt;
    ATAReadings readings =
        ATAReadings::make(attributes, model, firmware, isSSD, drive.sizeBytes, sectors);

    const auto latestTest = latestFinishedSelfTest(selfTests);

    HealthReport report;
    report.drive = drive;
    report.source = source;
    report.model = std::string(model);
    if (identity) {
        report.serial = identity->serial;
        report.firmware = identity->firmware;
        report.sataLink = identity->sataLink;
    }
    report.isSSD = readings.isSSD;
    report.lifeRemainingPercent = readings.life;
    report.temperatureC = readings.temperatureC;
    report.powerOnHours = readings.powerOnHours;
    report.dataWrittenBytes = readings.writtenBytes;
    report.findings = runRules(readings, identity, attributes, latestTest, locale);
    report.attributes = attributes;
    if (!attributes.empty()) report.score = score(readings);
    if (latestTest && SelfTest::failed(latestTest->outcome)) {
        report.score = std::min(report.score.value_or(kSelfTestScoreCap), kSelfTestScoreCap);
    }
    report.forecast = LifeForecast::bootstrap(readings, drive.sizeBytes);
    report.selfTests = selfTests;
    report.isReadOnly = false;
    report.ata = std::move(readings);
    return report;
}

}  // namespace HealthRules

}  // namespace drivekit
