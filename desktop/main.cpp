// vantrel-desktop: the main window over this computer's drives, or over the demo machine
// with `--demo` (`--demo=FILE` for another description). `vantrel` with no command, or with
// only `--demo`, starts it.
#include <QApplication>
#include <QDBusConnection>
#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QTimeZone>
#include <QTimer>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "app/demo/demo_files.hpp"
#include "app/demo/demo_history.hpp"
#include "app/linux/linux_machine.hpp"
#include "app/store/app_requests.hpp"
#include "app/store/note_sinks.hpp"
#include "app/store/single_instance.hpp"
#include "app/store/store_session.hpp"
#include "app/writes/app_writes.hpp"
#include "app/writes/writes_source.hpp"
#include "desktop/tray/tray.hpp"
#include "desktop/window/appearance.hpp"
#include "desktop/window/main_window.hpp"
#include "platform/linux/linux_proc_files.hpp"
#include "drivekit/core/text.hpp"

namespace {

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

// How the program was started: by the desktop's autostart at login (`--login`), the window
// staying closed where a tray icon leads back to it; `--close-main-after-launch` closes the
// window again three seconds after it opened.
struct Launch {
    bool atLogin = false;
    bool closeMainAfterLaunch = false;
};

int run(QApplication& application, app::Machine& machine, bool demo, Launch launch, const std::string& demoWord,
        const std::string& link) {
    const auto lock = app::SingleInstance::acquire(app::SingleInstance::lockFile(environment));
    if (!lock.isInstance) {
        // The running one keeps the drives; it is asked to show them, or the linked one.
        std::string why;
        app::AppRequests::handOver(link.empty() ? "vantrel://drive" : link, why);
        std::cerr << "vantrel: another vantrel runs and keeps the drives\n";
        return 0;
    }
    const QPalette system = QApplication::palette();
    std::optional<app::DesktopNotifications> desktop;
    if (!demo && app::DesktopNotifications::available(QDBusConnection::sessionBus())) {
        desktop.emplace(QDBusConnection::sessionBus());
    }
    desktop::MainWindow* shown = nullptr;
    app::StoreSession::Hooks hooks;
    hooks.log = [](const std::string& line) { std::cerr << drivekit::text::printable(line) << '\n'; };
    if (desktop) hooks.notes = [&](const app::Note& note) { return desktop->show(note); };
    hooks.windowVisible = [&shown] { return shown != nullptr && shown->isVisible(); };
    app::StoreSession session(machine, demo, app::StoreSession::pathsFor(demo), &application, std::move(hooks));
    app::DriveStore& store = session.store();
    // The demo machine comes with months of past readings, so that its history shows.
    if (demo) app::DemoHistory::seedFrom(machine, session.paths().readings(), session.timers().now());
    desktop::applyAppearance(store.prefs().appearance, system);

    desktop::WindowContext context{store, session.timers(), machine.locale, session.paths(),
                                   QDateTime::currentDateTime().offsetFromUtc(), {}, {}, {}, nullptr, nullptr, {}, {}};
    context.system = [&session] { return session.systemStats(); };
    context.machine = &machine;
    // What a scan costs this program is read from its own /proc, on the demo machine too.
    const platform::LinuxProcFiles ownProc;
    context.ownProc = machine.procFiles ? machine.procFiles.get() : &ownProc;
    context.chooseFolder = [](const QString& from) {
        return QFileDialog::getExistingDirectory(nullptr, QString(), from.isEmpty() ? QDir::homePath() : from);
    };
    if (demo) context.drawPrefix = {demoWord};
    context.saveAs = [](const QString& suggested, const QString& kind) {
        return QFileDialog::getSaveFileName(nullptr, QString(), QDir::home().filePath(suggested),
                                            kind.toUpper() + QStringLiteral(" (*.") + kind + QStringLiteral(")"));
    };
    desktop::MainWindow::Options options;
    // Without root the drives are read through the privileged service; without either,
    // every health read fails, and the window says what to do about it.
    options.serviceMissing = !demo && ::geteuid() != 0 && !machine.serviceCheck;
    options.system = system;
    options.systemFigures = !demo && machine.procFiles != nullptr;
    options.writesCounted = !demo && (::geteuid() == 0 ? machine.procFiles != nullptr : machine.serviceWrites != nullptr);
    // The window is made when it is first shown: a program started at login that stays in
    // the tray holds no pages, charts or their memory until asked.
    std::unique_ptr<desktop::MainWindow> window;
    const auto showWindow = [&] {
        if (!window) {
            window = std::make_unique<desktop::MainWindow>(context, options);
            shown = window.get();
        }
        window->show();
        window->raise();
        window->activateWindow();
    };

    app::AppRequests requests(store, session.timers());
    requests.links().setHandler([&](const std::string& handed) {
        app::AppRequests::selectLinkedDrive(store, handed);
        showWindow();
    });
    std::string why;
    requests.publish(why);

    // Which programs write to the system SSD, counted every 30 seconds while the window's
    // program runs, as the monitor does.
    std::optional<app::WritesLoop> writes;
    const auto access = app::WritesAccess::forUser(::geteuid() == 0, machine.procFiles, machine.serviceWrites);
    if (!demo && access.source && !session.paths().data.empty() && machine.clock) {
        app::AppWrites::Options counting;
        counting.source = access.source;
        counting.files = app::AppWritesFiles::in(session.paths().data);
        writes.emplace(std::move(counting), *machine.clock);
        store.onPass = [&writes](const app::PassReport& pass) {
            if (!pass.shown) return;
            for (const auto& drive : pass.drives) {
                if (drive.hostsBootVolume) writes->setDriveWritten(drive.dataWrittenBytes);
            }
        };
    }

    // The tray icon keeps the program at hand with its window closed. A desktop without a
    // tray keeps the window, the one way back: closing it quits.
    std::optional<tray::Tray> inTray;
    context.activity = [&inTray](const std::string& line) {
        if (inTray) inTray->setActivity(line);
    };
    if (tray::Tray::available()) {
        tray::Tray::Options trayOptions;
        trayOptions.usbCheckAvailable = session.usbCheckAvailable();
        trayOptions.locale = machine.locale;
        trayOptions.openWindow = [&](const std::optional<std::string>& driveID) {
            if (driveID) store.select(*driveID);
            showWindow();
        };
        trayOptions.quit = [&application] { application.quit(); };
        inTray.emplace(store, std::move(trayOptions));
        inTray->show();
        QApplication::setQuitOnLastWindowClosed(false);
    }

    store.start();
    if (!link.empty()) {
        // The linked drive once a pass has found it; a later pass than start's, so never
        // dropped in its favour.
        store.refresh([&store, link] { app::AppRequests::selectLinkedDrive(store, link); });
    }
    if (!launch.atLogin || !inTray) showWindow();
    if (launch.closeMainAfterLaunch && inTray && window) {
        QTimer::singleShot(3000, window.get(), [&window] { window->close(); });
    }
    const int code = application.exec();
    shown = nullptr;
    window.reset();
    store.withdrawShared();
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    application.setApplicationName(QStringLiteral("Vantrel"));
    application.setDesktopFileName(QStringLiteral("com.orlend.vantrel"));
    std::optional<std::string> demoFile;
    std::string link;
    Launch launch;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg.starts_with("vantrel://")) {
            link = std::string(arg);
        } else if (arg == "--login") {
            launch.atLogin = true;
        } else if (arg == "--close-main-after-launch") {
            launch.closeMainAfterLaunch = true;
        } else if (arg == "--demo") {
            demoFile = std::string();
        } else if (arg.starts_with("--demo=")) {
            demoFile = std::string(arg.substr(7));
        } else {
            std::cerr << "vantrel: unknown option: " << drivekit::text::printable(arg)
                      << ". Run vantrel --help for the commands.\n";
            return 2;
        }
    }
    if (demoFile) {
        auto loaded = platform::DemoMachine::load(demoFile->empty() ? app::defaultDemoFile()
                                                                    : std::filesystem::path(*demoFile));
        if (!loaded) {
            std::cerr << "vantrel: " << drivekit::text::printable(loaded.error()) << '\n';
            return 2;
        }
        app::Machine machine = app::demoMachine(*loaded.value(), drivekit::Locale::current());
        return run(application, machine, true, launch, demoFile->empty() ? "--demo" : "--demo=" + *demoFile, link);
    }
    app::LinuxMachine computer;
    return run(application, computer.machine(), false, launch, {}, link);
}
