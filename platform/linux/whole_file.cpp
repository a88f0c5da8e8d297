#include "platform/linux/whole_file.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

std::optional<std::string> readWholeFile(const std::string& path, std::size_t limit) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::string text;
    char buffer[16384];
    bool failed = false;
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) continue;
            failed = true;
            break;
        }
        // A file of /proc may come in several reads, each ending short of the buffer; only
        // a read of nothing is its end.
        if (got == 0) break;
        text.append(buffer, static_cast<std::size_t>(got));
        if (text.size() > limit) {
            failed = true;
            break;
        }
    }
    ::close(fd);
    if (failed) return std::nullopt;
    return text;
}

}  // namespace platform
