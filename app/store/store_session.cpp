#include "app/store/store_session.hpp"

#include <cstdlib>

#include "app/drive_check.hpp"
#include "app/eject.hpp"
#include "app/store/drive_source.hpp"
#include "app/store/system_stats.hpp"

namespace app {

StatePaths StoreSession::pathsFor(bool demo, const Environment& environment) {
    auto paths = StatePaths::fromEnvironment(environment);
    if (demo && !paths.data.empty()) paths.data /= "demo";
    return paths;
}

StatePaths StoreSession::pathsFor(bool demo) {
    return pathsFor(demo, [](const char* name) -> std::optional<std::string> {
        const char* value = std::getenv(name);
        return value ? std::optional<std::string>(value) : std::nullopt;
    });
}

StoreSession::StoreSession(Machine& machine, bool demo, StatePaths paths, QObject* context, Hooks hooks)
    : demo_(demo), paths_(std::move(paths)) {
    ReadContext read = readContextOf(machine);
    read.wake = false;  // a store that runs for hours must never keep disks spinning

    DriveStore::Services services;
    services.read = driveSource(read);
    // The demo machine's fixtures aren't made to be read from two threads at once.
    services.background = machine.concurrentReads ? qtBackground(context)
                                                  : Background([](auto reading, auto back) { back(reading()); });
    services.timers = &timers_;
    services.paths = paths_;
    services.persistsApprovals = !demo;
    services.locale = machine.locale;
    services.log = std::move(hooks.log);
    services.notes = std::move(hooks.notes);
    services.windowVisible = std::move(hooks.windowVisible);
    if (machine.blockCounters != nullptr) services.ioStats = ioStatsFrom(*machine.blockCounters);
    if (!demo && machine.procFiles) {
        // The last figures stay with the reader: swap and memory are told as changes.
        services.system = [&machine, last = system_]()
            -> std::optional<SystemMark> {
            *last = SystemStatsReader::updated(*last, SystemStatsReader::read(*machine.procFiles, machine.sysfs,
                                                                               std::nullopt));
            return (*last)->mark();
        };
    }
    // The careful USB check, ejecting and mounting again, where this machine can do them:
    // with root by itself, without through the privileged service.
    usbCheckAvailable_ = machine.capture != nullptr || machine.serviceCheck != nullptr;
    services.usbCheckAvailable = usbCheckAvailable_;
    services.usbCheck = USBRead::runOn(machine);
    services.runCheck = qtRunCheck(context);
    services.work = qtWork(context);
    services.driveFound = [&machine](const std::string& name) {
        return drivekit::Discovery::drive(name, sourcesOf(machine)).has_value();
    };
    if (machine.volumes != nullptr && machine.holders != nullptr) {
        services.eject = [&machine](const EjectJob& job) {
            return Eject::run(job, *machine.volumes, *machine.holders, ejectMountPoints(job, machine));
        };
        services.mountAgain = [&machine](const std::string& name) {
            const auto mounted = mountDrive(machine, name);
            return mounted && !mounted->mountPoints.empty();
        };
    }
    store_ = std::make_unique<DriveStore>(std::move(services), StateFiles::readPrefs(paths_.prefs()));
}

StoreSession::~StoreSession() = default;

}  // namespace app
