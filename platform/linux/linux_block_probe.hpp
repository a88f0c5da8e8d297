#pragma once
// BlockProbe from what udev recorded, else from libblkid.
//
// udev's database ("/run/udev/data/b<major>:<minor>") comes first: any user may read it,
// it costs one small file per device, and it is what the desktop itself shows, since
// udev ran the same libblkid probe when the device appeared or changed. A device udev
// has a record of is taken as the record says, also when it names no file system.
// Without a record (no udev daemon: containers, rescue systems, early boot), libblkid
// probes "/dev/<name>" itself; that needs read access to the device, which normally
// only root has, so an unprivileged caller then learns nothing.
#include <filesystem>
#include <string_view>

#include "platform/block_probe.hpp"

namespace platform {

class LinuxBlockProbe final : public BlockProbe {
  public:
    /// "/" on a running system; a fixture tree holding "run/udev/data" in tests.
    explicit LinuxBlockProbe(std::filesystem::path root = "/");

    BlockContent probe(std::string_view name, unsigned major, unsigned minor) const override;

    /// What libblkid finds in a device or image file; empty when it can't be opened.
    static BlockContent probeFile(const std::filesystem::path& path);
    /// The record of one udev database file's text; nothing when the text has no
    /// "E:" property lines at all.
    static std::optional<BlockContent> fromUdevRecord(std::string_view text);

  private:
    std::filesystem::path root_;
};

}  // namespace platform
