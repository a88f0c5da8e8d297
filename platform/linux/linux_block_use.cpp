#include "platform/linux/linux_block_use.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>

namespace platform {

std::vector<std::string> LinuxBlockUse::activeSwaps() const {
    std::ifstream in(root_ / "proc/swaps");
    std::vector<std::string> devices;
    std::string line;
    std::getline(in, line);  // the header
    while (std::getline(in, line)) {
        std::string field;
        std::istringstream(line) >> field;
        // A swap file lives on a mounted file system, which the unmount refuses anyway.
        if (field.starts_with("/dev/")) {
            devices.push_back(std::filesystem::path(field).filename().string());
        }
    }
    return devices;
}

Result<void, int> LinuxBlockUse::openExclusively(std::string_view name) const {
    const std::string path = (root_ / "dev" / std::string(name)).string();
    // Read-only and non-blocking: the open itself sends nothing to the medium.
    const int fd = ::open(path.c_str(), O_RDONLY | O_EXCL | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return Unexpected(errno);
    ::close(fd);
    return {};
}

}  // namespace platform
