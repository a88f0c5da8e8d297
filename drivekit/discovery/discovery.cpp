#include "drivekit/discovery/discovery.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <set>
#include <thread>
#include <utility>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/discovery_pass.hpp"
#include "drivekit/discovery/link.hpp"

// The block pass: which entries of /sys/class/block are drives, and the record of each,
// with the facts the other files of discovery read for it.
namespace drivekit::Discovery {
namespace {

using namespace Internal;

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
        if (auto link = pciExpressLink(pass, chain, drive.transport == Transport::externalNVMe)) {
            drive.link = std::move(*link);
        }
    }

    MediaWalk walk = walkMedia(pass, name);
    const bool currentDirectoryOnRAID = walk.isRAIDMember && currentDirectoryIsOnRAID(pass);
    drive.volumes = std::move(walk.volumes);
    drive.isRAIDMember = walk.isRAIDMember;
    drive.raid = std::move(walk.raid);

    if (const auto size = pass.attribute(block + "/queue/logical_block_size")) {
        if (const auto bytes = number<int>(*size); bytes && *bytes > 0)
            drive.blockSize = bytes;
    }

    if (model.empty() && drive.usb && drive.usb->productName) model = *drive.usb->productName;
    drive.model = model.empty() ? "Unknown drive" : model;

    const std::string& cwd = pass.sources().workingDirectory;
    drive.hostsCurrentDirectory = currentDirectoryOnRAID;
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

std::vector<Drive> allDrivesConcurrently(const Sources& sources, const std::function<void(const Drive&)>& use) {
    const Pass pass(sources);
    std::vector<std::string> names;
    for (auto& name : sources.sysfs.list(classBlockFolder)) {
        // Loop, RAM and other virtual disks by their names alone: a desktop may have dozens.
        if (isPlainName(name) && std::none_of(numberedVirtualDisks.begin(), numberedVirtualDisks.end(),
                                              [&](auto prefix) { return isNumbered(name, prefix); })) {
            names.push_back(std::move(name));
        }
    }
    std::vector<std::optional<Drive>> found(names.size());
    {
        std::vector<std::jthread> threads;
        threads.reserve(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            threads.emplace_back([&, i] {
                found[i] = describe(pass, names[i]);
                if (found[i]) use(*found[i]);
            });
        }
    }
    std::vector<Drive> drives;
    for (auto& drive : found) {
        if (drive) drives.push_back(std::move(*drive));
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

}  // namespace drivekit::Discovery
