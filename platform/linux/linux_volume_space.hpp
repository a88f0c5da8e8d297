#pragma once
// Free and total space through statvfs(3).
#include "platform/volume_space.hpp"

namespace platform {

class LinuxVolumeSpace final : public VolumeSpace {
  public:
    std::optional<SpaceFigures> space(std::string_view mountPoint) const override;
};

}  // namespace platform
