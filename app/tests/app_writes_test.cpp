// The counting loop over simulated process tables and an injected clock: its states, the
// history it keeps and saves, and its files' failure rules.
#include "app/writes/app_writes.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <future>
#include <sstream>

#include "platform/tests/support/doubles.hpp"

namespace app {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

using platform::doubles::TestClock;
const std::chrono::system_clock::time_point start{seconds(1'763'197'200)};

// A table of processes that each write 4 KB per step; `answering` false is a service that
// gave no answer.
struct Table final : WritesSource {
    const TestClock* clock = nullptr;
    bool answering = true;
    std::optional<std::vector<drivekit::ProcessWrites>> snapshot() override {
        if (!answering) return std::nullopt;
        const auto step = static_cast<std::uint64_t>(
            clock ? std::chrono::duration_cast<seconds>(clock->wall.time_since_epoch()).count() / 30 : 1);
        std::vector<drivekit::ProcessWrites> processes;
        for (std::int32_t pid = 1; pid <= 50; ++pid) {
            processes.push_back({pid, 1, "/opt/p" + std::to_string(pid % 5), step * 4096, "", false});
        }
        return processes;
    }
};

std::uint64_t bytesOf(const std::optional<drivekit::WriteInterval>& interval) {
    std::uint64_t total = 0;
    if (interval) {
        for (const auto& [owner, bytes] : interval->byOwner) total += bytes;
    }
    return total;
}

struct Folder {
    fs::path path;
    Folder() {
        std::string pattern = (fs::temp_directory_path() / "vantrel-writes-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~Folder() { fs::remove_all(path); }
    std::string read(const fs::path& file) const {
        std::ifstream in(file);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
};

TEST(AppWrites, countsThroughFailuresAndKeepsItsMemoryFlatOverDays) {
    TestClock clock{start};
    auto table = std::make_shared<Table>();
    table->clock = &clock;
    std::vector<std::string> log;
    // No files: each hourly save syncs them to the disk, which is the other test's part.
    AppWrites writes({table, std::nullopt, drivekit::WriteCalendar::zone("Europe/Berlin"),
                      [] { return std::optional<std::uint64_t>(); }, [&](const std::string& l) { log.push_back(l); }, 2},
                     clock);
    EXPECT_EQ(writes.state(), AppWrites::State::starting);

    std::size_t mostSlots = 0;
    int steps = 0;
    writes.run([&](seconds pause) {
        clock.wall += pause;
        ++steps;
        // A service that misses a minute: the ledger is kept, and the next answer covers the gap.
        table->answering = steps % 600 != 0 && steps % 600 != 599;
        mostSlots = std::max(mostSlots, writes.history().slots.size());
        if (steps > 600 && steps % 600 == 2) {
            EXPECT_EQ(writes.latest()->end - writes.latest()->start, seconds(90));
            EXPECT_EQ(bytesOf(writes.latest()), 3u * 50u * 4096u);
        }
        return steps < 2880 * 3;  // three days of 30-second steps
    });
    EXPECT_EQ(writes.state(), AppWrites::State::counting);
    // Two days of ten-minute slots at most, and those of the hour before the roll.
    EXPECT_LE(mostSlots, 49u * 6u);
    EXPECT_LE(writes.history().days.size(), 3u);
    // 50 processes, 4 KB a step.
    EXPECT_EQ(bytesOf(writes.latest()), 50u * 4096u);
    EXPECT_TRUE(log.empty()) << log.front();

    table->answering = false;
    writes.step();
    EXPECT_EQ(writes.state(), AppWrites::State::helperFailed);
}

TEST(AppWrites, leavesANewerFileAloneAndStartsADamagedOneAgain) {
    Folder folder;
    const auto files = AppWritesFiles::in(folder.path);
    std::ofstream(files.slots) << R"({"v":1,"owners":["system"],"buckets":[{"t":5,"b":[0]}]})";
    std::ofstream(files.days) << R"({"v":3})";
    TestClock clock{start};
    std::vector<std::string> log;
    auto table = std::make_shared<Table>();
    table->clock = &clock;
    AppWrites writes({table, files, drivekit::WriteCalendar::zone("UTC"), nullptr,
                      [&](const std::string& l) { log.push_back(l); }},
                     clock);
    EXPECT_EQ(log, (std::vector<std::string>{"writes-slots.json is damaged; starting it again",
                                             "writes-days.json is version 3, from a newer Vantrel: left as it is"}));
    EXPECT_TRUE(writes.slotsWritable());
    EXPECT_FALSE(writes.daysWritable());
    writes.step();
    clock.wall += seconds(30);
    writes.step();
    writes.roll(30);
    EXPECT_EQ(folder.read(files.days), R"({"v":3})");
    EXPECT_NE(folder.read(files.slots).find(R"("owners":["tool:/opt/p0")"), std::string::npos);
    // What was saved reads back.
    const auto loaded = WritesFiles::load(files, nullptr);
    EXPECT_EQ(loaded.history.slots, writes.history().slots);
}

TEST(AppWrites, isUnavailableWithoutASourceAndTimesOutASilentOne) {
    TestClock clock{start};
    AppWrites unavailable({}, clock);
    EXPECT_EQ(unavailable.state(), AppWrites::State::unavailable);
    int waits = 0;
    unavailable.run([&](seconds) { return ++waits < 3; });
    EXPECT_EQ(waits, 0);

    struct Silent final : WritesSource {
        std::shared_future<void> release;
        std::optional<std::vector<drivekit::ProcessWrites>> snapshot() override {
            release.wait();
            return std::vector<drivekit::ProcessWrites>{};
        }
    };
    std::promise<void> release;
    auto silent = std::make_shared<Silent>();
    silent->release = release.get_future().share();
    std::vector<std::string> log;
    TimedWritesSource timed(silent, std::chrono::milliseconds(0), [&](const std::string& l) { log.push_back(l); });
    AppWrites writes({std::make_shared<TimedWritesSource>(timed)}, clock);
    writes.step();
    EXPECT_EQ(writes.state(), AppWrites::State::helperFailed);
    EXPECT_EQ(log, (std::vector<std::string>{"helper: no answer in 0.000000 s"}));
    release.set_value();  // the late answer lands nowhere
}

// The monitor's loop takes its first snapshot at once and ends without waiting out its
// 30 seconds when the monitor stops.
TEST(WritesLoop, StepsAtOnceAndStopsWithoutWaitingOutItsPause) {
    struct Counted final : WritesSource {
        std::promise<void> first;
        int calls = 0;
        std::optional<std::vector<drivekit::ProcessWrites>> snapshot() override {
            if (++calls == 1) first.set_value();
            return std::vector<drivekit::ProcessWrites>{};
        }
    };
    auto source = std::make_shared<Counted>();
    auto first = source->first.get_future();
    TestClock clock{start};
    const auto started = std::chrono::steady_clock::now();
    {
        AppWrites::Options options;
        options.source = source;
        WritesLoop loop(std::move(options), clock);
        loop.setDriveWritten(1'000'000);
        ASSERT_EQ(first.wait_for(seconds(10)), std::future_status::ready);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - started, seconds(10));
    EXPECT_EQ(source->calls, 1);
}

}  // namespace
}  // namespace app
