#include "drivekit/discovery/discovery.hpp"

#include "platform/usb_device.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/bridge.hpp"
#include "drivekit/discovery/link.hpp"

namespace drivekit::Discovery {

namespace {

constexpr std::string_view classBlockFolder = "/sys/class/block";
constexpr std::string_view classBlock = "/sys/class/block/";
constexpr std::string_view devicesRoot = "/sys/devices";

// Kernel-made disks: loop files, RAM disks, device-mapper and md sets (their members are
// the drives), network disks and optical drives.
constexpr std::array<std::string_view, 7> numberedVirtualDisks{"loop", "ram", "zram", "md",
                                                               "nbd",  "sr",  "dm-"};
// Disk families whose own names end in a number, so a number at the end is no partition.
constexpr std::array<std::string_view, 12> numberedDisks{
    "nvme", "mmcblk", "md", "loop", "nbd", "zram", "ram", "dm-", "sr", "nullb", "pmem", "rbd"};
// Path components of paravirtual buses and the kernel's simulated SCSI host: the
// counterpart of a disk image, whose disks are no drives of their own.
constexpr std::array<std::string_view, 4> virtualBusPrefixes{"virtio", "vbd-", "vmbus", "pseudo_"};

constexpr std::string_view mdRaidGUID = "A19D880F-05FC-4D3B-A006-743F0F84911E";
constexpr std::string_view mdRaidMBRType = "0xfd";

constexpr std::array<std::string_view, 20> genericNameWords{
    "external",      "usb",          "storage",     "media",       "enclosure",
    "disk box",      "mass storage", "generic",     "jmicron",     "asmedia",
    "realtek",       "via labs",     "ugreen",      "orico",       "sabrent",
    "unknown drive", "sata bridge",  "sdxc reader", "card reader", "reader"};
constexpr std::array<std::string_view, 3> plainRoles{"Data", "User", "Backup"};
constexpr std::array<std::string_view, 4> defaultCardNames{"NO NAME", "UNTITLED", "Untitled",
                                                           "NONAME"};
// Where desktops and users mount removable volumes; they stand for the other platform's
// /Volumes/ in the naming rules.
constexpr std::array<std::string_view, 3> userMountPrefixes{"/media/", "/run/media/", "/mnt/"};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
char lowerASCII(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

std::string lowered(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), lowerASCII);
    return out;
}

bool allDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

// "loop0", "md127", "dm-3": the prefix and nothing but a number after it.
bool isNumbered(std::string_view name, std::string_view prefix) {
    return name.starts_with(prefix) && allDigits(name.substr(prefix.size()));
}

bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

std::string parentOf(std::string_view path) {
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos || slash == 0) return "/";
    return std::string(path.substr(0, slash));
}

std::string_view baseName(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

template <typename Number>
std::optional<Number> parseNumber(std::string_view text, int base = 10) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\n')) text.remove_suffix(1);
    if (text.empty()) return std::nullopt;
    Number value{};
    const auto* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value, base);
    if (ec != std::errc{} || ptr != end) return std::nullopt;
    return value;
}

// "5000", "480", "1.5": USB speeds in Mb/s, one of them with a fraction.
std::optional<double> parseDecimal(std::string_view text) {
    const auto dot = text.find('.');
    const auto whole = parseNumber<std::uint64_t>(text.substr(0, dot));
    if (!whole) return std::nullopt;
    double value = static_cast<double>(*whole);
    if (dot != std::string_view::npos) {
        const auto fraction = text.substr(dot + 1);
        if (!allDigits(fraction) || fraction.size() > 9) return std::nullopt;
        value += static_cast<double>(*parseNumber<std::uint64_t>(fraction)) /
                 std::pow(10.0, static_cast<double>(fraction.size()));
    }
    return value;
}

bool isPCIAddress(std::string_view name) {
    // dddd:bb:dd.f
    return name.size() == 12 && name[4] == ':' && name[7] == ':' && name[10] == '.';
}

// A Thunderbolt/USB4 router: "0-0" is a domain's host router, "0-1", "0-301" the routers of
// devices below it.
bool isRouterName(std::string_view name) {
    const auto dash = name.find('-');
    return dash != std::string_view::npos && allDigits(name.substr(0, dash)) &&
           allDigits(name.substr(dash + 1));
}
bool isDeviceRouter(std::string_view name) {
    return isRouterName(name) && name.substr(name.find('-') + 1) != "0";
}

