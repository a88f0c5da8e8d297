// The benchmark against a simulated disk: transfers and flushes cost simulated time on an
// injected clock, so the figures are exact and nothing sleeps or touches a disk.
#include "drivekit/bench/benchmark.hpp"

#include <gtest/gtest.h>

#include <set>

#include "platform/tests/support/doubles.hpp"

namespace drivekit::benchmark {
namespace {

using namespace std::chrono_literals;

using FakeClock = platform::doubles::TestClock;

// A disk that moves `mbPerSecond` MB/s and takes `flushSeconds` to flush. `failWriteAfter`
// fails writes once that many bytes were written; `shortReadEvery` makes every n-th
// random read come back short.
class SimDisk final : public platform::BenchFiles {
  public:
    explicit SimDisk(FakeClock& clock) : clock_(clock) {}

    platform::BenchFolder folder(const std::string&) const override { return folder_; }
    std::unique_ptr<platform::BenchFile> create(const std::string& path, int& error) override {
        created.push_back(path);
        error = 0;
        present.insert(path);
        return std::make_unique<File>(*this);
    }
    bool remove(const std::string& path) override { return present.erase(path) == 1; }

    platform::BenchFolder folder_{std::nullopt, false, false};
    double mbPerSecond = 40;
    double flushSeconds = 0;
    std::optional<std::uint64_t> failWriteAfter;
    int shortReadEvery = 0;
    std::vector<std::string> created;
    std::set<std::string> present;
    std::uint64_t written = 0;
    std::vector<std::uint64_t> randomOffsets;
    int flushes = 0;

  private:
    class File final : public platform::BenchFile {
      public:
        explicit File(SimDisk& disk) : disk_(disk) {}
        std::int64_t writeAt(std::uint64_t offset, std::size_t count) override {
            if (disk_.failWriteAfter && disk_.written >= *disk_.failWriteAfter) {
                disk_.clock_.advance(0.001);
                return -1;
            }
            disk_.written += count;
            return move(offset, count);
        }
        std::int64_t readAt(std::uint64_t offset, std::size_t count) override {
            ++reads_;
            if (count == randomBlock && disk_.shortReadEvery > 0 && reads_ % disk_.shortReadEvery == 0) {
                move(offset, count);
                return 512;
            }
            return move(offset, count);
        }
        bool flush() override {
            ++disk_.flushes;
            disk_.clock_.advance(disk_.flushSeconds);
            return false;  // refused: the time must stand all the same
        }

      private:
        std::int64_t move(std::uint64_t offset, std::size_t count) {
            if (count == randomBlock) disk_.randomOffsets.push_back(offset);
            disk_.clock_.advance(static_cast<double>(count) / (disk_.mbPerSecond * 1e6));
            return static_cast<std::int64_t>(count);
        }
        SimDisk& disk_;
        int reads_ = 0;
    };

    FakeClock& clock_;
};

struct Bench {
    Bench() { clock.steady += 1000s; }  // a machine that has been up a while
    FakeClock clock;
    SimDisk disk{clock};
    Setup setup{"/media/lab/Backup", Tier::healthy, 42, 64'000'000};
    std::vector<Live> live;

