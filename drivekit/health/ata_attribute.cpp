#include "drivekit/health/ata_attribute.hpp"

#include <array>
#include <string_view>

namespace drivekit {
namespace {

constexpr std::size_t firstEntry = 2;  // bytes 0-1 are the page's revision number
constexpr std::size_t entryCount = 30;
constexpr std::size_t entrySize = 12;

// Within an entry of the data page.
constexpr std::size_t flagsAt = 1;
constexpr std::size_t valueAt = 3;
constexpr std::size_t worstAt = 4;
constexpr std::size_t rawAt = 5;
constexpr std::size_t rawWidth = 6;
// Within an entry of the thresholds page.
constexpr std::size_t thresholdAt = 1;

struct NameRow {
    std::uint8_t id;
    std::string_view name;
};

constexpr std::array<NameRow, 55> kNames{{
    {1, "Read Error Rate"},
    {3, "Spin-Up Time"},
    {4, "Start/Stop Count"},
    {5, "Reallocated Sectors"},
    {7, "Seek Error Rate"},
    {9, "Power-On Hours"},
    {10, "Spin Retry Count"},
    {12, "Power Cycles"},
    {160, "Uncorrectable Sectors"},
    {161, "Valid Spare Blocks"},
    {163, "Initial Bad Blocks"},
    {164, "Total Erase Count"},
    {165, "Max Erase Count"},
    {166, "Min Erase Count"},
    {167, "Average Erase Count"},
    {168, "Max Erase Count (rated)"},
    {169, "Remaining Life"},
    {170, "Available Reserved Space"},
    {171, "Program Fail Count"},
    {172, "Erase Fail Count"},
    {173, "Wear Leveling"},
    {174, "Unexpected Power Loss"},
    {175, "Program Fail Count (chip)"},
    {176, "Erase Fail Count (chip)"},
    {177, "Wear Leveling Count"},
    {178, "Runtime Invalid Blocks"},
    {179, "Used Reserved Blocks"},
    {180, "Unused Reserved Blocks"},
    {181, "Program Fail Count"},
    {182, "Erase Fail Count"},
    {183, "Runtime Bad Blocks"},
    {184, "End-to-End Errors"},
    {187, "Reported Uncorrectable"},
    {188, "Command Timeouts"},
    {189, "High Fly Writes"},
    {190, "Airflow Temperature"},
    {191, "G-Sense Errors"},
    {192, "Power-Off Retracts"},
    {193, "Load Cycles"},
    {194, "Temperature"},
    {195, "ECC Recovered"},
    {196, "Reallocation Events"},
    {197, "Pending Sectors"},
    {198, "Offline Uncorrectable"},
    {199, "Interface CRC Errors"},
    {200, "Write Error Rate"},
    {202, "Percent Lifetime Remaining"},
    {231, "SSD Life Left"},
    {232, "Available Reserved Space"},
    {233, "Media Wearout Indicator"},
    {235, "Good Block Count"},
    {240, "Head Flying Hours"},
    {241, "Total Data Written"},
    {242, "Total Data Read"},
    {245, "TLC Data Written"},
}};

}  // namespace

std::vector<ATAAttribute> ATAAttribute::parse(ByteView data, ByteView thresholds) {
    if (data.size() < tableBytes) return {};

    // A threshold the page doesn't give is 0, which never fails.
    std::array<std::uint8_t, 256> thresholdOf{};
    if (thresholds.size() >= tableBytes) {
        for (std::size_t i = 0; i < entryCount; ++i) {
            const std::size_t entry = firstEntry + i * entrySize;
            const std::uint8_t id = thresholds[entry];
            if (id == 0) continue;
            thresholdOf[id] = thresholds[entry + thresholdAt];
        }
    }

    std::vector<ATAAttribute> rows;
    rows.reserve(entryCount);
    for (std::size_t i = 0; i < entryCount; ++i) {
        const std::size_t entry = firstEntry + i * entrySize;
        const std::uint8_t id = data[entry];
        if (id == 0) continue;
        ATAAttribute row;
        row.id = id;
        row.flags = le16(data, entry + flagsAt);
        row.value = data[entry + valueAt];
        row.worst = data[entry + worstAt];
        row.threshold = thresholdOf[id];
        row.raw = readLE(data, entry + rawAt, rawWidth);
        rows.push_back(row);
    }
    return rows;
}

std::string ATAAttribute::nameFor(std::uint8_t id) {
    for (const auto& row : kNames) {
        if (row.id == id) return std::string(row.name);
    }
    return "Attribute " + std::to_string(id);
}

ATAAttributeTable attributeTable(const std::vector<ATAAttribute>& attributes) {
    ATAAttributeTable table;
    for (const auto& a : attributes) table.insert_or_assign(a.id, a);
    return table;
}

}  // namespace drivekit
