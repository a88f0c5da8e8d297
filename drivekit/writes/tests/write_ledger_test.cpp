#include "drivekit/writes/write_ledger.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

using std::chrono::seconds;

// A clock the test moves, and processes that start at a given second of it.
struct Table {
    WriteTime now = WriteTime(seconds(1'763'200'000));
    WriteLedger ledger;

    static std::uint64_t micros(WriteTime t) {
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(t.time_since_epoch()).count());
    }
    ProcessWrites process(std::int32_t pid, WriteTime started, std::uint64_t written, std::string path) const {
        return {pid, micros(started), std::move(path), written, "", false};
    }
    std::optional<WriteInterval> sample(std::vector<ProcessWrites> processes, double after,
                                        std::optional<std::uint64_t> drive = std::nullopt) {
        now += std::chrono::duration_cast<WriteTime::duration>(std::chrono::duration<double>(after));
        return ledger.take({now, std::move(processes), drive});
    }
};

std::map<std::string, std::uint64_t> keyed(const std::optional<WriteInterval>& interval) {
    std::map<std::string, std::uint64_t> out;
    if (interval) {
        for (const auto& [owner, bytes] : interval->byOwner) out[owner.key()] = bytes;
    }
    return out;
}

TEST(WriteLedger, countsDeltasAcrossPidReuseAndShortLivedProcesses) {
    Table t;
    const WriteTime boot = t.now - seconds(3600);
    EXPECT_FALSE(t.sample({t.process(10, boot, 1000, "/usr/bin/rsync")}, 0));

    // rsync wrote 500 more; a process born after the last sample counts whole; one
    // that ran unseen before it doesn't count yet.
    const WriteTime born = t.now + seconds(10);
    auto interval = t.sample({t.process(10, boot, 1500, "/usr/bin/rsync"), t.process(11, born, 100, "/opt/new"),
                              t.process(12, boot, 7000, "/opt/unseen")},
                             30);
    ASSERT_TRUE(interval);
    EXPECT_EQ(interval->end - interval->start, seconds(30));
    EXPECT_EQ(keyed(interval), (std::map<std::string, std::uint64_t>{
                                   {"tool:/usr/bin/rsync", 500}, {"tool:/opt/new", 100}}));

    // pid 10 is reused by a new process: its 40 bytes are new, not a fallen counter.
    // pid 11 ended between samples and its final count is gone. The unseen one now
    // counts by its delta; its counter then falls, which is skipped and remembered.
    interval = t.sample({t.process(10, t.now + seconds(5), 40, "/usr/bin/cp"), t.process(12, boot, 7100, "/opt/unseen")},
                        30);
    EXPECT_EQ(keyed(interval), (std::map<std::string, std::uint64_t>{{"tool:/usr/bin/cp", 40}, {"tool:/opt/unseen", 100}}));
    interval = t.sample({t.process(12, boot, 50, "/opt/unseen")}, 30);
    EXPECT_TRUE(interval && interval->byOwner.empty());
    EXPECT_EQ(keyed(t.sample({t.process(12, boot, 80, "/opt/unseen")}, 30)),
              (std::map<std::string, std::uint64_t>{{"tool:/opt/unseen", 30}}));

    // A process first seen idle, read no further than its counter, counts whole when it
    // writes, though its start time is only known now.
    t.sample({ProcessWrites{20, 0, "", 0, "", false}}, 30);
    EXPECT_EQ(keyed(t.sample({t.process(20, boot, 64, "/opt/late")}, 30)),
              (std::map<std::string, std::uint64_t>{{"tool:/opt/late", 64}}));

    // A process born and gone between two samples, and nothing else: an empty interval.
    interval = t.sample({}, 30);
    EXPECT_TRUE(interval && interval->byOwner.empty());
}

TEST(WriteLedger, makesNoIntervalAcrossASleepOrAClockThatWentBack) {
    Table t;
    const WriteTime boot = t.now - seconds(3600);
    t.sample({t.process(1, boot, 0, "/opt/a")}, 0);
    EXPECT_TRUE(t.sample({t.process(1, boot, 10, "/opt/a")}, 900.0));  // the longest gap still counts
    EXPECT_FALSE(t.sample({t.process(1, boot, 20, "/opt/a")}, 900.1));
    // An hour asleep: nothing said of it, but the sample is the base of the next.
    EXPECT_FALSE(t.sample({t.process(1, boot, 5000, "/opt/a")}, 3600));
    EXPECT_EQ(keyed(t.sample({t.process(1, boot, 5007, "/opt/a")}, 30)),
              (std::map<std::string, std::uint64_t>{{"tool:/opt/a", 7}}));
    EXPECT_FALSE(t.sample({t.process(1, boot, 6000, "/opt/a")}, 0));
    EXPECT_FALSE(t.sample({t.process(1, boot, 7000, "/opt/a")}, -60));
    EXPECT_EQ(keyed(t.sample({t.process(1, boot, 7001, "/opt/a")}, 30)),
              (std::map<std::string, std::uint64_t>{{"tool:/opt/a", 1}}));
}

TEST(WriteLedger, givesWhatTheDriveWroteBeyondTheProcessesToTheSystem) {
    Table t;
    const WriteTime boot = t.now - seconds(3600);
    const auto table = [&](std::uint64_t app, std::uint64_t daemon) {
        return std::vector{t.process(1, boot, app, "/opt/app"), t.process(2, boot, daemon, "/usr/sbin/daemon")};
    };
    t.sample(table(0, 0), 0, 10'000);
    EXPECT_EQ(keyed(t.sample(table(300, 100), 30, 11'000)),
              (std::map<std::string, std::uint64_t>{{"tool:/opt/app", 300}, {"system", 700}}));
    EXPECT_EQ(keyed(t.sample(table(600, 1000), 30, 12'000)),
              (std::map<std::string, std::uint64_t>{{"tool:/opt/app", 300}, {"system", 900}}));
    EXPECT_EQ(keyed(t.sample(table(600, 1000), 30, 12'000)), (std::map<std::string, std::uint64_t>{}));
    // A drive counter that fell (another drive, a reset) says nothing.
    EXPECT_EQ(keyed(t.sample(table(700, 1000), 30, 5)), (std::map<std::string, std::uint64_t>{{"tool:/opt/app", 100}}));
    EXPECT_EQ(keyed(t.sample(table(800, 1050), 30)),
              (std::map<std::string, std::uint64_t>{{"tool:/opt/app", 100}, {"system", 50}}));
}

}  // namespace
}  // namespace drivekit
