#pragma once
// The benchmark of the drive behind a folder, end to end: the drive found and rated (a
// failing drive is refused), the four tests on a temporary file in the folder, the verdict
// against the link's ceiling, and the runs saved beside the drive's other results. A front
// end parses, shows the live figures and prints the outcome.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "app/bench/saved_benchmarks.hpp"
#include "app/machine.hpp"
#include "app/read_all.hpp"
#include "drivekit/bench/bench_runs.hpp"
#include "drivekit/bench/bench_wording.hpp"
#include "drivekit/bench/benchmark.hpp"

namespace app {

namespace bench = drivekit::benchmark;

struct BenchRun {
    bench::Outcome outcome;
    /// The drive that holds the folder, as read for the verdict; nothing when no drive of
    /// this computer holds it or it couldn't be read (the run goes ahead unrated).
    std::optional<DriveRead> drive;
    /// The runs against the link's ceiling; set when all runs completed.
    std::optional<drivekit::BenchVerdict> verdict;
    /// Why the runs couldn't be saved; nothing when they were, or weren't to be.
    std::optional<std::string> saveFailure;
};

/// Runs the benchmark in `folder` (absolute, an existing folder). `stop` is asked between
/// steps; `live` gets the figures as they come. Completed runs of a known drive are saved
/// under `dataFolder` when it isn't empty. A machine without benchmark files runs nothing
/// and says so as `cannotCreate`.
BenchRun runBenchmark(Machine& machine, const std::string& folder, std::uint64_t seed,
                      const std::function<bool()>& stop,
                      const std::function<void(const bench::Live&)>& live,
                      const std::filesystem::path& dataFolder);

}  // namespace app
