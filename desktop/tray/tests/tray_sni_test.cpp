// The tray icon as the desktop's panel sees it: a StatusNotifierItem that registers with
// the session bus's watcher, with its icon in the worst drive's colour, its tooltip and
// its menu, and whose activation opens the panel of drives with nothing clipped. On a bus
// and an X display of the test's own, with a stand-in watcher (support/sni_watcher.py)
// that records what it reads of the item.
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <gtest/gtest.h>

#include <filesystem>

#include "app/demo/demo_files.hpp"
#include "app/drive_check.hpp"
#include "app/store/drive_source.hpp"
#include "app/store/tests/fake_timers.hpp"
#include "desktop/tray/tray.hpp"
#include "desktop/tray/tray_icon_image.hpp"
#include "desktop/tray/tray_panel.hpp"
#include "drivekit/core/json.hpp"
#include "platform/tests/support/child_process.hpp"

namespace tray {
namespace {

namespace fs = std::filesystem;

using platform::helpers::Child;

// The watcher's next line, running the event loop meanwhile (it reads the item's
// properties from us).
std::optional<std::string> nextLine(QProcess& process, int milliseconds = 10'000) {
    QElapsedTimer timer;
    timer.start();
    while (!process.canReadLine()) {
        if (timer.elapsed() > milliseconds || process.state() == QProcess::NotRunning) return std::nullopt;
        QApplication::processEvents(QEventLoop::AllEvents, 50);
        process.waitForReadyRead(20);
    }
    return process.readLine().trimmed().toStdString();
}

TEST(TraySNI, RegistersWithTheWorstDrivesColourAndItsMenuAndOpensAnUnclippedPanelOnActivation) {
    for (const char* tool : {"/usr/bin/dbus-daemon", "/usr/bin/Xvfb", "/usr/bin/python3"}) {
        if (::access(tool, X_OK) != 0) GTEST_SKIP() << tool << " is not installed";
    }
    if (std::system("/usr/bin/python3 -c 'import dbus, gi' 2>/dev/null") != 0) GTEST_SKIP() << "python3-dbus is missing";
    const Child bus = Child::start("/usr/bin/dbus-daemon", {"--config-file=" VANTREL_PRIVATE_BUS_CONF, "--print-address=1", "--nofork"});
    const std::string address = bus.line().value_or("");
    ASSERT_FALSE(address.empty()) << "the private dbus-daemon didn't start";
    const Child display = Child::start("/usr/bin/Xvfb", {"-displayfd", "1", "-nolisten", "tcp", "-screen", "0", "1024x768x24"});
    const std::string screen = display.line().value_or("");
    ASSERT_FALSE(screen.empty()) << "Xvfb didn't start";
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    ::setenv("DISPLAY", (":" + screen).c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    // The generic desktop: its theme is the one that speaks StatusNotifierItem.
    ::unsetenv("XDG_CURRENT_DESKTOP");
    ::unsetenv("DESKTOP_SESSION");

    int argc = 1;
    char name[] = "tray_sni_tests";
    char* argv[] = {name, nullptr};
    QApplication application(argc, argv);
    QProcess watcher;
    watcher.start("/usr/bin/python3", {VANTREL_TRAY_TEST_SUPPORT "/sni_watcher.py", "--address",
                                       QString::fromStdString(address), "--activate"});
    ASSERT_EQ(nextLine(watcher).value_or(""), "ready") << watcher.readAllStandardError().toStdString();
    ASSERT_TRUE(QSystemTrayIcon::isSystemTrayAvailable());

    auto loaded = platform::DemoMachine::load(fs::path(VANTREL_DEMO_DATA) / "machine.json");
    ASSERT_TRUE(loaded);
    app::Machine machine = app::demoMachine(*loaded.value(), drivekit::Locale("en_US"));
    app::testing::FakeTimers timers;
    const fs::path folder = fs::path(::testing::TempDir()) / ("tray-sni-" + std::to_string(::getpid()));
    app::DriveStore::Services services;
    services.read = app::driveSource(app::readContextOf(machine));
    services.background = [](auto read, auto back) { back(read()); };
    services.timers = &timers;
    services.paths = app::StatePaths{folder / "data", folder / "config"};
    app::DriveStore store(std::move(services), app::Prefs{});
    store.refresh();
    Tray::Options options;
    options.now = [&timers] { return timers.now(); };
    Tray tray(store, std::move(options));
    tray.show();

    const auto recorded = nextLine(watcher);
    ASSERT_TRUE(recorded) << "no item registered: " << watcher.readAllStandardError().toStdString();
    auto item = drivekit::json::parse(*recorded);
    ASSERT_TRUE(item) << *recorded;
    EXPECT_EQ((*item)["status"], "Active");
    EXPECT_NE((*item)["tooltip"].get<std::string>().find("ST2000DM008-2FR102 needs attention"), std::string::npos)
        << *recorded;
    // The failing disk's colour, opaque, at the largest size the icon was drawn at.
    const QColor failing = tierColour(drivekit::Tier::failing);
    EXPECT_EQ((*item)["icon"]["width"], 64);
    EXPECT_EQ((*item)["icon"]["topBand"], QStringLiteral("ff%1%2%3")
                                              .arg(failing.red(), 2, 16, QChar('0'))
                                              .arg(failing.green(), 2, 16, QChar('0'))
                                              .arg(failing.blue(), 2, 16, QChar('0'))
                                              .toStdString());
    EXPECT_EQ((*item)["menu"], drivekit::json::parse(R"(["Show drives", "Open Vantrel", "Check drives now", "Quit Vantrel"])").value());

    // The panel's click: the panel opens with every drive of the demo machine.
    ASSERT_EQ(nextLine(watcher).value_or(""), "activated");
    QElapsedTimer shown;
    shown.start();
    while (!tray.panel().isVisible() && shown.elapsed() < 5000) QApplication::processEvents(QEventLoop::AllEvents, 50);
    ASSERT_TRUE(tray.panel().isVisible());
    std::vector<std::string> names;
    for (const auto* button : tray.panel().findChildren<QPushButton*>("driveName")) names.push_back(button->text().toStdString());
    EXPECT_EQ(names.size(), 8u);
    EXPECT_NE(std::find(names.begin(), names.end(), "ST2000DM008-2FR102"), names.end());
    // Nothing clipped: each text has the room it asks for.
    for (const auto* label : tray.panel().findChildren<QLabel*>()) {
        const int needs = label->wordWrap() ? label->heightForWidth(label->width()) : label->sizeHint().height();
        EXPECT_LE(needs, label->height()) << label->text().toStdString();
        if (!label->wordWrap()) {
            EXPECT_LE(label->sizeHint().width(), label->width()) << label->text().toStdString();
        }
    }
    const auto* last = tray.panel().findChild<QLabel*>("lastRefresh");
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->text(), "Checked just now");

    watcher.kill();
    watcher.waitForFinished();
    fs::remove_all(folder);
}

}  // namespace
}  // namespace tray
