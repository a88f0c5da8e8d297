#include "app/bench/bench_run.hpp"

#include <cerrno>

#include "app/drive_check.hpp"

namespace app {

BenchRun runBenchmark(Machine& machine, const std::string& folder, std::uint64_t seed,
                      const std::function<bool()>& stop,
                      const std::function<void(const bench::Live&)>& live,
                      const std::filesystem::path& dataFolder) {
    BenchRun run;
    if (machine.benchFiles == nullptr || machine.clock == nullptr) {
        run.outcome.failure = bench::Failure::cannotCreate;
        run.outcome.error = ENOTSUP;
        return run;
    }
    run.drive = readDriveHolding(machine, folder);
    bench::Setup setup{folder, std::nullopt, seed};
    if (run.drive) setup.tier = run.drive->summary.tier;
    run.outcome = bench::run(*machine.benchFiles, *machine.clock, setup, stop, live);
    if (run.outcome.failure || run.outcome.stopped) return run;

    const std::optional<std::string> link = run.drive ? run.drive->summary.link : std::nullopt;
    run.verdict = drivekit::BenchResults::verdict(
        run.outcome.runs, run.drive ? run.drive->summary.ceilingMBps : std::nullopt, link, machine.locale);
    if (run.drive && !dataFolder.empty()) {
        const auto file = BenchStore::file(dataFolder);
        SavedBenchmarks saved = BenchStore::read(file);
        run.saveFailure = BenchStore::save(
            saved, SavedBenchmark::of(run.drive->summary, machine.clock->now(), run.outcome.runs), file);
    }
    return run;
}

}  // namespace app
