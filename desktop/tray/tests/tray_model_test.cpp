// What the tray shows for the demo machine's drives and for a drive that is plugged in:
// the icon, the panel's rows and checks, the arrival card and its rules. No window: the
// widgets only lay these values out.
#include "desktop/tray/tray_model.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include "app/demo/demo_files.hpp"
#include "app/drive_check.hpp"
#include "app/store/drive_source.hpp"
#include "app/store/tests/fake_timers.hpp"

namespace tray {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using drivekit::Tier;

class DemoTrayTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto loaded = platform::DemoMachine::load(fs::path(VANTREL_DEMO_DATA) / "machine.json");
        ASSERT_TRUE(loaded) << loaded.error();
        demo_ = std::move(loaded.value());
        machine_.emplace(app::demoMachine(*demo_, drivekit::Locale("en_US")));
    }
    void TearDown() override {
        store_.reset();
        fs::remove_all(folder_);
    }
    app::DriveStore& store(app::Prefs prefs = {}) {
        app::DriveStore::Services services;
        services.read = app::driveSource(app::readContextOf(*machine_));
        services.background = [](auto read, auto back) { back(read()); };
        services.timers = &timers_;
        services.paths = app::StatePaths{folder_ / "data", folder_ / "config"};
        store_ = std::make_unique<app::DriveStore>(std::move(services), std::move(prefs));
        store_->refresh();
        return *store_;
    }
    Snapshot snapshot() { return snapshotOf(*store_, true, drivekit::Locale("en_US"), timers_.now() + 90s); }

    fs::path folder_ = fs::path(::testing::TempDir()) / ("tray-" + std::to_string(::getpid()));
    app::testing::FakeTimers timers_;
    std::unique_ptr<platform::DemoMachine> demo_;
    std::optional<app::Machine> machine_;
    std::unique_ptr<app::DriveStore> store_;
};

TEST_F(DemoTrayTest, ThePanelListsEveryVisibleDriveAndTheIconTakesTheWorstTierAndTheSystemScore) {
    store();
    const Panel panel = panelOf(snapshot());
    ASSERT_EQ(panel.rows.size(), 8u);
    EXPECT_EQ(panel.lastRefresh, "Checked 1 minute ago");
    const auto row = [&](const std::string& name) {
        const auto it = std::find_if(panel.rows.begin(), panel.rows.end(), [&](const Row& r) { return r.name == name; });
        EXPECT_NE(it, panel.rows.end()) << name;
        return it == panel.rows.end() ? Row{} : *it;
    };
    const Row failing = row("ST2000DM008-2FR102");
    EXPECT_EQ(failing.tierLabel, "Failing");
    EXPECT_EQ(failing.score, 20);
    EXPECT_EQ(failing.line.rfind("The drive's last self-test failed", 0), 0u) << failing.line;
    EXPECT_EQ(failing.check.action, CheckAction::none);  // SATA: nothing to hand over
    EXPECT_EQ(row("EOS_DIGITAL").score, std::nullopt);
    // A USB disk whose bridge hides its health from the system's driver: the hand-over.
    EXPECT_EQ(row("Backup").check.button, "Check health");

    // The failing disk colours the icon; the number is the system drive's, not the lowest.
    const IconLook look = iconOf(snapshot());
    EXPECT_EQ(look.tier, Tier::failing);
    EXPECT_EQ(look.score, 96);
    EXPECT_EQ(look.tooltip, "Vantrel: ST2000DM008-2FR102 needs attention");

    // Hidden, it leaves the panel and the icon; the setting takes the number away.
    app::Prefs prefs;
    prefs.hiddenDrives = {failing.id};
    prefs.menuBarShowsScore = false;
    store(prefs);
    EXPECT_EQ(panelOf(snapshot()).rows.size(), 7u);
    EXPECT_EQ(iconOf(snapshot()), (IconLook{Tier::healthy, std::nullopt, "Vantrel: every drive is healthy"}));
}

// A USB disk in a plain enclosure, plugged in and not yet read.
app::DriveSummary plugged(std::string id = "sdf") {
    app::DriveSummary drive;
    drive.id = drive.bsdName = std::move(id);
    drive.name = "Photos";
    drive.kind = drivekit::DriveKind::usb;
    drive.tier = Tier::limited;
    drive.usbKey = "0x01100000-500107862016";
    return drive;
}

