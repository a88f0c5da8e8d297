#pragma once
// What a block device holds: the kind and label of its file system, and for a partition
// the type its partition table gives it. Discovery asks once per device and pass.
//
// Nothing here raises: a device that can't be read, or holds nothing known, gives an
// empty record.
#include <optional>
#include <string>
#include <string_view>

namespace platform {

struct BlockContent {
    /// The kind as the probing library names it: "ext4", "vfat", "crypto_LUKS",
    /// "linux_raid_member", "swap".
    std::optional<std::string> type;
    /// The file system's own name, unescaped ("Backup Disk"); for an md member, the
    /// array's name ("host:name").
    std::optional<std::string> label;
    /// What the content is for: "filesystem", "raid", "crypto", "other".
    std::optional<std::string> usage;
    /// The partition's type in its table: a GPT type GUID in capitals, or an MBR type
    /// as "0x" and two lower-case hexadecimal digits ("0xfd").
    std::optional<std::string> partitionType;

    bool operator==(const BlockContent&) const = default;
};

class BlockProbe {
  public:
    virtual ~BlockProbe() = default;

    /// The content of the block device with this kernel name ("sda1", "dm-0") and
    /// device numbers (from its sysfs "dev" attribute).
    virtual BlockContent probe(std::string_view name, unsigned major, unsigned minor) const = 0;

  protected:
    BlockProbe() = default;
    BlockProbe(const BlockProbe&) = default;
    BlockProbe& operator=(const BlockProbe&) = default;
};

}  // namespace platform
