#pragma once
// Changes of the mount table, as a source of disk events: the kernel marks
// /proc/self/mountinfo for poll() (POLLPRI and POLLERR) each time a file system is mounted
// or unmounted in this process's mount namespace, and clears the mark as poll() reports
// it. A volume that an automounter mounts a moment after its disk arrived, or that the
// user unmounts, is news the udev monitor never carries.
#include <memory>
#include <string>

#include "platform/disk_events.hpp"

namespace platform {

class LinuxMountWatch final : public DiskEvents {
public:
    /// Starts watching `path`; nothing, with the reason in `error`, when it can't be opened.
    static std::unique_ptr<LinuxMountWatch> open(std::string& error,
                                                 const std::string& path = "/proc/self/mountinfo");

    LinuxMountWatch(const LinuxMountWatch&) = delete;
    LinuxMountWatch& operator=(const LinuxMountWatch&) = delete;
    ~LinuxMountWatch() override;

    /// One `mountsChanged` event when the table changed since the last call (however often
    /// it did), waiting up to `timeout` for it; nothing otherwise.
    std::vector<DiskEvent> wait(std::chrono::milliseconds timeout) override;

private:
    explicit LinuxMountWatch(int fd) : fd_(fd) {}
    int fd_;
};

}  // namespace platform
