#include "app/store/store_events.hpp"

#include <QMetaObject>

namespace app {

std::string eventLine(const platform::DiskEvent& event) {
    switch (event.action) {
        case platform::DiskEvent::Action::added:
            return "event: added " + event.name;
        case platform::DiskEvent::Action::removed:
            return "event: removed " + event.name;
        case platform::DiskEvent::Action::mountsChanged:
            break;
    }
    return "event: mounts changed";
}

StoreEvents::StoreEvents(DriveStore& store, std::function<void(const std::string&)> log, ToStore toStore)
    : store_(store), log_(std::move(log)), toStore_(std::move(toStore)) {
    if (!toStore_) {
        toStore_ = [&store](std::function<void()> call) {
            QMetaObject::invokeMethod(&store, std::move(call), Qt::QueuedConnection);
        };
    }
}

StoreEvents::~StoreEvents() {
    running_ = false;
    for (auto& thread : threads_) thread.join();
}

void StoreEvents::add(std::unique_ptr<platform::DiskEvents> source) {
    auto& events = *sources_.emplace_back(std::move(source));
    threads_.emplace_back([this, &events] {
        while (running_) {
            for (const auto& event : events.wait(std::chrono::milliseconds(500))) {
                // Nothing of this object: the call may run after it is gone.
                toStore_([&store = store_, log = log_, line = eventLine(event)] {
                    if (log) log(line);
                    store.scheduleRefresh();
                });
            }
        }
    });
}

}  // namespace app
