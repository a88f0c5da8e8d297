#include "platform/linux/linux_mount_watch.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/errno_text.hpp"

namespace platform {

std::unique_ptr<LinuxMountWatch> LinuxMountWatch::open(std::string& error, const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = path + ": " + errnoText(errno);
        return nullptr;
    }
    return std::unique_ptr<LinuxMountWatch>(new LinuxMountWatch(fd));
}

LinuxMountWatch::~LinuxMountWatch() { ::close(fd_); }

std::vector<DiskEvent> LinuxMountWatch::wait(std::chrono::milliseconds timeout) {
    struct pollfd ready {fd_, POLLPRI, 0};
    const int waitMs = static_cast<int>(timeout.count());
    if (::poll(&ready, 1, waitMs) <= 0 || (ready.revents & (POLLPRI | POLLERR)) == 0) return {};
    // The mark is cleared by the poll that saw it; a burst of mounts during the wait is
    // one change.
    return {DiskEvent{DiskEvent::Action::mountsChanged, {}}};
}

}  // namespace platform
