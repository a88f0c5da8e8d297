#pragma once
// What the window's drive pages show, as pure functions of the store's data: the sidebar's
// rows, the overview of a drive and its Health data tabs. No widget here; the window lays
// these out and the tests read them without one.
#include <span>
#include <string>
#include <vector>

#include "app/bench/saved_benchmarks.hpp"
#include "app/drive_summary.hpp"
#include "app/scan/saved_scans.hpp"
#include "drivekit/core/local_format.hpp"

namespace desktop {

/// The pages of the main window, in the sidebar's order (settings and about sit in its
/// footer; the scan and the benchmark come forward when the user asks for one).
enum class Page { overview, swap, writes, forecast, history, healthData, report, settings, about, scan, bench };

struct PageEntry {
    Page page;
    std::string title;
    /// The sidebar's group: 0 the drive's state, 1 its data.
    int group = 0;
};

/// The pages the sidebar lists, in order; Swap only where the system's figures are read,
/// Writes only where writes are counted.
std::vector<PageEntry> sidebarPages(bool withSwap, bool withWrites);
std::string pageTitle(Page page);

struct SidebarDrive {
    std::string id;
    std::string name;
    /// "Internal" or "External".
    std::string tag;
    drivekit::Tier tier = drivekit::Tier::limited;
    std::string tierLabel;
    /// "87", or empty without a score.
    std::string score;
    /// A USB drive, whose health can be read now from the context menu.
    bool usb = false;
};

/// One row per visible drive, in the store's order.
std::vector<SidebarDrive> sidebarDrives(std::span<const app::DriveSummary> drives);

struct Fact {
    std::string label;
    std::string value;
    bool operator==(const Fact&) const = default;
};

struct Overview {
    std::string name;
    std::string tierLabel;
    drivekit::Tier tier = drivekit::Tier::limited;
    /// "87 / 100" or "No score".
    std::string score;
    std::string title;
    std::string line;
    /// The facts the drive has, in a fixed order; a fact it doesn't report is left out.
    std::vector<Fact> facts;
    /// Each volume with its free space, or "Not mounted".
    std::vector<Fact> volumes;
    /// Live speeds are shown: the drive has counters (not asleep, not an SD card).
    bool showsSpeeds = false;
};

Overview overview(const app::DriveSummary& drive, const drivekit::Locale& locale);

struct IndicatorRow {
    std::string label;
    std::string value;
    std::string status;
    drivekit::IndicatorStatus level = drivekit::IndicatorStatus::info;
    std::string note;
};

struct SelfTestRow {
    std::string test;
    std::string result;
    std::string hours;
};

/// The four tabs of the Health data page.
struct HealthData {
    std::vector<Fact> summary;
    std::vector<IndicatorRow> indicators;
    /// The NVMe drive's own log or the ATA drive's attributes; empty when it has none.
    std::vector<Fact> log;
    std::vector<SelfTestRow> tests;
    /// The last surface scan and benchmark kept of the drive, each a few rows.
    std::vector<Fact> diagnostics;
};

/// What was kept of the drive's last scan and benchmark, when anything was.
struct KeptRuns {
    std::optional<app::SavedScan> scan;
    std::optional<app::SavedBenchmark> benchmark;
};

HealthData healthData(const app::DriveSummary& drive, const KeptRuns& kept, const drivekit::Locale& locale);

/// The drive's records in the files of the data folder: the scan by the drive's serial, else
/// its kernel name; the benchmark by its id.
KeptRuns keptRuns(const app::DriveSummary& drive, const app::SavedScans& scans, const app::SavedBenchmarks& benchmarks);

}  // namespace desktop
