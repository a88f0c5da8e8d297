#pragma once
// DemoMounts, DemoBlockProbe and DemoVolumeSpace: the demo machine's mount table, what
// its block devices hold and how full its file systems are, fixed when the machine is
// described.
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/block_probe.hpp"
#include "platform/mounts.hpp"
#include "platform/volume_space.hpp"

namespace platform {

class DemoMounts final : public Mounts {
  public:
    explicit DemoMounts(std::vector<Mount> mounts) : mounts_(std::move(mounts)) {}
    std::vector<Mount> list() const override { return mounts_; }

  private:
    std::vector<Mount> mounts_;
};

/// Answers by kernel name; a device the description doesn't name holds nothing known.
class DemoBlockProbe final : public BlockProbe {
  public:
    explicit DemoBlockProbe(std::map<std::string, BlockContent, std::less<>> devices)
        : devices_(std::move(devices)) {}
    BlockContent probe(std::string_view name, unsigned, unsigned) const override {
        const auto it = devices_.find(name);
        return it == devices_.end() ? BlockContent{} : it->second;
    }

  private:
    std::map<std::string, BlockContent, std::less<>> devices_;
};

/// Answers by mount point; a point the description doesn't name has no figures.
class DemoVolumeSpace final : public VolumeSpace {
  public:
    explicit DemoVolumeSpace(std::map<std::string, SpaceFigures, std::less<>> figures)
        : figures_(std::move(figures)) {}
    std::optional<SpaceFigures> space(std::string_view mountPoint) const override {
        const auto it = figures_.find(mountPoint);
        if (it == figures_.end()) return std::nullopt;
        return it->second;
    }

  private:
    std::map<std::string, SpaceFigures, std::less<>> figures_;
};

}  // namespace platform