bool isUserMountPoint(const std::optional<std::string>& mountPoint) {
    if (!mountPoint) return false;
    return std::any_of(userMountPrefixes.begin(), userMountPrefixes.end(),
                       [&](std::string_view prefix) { return mountPoint->starts_with(prefix); });
}

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
            const auto major = parseNumber<unsigned>(std::string_view(*dev).substr(0, colon));
            const auto minor =
                colon == std::string::npos
                    ? std::nullopt
                    : parseNumber<unsigned>(std::string_view(*dev).substr(colon + 1));
            if (major && minor) {
                device.major = *major;
                device.minor = *minor;
                device.hasNumbers = true;
            }
        }
        return device;
    }

    const platform::BlockContent& content(const BlockDevice& device) const {
        auto it = probed_.find(device.name);
        if (it == probed_.end()) {
            platform::BlockContent content;
            if (device.hasNumbers) {
                content = sources_.probe.probe(device.name, device.major, device.minor);
            }
            it = probed_.emplace(device.name, std::move(content)).first;
        }
        return it->second;
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
};

using platform::holdersOf;

// The partitions of a disk folder, in their natural order.
std::vector<std::string> partitionsOf(const platform::Sysfs& sysfs, const std::string& diskPath,
                                      std::string_view disk) {
    std::vector<std::string> partitions;
    for (const auto& entry : sysfs.list(diskPath)) {
        if (entry.starts_with(disk) && entry.size() > disk.size() &&
            sysfs.exists(diskPath + "/" + entry + "/partition")) {
            partitions.push_back(entry);
        }
    }
    std::sort(partitions.begin(), partitions.end(),
              [](const auto& a, const auto& b) { return naturalLess(a, b); });
    return partitions;
}

// The folders above a device, nearest first, up to but not including /sys/devices.
std::vector<std::string> ancestorsOf(const std::string& path, bool includeSelf) {
    std::vector<std::string> chain;
    std::string at = includeSelf ? path : parentOf(path);
    while (at.size() > devicesRoot.size() && at.starts_with(devicesRoot)) {
        chain.push_back(at);
        at = parentOf(at);
    }
    return chain;
}

bool onVirtualBus(const std::vector<std::string>& chain) {
    for (const auto& folder : chain) {
        const std::string name = lowered(baseName(folder));
        for (const auto prefix : virtualBusPrefixes) {
            if (name.starts_with(prefix)) return true;
        }
    }
    return false;
}

bool isLibataPort(std::string_view name) {
    return name.size() > 3 && name.starts_with("ata") && allDigits(name.substr(3));
}

// PCI Express generation of a link speed text: "8.0 GT/s PCIe" (older kernels "8 GT/s").
std::uint32_t generationOf(std::string_view speed) {
    const auto blank = speed.find(' ');
    const auto rate = parseDecimal(speed.substr(0, blank));
    if (!rate) return 0;
    constexpr std::array<std::pair<double, std::uint32_t>, 6> rates{
        {{2.5, 1}, {5.0, 2}, {8.0, 3}, {16.0, 4}, {32.0, 5}, {64.0, 6}}};
    for (const auto& [gts, generation] : rates) {
        if (std::abs(*rate - gts) < 0.01) return generation;
    }
    return 0;
}

// A link word as the PCI Express capability lays it out: speed in bits 0-3, width in
// bits 4-9. Nothing for a width the field can't hold (255 is "unknown").
std::optional<std::uint32_t> linkWord(const std::optional<std::string>& speed,
                                      const std::optional<std::string>& width) {
    if (!speed || !width) return std::nullopt;
    const auto lanes = parseNumber<std::uint32_t>(*width);
    if (!lanes || *lanes > 0x3F) return std::nullopt;
    return generationOf(*speed) | (*lanes << 4);
}

// Thunderbolt generations 1 to 3 are "Thunderbolt 3" links of 16; 4 is USB4, 32.
std::optional<int> thunderboltVersion(const std::optional<std::string>& generation) {
    if (!generation) return std::nullopt;
    const auto value = parseNumber<int>(*generation);
    if (!value || *value < 1) return std::nullopt;
    if (*value <= 3) return 16;
    if (*value == 4) return 32;
    return std::nullopt;
}

