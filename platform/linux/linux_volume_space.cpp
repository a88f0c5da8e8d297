#include "platform/linux/linux_volume_space.hpp"

#include <sys/statvfs.h>

#include <cstdint>
#include <limits>
#include <string>

namespace platform {

namespace {

std::int64_t bytes(fsblkcnt_t blocks, unsigned long fragmentSize) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (fragmentSize == 0) return 0;
    if (blocks > most / fragmentSize) return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(blocks * fragmentSize);
}

}  // namespace

std::optional<SpaceFigures> LinuxVolumeSpace::space(std::string_view mountPoint) const {
    struct statvfs figures {};
    if (::statvfs(std::string(mountPoint).c_str(), &figures) != 0) return std::nullopt;
    // Blocks are counted in fragments; the reserve kept for root isn't free to the user.
    return SpaceFigures{bytes(figures.f_bavail, figures.f_frsize),
                        bytes(figures.f_blocks, figures.f_frsize)};
}

}  // namespace platform
