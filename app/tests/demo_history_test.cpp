// The demo machine's history: a store on the demo machine shows months of readings from
// its first pass, and that history changes nothing the demo shows of its drives now.
#include "app/demo/demo_history.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include "app/demo/demo_files.hpp"
#include "app/drive_check.hpp"
#include "app/store/drive_source.hpp"
#include "app/store/drive_store.hpp"
#include "app/store/tests/fake_timers.hpp"

namespace app {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class DemoHistoryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto loaded = platform::DemoMachine::load(fs::path(VANTREL_DEMO_DATA) / "machine.json");
        ASSERT_TRUE(loaded) << loaded.error();
        demo_ = std::move(loaded.value());
        machine_.emplace(demoMachine(*demo_, drivekit::Locale("en_US")));
    }
    void TearDown() override { fs::remove_all(folder_); }

    // A store on the demo machine after its first pass, with or without the history.
    std::unique_ptr<DriveStore> store(bool seeded) {
        DriveStore::Services services;
        services.read = driveSource(readContextOf(*machine_));
        services.background = [](auto read, auto back) { back(read()); };
        services.timers = &timers_;
        services.paths = StatePaths{folder_ / (seeded ? "seeded" : "plain"), folder_ / "config"};
        if (seeded) {
            const auto drives = services.read(PassRequest{{}, true});
            EXPECT_TRUE(DemoHistory::seed(services.paths.readings(), drives, timers_.now()));
        }
        auto made = std::make_unique<DriveStore>(std::move(services), Prefs{});
        made->refresh();
        return made;
    }

    fs::path folder_ = fs::path(::testing::TempDir()) / ("demo-history-" + std::to_string(::getpid()));
    testing::FakeTimers timers_;
    std::unique_ptr<platform::DemoMachine> demo_;
    std::optional<Machine> machine_;
};

TEST_F(DemoHistoryTest, EveryRatedDriveHasMonthsOfReadingsThatChangeNothingItShowsNow) {
    const auto seeded = store(true);
    const auto plain = store(false);
    ASSERT_EQ(seeded->allDrives().size(), plain->allDrives().size());
    int charted = 0;
    for (std::size_t i = 0; i < seeded->allDrives().size(); ++i) {
        const auto& drive = seeded->allDrives()[i];
        // The history rules see a steady past: the demo's drives read as they do without it.
        EXPECT_EQ(drive.tier, plain->allDrives()[i].tier) << drive.name;
        EXPECT_EQ(drive.score, plain->allDrives()[i].score) << drive.name;
        if (!drive.score) continue;
        ++charted;
        const auto own = Readings::of(seeded->readings(), drive.id);
        ASSERT_EQ(own.size(), static_cast<std::size_t>(DemoHistory::kDays)) << drive.name;
        EXPECT_GE(own.back().date - own.front().date, (DemoHistory::kDays - 1) * 24h);
        for (std::size_t r = 1; r < own.size(); ++r) {
            if (own[r].writtenBytes) {
                EXPECT_LE(*own[r - 1].writtenBytes, *own[r].writtenBytes) << drive.name;
            }
            if (own[r].lifeLeft) {
                EXPECT_GE(*own[r - 1].lifeLeft, *own[r].lifeLeft) << drive.name;
            }
        }
        if (drive.dataWrittenBytes && *drive.dataWrittenBytes > 0) {
            EXPECT_LT(*own.front().writtenBytes, *own.back().writtenBytes) << drive.name;
        }
    }
    EXPECT_GE(charted, 3);
}

TEST_F(DemoHistoryTest, TheSameMomentGivesTheSameHistoryAndALongFileIsLeftAlone) {
    const auto drives = driveSource(readContextOf(*machine_))(PassRequest{{}, true});
    const auto now = timers_.now();
    EXPECT_EQ(DemoHistory::readings(drives, now), DemoHistory::readings(drives, now));

    // A file of a few recent readings (a demo monitor ran) gets the past before them.
    const auto path = folder_ / "readings.json";
    const Reading recent = Reading::of(drives.front(), now - 1h);
    ASSERT_TRUE(StateFiles::writeReadings(path, std::vector<Reading>{recent}));
    ASSERT_TRUE(DemoHistory::seed(path, drives, now));
    auto after = StateFiles::readReadings(path);
    EXPECT_EQ(after.back(), recent);
    EXPECT_GT(after.size(), static_cast<std::size_t>(DemoHistory::kDays));

    // A file that already reaches back is the demo's own history by now: untouched.
    after.erase(after.begin() + 3, after.end());
    ASSERT_TRUE(StateFiles::writeReadings(path, after));
    ASSERT_TRUE(DemoHistory::seed(path, drives, now + 24h));
    EXPECT_EQ(StateFiles::readReadings(path), after);
}

}  // namespace
}  // namespace app
