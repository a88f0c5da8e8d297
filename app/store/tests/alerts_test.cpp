#include "app/store/alerts.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "app/store/drive_store.hpp"
#include "app/store/tests/fake_timers.hpp"

namespace app {
namespace {

using namespace std::chrono_literals;
using drivekit::Tier;
namespace fs = std::filesystem;

DriveSummary drive(std::string id, Tier tier) {
    DriveSummary d;
    d.id = d.bsdName = d.name = std::move(id);
    d.kind = drivekit::DriveKind::usb;
    d.tier = tier;
    return d;
}

std::vector<std::string> kinds(const AlertPlan& plan) {
    std::vector<std::string> out;
    for (const auto& alert : plan.alerts) {
        if (const auto* w = std::get_if<AlertPlan::Worse>(&alert)) {
            out.push_back("worse " + w->drive.id + " from " + std::string(drivekit::TierText::raw(w->from)));
        } else if (const auto* h = std::get_if<AlertPlan::Hot>(&alert)) {
            out.push_back("hot " + h->drive.id + " " + std::to_string(h->celsius));
        } else if (const auto* s = std::get_if<AlertPlan::LowSpace>(&alert)) {
            out.push_back("space " + s->volume + " " + std::to_string(s->percent));
        }
    }
    return out;
}

TEST(AlertPlanTest, ComparesRatedTiersWithTheStoredOnesOnly) {
    const std::vector drives{
        drive("a", Tier::healthy),  // stored limited by an older release: news
        drive("b", Tier::watch),    // stored word unknown: no alert
        drive("c", Tier::limited),  // not rated: compared with nothing, stored never
        drive("d", Tier::warning),  // nothing stored: no alert
        drive("e", Tier::failed)};  // failed stays failed
    const auto plan = AlertPlan::make(
        drives, {{"a", "limited"}, {"b", "sideways"}, {"c", "healthy"}, {"e", "failed"}, {"gone", "watch"}}, 10);

    EXPECT_EQ(kinds(plan), (std::vector<std::string>{"worse a from limited"}));
    using Tiers = std::map<std::string, std::string>;
    EXPECT_EQ(plan.lastTiers, (Tiers{{"a", "healthy"}, {"b", "watch"}, {"c", "healthy"}, {"d", "warning"},
                                     {"e", "failed"}, {"gone", "watch"}}));
}

TEST(AlertPlanTest, HotFromSeventyDegreesOnRatedDrivesAndLowSpaceOnAnyVolume) {
    auto at70 = drive("a", Tier::healthy);
    at70.temperatureC = 70;
    auto at69 = drive("b", Tier::healthy);
    at69.temperatureC = 69;
    auto unrated = drive("c", Tier::limited);
    unrated.temperatureC = 85;

    // Low space: with no volume list, the drive's own main volume stands for it, also on a
    // limited drive; the share is cut, not rounded.
    auto bare = drive("d", Tier::limited);
    bare.mountPoint = "/media/me/Stick";
    bare.volumeName = "Stick";
    bare.space = FreeSpace{99, 1000};  // 9.9 %
    // Without a mount point it has nothing to fill.
    auto unmounted = bare;
    unmounted.id = "e";
    unmounted.mountPoint.reset();
    auto volumes = drive("f", Tier::healthy);
    volumes.space = FreeSpace{1, 1000};  // the main volume counts only through the list
    volumes.volumes = {VolumeInfo{"Roomy", "/mnt/r", std::nullopt, FreeSpace{500, 1000}},
                       VolumeInfo{"Full", "/mnt/f", std::nullopt, FreeSpace{0, 1000}},
                       VolumeInfo{"Empty", "/mnt/e", std::nullopt, FreeSpace{0, 0}}};
    const std::vector drives{at70, at69, unrated, bare, unmounted, volumes};
    EXPECT_EQ(kinds(AlertPlan::make(drives, {}, 10)),
              (std::vector<std::string>{"hot a 70", "space Stick 9", "space Full 0"}));
}

class NotifierTest : public ::testing::Test {
  protected:
    fs::path folder = fs::path(::testing::TempDir()) / ("notifier-" + std::to_string(::getpid()));
    fs::path file = folder / "alerts.json";
    drivekit::json::SystemTime now = drivekit::json::SystemTime{} + 24h * 365 * 56;
    std::vector<Note> shown;
    bool accepts = true;

    Notifier make() {
        return Notifier(file, [this](const Note& n) { return accepts && (shown.push_back(n), true); },
                        [this] { return now; });
    }
    void TearDown() override { fs::remove_all(folder); }
};

TEST_F(NotifierTest, SilencesHoldAcrossARestartAndAFailedNoteDoesNotCount) {
    const Note worse{"worse.a", "a needs care", "From Healthy to Warning.", 24.0};
    {
        auto notifier = make();
        accepts = false;  // no permission: nothing stored, the next occasion tries again
        EXPECT_FALSE(notifier.post(worse));
        accepts = true;
        EXPECT_TRUE(notifier.post(worse));
        EXPECT_FALSE(notifier.post(worse));
        notifier.setLastTiers({{"a", "warning"}});
    }
    now += 23h;
    auto restarted = make();
    EXPECT_EQ(restarted.lastTiers(), (std::map<std::string, std::string>{{"a", "warning"}}));
    EXPECT_FALSE(restarted.post(worse));
    EXPECT_TRUE(restarted.post(Note{"hot.a", "a is running hot", "", 6.0}));  // other ids are free
    now += 1h;
    EXPECT_TRUE(restarted.post(worse));
    EXPECT_EQ(shown.size(), 3u);
}

// Through the store: each pass alerts on what got worse, and the store's silences apply.
TEST(StoreAlertsTest, ADriveBackAfterAWeekIsComparedWithItsTierOfThen) {
    testing::FakeTimers timers;
    const fs::path folder = fs::path(::testing::TempDir()) / ("store-alerts-" + std::to_string(::getpid()));
    std::vector<DriveSummary> machine;
    std::vector<Note> notes;
    DriveStore::Services services;
    services.read = [&](const PassRequest&) { return machine; };
    services.background = [](auto read, auto back) { back(read()); };
    services.timers = &timers;
    services.paths = StatePaths{folder / "data", folder / "config"};
    services.notes = [&](const Note& note) { return notes.push_back(note), true; };
    const auto pass = [&](std::vector<DriveSummary> drives) {
        machine = std::move(drives);
        DriveStore store(services, Prefs{});  // a new process each time: state from the files
        store.refresh();
        timers.advance(1h);
    };

    pass({drive("a", Tier::healthy)});
    pass({drive("a", Tier::watch)});
    pass({drive("a", Tier::healthy)});
    pass({drive("a", Tier::watch)});  // the same change within 24 hours: silent
    pass({drive("a", Tier::limited)});  // a USB read pending: not a change
    pass({});
    timers.advance(24h * 7);
    pass({drive("a", Tier::warning)});
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0].body, "From Healthy to Watch.");
    EXPECT_EQ(notes[1].body, "From Watch to Warning.");
    fs::remove_all(folder);
}

}  // namespace
}  // namespace app
