#include "drivekit/discovery/drive.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

#include "drivekit/core/text.hpp"

namespace drivekit {

namespace {

struct TransportRow {
    Transport transport;
    std::string_view raw;  // also the English label
    std::string_view key;
};

// The NVMe cases are looked up by their English text, the others by a key of their own.
constexpr std::array<TransportRow, 6> transportTable{{
    {Transport::internalNVMe, "Internal NVMe", "Internal NVMe"},
    {Transport::externalNVMe, "Thunderbolt/USB4 NVMe", "Thunderbolt/USB4 NVMe"},
    {Transport::usb, "USB", "transport.usb"},
    {Transport::sdCard, "SD card", "transport.sdCard"},
    {Transport::sata, "SATA", "transport.sata"},
    {Transport::other, "Other", "transport.other"},
}};

const TransportRow& rowOf(Transport transport) {
    for (const auto& row : transportTable) {
        if (row.transport == transport) return row;
    }
    return transportTable.back();
}

struct WordRow {
    std::string_view word;  // lower case, as compared
    std::string_view label;
    std::string_view key;
    std::string_view text;  // the level inside a sentence; empty for status rows
};

constexpr std::array<WordRow, 4> levelTable{{
    {"mirror", "Mirror", "raid.level.mirror", "RAID 1 mirror"},
    {"stripe", "Stripe", "raid.level.stripe", "RAID 0 stripe"},
    {"concatenated", "Concatenated", "raid.level.concatenated", "concatenated set"},
    {"concat", "Concatenated", "raid.level.concatenated", "concatenated set"},
}};

constexpr std::array<WordRow, 5> setStatusTable{{
    {"online", "Online", "raid.set.online", ""},
    {"degraded", "Degraded", "raid.set.degraded", ""},
    {"offline", "Offline", "raid.set.offline", ""},
    {"failed", "Failed", "raid.set.failed", ""},
    {"unknown", "Unknown", "raid.set.unknown", ""},
}};

constexpr std::array<WordRow, 6> memberStatusTable{{
    {"online", "Online", "raid.member.online", ""},
    {"rebuilding", "Rebuilding", "raid.member.rebuilding", ""},
    {"failed", "Failed", "raid.member.failed", ""},
    {"spare", "Spare", "raid.member.spare", ""},
    {"offline", "Offline", "raid.member.offline", ""},
    {"unknown", "Unknown", "raid.member.unknown", ""},
}};

template <std::size_t N>
const WordRow* find(const std::array<WordRow, N>& table, std::string_view stored) {
    const std::string lower = text::asciiLowered(stored);
    for (const auto& row : table) {
        if (row.word == lower) return &row;
    }
    return nullptr;
}

// Each clause ends the sentence "Vantrel won't take over this drive because …".
constexpr std::string_view notUSBClause = "not a USB drive";
constexpr std::string_view raidClause = "it is a member of a software RAID set";
constexpr std::string_view workingFolderClause = "it holds the folder you are working in";
constexpr std::string_view startupClause = "it holds the startup volume";

struct SMARTRow {
    SMARTStatus status;
    std::string_view raw;
    std::string_view label;
};

constexpr std::array<SMARTRow, 3> smartTable{{
    {SMARTStatus::verified, "verified", "Verified"},
    {SMARTStatus::failing, "failing", "Failing"},
    {SMARTStatus::notSupported, "notSupported", "Not supported"},
}};

}  // namespace

namespace TransportText {

std::string_view raw(Transport transport) {
    return rowOf(transport).raw;
}

std::optional<Transport> parse(std::string_view raw) {
    for (const auto& row : transportTable) {
        if (row.raw == raw) return row.transport;
    }
    return std::nullopt;
}

std::string_view key(Transport transport) {
    return rowOf(transport).key;
}

std::string label(Transport transport) {
    return std::string(rowOf(transport).raw);
}

}  // namespace TransportText

namespace RAIDWording {

std::string levelLabel(const RAIDInfo& raid) {
    const auto* row = find(levelTable, raid.level);
    return row ? std::string(row->label) : raid.level;
}

std::string levelText(const RAIDInfo& raid) {
    const auto* row = find(levelTable, raid.level);
    return row ? std::string(row->text) : raid.level;
}

std::string statusLabel(const RAIDInfo& raid) {
    const auto* row = find(setStatusTable, raid.status);
    return row ? std::string(row->label) : raid.status;
}

std::string memberStatusLabel(const RAIDInfo& raid) {
    const auto* row = find(memberStatusTable, raid.memberStatus);
    return row ? std::string(row->label) : raid.memberStatus;
}

}  // namespace RAIDWording

json::Object RAIDInfo::toJSON() const {
    json::Object object;
    object["setName"] = setName;
    object["level"] = level;
    object["status"] = status;
    object["memberStatus"] = memberStatus;
    object["memberCount"] = memberCount;
    json::putOptional(object, "setBSDName", setBSDName);
    return object;
}

std::optional<RAIDInfo> RAIDInfo::fromJSON(const json::Object& object) {
    if (!object.is_object()) return std::nullopt;
    RAIDInfo raid;
    for (auto [key, into] :
         {std::pair{"setName", &raid.setName}, std::pair{"level", &raid.level},
          std::pair{"status", &raid.status}, std::pair{"memberStatus", &raid.memberStatus}}) {
        const auto it = object.find(key);
        if (it == object.end() || !it->is_string()) return std::nullopt;
        *into = it->get<std::string>();
    }
    const auto count = object.find("memberCount");
    if (count == object.end() || !count->is_number_integer()) return std::nullopt;
    const auto value = count->get<std::int64_t>();
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    raid.memberCount = static_cast<int>(value);
    if (const auto name = object.find("setBSDName"); name != object.end()) {
        if (!name->is_string()) return std::nullopt;
        raid.setBSDName = name->get<std::string>();
    }
    return raid;
}

Drive Drive::named(std::string newModel, std::optional<bool> solidState) const {
    Drive copy = *this;
    copy.model = std::move(newModel);
    if (solidState) copy.isSolidState = solidState;
    return copy;
}

std::vector<std::string> captureBlockers(const Drive& drive) {
    std::vector<std::string> clauses;
    if (drive.transport != Transport::usb) clauses.emplace_back(notUSBClause);
    if (drive.isRAIDMember) clauses.emplace_back(raidClause);
    if (drive.hostsCurrentDirectory) clauses.emplace_back(workingFolderClause);
    if (drive.hostsBootVolume) clauses.emplace_back(startupClause);
    return clauses;
}

namespace SMARTStatusText {

std::string_view raw(SMARTStatus status) {
    for (const auto& row : smartTable) {
        if (row.status == status) return row.raw;
    }
    return smartTable.back().raw;
}

std::optional<SMARTStatus> parse(std::string_view raw) {
    for (const auto& row : smartTable) {
        if (row.raw == raw) return row.status;
    }
    return std::nullopt;
}

std::string label(SMARTStatus status) {
    for (const auto& row : smartTable) {
        if (row.status == status) return std::string(row.label);
    }
    return std::string(smartTable.back().label);
}

}  // namespace SMARTStatusText

std::optional<std::int64_t> sizeFromSectors(std::string_view sysfsSize) {
    constexpr std::int64_t sectorBytes = 512;
    while (!sysfsSize.empty() && (sysfsSize.front() == ' ' || sysfsSize.front() == '\t')) {
        sysfsSize.remove_prefix(1);
    }
    while (!sysfsSize.empty() && (sysfsSize.back() == ' ' || sysfsSize.back() == '\n')) {
        sysfsSize.remove_suffix(1);
    }
    std::int64_t sectors = 0;
    const auto* end = sysfsSize.data() + sysfsSize.size();
    const auto [stop, error] = std::from_chars(sysfsSize.data(), end, sectors);
    if (sysfsSize.empty() || error != std::errc{} || stop != end || sectors <= 0) return std::nullopt;
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(sectors, sectorBytes, &bytes)) return std::nullopt;
    return bytes;
}

}  // namespace drivekit
