#include "reports/share.hpp"

#include <algorithm>

#include "drivekit/bench/bench_runs.hpp"
#include "drivekit/core/rounding.hpp"

namespace reports {

using drivekit::HealthDocument;

namespace ShareFormatText {

std::string_view raw(ShareFormat format) noexcept {
    switch (format) {
        case ShareFormat::png: return "png";
        case ShareFormat::pdf: return "pdf";
        case ShareFormat::json: return "json";
    }
    return "pdf";
}

std::optional<ShareFormat> parse(std::string_view raw) noexcept {
    for (const auto format : {ShareFormat::png, ShareFormat::pdf, ShareFormat::json}) {
        if (ShareFormatText::raw(format) == raw) return format;
    }
    return std::nullopt;
}

}  // namespace ShareFormatText

std::optional<HealthDocument::Benchmark> benchmarkOf(const app::SavedBenchmark& saved) {
    using drivekit::BenchTest;
    using drivekit::BenchResults::mean;
    const auto& runs = saved.runs;
    HealthDocument::Benchmark benchmark;
    benchmark.date = saved.date;
    std::size_t most = 0;
    for (const auto& samples : runs.samples) most = std::max(most, samples.size());
    benchmark.runs = static_cast<int>(most);
    const auto mb = [](double value) { return drivekit::roundHalfAway(value, 1); };
    benchmark.sequentialReadMBps = mb(mean(runs.of(BenchTest::seqRead)));
    benchmark.sequentialWriteMBps = mb(mean(runs.of(BenchTest::seqWrite)));
    benchmark.randomReadMBps = mb(mean(runs.of(BenchTest::rndRead)));
    benchmark.randomWriteMBps = mb(mean(runs.of(BenchTest::rndWrite)));
    if (benchmark.sequentialReadMBps <= 0 && benchmark.sequentialWriteMBps <= 0 && benchmark.randomReadMBps <= 0 &&
        benchmark.randomWriteMBps <= 0) {
        return std::nullopt;
    }
    benchmark.link = saved.link;
    benchmark.linkCeilingMBps = saved.ceilingMBps;
    benchmark.spreadPercent = drivekit::BenchResults::spread(runs);
    return benchmark;
}

std::optional<HealthDocument::Scan> scanOf(const app::SavedScan& saved) {
    const auto& result = saved.result;
    if (result.readsDone < 1) return std::nullopt;
    HealthDocument::Scan scan;
    scan.date = saved.date;
    scan.mode = drivekit::surface_scan::modeName(result.mode);
    scan.finished = result.finished();
    scan.stopped = result.stopped;
    if (!scan.stopped && !scan.finished && result.cancelled.value_or(false)) scan.stopped = "Stopped by the user.";
    scan.bytesRead = result.bytesRead;
    // A quick scan plans its reads, not the disk: what it would have read at the pace
    // of the reads it made.
    scan.plannedBytes = result.mode == drivekit::surface_scan::Mode::full
                            ? result.totalBlocks * static_cast<std::uint64_t>(result.blockSize)
                            : result.bytesRead / static_cast<std::uint64_t>(result.readsDone) *
                                  static_cast<std::uint64_t>(std::max<std::int64_t>(result.readsPlanned, 0));
    scan.seconds = drivekit::roundHalfAway(result.seconds, 2);
    scan.averageMBps =
        result.seconds > 0 ? drivekit::roundHalfAway(static_cast<double>(result.bytesRead) / result.seconds / 1e6, 1) : 0;
    scan.slowReads = static_cast<int>(result.slowReads);
    scan.unreadableReads = static_cast<int>(result.unreadableCount());
    scan.unreadableBlocks = result.unreadable;
    scan.blockSize = result.blockSize;
    return scan;
}

HealthDocument healthDocument(const app::DriveSummary& summary, HealthDocument document, const ShareContext& context) {
    document.generatedAt = context.generated;
    if (!context.version.empty()) document.generator.version = context.version;
    if (context.lastRefresh && summary.tier != drivekit::Tier::limited) document.checkedAt = context.lastRefresh;
    auto& health = document.health;
    health.tier = summary.tier;
    health.score = summary.score;
    health.readOnly = summary.readOnly.value_or(health.readOnly);
    health.findings = summary.findings;
    if (summary.tier != drivekit::Tier::limited) {
        health.title = summary.title;
        health.line = summary.line;
        if (summary.raid) {
            const std::string raid = drivekit::DocumentWording::raidSentence(*summary.raid);
            if (!health.line.ends_with(raid)) health.line += raid;
        }
    }
    if (summary.forecast) {
        const auto& f = *summary.forecast;
        health.forecast = HealthDocument::Forecast{drivekit::roundHalfAway(f.lowYears, 2),
                                                   drivekit::roundHalfAway(f.highYears, 2), f.confidence,
                                                   drivekit::LifeForecast::text(f, drivekit::Locale{})};
    } else {
        health.forecast.reset();
    }
    document.benchmark = context.benchmark ? benchmarkOf(*context.benchmark) : std::nullopt;
    document.surfaceScan = context.scan ? scanOf(*context.scan) : std::nullopt;
    return document;
}

DriveShare DriveShare::withSerial(bool full) const {
    DriveShare share = *this;
    share.context.fullSerial = full;
    auto& info = share.document.drive;
    info.serial = drivekit::SerialMask::shown(wholeSerial, full);
    info.serialMasked = info.serial ? std::optional<bool>(!full) : std::nullopt;
    return share;
}

}  // namespace reports
