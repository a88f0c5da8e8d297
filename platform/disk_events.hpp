#pragma once
// Disks that come and go: whole disks as the kernel adds and removes them, one event each.
// Partitions are not reported; a drive's arrival is its whole disk's. A source of the
// mount table reports instead that volumes were mounted or unmounted, without a name.
#include <chrono>
#include <string>
#include <vector>

namespace platform {

struct DiskEvent {
    enum class Action { added, removed, mountsChanged };
    Action action = Action::added;
    std::string name;  // the kernel name of the whole disk, "sdb"; empty for mountsChanged

    bool operator==(const DiskEvent&) const = default;
};

class DiskEvents {
public:
    virtual ~DiskEvents() = default;

    /// The events that came in, waiting up to `timeout` for the first. Returns early and
    /// empty when a signal interrupts the wait, so a caller can look at why.
    virtual std::vector<DiskEvent> wait(std::chrono::milliseconds timeout) = 0;

protected:
    DiskEvents() = default;
    DiskEvents(const DiskEvents&) = default;
    DiskEvents& operator=(const DiskEvents&) = default;
};

}  // namespace platform
