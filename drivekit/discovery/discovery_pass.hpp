#pragma once
// What the files of discovery share inside one pass, and the steps each of them takes:
// the block pass (discovery.cpp) asks the USB ancestry (usb_ancestry.cpp), the PCI Express
// and Thunderbolt/USB4 link (thunderbolt.cpp), the md RAID facts (md_raid.cpp) and the
// volume walk (volumes.cpp) about one disk. Not part of DriveKit's interface.
#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/discovery.hpp"

namespace drivekit::Discovery::Internal {

inline constexpr std::string_view classBlockFolder = "/sys/class/block";
inline constexpr std::string_view classBlock = "/sys/class/block/";
inline constexpr std::string_view devicesRoot = "/sys/devices";

bool isDigit(char c);
bool isLetter(char c);
char lowerASCII(char c);
std::string lowered(std::string_view text);
bool allDigits(std::string_view text);
/// "loop0", "md127", "dm-3": the prefix and nothing but a number after it.
bool isNumbered(std::string_view name, std::string_view prefix);
using platform::isPlainName;
using platform::parentOf;
std::string_view baseName(std::string_view path);
/// "5000", "480", "1.5": USB speeds in Mb/s, one of them with a fraction.
std::optional<double> parseDecimal(std::string_view text);
/// dddd:bb:dd.f
bool isPCIAddress(std::string_view name);
/// The kernel's names of USB devices: "usb2" for a root hub, "2-1.4" below it (bus, then
/// the ports). Interfaces ("2-1.4:1.0") and everything else have no idVendor.
bool isUSBDeviceName(std::string_view name);

using text::number;

template <std::size_t N>
bool contains(const std::array<std::string_view, N>& set, std::string_view word) {
    return std::find(set.begin(), set.end(), word) != set.end();
}

// The facts of one block device that the volume walk needs.
struct BlockDevice {
    std::string name;
    unsigned major = 0;
    unsigned minor = 0;
    bool hasNumbers = false;
};

// State of one pass: the mount table and the device numbers are read once, and each
// device is probed once.
class Pass {
  public:
    explicit Pass(const Sources& sources) : sources_(sources), mounts_(sources.mounts.list()) {}

    const Sources& sources() const { return sources_; }
    const platform::Sysfs& sysfs() const { return sources_.sysfs; }
    const std::vector<platform::Mount>& mounts() const { return mounts_; }

    std::optional<std::string> attribute(std::string_view path) const {
        return sources_.sysfs.read(path);
    }

    BlockDevice device(const std::string& name) const {
        BlockDevice device{name};
        if (const auto dev = attribute(std::string(classBlock) + name + "/dev")) {
            const auto colon = dev->find(':');
            const auto major = number<unsigned>(std::string_view(*dev).substr(0, colon));
            const auto minor =
                colon == std::string::npos
                    ? std::nullopt
                    : number<unsigned>(std::string_view(*dev).substr(colon + 1));
            if (major && minor) {
                device.major = *major;
                device.minor = *minor;
                device.hasNumbers = true;
            }
        }
        return device;
    }

    const platform::BlockContent& content(const BlockDevice& device) const {
        {
            const std::lock_guard lock(cacheLock_);
            if (const auto it = probed_.find(device.name); it != probed_.end()) return it->second;
        }
        // Probed outside the lock, so that disks described at the same time don't wait on
        // each other's probes; when two threads race, the first one stored stays.
        platform::BlockContent content;
        if (device.hasNumbers) content = sources_.probe.probe(device.name, device.major, device.minor);
        const std::lock_guard lock(cacheLock_);
        return probed_.emplace(device.name, std::move(content)).first->second;
    }

    /// The first mount of the device, by its numbers or, for file systems that report
    /// their own numbers (btrfs), by the device named as the source.
    const platform::Mount* firstMount(const BlockDevice& device) const {
        std::optional<std::string> mapperName;
        if (device.name.starts_with("dm-")) {
            mapperName = attribute(std::string(classBlock) + device.name + "/dm/name");
        }
        for (const auto& mount : mounts_) {
            if (device.hasNumbers && mount.major == device.major && mount.minor == device.minor) {
                return &mount;
            }
            if (mount.source == "/dev/" + device.name) return &mount;
            if (mapperName && mount.source == "/dev/mapper/" + *mapperName) return &mount;
        }
        return nullptr;
    }

    /// The kernel name of the block device with these numbers; nothing for file systems
    /// without one (tmpfs, proc).
    std::optional<std::string> nameOf(unsigned major, unsigned minor) const {
        const std::lock_guard lock(cacheLock_);
        if (!numbersRead_) {
            for (const auto& name : sources_.sysfs.list(classBlockFolder)) {
                const auto device = this->device(name);
                if (device.hasNumbers) names_[{device.major, device.minor}] = name;
            }
            numbersRead_ = true;
        }
        const auto it = names_.find({major, minor});
        if (it == names_.end()) return std::nullopt;
        return it->second;
    }

  private:
    const Sources& sources_;
    std::vector<platform::Mount> mounts_;
    mutable std::map<std::string, platform::BlockContent, std::less<>> probed_;
    mutable std::map<std::pair<unsigned, unsigned>, std::string> names_;
    mutable bool numbersRead_ = false;
    // A pass may describe its disks on several threads at once (allDrivesConcurrently).
    mutable std::mutex cacheLock_;
};

/// The devices stacked on a block device, in their natural order.
using platform::holdersOf;
/// The partitions of a disk, in their natural order.
using platform::partitionsOf;
/// The folders above a device, nearest first, up to but not including /sys/devices.
std::vector<std::string> ancestorsOf(const std::string& path, bool includeSelf);

// USB ancestry (usb_ancestry.cpp).

struct USBDevice {
    std::string path;
    USBInfo info;
    std::optional<double> megabitsPerSecond;
};
/// The nearest USB device among the folders above a disk; nothing for a disk not on USB.
std::optional<USBDevice> usbDeviceAbove(const Pass& pass, const std::vector<std::string>& chain);

// PCI Express and Thunderbolt/USB4 (thunderbolt.cpp).

/// Whether the disk's PCI path leaves the computer: through a Thunderbolt/USB4 router or
/// domain, or below a port the kernel marks as facing the outside.
bool crossesThunderbolt(const Pass& pass, const std::vector<std::string>& chain);
/// The PCI Express link of the nearest folder that has one, with the tunnel it crosses
/// when `tunnelled`; nothing when no folder has a readable link.
std::optional<LinkInfo> pciExpressLink(const Pass& pass, const std::vector<std::string>& chain,
                                       bool tunnelled);

// md RAID (md_raid.cpp).

/// A partition type that marks an md member: the GPT type or the MBR byte 0xfd.
bool isRAIDPartitionType(std::string_view type);
/// The set an md device forms, as the member with this kernel name sees it.
RAIDInfo raidInfo(const Pass& pass, const std::string& md, const std::string& member,
                  const std::optional<std::string>& memberLabel);
/// Whether the working folder lies on an md set; not knowing counts as yes.
bool currentDirectoryIsOnRAID(const Pass& pass);

// Volumes (volumes.cpp).

struct MediaWalk {
    std::vector<Volume> volumes;
    bool isRAIDMember = false;
    std::optional<RAIDInfo> raid;
};
/// The volumes of a disk (the disk itself, its partitions and what is stacked on them)
/// and whether any of them makes it an md member.
MediaWalk walkMedia(const Pass& pass, const std::string& disk);

}  // namespace drivekit::Discovery::Internal
