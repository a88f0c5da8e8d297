#include "desktop/model/run_views.hpp"

#include "app/failure_text.hpp"
#include "desktop/model/page_wording.hpp"
#include "drivekit/core/text.hpp"

namespace desktop {

namespace LF = drivekit::LocalFormat;
namespace bench = app::bench;

RunControls runControls(RunState state, bool ready) {
    const bool underWay = state == RunState::running || state == RunState::stopping;
    return {!underWay && ready, state == RunState::running, !underWay};
}

ScanShown scanShown(const drivekit::surface_scan::Result& result) {
    std::string line = app::ScanWording::progressLine(result);
    // The columns of a terminal line: single spaces read better in a label.
    std::string tight;
    for (const char c : line) {
        if (c == ' ' && (tight.empty() || tight.back() == ' ')) continue;
        tight += c;
    }
    if (!tight.empty() && tight.back() == ' ') tight.pop_back();
    return {app::ScanProgress::of(result), tight};
}

std::vector<Fact> scanResult(const app::ScanRun::Outcome& outcome) {
    std::vector<Fact> rows;
    if (!outcome.result) return rows;
    for (const auto& row : app::ScanWording::resultRows(outcome.kernelName, *outcome.result, outcome.usage)) {
        Fact fact{row.label, row.value};
        if (row.blocksFollow) {
            for (const std::uint64_t lba : outcome.result->unreadable) fact.value += "\nblock " + std::to_string(lba);
        }
        rows.push_back(std::move(fact));
    }
    return rows;
}

std::optional<std::string> scanFailure(const app::ScanRun::Outcome& outcome) {
    const auto failure = app::ScanRun::failureOf(outcome);
    if (!failure) return std::nullopt;
    return app::FailureText::sentence(*failure);
}

std::string usageLine(const app::ScanUsage& usage, const drivekit::Locale& locale) {
    if (usage.cpu.empty() || usage.memory.empty()) return {};
    return Wording::fill(Wording::ownUse, {LF::decimal(usage.cpu.back(), 1, locale),
                                           LF::count(static_cast<long long>(usage.memory.back() / 1'000'000), locale)});
}

std::string benchProgress(const bench::Live& live, const drivekit::Locale& locale) {
    return Wording::fill(Wording::benchRun, {LF::count(live.run + 1, locale), LF::count(bench::runCount, locale),
                                             bench::testName(live.test),
                                             LF::percent(static_cast<int>(live.fraction * 100), locale),
                                             drivekit::BenchWording::speed(live.mbps, locale)});
}

BenchShown benchShown(const app::BenchRun& run, const drivekit::Locale& locale) {
    BenchShown shown;
    const auto& outcome = run.outcome;
    if (outcome.failure) {
        shown.failure = bench::text(*outcome.failure, outcome.detail);
        return shown;
    }
    if (outcome.stopped || !run.verdict) {
        shown.stopped = true;
        return shown;
    }
    shown.headline = run.verdict->headline;
    shown.detail = run.verdict->detail;
    shown.note = run.verdict->note;
    using drivekit::BenchTest;
    for (const BenchTest test : {BenchTest::seqRead, BenchTest::seqWrite, BenchTest::rndRead, BenchTest::rndWrite}) {
        shown.averages.push_back(
            {bench::testName(test), drivekit::BenchWording::speed(drivekit::BenchResults::mean(outcome.runs.of(test)), locale)});
    }
    return shown;
}

}  // namespace desktop