class TunnelSearch {
  public:
    explicit TunnelSearch(const platform::Sysfs& sysfs) : sysfs_(sysfs) {}

    // The slowest hop of the Thunderbolt/USB4 domain the drive's PCI path is tunnelled
    // through. The kernel doesn't link a tunnelled PCI device to the routers that carry
    // it, so the domain is found through the host controller: on discrete controllers
    // the NHI function sits beside the tunnel's downstream ports, on integrated ones the
    // root ports name the NHI as their "supplier". Failing both, every domain counts.
    LinkInfo::Tunnel detect(const std::vector<std::string>& chain) {
        for (const auto& folder : chain) {
            if (isDeviceRouter(baseName(folder))) note(folder);
        }
        if (versions_.empty()) {
            for (const auto& folder : chain) {
                if (!isPCIAddress(baseName(folder))) continue;
                const std::string up = parentOf(folder);
                for (const auto& sibling : sysfs_.list(up)) {
                    if (isPCIAddress(sibling)) domainsBelow(up + "/" + sibling);
                }
                for (const auto& entry : sysfs_.list(folder)) {
                    if (!entry.starts_with("supplier:pci:")) continue;
                    if (const auto nhi = sysfs_.resolve(folder + "/" + entry + "/supplier")) {
                        domainsBelow(*nhi);
                    }
                }
                if (!versions_.empty()) break;
            }
        }
        if (versions_.empty()) {
            for (const auto& entry : sysfs_.list("/sys/bus/thunderbolt/devices")) {
                if (!isDeviceRouter(entry)) continue;
                if (const auto router = sysfs_.resolve("/sys/bus/thunderbolt/devices/" + entry)) {
                    note(*router);
                }
            }
        }
        if (versions_.empty()) return LinkInfo::Tunnel::unknown;
        return LinkRules::tunnelFor(*std::min_element(versions_.begin(), versions_.end()));
    }

  private:
    void note(const std::string& router) {
        if (const auto version = thunderboltVersion(sysfs_.read(router + "/generation"))) {
            versions_.push_back(*version);
        }
    }

    void domainsBelow(const std::string& nhi) {
        for (const auto& entry : sysfs_.list(nhi)) {
            if (entry.starts_with("domain") && allDigits(entry.substr(6))) {
                routersBelow(nhi + "/" + entry, 0);
            }
        }
    }

    void routersBelow(const std::string& folder, int depth) {
        if (depth > 8) return;  // the USB4 topology is at most six routers deep
        for (const auto& entry : sysfs_.list(folder)) {
            if (!isRouterName(entry)) continue;
            const std::string router = folder + "/" + entry;
            if (isDeviceRouter(entry)) note(router);
            routersBelow(router, depth + 1);
        }
    }

    const platform::Sysfs& sysfs_;
    std::vector<int> versions_;
};

std::string raidLevel(std::string_view level) {
    if (level == "raid1") return "Mirror";
    if (level == "raid0") return "Stripe";
    if (level == "linear") return "Concatenated";
    if (level.starts_with("raid") && allDigits(level.substr(4))) {
        return "RAID " + std::string(level.substr(4));
    }
    return std::string(level);
}

std::string raidSetStatus(const std::optional<std::string>& state,
                          const std::optional<std::string>& degraded) {
    if (!state) return "Unknown";
    if (*state == "broken") return "Failed";
    if (*state == "inactive" || *state == "clear" || *state == "suspended") return "Offline";
    const auto missing = degraded ? parseNumber<int>(*degraded) : std::nullopt;
    if (missing && *missing > 0) return "Degraded";
    constexpr std::array<std::string_view, 6> running{"clean",    "active",    "active-idle",
                                                      "readonly", "read-auto", "write-pending"};
    if (contains(running, *state)) return "Online";
    return "Unknown";
}

// A member's md state is a comma list: "in_sync", "faulty", "spare", "in_sync,write_mostly".
// A spare that already has a slot is being rebuilt into the set.
std::string raidMemberStatus(const std::optional<std::string>& state,
                             const std::optional<std::string>& slot) {
    if (!state || state->empty()) return "Unknown";
    const auto has = [&](std::string_view flag) {
        std::size_t at = 0;
        while (at <= state->size()) {
            const auto end = std::min(state->find(',', at), state->size());
            if (std::string_view(*state).substr(at, end - at) == flag) return true;
            at = end + 1;
        }
        return false;
    };
    if (has("faulty")) return "Failed";
    if (has("in_sync")) return "Online";
    if (has("spare")) return (slot && allDigits(*slot)) ? "Rebuilding" : "Spare";
    return "Unknown";
}

