// The tray over the demo machine, alone: what the desktop program will hold, to look at
// and to measure idle. `--quit-after SECONDS` ends it by itself; `--panel` opens the panel
// at start; `--shots FOLDER` saves pictures of the panel and of the card of the demo's USB
// disk as if it was just plugged in, and ends.
#include <QApplication>
#include <QTimer>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "app/demo/demo_files.hpp"
#include "app/demo/demo_history.hpp"
#include "app/drive_check.hpp"
#include "app/store/drive_source.hpp"
#include "app/store/drive_store.hpp"
#include "desktop/tray/arrival_card.hpp"
#include "desktop/tray/tray.hpp"
#include "desktop/tray/tray_panel.hpp"

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    int quitAfter = 0;
    bool panel = false;
    std::string shots;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "--quit-after" && i + 1 < argc) quitAfter = std::atoi(argv[++i]);
        if (arg == "--panel") panel = true;
        if (arg == "--shots" && i + 1 < argc) shots = argv[++i];
    }

    auto loaded = platform::DemoMachine::load(app::defaultDemoFile());
    if (!loaded) {
        std::cerr << "vantrel_tray_demo: " << loaded.error() << '\n';
        return 1;
    }
    app::Machine machine = app::demoMachine(*loaded.value(), drivekit::Locale("en_US"));
    app::QtTimers timers;
    app::DriveStore::Services services;
    services.read = app::driveSource(app::readContextOf(machine));
    services.background = [](auto read, auto back) { back(read()); };
    services.timers = &timers;
    const auto folder = std::filesystem::temp_directory_path() / ("vantrel-tray-demo-" + std::to_string(::getpid()));
    services.paths = app::StatePaths{folder / "data", folder / "config"};
    services.usbCheckAvailable = true;
    app::DemoHistory::seed(services.paths.readings(), services.read(app::PassRequest{{}, true}), timers.now());
    app::DriveStore store(std::move(services), app::Prefs{});

    tray::Tray::Options options;
    options.usbCheckAvailable = true;
    options.openWindow = [](const std::optional<std::string>& id) {
        std::cout << "open window" << (id ? " on " + *id : std::string()) << std::endl;
    };
    options.quit = [&application] { application.quit(); };
    tray::Tray tray(store, std::move(options));
    if (!shots.empty()) {
        store.refresh();
        tray.togglePanel();
        tray.panel().grab().save(QString::fromStdString(shots + "/tray-panel.png"));
        auto snapshot = tray::snapshotOf(store, true, drivekit::Locale("en_US"), std::chrono::system_clock::now());
        for (const auto& drive : snapshot.drives) {
            if (drive.offersUSBCheck(true)) snapshot.arrival = app::Arrival{drive.id, snapshot.now, drive.usbKey, false};
        }
        if (const auto card = tray::cardOf(snapshot, {})) {
            tray.card().showCard(*card);
            tray.card().grab().save(QString::fromStdString(shots + "/arrival-card.png"));
        }
        std::filesystem::remove_all(folder);
        return 0;
    }
    tray.show();
    store.start();
    if (panel) QTimer::singleShot(0, &tray, [&tray] { tray.togglePanel(); });
    if (quitAfter > 0) QTimer::singleShot(quitAfter * 1000, &application, [&application] { application.quit(); });
    const int code = application.exec();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return code;
}
