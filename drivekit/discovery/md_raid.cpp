#include "drivekit/discovery/discovery_pass.hpp"

namespace drivekit::Discovery::Internal {
namespace {

constexpr std::string_view mdRaidGUID = "A19D880F-05FC-4D3B-A006-743F0F84911E";
constexpr std::string_view mdRaidMBRType = "0xfd";

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
    const auto missing = degraded ? number<int>(*degraded) : std::nullopt;
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

}  // namespace

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
        raid.memberCount = number<int>(*count).value_or(0);
    }
    raid.setBSDName = md;
    return raid;
}

namespace {

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

}  // namespace

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

bool isRAIDPartitionType(std::string_view type) {
    const std::string lower = lowered(type);
    return lower == lowered(mdRaidGUID) || lower == mdRaidMBRType;
}

}  // namespace drivekit::Discovery::Internal
