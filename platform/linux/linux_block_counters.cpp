#include "platform/linux/linux_block_counters.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace platform {

std::optional<BlockCounters> blockCountersOf(std::string_view statLine) {
    std::array<std::uint64_t, 7> fields{};
    std::size_t at = 0;
    for (auto& field : fields) {
        while (at < statLine.size() && statLine[at] == ' ') ++at;
        const std::size_t start = at;
        std::uint64_t value = 0;
        while (at < statLine.size() && statLine[at] >= '0' && statLine[at] <= '9') {
            value = value * 10 + static_cast<std::uint64_t>(statLine[at] - '0');
            ++at;
        }
        if (at == start) return std::nullopt;
        field = value;
    }
    return BlockCounters{fields[2] * 512, fields[6] * 512};
}

LinuxBlockCounters::LinuxBlockCounters(std::string root) : root_(std::move(root)) {}

LinuxBlockCounters::~LinuxBlockCounters() {
    for (const auto& entry : open_) ::close(entry.fd);
}

std::optional<BlockCounters> LinuxBlockCounters::read(std::string_view disk) {
    // A plain kernel name only: never a path out of the folder.
    if (disk.empty() || disk.find('/') != std::string_view::npos || disk == "." || disk == "..") return std::nullopt;
    auto entry = std::find_if(open_.begin(), open_.end(), [&](const Open& e) { return e.disk == disk; });
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (entry == open_.end()) {
            const std::string path = root_ + "/" + std::string(disk) + "/stat";
            const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
            if (fd < 0) return std::nullopt;
            open_.push_back(Open{std::string(disk), fd});
            entry = open_.end() - 1;
        }
        std::array<char, 256> buffer{};
        const ssize_t got = ::pread(entry->fd, buffer.data(), buffer.size() - 1, 0);
        if (got > 0) return blockCountersOf(std::string_view(buffer.data(), static_cast<std::size_t>(got)));
        // Gone (the disk was removed; a disk of that name now is another one): let go and
        // look once more.
        ::close(entry->fd);
        open_.erase(entry);
        entry = open_.end();
    }
    return std::nullopt;
}

}  // namespace platform
