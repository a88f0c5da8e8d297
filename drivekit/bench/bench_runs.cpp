#include "drivekit/bench/bench_runs.hpp"

#include <algorithm>

#include "drivekit/bench/bench_wording.hpp"
#include "drivekit/core/rounding.hpp"

namespace drivekit {

json::Object BenchRuns::toJson() const {
    json::Object lists = json::Object::array();
    for (const auto& list : samples) lists.push_back(list);
    json::Object object;
    object["samples"] = std::move(lists);
    return object;
}

std::optional<BenchRuns> BenchRuns::fromJson(const json::Object& value) {
    if (!value.is_object() || !value.contains("samples") || !value["samples"].is_array()) return std::nullopt;
    BenchRuns runs;
    std::size_t index = 0;
    for (const auto& list : value["samples"]) {
        if (index == runs.samples.size()) break;
        if (list.is_array()) {
            for (const auto& sample : list) {
                if (sample.is_number()) runs.samples[index].push_back(sample.get<double>());
            }
        }
        ++index;
    }
    return runs;
}

namespace BenchResults {

double mean(const std::vector<double>& samples) {
    if (samples.empty()) return 0;
    double sum = 0;
    for (const double sample : samples) sum += sample;
    return sum / static_cast<double>(samples.size());
}

std::optional<int> spread(const BenchRuns& runs) {
    std::optional<double> widest;
    for (const auto& samples : runs.samples) {
        const double average = mean(samples);
        if (samples.size() < 2 || !(average > 0)) continue;
        const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
        const double width = (*high - *low) / average;
        if (!widest || width > *widest) widest = width;
    }
    if (!widest || !(*widest > 0.1)) return std::nullopt;
    return static_cast<int>(roundHalfAway(*widest * 100));
}

BenchVerdict verdict(const BenchRuns& runs, std::optional<int> ceilingMBps,
                     const std::optional<std::string>& linkName, const Locale& locale) {
    BenchVerdict verdict;
    const double read = mean(runs.of(BenchTest::seqRead));
    const double write = mean(runs.of(BenchTest::seqWrite));
    verdict.bestTest = read < write ? 1 : 0;
    verdict.best = std::max(read, write);
    const auto varied = spread(runs);
    long long count = 0;
    for (const auto& samples : runs.samples) count = std::max(count, static_cast<long long>(samples.size()));
    verdict.note = BenchWording::note(varied, count, locale);

    if (!(verdict.best > 0)) {
        verdict.level = BenchVerdict::Level::none;
        verdict.headline = BenchWording::noResultHeadline();
        verdict.detail = BenchWording::noResultDetail();
        return verdict;
    }
    if (!ceilingMBps || *ceilingMBps < 1) {
        verdict.level = BenchVerdict::Level::gentle;
        verdict.headline = BenchWording::doneHeadline();
        verdict.detail = BenchWording::unknownLinkDetail(verdict.best, count, locale);
        return verdict;
    }
    const double share = verdict.best / *ceilingMBps;
    verdict.share = share;
    const int percent = static_cast<int>(roundHalfAway(share * 100));
    const std::string first = BenchWording::shareSentence(verdict.bestTest == 1, verdict.best, percent, share >= 0.98,
                                                          *ceilingMBps, linkName, locale);
    std::string second;
    if (share < 0.6) {
        verdict.level = BenchVerdict::Level::gentle;
        verdict.headline = BenchWording::doneHeadline();
        second = BenchWording::drivePaces();
    } else if (share < 0.85 || (varied && *varied >= 30)) {
        // A rough run never gets the prize, however close to the limit its average is.
        verdict.level = BenchVerdict::Level::solid;
        verdict.headline = BenchWording::solidHeadline();
    } else {
        verdict.level = BenchVerdict::Level::jackpot;
        verdict.headline = BenchWording::jackpotHeadline();
        verdict.ribbon = BenchWording::jackpotRibbon();
        second = BenchWording::linkPaces();
    }
    verdict.detail = LocalFormat::sentences({first, second});
    return verdict;
}

}  // namespace BenchResults

}  // namespace drivekit