// The set an md device forms, as the member with this kernel name sees it. The set's name
// is the one given at creation, which the members' superblocks carry as "host:name".
RAIDInfo raidInfo(const Pass& pass, const std::string& md, const std::string& member,
                  const std::optional<std::string>& memberLabel) {
    const std::string base = std::string(classBlock) + md + "/md/";
    RAIDInfo raid;
    if (memberLabel && !memberLabel->empty()) {
        const auto colon = memberLabel->rfind(':');
        const std::string name =
            colon == std::string::npos ? *memberLabel : memberLabel->substr(colon + 1);
        if (!name.empty()) raid.setName = name;
    }
    if (const auto level = pass.attribute(base + "level"); level && !level->empty()) {
        raid.level = raidLevel(*level);
    }
    raid.status =
        raidSetStatus(pass.attribute(base + "array_state"), pass.attribute(base + "degraded"));
    raid.memberStatus = raidMemberStatus(pass.attribute(base + "dev-" + member + "/state"),
                                         pass.attribute(base + "dev-" + member + "/slot"));
    if (const auto count = pass.attribute(base + "raid_disks")) {
        raid.memberCount = parseNumber<int>(*count).value_or(0);
    }
    raid.setBSDName = md;
    return raid;
}

bool isMD(std::string_view name) {
    if (isNumbered(name, "md")) return true;
    const auto p = name.rfind('p');  // "md0p1", a partition of a set
    return p != std::string_view::npos && isNumbered(name.substr(0, p), "md") &&
           allDigits(name.substr(p + 1));
}

// Whether a device is an md set or lies on one, through its "slaves".
bool restsOnMD(const platform::Sysfs& sysfs, const std::string& name, int depth = 0) {
    if (isMD(name)) return true;
    if (depth > 16) return false;
    for (const auto& slave : sysfs.list(std::string(classBlock) + name + "/slaves")) {
        if (restsOnMD(sysfs, slave, depth + 1)) return true;
    }
    return false;
}

bool isPathPrefix(std::string_view mountPoint, std::string_view path) {
    if (mountPoint == "/") return path.starts_with('/');
    return path.starts_with(mountPoint) &&
           (path.size() == mountPoint.size() || path[mountPoint.size()] == '/');
}

// Whether the working folder lies on an md set. Not knowing counts as yes: the answer only
// ever refuses a take-over.
bool currentDirectoryIsOnRAID(const Pass& pass) {
    const std::string& cwd = pass.sources().workingDirectory;
    if (cwd.empty()) return true;
    const platform::Mount* best = nullptr;
    for (const auto& mount : pass.mounts()) {
        if (isPathPrefix(mount.mountPoint, cwd) &&
            (best == nullptr || mount.mountPoint.size() >= best->mountPoint.size())) {
            best = &mount;
        }
    }
    if (best == nullptr) return true;
    auto name = pass.nameOf(best->major, best->minor);
    if (!name && best->source.starts_with("/dev/")) name = best->source.substr(5);
    if (!name || !isPlainName(*name)) return false;
    return restsOnMD(pass.sysfs(), *name);
}

struct MediaWalk {
    std::vector<Volume> volumes;
    bool isRAIDMember = false;
    std::optional<RAIDInfo> raid;
    bool currentDirectoryOnRAID = false;
};

class VolumeWalker {
  public:
    VolumeWalker(const Pass& pass, MediaWalk& walk) : pass_(pass), walk_(walk) {}

    void disk(const std::string& name, const std::string& path) {
        visit(name, false);
        for (const auto& partition : partitionsOf(pass_.sysfs(), path, name))
            visit(partition, true);
    }

