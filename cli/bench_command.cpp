#include "cli/bench_command.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <string>

#include "app/bench/bench_run.hpp"
#include "app/scan/saved_scans.hpp"
#include "app/shown.hpp"
#include "cli/exit_codes.hpp"
#include "cli/signals.hpp"

namespace cli {
namespace {

namespace bench = app::bench;
using drivekit::BenchTest;

constexpr std::string_view usage = "Usage: vantrel bench DIRECTORY [--json]\n";
constexpr BenchTest tableOrder[] = {BenchTest::seqRead, BenchTest::seqWrite, BenchTest::rndRead, BenchTest::rndWrite};

std::string progressLine(const bench::Live& live) {
    return drivekit::text::format("\rRun %d of %d  %-16s %3.0f%%  %8.1f MB/s ", live.run + 1, bench::runCount,
                                  bench::testName(live.test).c_str(), live.fraction * 100, live.mbps);
}

void printTable(const std::string& folder, const std::optional<app::DriveRead>& drive,
                const drivekit::BenchRuns& runs, const drivekit::BenchVerdict& verdict, std::ostream& out) {
    out << drivekit::text::format("%-18s", "Folder") << folder << '\n';
    if (drive) {
        const app::DriveSummary& s = drive->summary;
        out << drivekit::text::format("%-18s", "Drive") << drivekit::text::printable(s.name) << " (" << s.bsdName << ")";
        if (s.link) out << ", " << *s.link;
        if (s.ceilingMBps) out << drivekit::text::format(", up to %d MB/s", *s.ceilingMBps);
        out << '\n';
    }
    for (const BenchTest test : tableOrder) {
        out << drivekit::text::format("%-18s%8.1f MB/s ", bench::testName(test).c_str(),
                                      drivekit::BenchResults::mean(runs.of(test)));
        std::string each;
        for (const double sample : runs.of(test)) each += drivekit::text::format("%s%.1f", each.empty() ? "" : ", ", sample);
        out << " (" << each << ")\n";
    }
    out << drivekit::text::format("%-18s", "Verdict") << verdict.headline << ' ' << verdict.detail << '\n'
        << drivekit::text::format("%-18s", "") << verdict.note << '\n';
}

drivekit::json::Object jsonOf(const std::string& folder, const std::optional<app::DriveRead>& drive,
                              const drivekit::BenchRuns& runs, const drivekit::BenchVerdict& verdict) {
    drivekit::json::Object object;
    object["folder"] = folder;
    if (drive) {
        object["drive"] = drive->summary.bsdName;
        drivekit::json::putOptional(object, "link", drive->summary.link);
        drivekit::json::putOptional(object, "ceilingMBps", drive->summary.ceilingMBps);
    }
    object["runs"] = runs.toJson();
    drivekit::json::Object means;
    means["seqRead"] = drivekit::BenchResults::mean(runs.of(BenchTest::seqRead));
    means["seqWrite"] = drivekit::BenchResults::mean(runs.of(BenchTest::seqWrite));
    means["rndRead"] = drivekit::BenchResults::mean(runs.of(BenchTest::rndRead));
    means["rndWrite"] = drivekit::BenchResults::mean(runs.of(BenchTest::rndWrite));
    object["means"] = std::move(means);
    object["headline"] = verdict.headline;
    object["detail"] = verdict.detail;
    object["note"] = verdict.note;
    return object;
}

int exitFor(bench::Failure failure, int error) {
    switch (failure) {
        case bench::Failure::driveFailing: return exitNeedsCare;
        case bench::Failure::readOnly:
        case bench::Failure::tooLittleSpace:
        case bench::Failure::noDirectIO: return exitRefused;
        case bench::Failure::cannotCreate: return error == EACCES || error == EPERM ? exitNoPermission : exitReadFailed;
        case bench::Failure::writeFailed: return exitReadFailed;
    }
    return exitReadFailed;
}

}  // namespace

int runBenchCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                    std::ostream& err) {
    bool json = false;
    std::optional<std::string_view> directory;
    for (const std::string_view arg : args) {
        if (arg == "--help" || arg == "-h") {
            out << usage;
            return exitOK;
        }
        if (arg == "--json") {
            json = true;
        } else if (arg.starts_with("-") || directory) {
            err << "vantrel: Unknown argument for bench: " << arg << ".\n" << usage;
            return exitUsage;
        } else {
            directory = arg;
        }
    }
    if (!directory) {
        err << "vantrel: bench needs a folder on the drive, such as /media/me/Backup.\n" << usage;
        return exitUsage;
    }
    std::error_code error;
    const std::filesystem::path folderPath = std::filesystem::canonical(std::string(*directory), error);
    if (error || !std::filesystem::is_directory(folderPath, error)) {
        err << "vantrel: " << *directory << " isn't a folder on this computer.\n";
        return exitNoDevice;
    }
    const std::string folder = folderPath.string();

    const auto environment = [](const char* key) -> std::optional<std::string> {
        const char* value = std::getenv(key);
        return value ? std::optional<std::string>(value) : std::nullopt;
    };
    const bool live = ::isatty(STDERR_FILENO) == 1;
    const StopOnSignals signals;
    const app::BenchRun run = app::runBenchmark(
        machine, folder, std::random_device{}() * 0x9E3779B97F4A7C15ull ^ std::random_device{}(),
        [] { return StopOnSignals::requested(); },
        [&](const bench::Live& l) {
            if (live) err << progressLine(l) << std::flush;
        },
        demo ? app::ScanStore::dataFolder(environment) / "demo" : app::ScanStore::dataFolder(environment));
    if (live) err << '\n';

    const bench::Outcome& outcome = run.outcome;
    if (!outcome.fileRemoved) err << "vantrel: The test file " << outcome.file << " couldn't be removed.\n";
    if (outcome.failure) {
        err << "vantrel: " << bench::text(*outcome.failure, outcome.detail) << '\n';
        return exitFor(*outcome.failure, outcome.error);
    }
    if (outcome.stopped || !run.verdict) {
        err << "vantrel: Stopped. The test file is removed and nothing was saved.\n";
        StopOnSignals::endBySignal();
    }
    if (json) {
        out << drivekit::json::dump(jsonOf(folder, run.drive, outcome.runs, *run.verdict)) << '\n';
    } else {
        printTable(folder, run.drive, outcome.runs, *run.verdict, out);
    }
    if (run.saveFailure) err << "vantrel: " << *run.saveFailure << '\n';
    return exitOK;
}

}  // namespace cli
