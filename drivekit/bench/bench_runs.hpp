#pragma once
// A benchmark's samples and what they come to: four averages, how much the runs varied,
// and a verdict that sets the better sequential speed against what the drive's link can
// carry. Pure arithmetic and words; no platform.
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/json.hpp"
#include "drivekit/core/local_format.hpp"

namespace drivekit {

/// Tests by number: the number is the index into `BenchRuns::samples`.
enum class BenchTest : int { seqRead = 0, seqWrite = 1, rndRead = 2, rndWrite = 3 };

/// Samples in MB/s (decimal), one list per test, one sample per run.
struct BenchRuns {
    std::array<std::vector<double>, 4> samples;

    std::vector<double>& of(BenchTest test) { return samples[static_cast<std::size_t>(test)]; }
    const std::vector<double>& of(BenchTest test) const { return samples[static_cast<std::size_t>(test)]; }

    /// {"samples": [[...], [...], [...], [...]]}.
    json::Object toJson() const;
    /// Exactly four lists, padded with empty ones; values that aren't numbers are left
    /// out. Nothing when the value isn't an object with an array of samples.
    static std::optional<BenchRuns> fromJson(const json::Object& value);

    bool operator==(const BenchRuns&) const = default;
};

struct BenchVerdict {
    enum class Level { none, gentle, solid, jackpot };

    Level level = Level::none;
    std::string headline;
    std::string detail;
    std::optional<std::string> ribbon;
    int bestTest = 0;  // 0 sequential read, 1 sequential write
    double best = 0;   // MB/s
    std::optional<double> share;  // of the link's ceiling
    std::string note;

    bool operator==(const BenchVerdict&) const = default;
};

namespace BenchResults {

/// The average of a test's samples; 0 with none.
double mean(const std::vector<double>& samples);
/// The largest (highest minus lowest) / mean over the tests with two samples or more, as
/// a whole percent; nothing when none varied by more than 10%.
std::optional<int> spread(const BenchRuns& runs);
/// The verdict against a link that carries `ceilingMBps` (none or below 1: unknown),
/// named `linkName` ("USB 10 Gb/s") when known.
BenchVerdict verdict(const BenchRuns& runs, std::optional<int> ceilingMBps,
                     const std::optional<std::string>& linkName, const Locale& locale);

}  // namespace BenchResults

}  // namespace drivekit
