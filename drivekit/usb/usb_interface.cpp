#include "drivekit/usb/usb_interface.hpp"

#include <algorithm>
#include <charconv>
#include <regex>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "platform/block_stack.hpp"

namespace drivekit::USBInterface {
namespace {

using platform::blockPath;
using text::number;
using platform::parentOf;

// The sentences of this unit, as the English catalogue words them.
constexpr std::string_view luksSentence =
    "/dev/%s holds the unlocked encrypted volume %s. Lock it first (`cryptsetup close %s`) and "
    "try again: Vantrel never closes it itself, since opening it again needs your passphrase.";
constexpr std::string_view lvmSentence =
    "/dev/%s belongs to the active LVM volume group %s. Deactivate it first (`vgchange -an %s`) "
    "and try again.";
constexpr std::string_view mdSentence =
    "/dev/%s is a member of the running RAID array %s. Stop it first (`mdadm --stop /dev/%s`) "
    "and try again.";
constexpr std::string_view mapperSentence =
    "/dev/%s is held by the device-mapper device %s. Remove it first (`dmsetup remove %s`) and "
    "try again.";
constexpr std::string_view swapText =
    "/dev/%s is in use as swap. Turn it off first (`swapoff /dev/%s`) and try again.";
constexpr std::string_view exclusiveText =
    "/dev/%s is still in use after unmounting: mounted in another mount namespace (a "
    "container), handed to a virtual machine, or open in another program. Stop that use and "
    "try again.";
constexpr std::string_view sharedText =
    "The same USB connection carries %s, which goes away during the check too.";

std::string fill(std::string_view pattern, std::string_view a, std::string_view b = {},
                 std::string_view c = {}) {
    const std::string_view values[] = {a, b, c};
    std::string out;
    std::size_t next = 0;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern.compare(i, 2, "%s") == 0 && next < 3) {
            out += values[next++];
            ++i;
        } else {
            out += pattern[i];
        }
    }
    return out;
}

std::string lastPart(std::string_view path) {
    const auto slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}


bool isWholeDisk(std::string_view name, const platform::Sysfs& sysfs) {
    return !sysfs.exists(blockPath(name) + "/partition");
}

}  // namespace

std::optional<Disks> of(std::string_view disk, const platform::Sysfs& sysfs) {
    const auto path = sysfs.resolve(blockPath(disk));
    if (!path) return std::nullopt;
    // ".../2-1/2-1:1.0/host2/target2:0:0/2:0:0:1/block/sdc": the interface is the folder
    // named device:configuration.interface, the LUN the last number of the SCSI address.
    static const std::regex interfaceName(R"(^\d+-[\d.]+:\d+\.\d+$)");
    static const std::regex scsiAddress(R"(^\d+:\d+:\d+:(\d+)$)");
    std::string interfacePath;
    std::optional<std::uint8_t> lun;
    for (std::string at = parentOf(*path); at != "/"; at = parentOf(at)) {
        const std::string name = lastPart(at);
        std::smatch match;
        if (!lun && std::regex_match(name, match, scsiAddress)) {
            const auto value = number<int>(match[1].str());
            if (value && *value >= 0 && *value <= 0xFF) lun = static_cast<std::uint8_t>(*value);
        }
        if (std::regex_match(name, interfaceName)) {
            interfacePath = at;
            break;
        }
    }
    if (interfacePath.empty()) return std::nullopt;

    Disks found;
    found.interfaceName = lastPart(interfacePath);
    const std::string devicePath = parentOf(interfacePath);
    const auto read = [&sysfs](const std::string& at, int base = 10) -> std::optional<int> {
        const auto text = sysfs.read(at);
        return text ? number<int>(*text, base) : std::nullopt;
    };
    const auto small = [](std::optional<int> value) -> std::optional<std::uint8_t> {
        if (!value || *value < 0 || *value > 0xFF) return std::nullopt;
        return static_cast<std::uint8_t>(*value);
    };
    const auto bus = read(devicePath + "/busnum");
    found.target.busNumber = small(bus);
    found.target.deviceAddress = small(read(devicePath + "/devnum"));
    if (const auto devpath = sysfs.read(devicePath + "/devpath"); bus && devpath) {
        found.target.locationID = Discovery::locationID(*bus, *devpath);
    }
    found.target.interfaceNumber = small(read(interfacePath + "/bInterfaceNumber", 16));
    if (!found.target.interfaceNumber) {
        const std::string name = found.interfaceName;
        found.target.interfaceNumber = small(number<int>(name.substr(name.rfind('.') + 1)));
    }
    found.target.lun = lun.value_or(0);

    found.disks.emplace_back(disk);
    std::vector<std::string> others;
    for (const auto& name : sysfs.list("/sys/class/block")) {
        if (name == disk || !isWholeDisk(name, sysfs)) continue;
        const auto other = sysfs.resolve(blockPath(name));
        if (other && other->starts_with(interfacePath + "/")) others.push_back(name);
    }
    std::sort(others.begin(), others.end(),
              [](const std::string& a, const std::string& b) { return Discovery::naturalLess(a, b); });
    found.disks.insert(found.disks.end(), others.begin(), others.end());
    return found;
}