  private:
    // One device of the disk: a volume when it has a name or a mount point, then what is
    // stacked on it.
    void visit(const std::string& name, bool isPartition, int depth = 0) {
        if (!seen_.insert(name).second || depth > 16) return;
        const auto device = pass_.device(name);
        const auto& content = pass_.content(device);
        if (isPartition && content.partitionType &&
            (lowered(*content.partitionType) == lowered(mdRaidGUID) ||
             lowered(*content.partitionType) == mdRaidMBRType)) {
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

struct USBDevice {
    std::string path;
    USBInfo info;
    std::optional<double> megabitsPerSecond;
};

std::optional<USBDevice> usbDeviceAbove(const Pass& pass, const std::vector<std::string>& chain) {
    for (const auto& folder : chain) {
        const auto vendor = pass.attribute(folder + "/idVendor");
        if (!vendor) continue;
        USBDevice usb;
        usb.path = folder;
        usb.info.vendorID = parseNumber<int>(*vendor, 16).value_or(0);
        usb.info.productID =
            parseNumber<int>(pass.attribute(folder + "/idProduct").value_or(""), 16).value_or(0);
        const auto bus = parseNumber<int>(pass.attribute(folder + "/busnum").value_or(""));
        const auto devpath = pass.attribute(folder + "/devpath");
        if (bus && devpath) usb.info.locationID = locationID(*bus, *devpath);
        usb.info.productName = pass.attribute(folder + "/product");
        usb.info.vendorName = pass.attribute(folder + "/manufacturer");
        // libusb addresses a device by bus and address; together they name this connection.
        const auto address =
            parseNumber<std::uint64_t>(pass.attribute(folder + "/devnum").value_or(""));
        if (bus && address && *bus >= 0) {
            usb.info.registryID = (static_cast<std::uint64_t>(*bus) << 32) | *address;
        }
        if (const auto speed = pass.attribute(folder + "/speed"))
            usb.megabitsPerSecond = parseDecimal(*speed);
        return usb;
    }
    return std::nullopt;
}

// The folders the attachment is read from. An NVMe namespace of a multipath subsystem lies
// under /sys/devices/virtual; its hardware is that of the subsystem's first controller.
std::vector<std::string> attachmentChain(const Pass& pass, const std::string& path) {
    if (!path.starts_with("/sys/devices/virtual/nvme-subsystem/")) return ancestorsOf(path, false);
    const std::string subsystem = parentOf(path);
    for (const auto& entry : pass.sysfs().list(subsystem)) {
        if (!isNumbered(entry, "nvme")) continue;
        if (const auto controller = pass.sysfs().resolve(subsystem + "/" + entry)) {
            return ancestorsOf(*controller, true);
        }
    }
    return ancestorsOf(path, false);
}

bool isNVMeNamespace(std::string_view name) {
    if (!name.starts_with("nvme")) return false;
    const auto n = name.find('n', 4);
    return n != std::string_view::npos && allDigits(name.substr(4, n - 4)) &&
           allDigits(name.substr(n + 1));
}

bool crossesThunderbolt(const Pass& pass, const std::vector<std::string>& chain) {
    for (const auto& folder : chain) {
        const auto name = baseName(folder);
        if (isRouterName(name) || (name.starts_with("domain") && allDigits(name.substr(6))))
            return true;
        // Set by the kernel on every PCI device below a port that faces the outside.
        if (isPCIAddress(name) && pass.attribute(folder + "/removable") == "removable") return true;
    }
    return false;
}

std::optional<Drive> describe(const Pass& pass, const std::string& name) {
    const auto& sysfs = pass.sysfs();
    if (!isPlainName(name)) return std::nullopt;
    for (const auto prefix : numberedVirtualDisks) {
        if (isNumbered(name, prefix)) return std::nullopt;
    }
    const std::string block = std::string(classBlock) + name;
    if (sysfs.exists(block + "/partition")) return std::nullopt;
    if (pass.attribute(block + "/hidden") == "1") return std::nullopt;  // a multipath path
    if (!sysfs.exists(block + "/device")) return std::nullopt;
    const auto path = sysfs.resolve(block);
    if (!path) return std::nullopt;

    const auto chain = attachmentChain(pass, *path);
    if (onVirtualBus(chain)) return std::nullopt;

    Drive drive;
    drive.bsdName = name;
    if (const auto bytes = sizeFromSectors(pass.attribute(block + "/size").value_or(""))) {
        drive.sizeBytes = *bytes;
    }
    // A card reader without a card, or a drive bay without its medium, has no drive yet.
    if (drive.sizeBytes == 0 && pass.attribute(block + "/removable") == "1") return std::nullopt;

    auto model = text::trimmed(pass.attribute(block + "/device/model").value_or(""));
    if (model.empty()) model = text::trimmed(pass.attribute(block + "/device/name").value_or(""));
    if (model == "Disk Image") return std::nullopt;
    if (const auto rotational = pass.attribute(block + "/queue/rotational")) {
        drive.isSolidState = *rotational == "0";
    }

    const auto usb = usbDeviceAbove(pass, chain);
    bool isSDCard = false;
    bool needsPCIWalk = true;
    if (usb) {
        drive.transport = Transport::usb;
        drive.usb = usb->info;
        // A speed far past any USB link (1 Tb/s) is damaged text, and would overflow the
        // conversion to bits per second.
        constexpr double fastestMegabits = 1e6;
        if (usb->megabitsPerSecond && *usb->megabitsPerSecond > 0 &&
            *usb->megabitsPerSecond <= fastestMegabits) {
            const double bits = std::round(*usb->megabitsPerSecond * 1e6);
            drive.link = LinkRules::usb(static_cast<std::int64_t>(bits), pass.sources().locale);
            needsPCIWalk = false;
        }
    } else if (isNVMeNamespace(name)) {
        drive.transport =
            crossesThunderbolt(pass, chain) ? Transport::externalNVMe : Transport::internalNVMe;
    } else if (name.starts_with("mmcblk")) {
        // eMMC soldered on the board reads "MMC"; only a card in a slot is an SD card.
        isSDCard = pass.attribute(block + "/device/type") == "SD";
        drive.transport = isSDCard ? Transport::sdCard : Transport::other;
    } else if (std::any_of(chain.begin(), chain.end(),
                           [](const auto& folder) { return isLibataPort(baseName(folder)); })) {
        drive.transport = Transport::sata;
    }
    // Anything on an MMC host carries no PCI Express link of its own, card or not.
    if (name.starts_with("mmcblk")) needsPCIWalk = false;

    if (needsPCIWalk) {
        for (const auto& folder : chain) {
            const auto speed = pass.attribute(folder + "/current_link_speed");
            if (!speed) continue;
            const auto status = linkWord(speed, pass.attribute(folder + "/current_link_width"));
            const auto capabilities = linkWord(pass.attribute(folder + "/max_link_speed"),
                                               pass.attribute(folder + "/max_link_width"));
            std::optional<LinkInfo::Tunnel> tunnel;
            if (drive.transport == Transport::externalNVMe)
                tunnel = TunnelSearch(sysfs).detect(chain);
            if (status) drive.link = LinkRules::pciExpress(*status, capabilities, tunnel);
            break;
        }
    }

    MediaWalk walk;
    VolumeWalker(pass, walk).disk(name, *path);
    if (walk.isRAIDMember) walk.currentDirectoryOnRAID = currentDirectoryIsOnRAID(pass);
    drive.volumes = std::move(walk.volumes);
    drive.isRAIDMember = walk.isRAIDMember;
    drive.raid = std::move(walk.raid);

    if (const auto size = pass.attribute(block + "/queue/logical_block_size")) {
        if (const auto bytes = parseNumber<int>(*size); bytes && *bytes > 0)
            drive.blockSize = bytes;
    }

    if (model.empty() && drive.usb && drive.usb->productName) model = *drive.usb->productName;
    drive.model = model.empty() ? "Unknown drive" : model;

    const std::string& cwd = pass.sources().workingDirectory;
    drive.hostsCurrentDirectory = walk.currentDirectoryOnRAID;
    for (const auto& volume : drive.volumes) {
        if (!volume.mountPoint) continue;
        if (*volume.mountPoint == "/") drive.hostsBootVolume = true;
        // A plain text prefix on purpose: "/media/a" also covers "/media/ab", which errs on
        // the side of refusing a take-over.
        else if (cwd.starts_with(*volume.mountPoint))
            drive.hostsCurrentDirectory = true;
    }
    return drive;
}

}  // namespace

std::vector<Drive> allDrives(const Sources& sources) {
    const Pass pass(sources);
    std::vector<Drive> drives;
    for (const auto& name : sources.sysfs.list(classBlockFolder)) {
        if (auto drive = describe(pass, name)) drives.push_back(std::move(*drive));
    }
    std::stable_sort(drives.begin(), drives.end(), [](const Drive& a, const Drive& b) {
        return naturalLess(a.bsdName, b.bsdName);
    });
    return drives;
}

std::vector<Drive> externalDrives(const Sources& sources) {
    auto drives = allDrives(sources);
    std::erase_if(drives, [](const Drive& d) { return d.transport == Transport::internalNVMe; });
    return drives;
}

std::optional<Drive> drive(std::string_view bsdName, const Sources& sources) {
    if (!isPlainName(bsdName)) return std::nullopt;
    const Pass pass(sources);
    return describe(pass, std::string(bsdName));
}

std::string wholeDiskName(std::string_view name) {
    std::size_t digits = 0;
    while (digits < name.size() && isDigit(name[name.size() - 1 - digits])) ++digits;
    if (digits == 0 || digits == name.size()) return std::string(name);
    const std::string_view stem = name.substr(0, name.size() - digits);
    // "nvme0n1p2", "mmcblk0p1", "md0p1": a "p" after a digit.
    if (stem.size() >= 2 && stem.back() == 'p' && isDigit(stem[stem.size() - 2])) {
        return std::string(stem.substr(0, stem.size() - 1));
    }
    for (const auto family : numberedDisks) {
        if (name.starts_with(family)) return std::string(name);
    }
    if (isLetter(stem.back())) return std::string(stem);
    return std::string(name);
}

std::uint32_t locationID(int busNumber, std::string_view devicePath) {
    std::vector<std::uint8_t> ports;
    std::size_t at = 0;
    while (at < devicePath.size()) {
        const auto end = std::min(devicePath.find('.', at), devicePath.size());
        const auto port = parseNumber<unsigned>(devicePath.substr(at, end - at));
        if (!port) break;
        ports.push_back(static_cast<std::uint8_t>(std::min(*port, 0xFFu)));
        at = end + 1;
    }
    return platform::usbLocationID(static_cast<std::uint8_t>(std::clamp(busNumber, 0, 0xFF)), ports);
}

bool hasRealModel(const Drive& drive) {
    const std::string model = lowered(drive.model);
    if (model.size() < 3) return false;
    return std::none_of(
        genericNameWords.begin(), genericNameWords.end(),
        [&](std::string_view word) { return model.find(word) != std::string::npos; });
}

std::optional<std::string> enclosureName(const Drive& drive) {
    if (!drive.usb) return std::nullopt;
    const std::string vendor = text::trimmed(drive.usb->vendorName.value_or(""));
    const std::string product = text::trimmed(drive.usb->productName.value_or(""));
    const std::string maker = lowered(bridgeOf(*drive.usb).maker().value_or(""));
    const auto namesMaker = [&](const std::string& lower) {
        return !maker.empty() && lower.find(maker) != std::string::npos;
    };
    if (!vendor.empty()) {
        const std::string lower = lowered(vendor);
        if (!namesMaker(lower) && lower.find("unknown") == std::string::npos) {
            return vendor + " enclosure";
        }
    }
    if (!product.empty()) {
        const std::string lower = lowered(product);
        if (!namesMaker(lower) && lower != "external") return product;
    }
    return std::nullopt;
}

DisplayName displayName(const Drive& drive) {
    if (drive.transport == Transport::sdCard) {
        for (const auto& volume : drive.volumes) {
            if (!isUserMountPoint(volume.mountPoint)) continue;
            if (volume.name && !volume.name->empty() && !contains(defaultCardNames, *volume.name)) {
                return {*volume.name, false};
            }
            break;
        }
        return {"SD card", false};
    }
    if (hasRealModel(drive)) return {drive.model, true};

    std::vector<const Volume*> plain;
    for (const auto& volume : drive.volumes) {
        if (!volume.name || volume.name->empty()) continue;
        if (std::all_of(volume.roles.begin(), volume.roles.end(),
                        [](const std::string& role) { return contains(plainRoles, role); })) {
            plain.push_back(&volume);
        }
    }
    for (const auto* volume : plain) {
        if (isUserMountPoint(volume->mountPoint)) return {*volume->name, false};
    }
    for (const auto* volume : plain) {
        if (!volume->mountPoint) return {*volume->name, false};
    }
    if (auto enclosure = enclosureName(drive)) return {std::move(*enclosure), false};
    return {"External drive", false};
}

}  // namespace drivekit::Discovery
