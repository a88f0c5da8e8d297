#include "cli/scsi_disks.hpp"

#include <charconv>
#include <regex>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/drive.hpp"

namespace cli {

namespace {

std::optional<std::int64_t> number(const std::optional<std::string>& text) {
    if (!text) return std::nullopt;
    const std::string trimmed = drivekit::text::trimmed(*text);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(trimmed.data(), trimmed.data() + trimmed.size(), value);
    if (error != std::errc{} || end != trimmed.data() + trimmed.size()) return std::nullopt;
    return value;
}

drivekit::Transport transportOf(const std::string& devicePath) {
    static const std::regex libataPort(R"(/ata\d+/)");
    static const std::regex usbBus(R"(/usb\d+/)");
    if (std::regex_search(devicePath, libataPort)) return drivekit::Transport::sata;
    if (std::regex_search(devicePath, usbBus)) return drivekit::Transport::usb;
    return drivekit::Transport::other;
}

}  // namespace

bool isSCSIDiskName(std::string_view name) {
    static const std::regex pattern(R"(sd[a-z]+)");
    return std::regex_match(name.begin(), name.end(), pattern);
}

drivekit::Drive scsiDiskDrive(std::string_view name, const platform::Sysfs& sysfs) {
    const std::string base = "/sys/class/block/" + std::string(name);
    drivekit::Drive drive;
    drive.bsdName = std::string(name);
    drive.transport = transportOf(sysfs.resolve(base).value_or(""));
    if (auto model = sysfs.read(base + "/device/model")) {
        auto trimmed = drivekit::text::trimmed(*model);
        if (!trimmed.empty()) drive.model = std::move(trimmed);
    }
    if (auto bytes = drivekit::sizeFromSectors(sysfs.read(base + "/size").value_or(""))) {
        drive.sizeBytes = *bytes;
    }
    if (auto rotational = number(sysfs.read(base + "/queue/rotational"))) drive.isSolidState = *rotational == 0;
    if (auto block = number(sysfs.read(base + "/queue/logical_block_size"))) {
        drive.blockSize = static_cast<int>(*block);
    }
    return drive;
}

}  // namespace cli
