#include "platform/linux/linux_udev_monitor.hpp"

#include <libudev.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "platform/linux/errno_text.hpp"

namespace platform {
namespace {

// Without the daemon nothing is ever sent on udev's own channel; the kernel's carries
// the same adds and removes, only earlier.
const char* eventSource() { return ::access("/run/udev/control", F_OK) == 0 ? "udev" : "kernel"; }

std::optional<DiskEvent> eventOf(struct udev_device* device) {
    const char* action = udev_device_get_action(device);
    const char* name = udev_device_get_sysname(device);
    const char* type = udev_device_get_devtype(device);
    if (!action || !name || !type || std::string_view(type) != "disk") return std::nullopt;
    const std::string_view what(action);
    if (what == "add") return DiskEvent{DiskEvent::Action::added, name};
    if (what == "remove") return DiskEvent{DiskEvent::Action::removed, name};
    return std::nullopt;
}

}  // namespace

std::unique_ptr<LinuxUdevMonitor> LinuxUdevMonitor::open(std::string& error) {
    struct udev* context = udev_new();
    if (!context) {
        error = "udev: " + errnoText(errno);
        return nullptr;
    }
    struct udev_monitor* monitor = udev_monitor_new_from_netlink(context, eventSource());
    if (!monitor || udev_monitor_filter_add_match_subsystem_devtype(monitor, "block", "disk") < 0 ||
        udev_monitor_enable_receiving(monitor) < 0) {
        error = "udev monitor: " + errnoText(errno);
        if (monitor) udev_monitor_unref(monitor);
        udev_unref(context);
        return nullptr;
    }
    return std::unique_ptr<LinuxUdevMonitor>(new LinuxUdevMonitor(context, monitor));
}

LinuxUdevMonitor::LinuxUdevMonitor(struct udev* context, struct udev_monitor* monitor)
    : context_(context), monitor_(monitor) {}

LinuxUdevMonitor::~LinuxUdevMonitor() {
    udev_monitor_unref(monitor_);
    udev_unref(context_);
}

std::vector<DiskEvent> LinuxUdevMonitor::wait(std::chrono::milliseconds timeout) {
    std::vector<DiskEvent> events;
    struct pollfd ready {udev_monitor_get_fd(monitor_), POLLIN, 0};
    int waitMs = static_cast<int>(timeout.count());
    // The first poll waits; the rest only drain what is already queued.
    while (::poll(&ready, 1, waitMs) > 0 && (ready.revents & POLLIN) != 0) {
        struct udev_device* device = udev_monitor_receive_device(monitor_);
        if (!device) break;
        if (auto event = eventOf(device)) events.push_back(std::move(*event));
        udev_device_unref(device);
        waitMs = 0;
    }
    return events;
}

}  // namespace platform
