#include "drivekit/bench/benchmark.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <random>
#include <system_error>

#include "drivekit/core/text.hpp"

namespace drivekit::benchmark {
namespace {

using Steady = std::chrono::steady_clock::time_point;

double secondsBetween(Steady from, Steady to) { return std::chrono::duration<double>(to - from).count(); }

double mbps(std::int64_t bytes, double seconds) {
    return seconds > 0 ? static_cast<double>(bytes) / seconds / 1e6 : 0;
}

// One run of the tests against an open file. Each test reports its live figures no more
// often than every 0.2 s, and checks for a stop after every call.
class Runner {
  public:
    Runner(platform::BenchFile& file, const platform::Clock& clock, const Setup& setup,
           const std::function<bool()>& shouldStop, const std::function<void(const Live&)>& progress,
           const std::function<void(std::int64_t)>& countWrites, std::mt19937_64& random)
        : file_(file), clock_(clock), setup_(setup), shouldStop_(shouldStop), progress_(progress),
          countWrites_(countWrites), random_(random) {}

    // The sample in MB/s; nothing when stopped, or when a write failed (`writeFailed`).
    std::optional<double> run(int run, BenchTest test) {
        run_ = run;
        test_ = test;
        switch (test) {
            case BenchTest::seqWrite: return sequential(true);
            case BenchTest::seqRead: return sequential(false);
            case BenchTest::rndRead: return random(false);
            case BenchTest::rndWrite: return random(true);
        }
        return std::nullopt;
    }

    bool writeFailed = false;

  private:
    std::optional<double> sequential(bool write) {
        const auto size = static_cast<std::uint64_t>(setup_.fileBytes);
        const Steady start = clock_.steadyNow();
        lastLive_ = start;
        std::uint64_t done = 0;
        while (done < size) {
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(sequentialBlock, size - done));
            const std::int64_t moved = write ? file_.writeAt(done, count) : file_.readAt(done, count);
            if (moved < 1) {
                if (!write) break;
                writeFailed = true;
                return std::nullopt;
            }
            done += static_cast<std::uint64_t>(moved);
            if (write && countWrites_) countWrites_(moved);
            if (shouldStop_ && shouldStop_()) return std::nullopt;
            live(start, static_cast<std::int64_t>(done), static_cast<double>(done) / static_cast<double>(size));
        }
        // A flush the system refuses leaves the time as it stands.
        if (write) (void)file_.flush();
        return finish(mbps(static_cast<std::int64_t>(done), secondsBetween(start, clock_.steadyNow())));
    }

    std::optional<double> random(bool write) {
        const std::uint64_t fileBlocks = static_cast<std::uint64_t>(setup_.fileBytes) / randomBlock;
        const std::uint64_t area = std::max<std::uint64_t>(1, std::min(randomAreaBlocks, fileBlocks));
        // Rejection sampling inside the distribution: no block is favoured.
        std::uniform_int_distribution<std::uint64_t> place(0, area - 1);
        const Steady start = clock_.steadyNow();
        lastLive_ = start;
        std::int64_t bytes = 0;
        for (double elapsed = 0; elapsed < randomSeconds; elapsed = secondsBetween(start, clock_.steadyNow())) {
            const std::uint64_t offset = place(random_) * randomBlock;
            const std::int64_t moved = write ? file_.writeAt(offset, randomBlock) : file_.readAt(offset, randomBlock);
            // A short transfer isn't counted, and the test goes on.
            if (moved == static_cast<std::int64_t>(randomBlock)) bytes += moved;
            if (write && moved > 0 && countWrites_) countWrites_(moved);
            if (shouldStop_ && shouldStop_()) return std::nullopt;
            live(start, bytes, std::min(1.0, elapsed / randomSeconds));
        }
        if (write) (void)file_.flush();
        return finish(mbps(bytes, secondsBetween(start, clock_.steadyNow())));
    }

    void live(Steady start, std::int64_t bytes, double fraction) {
        const Steady now = clock_.steadyNow();
        if (!progress_ || secondsBetween(lastLive_, now) < liveInterval) return;
        lastLive_ = now;
        progress_(Live{run_, test_, mbps(bytes, secondsBetween(start, now)), fraction, false});
    }

    double finish(double sample) {
        if (progress_) progress_(Live{run_, test_, sample, 1.0, true});
        return sample;
    }

    platform::BenchFile& file_;
    const platform::Clock& clock_;
    const Setup& setup_;
    const std::function<bool()>& shouldStop_;
    const std::function<void(const Live&)>& progress_;
    const std::function<void(std::int64_t)>& countWrites_;
    std::mt19937_64& random_;
    int run_ = 0;
    BenchTest test_ = BenchTest::seqWrite;
    Steady lastLive_{};
};

}  // namespace

std::string fileName(std::uint64_t seed) {
    return text::format(".vantrel-benchmark-%08llx.tmp", static_cast<unsigned long long>(seed >> 32));
}

std::optional<Failure> refusal(const std::optional<Tier>& tier, const platform::BenchFolder& folder) {
    if (tier == Tier::failing || tier == Tier::failed) return Failure::driveFailing;
    if (folder.readOnly) return Failure::readOnly;
    if (folder.inMemory) return Failure::noDirectIO;
    // An unknown answer counts as enough.
    if (folder.freeBytes && *folder.freeBytes < freeBytesNeeded) return Failure::tooLittleSpace;
    return std::nullopt;
}

Outcome run(platform::BenchFiles& files, const platform::Clock& clock, const Setup& setup,
            const std::function<bool()>& shouldStop, const std::function<void(const Live&)>& progress,
            const std::function<void(std::int64_t bytes)>& countWrites) {
    Outcome outcome;
    std::mt19937_64 random(setup.seed);
    outcome.file = (setup.folder.ends_with('/') ? setup.folder : setup.folder + "/") + fileName(random());
    const platform::BenchFolder folder = files.folder(setup.folder);
    if (const auto refused = refusal(setup.tier, folder)) {
        outcome.failure = refused;
        if (refused == Failure::tooLittleSpace) outcome.detail = ByteSize::decimal(*folder.freeBytes, Locale{});
        outcome.fileRemoved = true;
        return outcome;
    }

    int error = 0;
    std::unique_ptr<platform::BenchFile> file = files.create(outcome.file, error);
    if (!file) {
        // The file system may only say so when asked to open past its cache.
        outcome.failure = error == EINVAL ? Failure::noDirectIO
                          : error == EROFS ? Failure::readOnly
                                           : Failure::cannotCreate;
        outcome.error = error;
        outcome.detail = std::error_code(error, std::generic_category()).message();
        // An open refused for O_DIRECT may still have created the file.
        files.remove(outcome.file);
        outcome.fileRemoved = true;
        return outcome;
    }

    const Steady start = clock.steadyNow();
    Runner runner(*file, clock, setup, shouldStop, progress, countWrites, random);
    constexpr BenchTest order[] = {BenchTest::seqWrite, BenchTest::seqRead, BenchTest::rndRead, BenchTest::rndWrite};
    for (int run = 0; run < runCount && !outcome.failure && !outcome.stopped; ++run) {
        for (const BenchTest test : order) {
            const auto sample = runner.run(run, test);
            if (!sample) {
                if (runner.writeFailed) {
                    outcome.failure = Failure::writeFailed;
                } else {
                    outcome.stopped = true;
                }
                break;
            }
            outcome.runs.of(test).push_back(*sample);
        }
    }
    outcome.seconds = secondsBetween(start, clock.steadyNow());
    file.reset();
    outcome.fileRemoved = files.remove(outcome.file);
    return outcome;
}

}  // namespace drivekit::benchmark