    Outcome run(const std::function<bool()>& stop = nullptr) {
        return benchmark::run(disk, clock, setup, stop, [this](const Live& l) { live.push_back(l); });
    }
};

TEST(Benchmark, RefusesBeforeAnyFileExists) {
    struct Case {
        std::optional<Tier> tier;
        platform::BenchFolder folder;
        std::optional<Failure> expected;
    };
    const Case cases[] = {
        {Tier::failing, {}, Failure::driveFailing},
        {Tier::warning, {1'999'999'999, false, false}, Failure::tooLittleSpace},
        {Tier::warning, {2'000'000'000, false, false}, std::nullopt},
        {std::nullopt, {std::nullopt, false, false}, std::nullopt},  // unknown space and health go
        {Tier::healthy, {5'000'000'000, true, false}, Failure::readOnly},
    };
    for (const Case& c : cases) {
        Bench bench;
        bench.setup.tier = c.tier;
        bench.disk.folder_ = c.folder;
        const Outcome outcome = bench.run();
        EXPECT_EQ(outcome.failure, c.expected);
        EXPECT_EQ(bench.disk.created.empty(), c.expected.has_value());
        EXPECT_TRUE(bench.disk.present.empty());
    }
}

TEST(Benchmark, ThreeRunsOfFourTestsMeasureTheDiskWithTheFlushInsideTheTime) {
    Bench bench;
    bench.disk.flushSeconds = 1.6;  // 64 MB at 40 MB/s is 1.6 s: the flush halves the write speed
    const Outcome outcome = bench.run();
    ASSERT_TRUE(outcome.complete());
    for (const auto& samples : outcome.runs.samples) ASSERT_EQ(samples.size(), 3u);
    EXPECT_NEAR(outcome.runs.of(BenchTest::seqRead)[0], 40, 1e-6);
    EXPECT_NEAR(outcome.runs.of(BenchTest::seqWrite)[2], 20, 1e-6);
    // 3 s of 4 KiB writes, then a flush that takes 1.6 s.
    EXPECT_NEAR(outcome.runs.of(BenchTest::rndWrite)[0], 40 * 3.0 / 4.6, 0.01);
    EXPECT_EQ(bench.disk.flushes, 6);
    EXPECT_TRUE(bench.disk.created[0].starts_with("/media/lab/Backup/.vantrel-benchmark-"));
    EXPECT_TRUE(bench.disk.present.empty());

    // Live figures: never closer than 0.2 s, each test ends with its sample, in the order
    // write, read, random read, random write.
    std::vector<BenchTest> finished;
    for (std::size_t i = 0; i < bench.live.size(); ++i) {
        if (bench.live[i].finished) finished.push_back(bench.live[i].test);
    }
    ASSERT_EQ(finished.size(), 12u);
    EXPECT_EQ(std::vector(finished.begin(), finished.begin() + 4),
              (std::vector{BenchTest::seqWrite, BenchTest::seqRead, BenchTest::rndRead, BenchTest::rndWrite}));
    EXPECT_EQ(bench.live.back().run, 2);
}

TEST(Benchmark, RandomTestsStayInTheAreaAndCountOnlyWholeTransfers) {
    Bench bench;
    bench.setup.fileBytes = 1'000'000'000;
    bench.disk.shortReadEvery = 4;
    const Outcome outcome = bench.run();
    ASSERT_TRUE(outcome.complete());
    std::set<std::uint64_t> distinct;
    for (const std::uint64_t offset : bench.disk.randomOffsets) {
        EXPECT_EQ(offset % 4096, 0u);
        EXPECT_LT(offset, 256u * 1024 * 1024);
        distinct.insert(offset);
    }
    EXPECT_GT(distinct.size(), 10'000u);  // spread over the area, not one place
    // A quarter of the random reads came back short and weren't counted.
    EXPECT_NEAR(outcome.runs.of(BenchTest::rndRead)[0], 30, 0.1);

    Bench tiny;
    tiny.setup.fileBytes = 1000;
    ASSERT_TRUE(tiny.run().complete());
    for (const std::uint64_t offset : tiny.disk.randomOffsets) EXPECT_EQ(offset, 0u);
}

TEST(Benchmark, AFailedWriteOrAStopEndsTheRunAndRemovesTheFile) {
    Bench full;
    full.disk.failWriteAfter = 100'000'000;  // in the second run's sequential write
    const Outcome failed = full.run();
    EXPECT_EQ(failed.failure, Failure::writeFailed);
    EXPECT_TRUE(full.disk.present.empty());
    EXPECT_EQ(full.disk.created.size(), 1u);

    Bench stopped;
    int calls = 0;
    const Outcome outcome = stopped.run([&] { return ++calls > 12; });
    EXPECT_TRUE(outcome.stopped);
    EXPECT_FALSE(outcome.failure);
    EXPECT_TRUE(outcome.runs.of(BenchTest::seqRead).empty());
    EXPECT_EQ(outcome.runs.of(BenchTest::seqWrite).size(), 1u);
    EXPECT_TRUE(stopped.disk.present.empty());
    EXPECT_TRUE(outcome.fileRemoved);
}

}  // namespace
}  // namespace drivekit::benchmark
