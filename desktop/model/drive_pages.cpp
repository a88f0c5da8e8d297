#include "desktop/model/drive_pages.hpp"

#include "app/store/alerts.hpp"
#include "desktop/model/page_wording.hpp"
#include "drivekit/bench/bench_runs.hpp"
#include "drivekit/bench/bench_wording.hpp"
#include "drivekit/health/self_test.hpp"

namespace desktop {

namespace LF = drivekit::LocalFormat;

std::string pageTitle(Page page) {
    switch (page) {
        case Page::overview: return std::string(Wording::overview);
        case Page::swap: return std::string(Wording::swap);
        case Page::writes: return std::string(Wording::writes);
        case Page::forecast: return std::string(Wording::forecast);
        case Page::history: return std::string(Wording::history);
        case Page::healthData: return std::string(Wording::healthData);
        case Page::report: return std::string(Wording::report);
        case Page::settings: return std::string(Wording::settings);
        case Page::about: return std::string(Wording::about);
        case Page::scan: return std::string(Wording::scanTitle);
        case Page::bench: return std::string(Wording::benchTitle);
    }
    return {};
}

std::vector<PageEntry> sidebarPages(bool withSwap, bool withWrites) {
    std::vector<PageEntry> pages;
    for (const auto page : {Page::overview, Page::swap, Page::writes, Page::forecast, Page::history}) {
        if ((page == Page::swap && !withSwap) || (page == Page::writes && !withWrites)) continue;
        pages.push_back({page, pageTitle(page), 0});
    }
    pages.push_back({Page::healthData, pageTitle(Page::healthData), 1});
    pages.push_back({Page::report, pageTitle(Page::report), 1});
    return pages;
}

std::vector<SidebarDrive> sidebarDrives(std::span<const app::DriveSummary> drives) {
    std::vector<SidebarDrive> rows;
    for (const auto& drive : drives) {
        SidebarDrive row;
        row.id = drive.id;
        row.name = drive.name;
        // What hangs on a cable or sits in a slot is external; the system SSD, SATA and other
        // disks on the board are inside.
        const bool external = drive.kind == drivekit::DriveKind::usb || drive.kind == drivekit::DriveKind::sdCard ||
                              drive.kind == drivekit::DriveKind::thunderbolt;
        row.tag = std::string(external && !drive.hostsBootVolume ? Wording::external : Wording::internal);
        row.tier = drive.tier;
        row.tierLabel = app::Notes::tierLabel(drive.tier);
        row.score = drive.score ? std::to_string(*drive.score) : std::string();
        row.usb = drive.kind == drivekit::DriveKind::usb;
        rows.push_back(std::move(row));
    }
    return rows;
}

Overview overview(const app::DriveSummary& drive, const drivekit::Locale& locale) {
    Overview view;
    view.name = drive.name;
    view.tier = drive.tier;
    view.tierLabel = app::Notes::tierLabel(drive.tier);
    view.score = drive.score ? Wording::fill(Wording::scoreOutOf, {}, *drive.score, locale) : std::string(Wording::noScore);
    view.title = drive.title;
    view.line = drive.line;
    auto add = [&](std::string_view label, std::string value) {
        if (!value.empty()) view.facts.push_back({std::string(label), std::move(value)});
    };
    add(Wording::model, drive.modelHidden ? std::string() : drive.model);
    if (drive.capacityBytes > 0) add(Wording::capacity, drivekit::ByteSize::decimal(drive.capacityBytes, locale));
    if (drive.link) add(Wording::link, LF::code(*drive.link));
    if (drive.temperatureC) add(Wording::temperature, LF::celsius(*drive.temperatureC, locale));
    if (drive.lifeLeft) add(Wording::lifeLeft, LF::percent(*drive.lifeLeft, locale));
    if (drive.forecast) add(Wording::rated, drivekit::LifeForecast::leftPhrase(*drive.forecast, locale));
    if (drive.powerOnHours) {
        add(Wording::powerOn, Wording::fill(Wording::powerOnHours, {LF::count(*drive.powerOnHours, locale)}));
    }
    if (drive.dataWrittenBytes) {
        add(Wording::written, drivekit::ByteSize::decimal(static_cast<std::int64_t>(*drive.dataWrittenBytes), locale));
    }
    add(Wording::readThrough, drive.readSource);
    for (const auto& volume : drive.volumes) {
        std::string value = std::string(Wording::notMounted);
        if (volume.space) {
            value = Wording::fill(Wording::freeOf, {drivekit::ByteSize::decimal(volume.space->free, locale),
                                                    drivekit::ByteSize::decimal(volume.space->total, locale)});
        } else if (!volume.mountPoint.empty()) {
            value = volume.mountPoint;
        }
        view.volumes.push_back({volume.name.empty() ? volume.mountPoint : volume.name, value});
    }
    view.showsSpeeds = drive.kind != drivekit::DriveKind::sdCard && !drive.asleep.value_or(false);
    return view;
}

KeptRuns keptRuns(const app::DriveSummary& drive, const app::SavedScans& scans, const app::SavedBenchmarks& benchmarks) {
    KeptRuns kept;
    std::optional<std::string> serial;
    for (const auto& field : drive.insight.general) {
        if (field.key && *field.key == app::InsightRowText::key(app::InsightRow::serial) && !field.value.empty()) serial = field.value;
    }
    for (const auto& [key, scan] : scans.byDrive) {
        if (serial && scan.serial == serial) kept.scan = scan;
    }
    if (!kept.scan) {
        if (const auto found = scans.byDrive.find("device:" + drive.bsdName); found != scans.byDrive.end()) {
            kept.scan = found->second;
        }
    }
    if (const auto found = benchmarks.byDrive.find(drive.id); found != benchmarks.byDrive.end()) {
        kept.benchmark = found->second;
    }
    return kept;
}

HealthData healthData(const app::DriveSummary& drive, const KeptRuns& kept, const drivekit::Locale& locale) {
    HealthData data;
    for (const auto& field : drive.insight.general) data.summary.push_back({field.label, field.value});
    for (const auto& indicator : drive.insight.indicators) {
        data.indicators.push_back({indicator.label, indicator.value, drivekit::IndicatorStatusText::label(indicator.status),
                                   indicator.status, indicator.note});
    }
    for (const auto& field : drive.healthLog) data.log.push_back({field.label, field.value});
    for (const auto& entry : drive.selfTests) {
        data.tests.push_back({entry.testName(), drivekit::SelfTest::label(entry.outcome),
                              LF::count(entry.powerOnHours, locale)});
    }
    if (kept.scan) {
        data.diagnostics.push_back({std::string(Wording::surfaceScan),
                                    app::ScanWording::summaryLine(kept.scan->driveName, kept.scan->result, std::nullopt)});
    }
    if (kept.benchmark) {
        const auto& runs = kept.benchmark->runs;
        const auto verdict = drivekit::BenchResults::verdict(runs, kept.benchmark->ceilingMBps, kept.benchmark->link, locale);
        data.diagnostics.push_back({std::string(Wording::benchmark), LF::sentences({verdict.headline, verdict.detail})});
        const std::pair<drivekit::BenchTest, std::string_view> tests[] = {
            {drivekit::BenchTest::seqRead, Wording::seqRead},
            {drivekit::BenchTest::seqWrite, Wording::seqWrite},
            {drivekit::BenchTest::rndRead, Wording::rndRead},
            {drivekit::BenchTest::rndWrite, Wording::rndWrite}};
        for (const auto& [test, label] : tests) {
            if (runs.of(test).empty()) continue;
            data.diagnostics.push_back(
                {std::string(label), drivekit::BenchWording::speed(drivekit::BenchResults::mean(runs.of(test)), locale)});
        }
    }
    return data;
}

}  // namespace desktop
