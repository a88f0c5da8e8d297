#include "platform/linux/whole_file.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

std::optional<std::string> readWholeFile(const std::string& path, std::size_t limit, FileEnd end) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::string text;
    // A page: what sysfs gives in one read, so that a read as long as the buffer says "more".
    char buffer[4096];
    bool failed = false;
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) continue;
            failed = true;
            break;
        }
        if (got == 0) break;
        text.append(buffer, static_cast<std::size_t>(got));
        if (text.size() > limit) {
            failed = true;
            break;
        }
        if (end == FileEnd::shortRead && static_cast<std::size_t>(got) < sizeof buffer) break;
    }
    ::close(fd);
    if (failed) return std::nullopt;
    return text;
}

}  // namespace platform
