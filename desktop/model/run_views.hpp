#pragma once
// What the surface-scan and benchmark views show, as pure functions of where the run
// stands: the progress line, the figures of the finished run, which buttons can be
// pressed. The sentences come from the core's wording tables, so the window says what
// `vantrel scan` and `vantrel bench` print.
#include <optional>
#include <string>
#include <vector>

#include "app/bench/bench_run.hpp"
#include "app/failure.hpp"
#include "app/scan/saved_scans.hpp"
#include "app/scan/scan_run.hpp"
#include "desktop/model/drive_pages.hpp"

namespace desktop {

/// Where a scan or a benchmark stands in its view.
enum class RunState { idle, running, stopping, finished, failed };

struct RunControls {
    bool start = false;
    bool cancel = false;
    /// The quick/full choice and the folder can be changed.
    bool choose = false;
};

/// `ready`: there is something to run on (a drive for a scan, a folder for a benchmark).
RunControls runControls(RunState state, bool ready);

/// A scan under way, or its last look.
struct ScanShown {
    app::ScanProgress progress;
    /// "42.0%  512.3 MB/s  0 unreadable  0 slow  1:23 left", without the padding.
    std::string line;
};
ScanShown scanShown(const drivekit::surface_scan::Result& result);

/// A finished scan: its table as the command line prints it, with its unreadable blocks in
/// the row that counts them.
std::vector<Fact> scanResult(const app::ScanRun::Outcome& outcome);

/// The sentence of a scan that didn't run; nothing when it ran.
std::optional<std::string> scanFailure(const app::ScanRun::Outcome& outcome);

/// "3.1% of a core · 41 MB": the last of the samples of what a scan costs this program;
/// empty before the first.
std::string usageLine(const app::ScanUsage& usage, const drivekit::Locale& locale);

/// "Run 2 of 3 · Sequential write · 45% · 512 MB/s".
std::string benchProgress(const app::bench::Live& live, const drivekit::Locale& locale);

/// A finished benchmark: the verdict, the four averages and the note on the spread; or
/// the refusal's sentence; or that it was stopped.
struct BenchShown {
    std::optional<std::string> failure;
    bool stopped = false;
    std::string headline;
    std::string detail;
    std::string note;
    std::vector<Fact> averages;
};
BenchShown benchShown(const app::BenchRun& run, const drivekit::Locale& locale);

}  // namespace desktop
