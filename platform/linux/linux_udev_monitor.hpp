#pragma once
// Disk events from udev's netlink monitor (libudev): block devices of type "disk" as they
// are added and removed. Events come after udev has handled them (the device node exists
// and its properties are set) when the udev daemon runs, and straight from the kernel
// when it doesn't, as in a minimal system.
#include <memory>
#include <optional>
#include <string>

#include "platform/disk_events.hpp"

struct udev;
struct udev_monitor;

namespace platform {

class LinuxUdevMonitor final : public DiskEvents {
public:
    /// Starts listening; nothing, with the reason in `error`, when netlink refuses.
    static std::unique_ptr<LinuxUdevMonitor> open(std::string& error);

    LinuxUdevMonitor(const LinuxUdevMonitor&) = delete;
    LinuxUdevMonitor& operator=(const LinuxUdevMonitor&) = delete;
    ~LinuxUdevMonitor() override;

    std::vector<DiskEvent> wait(std::chrono::milliseconds timeout) override;

private:
    LinuxUdevMonitor(struct udev* context, struct udev_monitor* monitor);

    struct udev* context_;
    struct udev_monitor* monitor_;
};

}  // namespace platform