Snapshot arrived(const app::DriveSummary& drive) {
    Snapshot snapshot;
    snapshot.drives = {drive};
    snapshot.arrival = app::Arrival{drive.id, {}, drive.usbKey, false};
    snapshot.usbCheckAvailable = true;
    return snapshot;
}

TEST(CheckView, EachStateShowsItsStepOrProblemWithTheOneButtonThatHelps) {
    const auto drive = plugged();
    EXPECT_EQ(checkOf(drive, std::nullopt, true).button, "Check health");
    EXPECT_EQ(checkOf(drive, std::nullopt, false).action, CheckAction::none);  // no service, no offer

    const CheckView waiting = checkOf(drive, app::USBRead::State{app::USBRead::Step::waitingForAssignment, {}}, true);
    EXPECT_EQ(waiting.status, "Waiting for your permission…");
    EXPECT_EQ(waiting.action, CheckAction::cancel);
    EXPECT_TRUE(waiting.underWay);

    using Kind = app::Failure::Kind;
    const auto failed = [&](app::Failure failure) {
        const auto problem = app::USBRead::problemOf(failure, app::USBRead::Step::reading, drive.name, false);
        return checkOf(drive, app::USBRead::State{std::nullopt, problem}, true);
    };
    const CheckView refused = failed(app::Failure{Kind::notAuthorized, "sdf"});
    EXPECT_FALSE(refused.advice.empty());
    EXPECT_EQ(refused.action, CheckAction::retry);
    // A problem with no title (no way to check here) says its advice as the status.
    const CheckView unavailable = failed(app::Failure{Kind::needsRoot, "sdf"});
    EXPECT_NE(unavailable.status.find("needs Vantrel's service"), std::string::npos);
    EXPECT_TRUE(unavailable.advice.empty());
    app::Failure coded{Kind::readFailed, "sdf"};
    coded.error = 0x1f;
    EXPECT_EQ(failed(coded).code, "Error code 0000001F");
}

TEST(ArrivalCard, ACheckableDriveIsOfferedOnceWhileItStaysAndFollowedWhileItIsAway) {
    const auto drive = plugged();
    auto snapshot = arrived(drive);
    auto card = cardOf(snapshot, {});
    ASSERT_TRUE(card);
    EXPECT_EQ(card->title, "Photos is connected");
    EXPECT_EQ(card->check.action, CheckAction::check);
    EXPECT_EQ(card->dismiss, "Not now");

    snapshot.showPlugCard = false;
    EXPECT_FALSE(cardOf(snapshot, {}));
    snapshot.showPlugCard = true;

    // Dismissed: not again while it stays plugged in; unplugged, the key is forgotten.
    std::set<std::string> dismissed{dismissKey(*snapshot.arrival)};
    EXPECT_FALSE(cardOf(snapshot, stillDismissed(snapshot, dismissed)));
    Snapshot gone = snapshot;
    gone.drives.clear();
    EXPECT_TRUE(stillDismissed(gone, dismissed).empty());

    // Under its check the drive leaves the list: the card follows it at its step, and
    // drops it once it is away with nothing under way.
    Snapshot away = gone;
    away.checks[*drive.usbKey] = app::USBRead::State{app::USBRead::Step::reading, {}};
    const auto following = cardOf(away, {}, &drive);
    ASSERT_TRUE(following);
    EXPECT_EQ(following->check.status, "Reading its health…");
    EXPECT_TRUE(anyCheckUnderWay(away));
    EXPECT_FALSE(cardOf(gone, {}, &drive));

    // Back with a new id and its reading: the card says what was read, nothing to check.
    auto read = plugged("sdg");
    read.tier = Tier::healthy;
    read.lifeLeft = 93;
    Snapshot back = snapshot;
    back.drives = {read};
    const auto done = cardOf(back, {});
    ASSERT_TRUE(done);
    EXPECT_EQ(done->driveID, "sdg");
    EXPECT_EQ(done->title, "Photos is healthy");
    EXPECT_EQ(done->check.action, CheckAction::none);
    EXPECT_EQ(done->dismiss, "Close");
}

}  // namespace
}  // namespace tray
