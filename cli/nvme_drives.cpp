#include "cli/nvme_drives.hpp"

#include <algorithm>
#include <charconv>
#include <regex>

#include "drivekit/core/text.hpp"
#include "drivekit/discovery/drive.hpp"

namespace cli {

namespace {

const std::string blockClass = "/sys/class/block/";

std::optional<std::int64_t> number(const std::optional<std::string>& text) {
    if (!text) return std::nullopt;
    const std::string trimmed = drivekit::text::trimmed(*text);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(trimmed.data(), trimmed.data() + trimmed.size(), value);
    if (error != std::errc{} || end != trimmed.data() + trimmed.size()) return std::nullopt;
    return value;
}

// The numbers inside a kernel name, compared as numbers: nvme2n1 < nvme10n1.
bool naturalLess(const std::string& a, const std::string& b) {
    static const std::regex parts(R"((\d+)|(\D+))");
    auto split = [](const std::string& s) {
        std::vector<std::string> out;
        for (auto it = std::sregex_iterator(s.begin(), s.end(), parts); it != std::sregex_iterator(); ++it) {
            out.push_back(it->str());
        }
        return out;
    };
    const auto pa = split(a), pb = split(b);
    for (std::size_t i = 0; i < std::min(pa.size(), pb.size()); ++i) {
        const bool da = std::isdigit(static_cast<unsigned char>(pa[i][0])) != 0;
        const bool db = std::isdigit(static_cast<unsigned char>(pb[i][0])) != 0;
        if (da && db && pa[i].size() != pb[i].size()) return pa[i].size() < pb[i].size();
        if (pa[i] != pb[i]) return pa[i] < pb[i];
    }
    return pa.size() < pb.size();
}

}  // namespace

bool isNVMeName(std::string_view name) {
    static const std::regex pattern(R"(nvme\d+(c\d+)?(n\d+)?)");
    return std::regex_match(name.begin(), name.end(), pattern);
}

std::vector<std::string> nvmeNamespaces(const platform::Sysfs& sysfs) {
    static const std::regex wholeNamespace(R"(nvme\d+n\d+)");
    std::vector<std::string> names;
    for (const auto& name : sysfs.list("/sys/class/block")) {
        if (std::regex_match(name, wholeNamespace)) names.push_back(name);
    }
    std::sort(names.begin(), names.end(), naturalLess);
    return names;
}

drivekit::Drive nvmeDrive(std::string_view name, const platform::Sysfs& sysfs) {
    const std::string base = blockClass + std::string(name) + "/";
    drivekit::Drive drive;
    drive.bsdName = std::string(name);
    drive.transport = drivekit::Transport::internalNVMe;
    if (auto model = sysfs.read(base + "device/model")) {
        auto trimmed = drivekit::text::trimmed(*model);
        if (!trimmed.empty()) drive.model = std::move(trimmed);
    }
    if (auto bytes = drivekit::sizeFromSectors(sysfs.read(base + "size").value_or(""))) {
        drive.sizeBytes = *bytes;
    }
    if (auto rotational = number(sysfs.read(base + "queue/rotational"))) drive.isSolidState = *rotational == 0;
    if (auto block = number(sysfs.read(base + "queue/logical_block_size"))) drive.blockSize = static_cast<int>(*block);
    return drive;
}

}  // namespace cli
