// The tray follows the store: a setting changes its icon at once, and the arrival card's
// buttons drive the store's USB check: check, the problem it ends with, retry, cancel,
// dismiss. The widgets are rebuilt under the very press that changed them, which is where
// a front end crashes if it gets it wrong (ASan watches).
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <gtest/gtest.h>
#include <unistd.h>

#include "app/store/tests/fake_timers.hpp"
#include "desktop/tray/arrival_card.hpp"
#include "desktop/tray/tray.hpp"

namespace tray {
namespace {

namespace fs = std::filesystem;

app::DriveSummary disk(std::string id, drivekit::DriveKind kind) {
    app::DriveSummary drive;
    drive.id = drive.bsdName = drive.name = std::move(id);
    drive.kind = kind;
    drive.tier = drivekit::Tier::healthy;
    drive.score = 90;
    return drive;
}

// Widgets added to a shown card show from the event loop, and those replaced go there.
void settle() {
    QApplication::processEvents();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

// What the card says now.
std::string text(QWidget& card, const char* name) {
    settle();
    const auto* label = card.findChild<QLabel*>(name);
    return label ? label->text().toStdString() : std::string();
}

// Presses the card's button of that name and lets the old widgets go.
void press(QWidget& card, const char* name) {
    settle();
    auto* button = card.findChild<QPushButton*>(name);
    ASSERT_NE(button, nullptr) << name;
    ASSERT_TRUE(button->isVisible()) << name;
    button->click();
}

TEST(TrayCard, FollowsTheSettingsAndItsButtonsCheckRetryCancelAndDismissThroughTheStore) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    int argc = 1;
    char name[] = "tray_tests";
    char* argv[] = {name, nullptr};
    QApplication application(argc, argv);

    app::DriveSummary photos = disk("sdf", drivekit::DriveKind::usb);
    photos.name = "Photos";
    photos.tier = drivekit::Tier::limited;
    photos.score.reset();
    photos.usbKey = "0x01100000-500107862016";
    std::vector<app::DriveSummary> present{disk("nvme0n1", drivekit::DriveKind::internalSSD)};
    std::vector<std::function<void()>> held;  // checks under way, ended when the test says
    bool unauthorised = true;

    const fs::path folder = fs::path(::testing::TempDir()) / ("tray-card-" + std::to_string(::getpid()));
    app::testing::FakeTimers timers;
    app::DriveStore::Services services;
    services.read = [&](const app::PassRequest&) { return present; };
    services.background = [](auto read, auto back) { back(read()); };
    services.timers = &timers;
    services.paths = app::StatePaths{folder / "data", folder / "config"};
    services.usbCheckAvailable = true;
    services.usbCheck = [&](const std::string& device, const std::function<bool()>& stop, const auto&)
        -> drivekit::Result<app::SummaryBuilder::Reading, app::Failure> {
        if (stop()) return drivekit::Unexpected(app::Failure{app::Failure::Kind::interrupted, device});
        return drivekit::Unexpected(app::Failure{unauthorised ? app::Failure::Kind::notAuthorized
                                                              : app::Failure::Kind::readFailed, device});
    };
    services.runCheck = [&](std::function<void()> work, std::function<void()> done) {
        held.push_back([work, done] {
            work();
            done();
        });
    };
    app::DriveStore store(std::move(services), app::Prefs{});
    Tray::Options options;
    options.usbCheckAvailable = true;
    options.now = [&timers] { return timers.now(); };
    Tray tray(store, std::move(options));
    tray.update();
    store.refresh();
    EXPECT_EQ(tray.look().score, 90);
    app::Prefs prefs = store.prefs();
    prefs.menuBarShowsScore = false;
    store.setPrefs(prefs);  // the setting takes the number away at once
    EXPECT_EQ(tray.look().score, std::nullopt);
    present.push_back(photos);
    store.refresh();  // plugged in after the first pass: it arrives

    ArrivalCard& card = tray.card();
    ASSERT_TRUE(card.isVisible());
    EXPECT_EQ(text(card, "cardTitle"), "Photos is connected");
    press(card, "checkButton");
    EXPECT_EQ(text(card, "checkStatus"), "Unmounting the drive…");
    ASSERT_EQ(held.size(), 1u);
    held.back()();  // the service said no
    EXPECT_EQ(text(card, "checkStatus"), "Photos wasn't handed over");

    press(card, "checkButton");  // Try again
    EXPECT_EQ(text(card, "checkStatus"), "Unmounting the drive…");
    press(card, "checkButton");  // Cancel: the check ends without a problem
    ASSERT_EQ(held.size(), 2u);
    held.back()();
    EXPECT_EQ(text(card, "checkStatus"), "");
    EXPECT_EQ(card.findChild<QPushButton*>("checkButton")->text(), "Check health");

    press(card, "dismissButton");
    EXPECT_FALSE(card.isVisible());
    store.refresh();
    EXPECT_FALSE(card.isVisible());  // not offered again while it stays plugged in
    fs::remove_all(folder);
}

}  // namespace
}  // namespace tray
