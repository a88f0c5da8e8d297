#pragma once
// The one composition of a running drive store: the services a `DriveStore` needs over a
// Machine (the demo's or this computer's), its state folders and its timers. The monitor
// and the desktop application each make one, so both read, keep and sample drives alike.
#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/machine.hpp"
#include "app/store/drive_store.hpp"
#include "app/store/state_files.hpp"
#include "app/store/system_stats.hpp"
#include "app/store/timers.hpp"

namespace app {

class StoreSession {
  public:
    using Environment = std::function<std::optional<std::string>(const char*)>;

    /// The state folders from the environment; the demo machine's under data/demo, so that
    /// its history never mixes with this computer's.
    static StatePaths pathsFor(bool demo, const Environment& environment);
    /// The same, from the process's environment.
    static StatePaths pathsFor(bool demo);

    /// What the front end adds to the store.
    struct Hooks {
        std::function<void(const std::string&)> log;
        /// Where alerts are shown; none keeps the store silent.
        NoteSink notes;
        /// Whether a window is visible; the speed sampler idles when not. None: always.
        std::function<bool()> windowVisible;
    };

    /// A store over `machine`, which must outlive the session, with its preferences read
    /// from `paths`. Passes run on Qt's thread pool and come back through `context`'s event
    /// loop (one after the other where the machine can't be read from two threads). Sleeping
    /// disks are left asleep. The store isn't started: the caller hooks `onPass` first.
    StoreSession(Machine& machine, bool demo, StatePaths paths, QObject* context, Hooks hooks);
    ~StoreSession();
    StoreSession(const StoreSession&) = delete;
    StoreSession& operator=(const StoreSession&) = delete;

    DriveStore& store() { return *store_; }
    const StatePaths& paths() const { return paths_; }
    Timers& timers() { return timers_; }
    bool demo() const { return demo_; }
    /// The careful USB check is offered: the machine can take a drive, or ask the service to.
    bool usbCheckAvailable() const { return usbCheckAvailable_; }
    /// The system's figures as the store last read them (every 30 seconds); none on the
    /// demo machine or where /proc can't be read.
    const std::optional<SystemStats>& systemStats() const { return *system_; }

  private:
    bool demo_;
    bool usbCheckAvailable_ = false;
    StatePaths paths_;
    QtTimers timers_;
    std::shared_ptr<std::optional<SystemStats>> system_ = std::make_shared<std::optional<SystemStats>>();
    std::unique_ptr<DriveStore> store_;
};

}  // namespace app
