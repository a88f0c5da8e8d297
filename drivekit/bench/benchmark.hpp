#pragma once
// The benchmark: four speed tests, three times over, on a temporary file of 1 GB in a
// folder of the drive, past the file-system cache. Sequential write of the whole file in
// blocks of 8 MiB and a flush, sequential read of it, then 3 s each of random 4 KiB
// reads and writes (the writes flushed) over its first 256 MiB. The flush is inside the
// time: a write counts when it is durable.
//
// It refuses a drive whose health is failing, a read-only volume, one with less than
// 2 GB free (so the file never fills it), and a file system that can't be read past its
// cache. The file is removed on every way out: done, failed or stopped. Synchronous; it
// measures with the injected clock and touches the disk only through the injected files.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "drivekit/bench/bench_runs.hpp"
#include "drivekit/health/tier.hpp"
#include "platform/bench_file.hpp"
#include "platform/clock.hpp"

namespace drivekit::benchmark {

inline constexpr std::int64_t fileBytes = 1'000'000'000;
inline constexpr std::int64_t freeBytesNeeded = 2'000'000'000;
inline constexpr std::size_t sequentialBlock = 8 * 1024 * 1024;
inline constexpr std::size_t randomBlock = 4096;
inline constexpr std::uint64_t randomAreaBlocks = 65536;
inline constexpr double randomSeconds = 3.0;
inline constexpr int runCount = 3;
inline constexpr double liveInterval = 0.2;

/// Why a benchmark didn't run or didn't finish; each has its sentence (`text`).
enum class Failure { driveFailing, readOnly, tooLittleSpace, noDirectIO, cannotCreate, writeFailed };

struct Setup {
    std::string folder;
    /// The drive's rating; absent when it couldn't be read, which doesn't stop a run.
    std::optional<Tier> tier;
    /// Places the random tests and names the file.
    std::uint64_t seed = 0;
    /// The test file's size; smaller only in tests.
    std::int64_t fileBytes = benchmark::fileBytes;
};

/// What a progress display shows: the test under way, its speed so far and how much of
/// it is done. `finished` marks the sample of a test that has ended.
struct Live {
    int run = 0;
    BenchTest test = BenchTest::seqWrite;
    double mbps = 0;
    double fraction = 0;
    bool finished = false;
};

struct Outcome {
    std::optional<Failure> failure;
    std::string detail;        // the system's error text of `cannotCreate`
    int error = 0;             // and its errno
    bool stopped = false;      // stopped on request; the runs hold the finished tests
    BenchRuns runs;
    std::string file;          // the test file's path, whether or not it was ever made
    bool fileRemoved = false;  // nothing of the benchmark is left on the volume
    double seconds = 0;

    bool complete() const { return !failure && !stopped; }
};

/// ".vantrel-benchmark-1a2b3c4d.tmp": eight hex digits from the seed.
std::string fileName(std::uint64_t seed);

/// The refusal before any file is made, if any.
std::optional<Failure> refusal(const std::optional<Tier>& tier, const platform::BenchFolder& folder);

Outcome run(platform::BenchFiles& files, const platform::Clock& clock, const Setup& setup,
            const std::function<bool()>& shouldStop, const std::function<void(const Live&)>& progress,
            const std::function<void(std::int64_t bytes)>& countWrites = nullptr);

/// The one sentence of a failure; `detail` fills "Couldn't create the test file (%@)."
std::string text(Failure failure, const std::string& detail = {});
/// "Sequential read", "Sequential write", "Random 4K read", "Random 4K write".
std::string testName(BenchTest test);

}  // namespace drivekit::benchmark
