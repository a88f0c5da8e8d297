#include <set>

#include "drivekit/discovery/discovery_pass.hpp"

namespace drivekit::Discovery::Internal {
namespace {


class VolumeWalker {
  public:
    VolumeWalker(const Pass& pass, MediaWalk& walk) : pass_(pass), walk_(walk) {}

    void disk(const std::string& name) {
        visit(name, false);
        for (const auto& partition : partitionsOf(pass_.sysfs(), name))
            visit(partition, true);
    }

  private:
    // One device of the disk: a volume when it has a name or a mount point, then what is
    // stacked on it.
    void visit(const std::string& name, bool isPartition, int depth = 0) {
        if (!seen_.insert(name).second || depth > 16) return;
        const auto device = pass_.device(name);
        const auto& content = pass_.content(device);
        if (isPartition && content.partitionType && isRAIDPartitionType(*content.partitionType)) {
            walk_.isRAIDMember = true;
        }
        if (content.type == "linux_raid_member") walk_.isRAIDMember = true;
        if (auto volume = readVolume(device, content)) walk_.volumes.push_back(std::move(*volume));

        for (const auto& holder : holdersOf(pass_.sysfs(), name)) {
            if (isNumbered(holder, "md")) {
                walk_.isRAIDMember = true;
                if (!walk_.raid) walk_.raid = raidInfo(pass_, holder, name, content.label);
            }
            visit(holder, false, depth + 1);
        }
    }

    std::optional<Volume> readVolume(const BlockDevice& device,
                                     const platform::BlockContent& content) const {
        const bool holdsFileSystem =
            content.type && (content.usage ? *content.usage == "filesystem" : true);
        const auto* mount = pass_.firstMount(device);
        Volume volume;
        volume.bsdName = device.name;
        if (holdsFileSystem && content.label && !content.label->empty())
            volume.name = content.label;
        if (mount != nullptr) volume.mountPoint = mount->mountPoint;
        if (!volume.name && !volume.mountPoint) return std::nullopt;
        if (holdsFileSystem) {
            volume.fileSystem = content.type;
        } else if (mount != nullptr && !mount->fileSystem.empty()) {
            volume.fileSystem = mount->fileSystem;
        }
        return volume;
    }

    const Pass& pass_;
    MediaWalk& walk_;
    std::set<std::string, std::less<>> seen_;
};

}  // namespace

MediaWalk walkMedia(const Pass& pass, const std::string& disk) {
    MediaWalk walk;
    VolumeWalker(pass, walk).disk(disk);
    return walk;
}

}  // namespace drivekit::Discovery::Internal
