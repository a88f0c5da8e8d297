#include "cli/bus/monitor_command.hpp"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QMetaObject>
#include <QTimer>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "app/demo/demo_history.hpp"
#include "app/store/app_requests.hpp"
#include "app/store/drive_source.hpp"
#include "app/store/drive_store.hpp"
#include "app/store/history.hpp"
#include "app/store/note_sinks.hpp"
#include "app/store/single_instance.hpp"
#include "app/store/store_events.hpp"
#include "app/store/store_session.hpp"
#include "app/store/system_stats.hpp"
#include "app/drive_check.hpp"
#include "app/metrics.hpp"
#include "app/shown.hpp"
#include "app/writes/app_writes.hpp"
#include "platform/file_store.hpp"
#include "cli/exit_codes.hpp"

namespace cli {

namespace {

using drivekit::Tier;

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

std::atomic<int> stopSignal{0};
extern "C" void onStopSignal(int signal) { stopSignal = signal; }

std::string label(const app::DriveSummary& drive) { return drive.bsdName + " (" + drive.name + ")"; }

/// The lines a pass is worth: the pass itself, then each drive that came, left or changed
/// its tier.
std::vector<std::string> passLines(const app::PassReport& pass, bool first) {
    std::vector<std::string> lines;
    if (!pass.shown) {
        lines.push_back(drivekit::text::format("pass %llu dropped, a later one was shown",
                                               static_cast<unsigned long long>(pass.ticket)));
        return lines;
    }
    lines.push_back(drivekit::text::format("pass %llu: %zu %s in %.2f s", static_cast<unsigned long long>(pass.ticket),
                                           pass.drives.size(), pass.drives.size() == 1 ? "drive" : "drives",
                                           pass.seconds));
    const auto find = [](const std::vector<app::DriveSummary>& list, const std::string& id) {
        const auto it = std::find_if(list.begin(), list.end(), [&](const app::DriveSummary& d) { return d.id == id; });
        return it == list.end() ? nullptr : &*it;
    };
    for (const auto& drive : pass.drives) {
        const auto* old = find(pass.previous, drive.id);
        const std::string tier(drivekit::TierText::raw(drive.tier));
        if (old == nullptr) {
            if (!first) lines.push_back("arrived: " + label(drive) + ", " + tier);
            if (drivekit::severity(drive.tier) >= drivekit::severity(Tier::warning)) lines.push_back("needs care: " + label(drive) + ": " + drive.line);
        } else if (old->tier != drive.tier) {
            lines.push_back("tier: " + label(drive) + ": " + std::string(drivekit::TierText::raw(old->tier)) +
                            " \u2192 " + tier + (drivekit::severity(drive.tier) > drivekit::severity(old->tier) ? ": " + drive.line : ""));
        }
    }
    for (const auto& old : pass.previous) {
        if (find(pass.drives, old.id) == nullptr) lines.push_back("left: " + label(old));
    }
    return lines;
}

bool needsCare(const std::vector<app::DriveSummary>& drives) {
    return std::any_of(drives.begin(), drives.end(),
                       [](const app::DriveSummary& d) { return drivekit::severity(d.tier) >= drivekit::severity(Tier::warning); });
}

}  // namespace

int runMonitorCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                      std::ostream& err) {
    bool once = false;
    // A vantrel:// link the desktop opened (the scheme's handler runs `vantrel monitor URL`):
    // handed to the monitor that runs. A first monitor has no window to open it in: it starts.
    std::string url = "vantrel://drive";
    std::optional<std::filesystem::path> textfile;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const auto arg = args[i];
        if (arg == "--once") {
            once = true;
        } else if (arg.starts_with("vantrel://")) {
            url = std::string(arg);
        } else if (arg == "--textfile" || arg.starts_with("--textfile=")) {
            std::string_view folder = arg == "--textfile" ? (i + 1 < args.size() ? args[++i] : "") : arg.substr(11);
            if (folder.empty()) {
                err << "vantrel: --textfile needs a folder: vantrel monitor --textfile /var/lib/node_exporter/textfile_collector.\n";
                return exitUsage;
            }
            textfile = std::filesystem::path(folder);
        } else if (arg == "--help" || arg == "-h") {
            out << "Usage: vantrel monitor [--once] [--textfile DIR] [vantrel://drive/KEY]\n"
                   "Watches every drive: a pass every few minutes (the checkMinutes preference) and\n"
                   "when a disk is plugged in or removed, one line per pass and per change, readings\n"
                   "kept in $XDG_DATA_HOME/vantrel. --once makes one pass and ends. Sleeping disks\n"
                   "are left asleep. A vantrel:// link is handed to the monitor that runs.\n"
                   "When a drive gets worse, runs hot or a volume is almost full, a note goes to the\n"
                   "desktop's notification service; without one (a server) it is a \"note:\" line\n"
                   "here, or a journal entry under systemd. A note of the same kind for the same\n"
                   "drive waits 24 hours (6 for heat), across restarts too.\n"
                   "  --textfile DIR  after each pass, write DIR/vantrel.prom in the Prometheus text\n"
                   "                  format (for node_exporter's textfile collector), replaced whole\n";
            return exitOK;
        } else {
            err << "vantrel: unknown option for monitor: " << arg << ". Run vantrel monitor --help.\n";
            return exitUsage;
        }
    }

    // One instance per session: a second one asks the first for a pass and defers to it.
    const auto lock = app::SingleInstance::acquire(app::SingleInstance::lockFile(environment));
    int argc = 1;
    char name[] = "vantrel";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    if (!lock.isInstance) {
        std::string why;
        const bool handed = app::AppRequests::handOver(url, why);
        out << "another vantrel runs" << (lock.holder ? " (pid " + std::to_string(*lock.holder) + ")" : std::string())
            << "; it keeps the drives" << (handed ? "" : " (not reached on the session bus: " + why + ")") << '\n';
        return exitOK;
    }

    // Notes go to the desktop when it has a notification service, else into this log.
    std::optional<app::DesktopNotifications> desktop;
    if (!demo && app::DesktopNotifications::available(QDBusConnection::sessionBus())) {
        desktop.emplace(QDBusConnection::sessionBus());
    }
    const app::NoteSink logged = app::logNotes(out, app::stderrIsJournal(), err);
    app::StoreSession::Hooks hooks;
    hooks.log = [&out](const std::string& line) { out << line << std::endl; };
    hooks.notes = [&](const app::Note& note) {
        if (!desktop) return logged(note);
        if (!desktop->show(note)) return false;
        out << "notified: " << app::noteLine(note).substr(6) << std::endl;
        return true;
    };
    app::StoreSession session(machine, demo, app::StoreSession::pathsFor(demo), &application, std::move(hooks));
    app::DriveStore& store = session.store();
    app::Timers& timers = session.timers();
    const app::StatePaths& paths = session.paths();
    // The demo machine comes with months of past readings, so that its history shows.
    if (demo) app::DemoHistory::seedFrom(machine, paths.readings(), timers.now());
    bool first = true;
    std::map<std::string, app::Metrics::Time> lastRead;
    store.onPass = [&](const app::PassReport& pass) {
        for (const auto& line : passLines(pass, first)) out << line << std::endl;
        if (pass.shown) first = false;
        if (!pass.shown || !textfile) return;
        app::Metrics::noteReads(lastRead, pass.drives, timers.now());
        const auto written = app::Metrics::write(platform::systemFiles(), *textfile,
                                                 app::Metrics::text(pass.drives, lastRead));
        if (!written) {
            out << "couldn't write " << (*textfile / app::Metrics::kFileName).string() << ": "
                << std::strerror(written.error().code) << " (" << written.error().call << "); the next pass tries again"
                << std::endl;
        }
    };

    if (once) {
        // Quit only works once the loop runs: the pass starts from inside it.
        QTimer::singleShot(0, &application, [&] { store.refresh([&] { application.quit(); }); });
        application.exec();
        store.withdrawShared();
        return needsCare(store.allDrives()) ? exitNeedsCare : exitOK;
    }

    // Which programs write to the system SSD: counted every 30 seconds into the write
    // history, which `vantrel writes` then reads, while the monitor runs.
    std::optional<app::WritesLoop> writes;
    const auto access = app::WritesAccess::forUser(::geteuid() == 0, machine.procFiles, machine.serviceWrites);
    if (!demo && access.source && !paths.data.empty() && machine.clock) {
        app::AppWrites::Options options;
        options.source = access.source;
        options.files = app::AppWritesFiles::in(paths.data);
        options.log = [&application, &out](const std::string& line) {
            QMetaObject::invokeMethod(&application, [&out, line] { out << "writes: " << line << std::endl; },
                                      Qt::QueuedConnection);
        };
        writes.emplace(std::move(options), *machine.clock);
    }
    const auto countPass = store.onPass;
    store.onPass = [&, countPass](const app::PassReport& pass) {
        countPass(pass);
        if (!writes || !pass.shown) return;
        for (const auto& drive : pass.drives) {
            if (drive.hostsBootVolume) writes->setDriveWritten(drive.dataWrittenBytes);
        }
    };

    app::AppRequests requests(store, timers);
    requests.links().setHandler([&store](const std::string& link) { app::AppRequests::selectLinkedDrive(store, link); });
    if (std::string why; !requests.publish(why)) out << "requests from other programs: " << why << std::endl;

    stopSignal = 0;
    std::signal(SIGINT, onStopSignal);
    std::signal(SIGTERM, onStopSignal);
    QTimer stopWatch;
    QObject::connect(&stopWatch, &QTimer::timeout, &application, [&] {
        if (stopSignal != 0) application.quit();
    });
    stopWatch.start(200);

    // Disks from udev and volumes from the mount table, each on a thread of its own,
    // handed to the store's.
    app::StoreEvents events(store, [&out](const std::string& line) { out << line << std::endl; });
    if (!demo) {
        std::string why;
        if (auto monitor = machine.openDiskEvents ? machine.openDiskEvents(why) : nullptr) {
            events.add(std::move(monitor));
        } else {
            out << "disk events: " << why << "; passes only on the poller's cadence" << std::endl;
        }
        if (auto mounts = machine.openMountEvents ? machine.openMountEvents(why) : nullptr) {
            events.add(std::move(mounts));
        } else if (machine.openMountEvents) {
            out << "mount events: " << why << std::endl;
        }
    }

    store.start();
    application.exec();
    store.withdrawShared();
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    return exitOK;
}

int runHistoryCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                      std::ostream& err) {
    std::optional<std::string> device;
    bool json = false;
    for (const auto arg : args) {
        if (arg == "--json") {
            json = true;
        } else if (arg == "--help" || arg == "-h") {
            out << "Usage: vantrel history DEVICE [--json]\n"
                   "The readings kept of a drive (nvme0n1, sda or its id) and the forecast they give.\n";
            return exitOK;
        } else if (!device && !arg.starts_with("-")) {
            device = std::string(arg.starts_with("/dev/") ? arg.substr(5) : arg);
        } else {
            err << "vantrel: unknown option for history: " << arg << ". Run vantrel history --help.\n";
            return exitUsage;
        }
    }
    if (!device) {
        err << "vantrel: history needs a drive: vantrel history nvme0n1.\n";
        return exitUsage;
    }
    const app::StatePaths paths = app::StoreSession::pathsFor(demo);
    const auto all = app::StateFiles::readReadings(paths.readings());
    // Readings are kept by drive id; the known drives tell which id a kernel name had
    // last.
    std::optional<app::DriveSummary> known;
    for (const auto& [key, entry] : app::StateFiles::readKnownDrives(paths.knownDrives()).entries) {
        if ((entry.drive.bsdName == *device || entry.drive.id == *device) && (!known || entry.drive.id == *device)) {
            known = entry.drive;
        }
    }
    const std::string id = known ? known->id : *device;
    const auto readings = app::ForecastHistory::sameDrive(app::Readings::of(all, id));
    if (readings.empty()) {
        err << "vantrel: no readings of " << *device << " are kept.\n";
        return exitNoDevice;
    }
    std::optional<drivekit::LifeForecast> forecast;
    const auto& last = readings.back();
    if (last.lifeLeft && last.writtenBytes && known && known->id != known->bsdName) {
        forecast = app::ForecastHistory::refined(100 - *last.lifeLeft, *last.writtenBytes, known->capacityBytes, readings);
    }
    if (json) {
        drivekit::json::Object object;
        object["driveID"] = id;
        if (known) object["name"] = known->name;
        object["readings"] = app::Readings::toJSON(readings);
        if (forecast) object["forecast"] = drivekit::ReportJSON::forecast(*forecast);
        out << drivekit::json::dump(object) << '\n';
        return exitOK;
    }
    out << (known ? known->name + " (" + id + ")" : id) << ": " << readings.size() << " readings\n";
    out << "date                  tier      score  life  temp  spare  errors  written\n";
    const auto optional = [](const auto& value) { return value ? std::to_string(*value) : std::string("-"); };
    for (const auto& r : readings) {
        out << drivekit::text::format("%-21s %-9s %5s %5s %5s %6s %7s  %s\n", drivekit::json::isoDate(r.date).c_str(),
                                      std::string(drivekit::TierText::raw(r.tier)).c_str(), optional(r.score).c_str(),
                                      optional(r.lifeLeft).c_str(), optional(r.temperatureC).c_str(),
                                      optional(r.spare).c_str(), optional(r.dataErrors).c_str(),
                                      optional(r.writtenBytes).c_str());
    }
    if (forecast) {
        out << "Forecast from these readings: " << drivekit::LifeForecast::leftSentence(*forecast, machine.locale) << " ("
            << drivekit::ConfidenceText::raw(forecast->confidence) << " confidence)\n";
    } else {
        out << "The readings don't yet give a forecast: it takes two weeks of writes.\n";
    }
    return exitOK;
}

}  // namespace cli
