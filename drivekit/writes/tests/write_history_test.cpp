#include "drivekit/writes/write_history.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

using std::chrono::hours;
using std::chrono::seconds;

const WriteCalendar berlin = WriteCalendar::zone("Europe/Berlin");

// 2025-11-15 10:00:00 in Berlin (UTC+1).
const WriteTime tenOClock = WriteTime(seconds(1'763'197'200));

WriteInterval interval(WriteTime end, std::map<WriteOwner, std::uint64_t> bytes) {
    return {end - seconds(30), end, std::move(bytes)};
}

std::vector<std::pair<std::int64_t, std::map<std::string, std::uint64_t>>> described(
    const std::vector<WriteBucket>& buckets) {
    std::vector<std::pair<std::int64_t, std::map<std::string, std::uint64_t>>> out;
    for (const auto& b : buckets) {
        out.emplace_back(std::chrono::duration_cast<seconds>(b.start - tenOClock).count(), b.bytes);
    }
    return out;
}

TEST(WriteHistory, slotsFollowTheLocalHourAlsoOffByHalfAnHour) {
    EXPECT_EQ(WriteHistory::slotStart(tenOClock + seconds(599) + std::chrono::milliseconds(999), berlin),
              tenOClock);
    EXPECT_EQ(WriteHistory::slotStart(tenOClock + seconds(600), berlin), tenOClock + seconds(600));
    // India is UTC+5:30: its hours, and so its slots, begin at half past in UTC.
    const auto india = WriteCalendar::zone("Asia/Kolkata");
    EXPECT_EQ(WriteHistory::slotStart(tenOClock + seconds(1800 + 60), india), tenOClock + seconds(1800));
    EXPECT_EQ(WriteHistory::slotStart(tenOClock + seconds(1799), india), tenOClock + seconds(1200));
}

TEST(WriteHistory, addsIntervalsIntoTheSlotOfTheirEnd) {
    WriteHistory history;
    const auto app = WriteOwner::app("org.gnome.Nautilus");
    history.add(interval(tenOClock + seconds(600), {{app, 5}}), berlin);
    history.add(interval(tenOClock + seconds(10), {{app, 1}, {WriteOwner::system(), 2}}), berlin);
    history.add(interval(tenOClock + seconds(599), {{app, 3}}), berlin);
    history.add(interval(tenOClock + seconds(700), {{app, 0}}), berlin);  // nothing written: no slot
    EXPECT_EQ(described(history.slots),
              (std::vector<std::pair<std::int64_t, std::map<std::string, std::uint64_t>>>{
                  {0, {{"app:org.gnome.Nautilus", 4}, {"system", 2}}}, {600, {{"app:org.gnome.Nautilus", 5}}}}));
    EXPECT_EQ(history.totals(tenOClock + seconds(600)), (std::map<WriteOwner, std::uint64_t>{{app, 5}}));
}

TEST(WriteHistory, compactsTwoDayOldSlotsIntoLocalDaysAndForgetsWhatIsOlderThanKept) {
    WriteHistory history;
    const auto tool = WriteOwner::tool("/usr/bin/dd");
    // 23:50 and 00:10 local: two days apart by the calendar, 20 minutes by the clock.
    const WriteTime lateEvening = tenOClock + hours(13) + seconds(50 * 60);
    history.add(interval(lateEvening + seconds(1), {{tool, 1}}), berlin);
    history.add(interval(lateEvening + seconds(1200), {{tool, 2}}), berlin);
    history.add(interval(tenOClock + seconds(1), {{tool, 4}}), berlin);
    history.slots.front().bytes["future:owner"] = 9;  // a newer program's key rides along

    // 47 hours after the 10:00 slot it stays; at 48 it moves to its day.
    EXPECT_FALSE(history.compact(tenOClock + hours(47), berlin, 30));
    EXPECT_TRUE(history.compact(tenOClock + hours(48), berlin, 30));
    const WriteTime midnight = tenOClock - hours(10);
    ASSERT_EQ(history.days.size(), 1u);
    EXPECT_EQ(history.days[0].start, midnight);
    EXPECT_EQ(history.days[0].bytes, (std::map<std::string, std::uint64_t>{{"future:owner", 9}, {"tool:/usr/bin/dd", 4}}));

    // The evening's slots go to the days they began in, by the local calendar; a day
    // that receives two rolls adds up.
    history.add(interval(tenOClock + seconds(2), {{tool, 8}}), berlin);
    EXPECT_TRUE(history.compact(tenOClock + hours(72), berlin, 30));
    EXPECT_TRUE(history.slots.empty());
    EXPECT_EQ(described(history.days),
              (std::vector<std::pair<std::int64_t, std::map<std::string, std::uint64_t>>>{
                  {-36000, {{"future:owner", 9}, {"tool:/usr/bin/dd", 13}}},
                  {-36000 + 86400, {{"tool:/usr/bin/dd", 2}}}}));
    EXPECT_EQ(history.totalsWithDays(midnight + hours(30), berlin),
              (std::map<WriteOwner, std::uint64_t>{{tool, 2}}));

    // Kept for two days, three days on: from the start of the day before yesterday.
    EXPECT_TRUE(history.compact(midnight + hours(72) + hours(5), berlin, 2));
    EXPECT_EQ(described(history.days),
              (std::vector<std::pair<std::int64_t, std::map<std::string, std::uint64_t>>>{
                  {-36000 + 86400, {{"tool:/usr/bin/dd", 2}}}}));
    EXPECT_FALSE(history.compact(midnight + hours(72) + hours(6), berlin, 2));
}

TEST(WriteBucketsFile, storesOwnersOnceAndRefusesDamage) {
    const std::vector<WriteBucket> buckets = {
        {WriteTime(seconds(1'763'200'800)), {{"app:org.example.Foo", 4096}, {"system", 8192}}},
        {WriteTime(seconds(1'763'201'400)) + std::chrono::milliseconds(500), {{"system", 1}, {"web", 2}}},
        {WriteTime(seconds(1'763'202'000)), {}},
    };
    const std::string stored = WriteBucketsFile::encode(buckets);
    EXPECT_NE(stored.find(R"("owners":["app:org.example.Foo","system","web"])"), std::string::npos) << stored;
    auto decoded = WriteBucketsFile::decode(stored);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded.value()[0], buckets[0]);
    EXPECT_EQ(decoded.value()[1].start, WriteTime(seconds(1'763'201'401)));
    EXPECT_TRUE(decoded.value()[2].bytes.empty());

    // A repeated owner adds up; an older version is read.
    decoded = WriteBucketsFile::decode(R"({"v":0,"owners":["system"],"buckets":[{"t":5,"b":[0,1,0,2]}]})");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded.value()[0].bytes.at("system"), 3u);

    const auto newer = WriteBucketsFile::decode(R"({"v":2,"something":"else"})");
    ASSERT_FALSE(newer);
    EXPECT_EQ(newer.error().kind, WriteBucketsFile::Problem::Kind::newerVersion);
    EXPECT_EQ(newer.error().version, 2);

    for (const char* damaged : {
             R"({"v":1,"owners":["system"],"buckets":[{"t":5,"b":[0]}]})",
             R"({"v":1,"owners":["system","web"],"buckets":[{"t":5,"b":[5,1]}]})",
             R"({"v":1,"owners":[3],"buckets":[]})",
             R"({"v":1,"owners":[],"buckets":[{"t":99999999999999999,"b":[]}]})",
             // Found by fuzzing: a time that fits in seconds but not in nanoseconds.
             R"({"v":1,"owners":[],"buckets":[{"t":17603200800,"b":[]}]})",
             R"({"v":1,"owners":[],"buckets":[)",
         }) {
        const auto result = WriteBucketsFile::decode(damaged);
        ASSERT_FALSE(result) << damaged;
        EXPECT_EQ(result.error().kind, WriteBucketsFile::Problem::Kind::damaged) << damaged;
    }
}

}  // namespace
}  // namespace drivekit
