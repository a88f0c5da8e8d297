#include "app/store/state_files.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <random>

namespace app {
namespace {

namespace fs = std::filesystem;
using drivekit::json::SystemTime;
using std::chrono::hours;

SystemTime at(int hour) { return SystemTime{} + std::chrono::hours(24 * 365 * 56) + hours(hour); }

DriveSummary drive(std::string id, drivekit::DriveKind kind, drivekit::Tier tier) {
    DriveSummary summary;
    summary.id = id;
    summary.bsdName = id;
    summary.name = id;
    summary.kind = kind;
    summary.tier = tier;
    summary.spare = 100;
    return summary;
}

class StateFilesTest : public ::testing::Test {
  protected:
    // In memory where the system has it: a killed process, not a lost disk, is the fault
    // tried here, and a thousand fsyncs on a shared disk would take minutes.
    fs::path folder = (fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::path(::testing::TempDir())) /
                      ("state-" + std::to_string(::getpid()) + "-" +
                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    void SetUp() override { fs::remove_all(folder); fs::create_directories(folder); }
    void TearDown() override { fs::remove_all(folder); }
    void put(const fs::path& path, const std::string& text) { std::ofstream(path) << text; }
};

TEST_F(StateFilesTest, DamagedOrNewerFilesAreKeptAsideAndReadAsDefaults) {
    const fs::path prefs = folder / "prefs.json";
    EXPECT_EQ(StateFiles::readPrefs(prefs), Prefs{});

    put(prefs, "{\"checkMinutes\": 3, \"appear");
    EXPECT_EQ(StateFiles::readPrefs(prefs), Prefs{});
    EXPECT_FALSE(fs::exists(prefs));
    EXPECT_TRUE(fs::exists(folder / "prefs.json.damaged"));

    put(prefs, "{\"version\": 2, \"checkMinutes\": 3}");
    EXPECT_EQ(StateFiles::readPrefs(prefs).checkMinutes, 10);
    EXPECT_TRUE(fs::exists(folder / "prefs.json.damaged"));

    // An older file without the newer keys, and values out of range, take the defaults.
    put(prefs, "{\"checkMinutes\": 0, \"keepDays\": -4, \"appearance\": \"Neon\", \"hiddenDrives\": [\"x\"]}");
    const Prefs read = StateFiles::readPrefs(prefs);
    EXPECT_EQ(read.checkMinutes, 0);
    EXPECT_EQ(read.keepDays, 400);
    EXPECT_EQ(read.appearance, Prefs::Appearance::system);
    EXPECT_EQ(read.hiddenDrives, std::vector<std::string>{"x"});

    put(folder / "readings.json", "{\"not\": \"a list\"}");
    EXPECT_TRUE(StateFiles::readReadings(folder / "readings.json").empty());
    EXPECT_TRUE(fs::exists(folder / "readings.json.damaged"));
}

TEST(Readings, OnePerDriveAnHourAndNothingOlderThanKeepDays) {
    using drivekit::DriveKind;
    using drivekit::Tier;
    const std::vector drives{drive("S1", DriveKind::internalSSD, Tier::healthy),
                             drive("sda", DriveKind::other, Tier::limited),
                             drive("sdc", DriveKind::usb, Tier::limited)};
    const SystemMark mark{4096, at(-5)};
    auto readings = Readings::updated({}, drives, 400, mark, at(0));
    ASSERT_EQ(readings.size(), 2u);  // a limited internal disk says nothing
    EXPECT_EQ(readings[0].swapOutBytes, 4096u);
    EXPECT_FALSE(readings[1].swapOutBytes.has_value());

    const auto minuteBeforeHour = at(0) + std::chrono::minutes(59);
    EXPECT_EQ(Readings::updated(readings, drives, 400, mark, minuteBeforeHour), readings);
    readings = Readings::updated(readings, drives, 400, mark, at(1));
    EXPECT_EQ(readings.size(), 4u);

    // Lowering keepDays cuts at the next update.
    readings = Readings::updated(readings, drives, 1, mark, at(24 + 1));
    EXPECT_EQ(readings.size(), 4u);
    EXPECT_EQ(readings.front().date, at(1));
}

// A writer killed at any moment leaves each file whole: the content of one complete write,
// never older than what a finished write already put there, never a torn mix.
TEST_F(StateFilesTest, AWriterKilledAtAnyMomentLeavesOldOrNewFiles) {
    const StatePaths paths{folder / "data", folder / "config"};
    const auto readingsFor = [](int n) {
        std::vector<Reading> rows;
        for (int i = 0; i <= n % 40; ++i) {
            Reading r;
            r.driveID = "drive-" + std::to_string(n);
            r.date = at(i);
            r.tier = drivekit::Tier::healthy;
            r.writtenBytes = static_cast<std::uint64_t>(n) * 1000 + static_cast<std::uint64_t>(i);
            rows.push_back(r);
        }
        return rows;
    };
    const auto prefsFor = [](int n) {
        Prefs p;
        p.keepDays = 1 + n;
        p.hiddenDrives.assign(static_cast<std::size_t>(n % 30), "key-" + std::to_string(n));
        return p;
    };
    constexpr int kWrites = 1000;
    std::mt19937 random(12345);
    int done = 0;   // writes known complete before the last kill
    int rounds = 0;
    while (done < kWrites) {
        int pipeFds[2];
        ASSERT_EQ(::pipe(pipeFds), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(pipeFds[0]);
            for (int n = done + 1;; ++n) {
                if (!StateFiles::writeReadings(paths.readings(), readingsFor(n)) ||
                    !StateFiles::writePrefs(paths.prefs(), prefsFor(n))) {
                    ::_exit(3);
                }
                if (::write(pipeFds[1], &n, sizeof n) != sizeof n) ::_exit(4);
            }
        }
        ::close(pipeFds[1]);
        ::usleep(std::uniform_int_distribution<useconds_t>(500, 20000)(random));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer failed on its own: " << status;
        int last = done;
        for (int n = 0; ::read(pipeFds[0], &n, sizeof n) == sizeof n;) last = n;
        ::close(pipeFds[0]);
        ++rounds;

        if (done == 0 && last == 0 && !fs::exists(paths.readings())) continue;
        // The files hold the last completed write or the one under way when killed.
        const auto readings = StateFiles::readReadings(paths.readings());
        ASSERT_FALSE(readings.empty());
        const int inReadings = std::stoi(readings.front().driveID.substr(6));
        EXPECT_TRUE(inReadings == last || inReadings == last + 1) << inReadings << " after " << last;
        EXPECT_EQ(readings, readingsFor(inReadings));
        const Prefs prefs = StateFiles::readPrefs(paths.prefs());
        const int inPrefs = prefs.keepDays - 1;
        EXPECT_TRUE(inPrefs == last || inPrefs == last + 1) << inPrefs << " after " << last;
        EXPECT_EQ(prefs, prefsFor(inPrefs));
        ASSERT_FALSE(fs::exists(paths.readings().string() + ".damaged"));
        done = last;
    }
    EXPECT_GT(rounds, 1);
    // The temporaries of the killed writers are swept; nothing else is.
    StateFiles::removeLeftovers(paths.data);
    for (const auto& entry : fs::directory_iterator(paths.data)) {
        EXPECT_EQ(entry.path().filename(), "readings.json");
    }
}

}  // namespace
}  // namespace app