std::vector<std::string> blockDevices(std::string_view disk, const platform::Sysfs& sysfs) {
    std::vector<std::string> devices{std::string(disk)};
    for (auto& partition : platform::partitionsOf(sysfs, disk)) devices.push_back(std::move(partition));
    return devices;
}

std::vector<Holder> holders(const std::vector<std::string>& disks, const platform::Sysfs& sysfs) {
    std::vector<Holder> found;
    for (const auto& disk : disks) {
        for (const auto& device : blockDevices(disk, sysfs)) {
            for (const auto& name : sysfs.list(blockPath(device) + "/holders")) {
                Holder holder{device, name, Holder::Kind::deviceMapper, name};
                if (name.starts_with("md")) {
                    holder.kind = Holder::Kind::md;
                } else {
                    const std::string uuid = sysfs.read(blockPath(name) + "/dm/uuid").value_or("");
                    const std::string mapping = sysfs.read(blockPath(name) + "/dm/name").value_or(name);
                    holder.label = mapping;
                    if (uuid.starts_with("CRYPT-")) {
                        holder.kind = Holder::Kind::luks;
                    } else if (uuid.starts_with("LVM-")) {
                        holder.kind = Holder::Kind::lvm;
                        holder.label = volumeGroupOf(mapping);
                    }
                }
                found.push_back(std::move(holder));
            }
        }
    }
    return found;
}

std::string holderSentence(const Holder& holder) {
    switch (holder.kind) {
        case Holder::Kind::luks:
            return fill(luksSentence, holder.device, holder.label, holder.label);
        case Holder::Kind::lvm:
            return fill(lvmSentence, holder.device, holder.label, holder.label);
        case Holder::Kind::md:
            return fill(mdSentence, holder.device, holder.label, holder.label);
        case Holder::Kind::deviceMapper:
            break;
    }
    return fill(mapperSentence, holder.device, holder.label, holder.label);
}

std::string swapSentence(std::string_view device) { return fill(swapText, device, device); }

std::string exclusiveSentence(std::string_view device) { return fill(exclusiveText, device); }

std::string sharedLine(const std::vector<std::string>& others) {
    std::string names;
    for (std::size_t i = 0; i < others.size(); ++i) {
        if (i > 0) names += i + 1 == others.size() ? " and " : ", ";
        names += "/dev/" + others[i];
    }
    return fill(sharedText, names);
}

std::string volumeGroupOf(std::string_view mappingName) {
    std::string group;
    for (std::size_t i = 0; i < mappingName.size(); ++i) {
        if (mappingName[i] != '-') {
            group += mappingName[i];
        } else if (i + 1 < mappingName.size() && mappingName[i + 1] == '-') {
            group += '-';  // LVM doubles a dash inside a name
            ++i;
        } else {
            break;
        }
    }
    return group;
}

}  // namespace drivekit::USBInterface
