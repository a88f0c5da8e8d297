#pragma once
// The store's device events: disks coming and going (the udev monitor) and volumes mounted
// or unmounted (the mount table), each source waiting on a thread of its own. Every event
// is handed to the store's thread, logged, and becomes a debounced pass there, so a burst
// from both sources at once still makes one pass and its settling pass.
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "app/store/drive_store.hpp"
#include "platform/disk_events.hpp"

namespace app {

/// "event: added sdb", "event: removed sdb", "event: mounts changed".
std::string eventLine(const platform::DiskEvent& event);

class StoreEvents {
  public:
    /// Runs a closure on the store's thread.
    using ToStore = std::function<void(std::function<void()>)>;

    /// `toStore` defaults to a queued call through the store's event loop.
    StoreEvents(DriveStore& store, std::function<void(const std::string&)> log, ToStore toStore = {});
    /// Stops every source's thread; each ends within its half-second wait.
    ~StoreEvents();
    StoreEvents(const StoreEvents&) = delete;
    StoreEvents& operator=(const StoreEvents&) = delete;

    void add(std::unique_ptr<platform::DiskEvents> source);

  private:
    DriveStore& store_;
    std::function<void(const std::string&)> log_;
    ToStore toStore_;
    std::atomic<bool> running_{true};
    std::vector<std::unique_ptr<platform::DiskEvents>> sources_;
    std::vector<std::thread> threads_;
};

}  // namespace app
