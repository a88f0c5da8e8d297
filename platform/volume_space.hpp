#pragma once
// How full a mounted file system is. Summaries show the free space of a drive's volumes.
//
// Nothing here raises: a path that isn't mounted or can't be asked gives nothing.
#include <cstdint>
#include <optional>
#include <string_view>

namespace platform {

/// In bytes. `free` is what an unprivileged user can still write.
struct SpaceFigures {
    std::int64_t free = 0;
    std::int64_t total = 0;

    bool operator==(const SpaceFigures&) const = default;
};

class VolumeSpace {
  public:
    virtual ~VolumeSpace() = default;

    /// The figures of the file system mounted at `mountPoint`.
    virtual std::optional<SpaceFigures> space(std::string_view mountPoint) const = 0;

  protected:
    VolumeSpace() = default;
    VolumeSpace(const VolumeSpace&) = default;
    VolumeSpace& operator=(const VolumeSpace&) = default;
};

}  // namespace platform
