#pragma once
// Read access to the kernel's sysfs tree, the one source of what drives exist and how
// they are attached. Paths are the kernel's own, such as "/sys/class/block/sda/stat";
// an implementation may map them somewhere else (a fixture tree in tests).
//
// Nothing here raises: a missing, unreadable or vanished entry answers nothing or an
// empty list, because a device can go between two reads of one discovery pass.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class Sysfs {
  public:
    virtual ~Sysfs() = default;

    /// The text of a small attribute file with its one trailing newline removed; any
    /// other white space stays (SCSI model texts are padded). Nothing when the file is
    /// missing, a folder, or refuses the read (write-only or root-only attributes,
    /// EIO of a device that went away).
    virtual std::optional<std::string> read(std::string_view path) const = 0;

    /// The names of a folder's entries, sorted by byte value, without "." and "..".
    /// Links are listed by their own name (the holders of a disk are links). Empty when
    /// the folder is missing or not a folder.
    virtual std::vector<std::string> list(std::string_view path) const = 0;

    /// Whether the path names something, following links ("partition" marks a
    /// partition; a dangling "device" link counts as absent).
    virtual bool exists(std::string_view path) const = 0;

    /// The target text of the link itself, such as "../../../bus/usb" for a
    /// "subsystem" link; nothing when the path is no link.
    virtual std::optional<std::string> readLink(std::string_view path) const = 0;

    /// The canonical path with every link resolved and no "." or ".." left, in the same
    /// path space as the argument: "/sys/class/block/sda" gives
    /// "/sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda".
    /// Walking up the answer's folders visits the device's ancestors. Nothing when any
    /// part of the path is missing.
    virtual std::optional<std::string> resolve(std::string_view path) const = 0;

  protected:
    Sysfs() = default;
    Sysfs(const Sysfs&) = default;
    Sysfs& operator=(const Sysfs&) = default;
};

/// Whether `name` is one path component. A kernel name from the user or a stored record
/// must not walk out of the folder it is looked up in ("..", "a/b").
inline bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

/// The folder of block device `name`: "/sys/class/block/sda".
inline std::string blockPath(std::string_view name) { return "/sys/class/block/" + std::string(name); }

/// The folder above `path`; "/" above a top-level entry and above a bare name.
inline std::string parentOf(std::string_view path) {
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos || slash == 0) return "/";
    return std::string(path.substr(0, slash));
}

}  // namespace platform
