#include "platform/block_stack.hpp"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <sstream>

namespace platform {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
char lowerASCII(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

void sortNaturally(std::vector<std::string>& names) {
    std::sort(names.begin(), names.end(), [](const auto& a, const auto& b) { return naturalLess(a, b); });
}

}  // namespace

bool naturalLess(std::string_view a, std::string_view b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            std::size_t endA = i;
            std::size_t endB = j;
            while (endA < a.size() && isDigit(a[endA])) ++endA;
            while (endB < b.size() && isDigit(b[endB])) ++endB;
            auto runA = a.substr(i, endA - i);
            auto runB = b.substr(j, endB - j);
            while (runA.size() > 1 && runA.front() == '0') runA.remove_prefix(1);
            while (runB.size() > 1 && runB.front() == '0') runB.remove_prefix(1);
            if (runA.size() != runB.size()) return runA.size() < runB.size();
            if (runA != runB) return runA < runB;
            i = endA;
            j = endB;
            continue;
        }
        const char ca = lowerASCII(a[i]);
        const char cb = lowerASCII(b[j]);
        if (ca != cb) return static_cast<unsigned char>(ca) < static_cast<unsigned char>(cb);
        ++i;
        ++j;
    }
    if (a.size() - i != b.size() - j) return a.size() - i < b.size() - j;
    return a < b;  // equal but for case or leading zeros: a fixed order all the same
}

std::vector<std::string> holdersOf(const Sysfs& sysfs, std::string_view name) {
    if (!isPlainName(name)) return {};
    auto holders = sysfs.list(blockPath(name) + "/holders");
    sortNaturally(holders);
    return holders;
}

std::vector<std::string> partitionsOf(const Sysfs& sysfs, std::string_view disk) {
    if (!isPlainName(disk)) return {};
    const std::string path = blockPath(disk);
    std::vector<std::string> partitions;
    for (auto& entry : sysfs.list(path)) {
        if (entry.starts_with(disk) && entry.size() > disk.size() && sysfs.exists(path + "/" + entry + "/partition")) {
            partitions.push_back(std::move(entry));
        }
    }
    sortNaturally(partitions);
    return partitions;
}

std::vector<std::string> stackedOn(std::string_view disk, const Sysfs& sysfs) {
    std::vector<std::string> order;  // deepest last while collecting
    std::set<std::string, std::less<>> seen;
    std::function<void(const std::string&, int)> climb = [&](const std::string& name, int depth) {
        if (depth > 16) return;
        for (const auto& holder : holdersOf(sysfs, name)) {
            if (!seen.insert(holder).second) continue;
            order.push_back(holder);
            climb(holder, depth + 1);
        }
    };
    if (!isPlainName(disk)) return {};
    const std::string name(disk);
    climb(name, 0);
    for (const auto& partition : partitionsOf(sysfs, name)) climb(partition, 0);
    // A holder found later may hold one found earlier (two partitions in one volume
    // group); order by height above the disk, topmost first.
    std::map<std::string, int, std::less<>> height;
    std::function<int(const std::string&, int)> heightOf = [&](const std::string& device,
                                                               int depth) {
        if (const auto it = height.find(device); it != height.end()) return it->second;
        int most = 0;
        if (depth < 16) {
            for (const auto& holder : holdersOf(sysfs, device)) {
                most = std::max(most, heightOf(holder, depth + 1) + 1);
            }
        }
        height[device] = most;
        return most;
    };
    std::stable_sort(order.begin(), order.end(), [&](const std::string& a, const std::string& b) {
        return heightOf(a, 0) < heightOf(b, 0);
    });
    return order;
}

namespace {

// Every device whose file systems belong to the disk: the disk, its partitions and what
// is stacked on them.
std::vector<std::string> devicesOf(std::string_view disk, const Sysfs& sysfs) {
    std::vector<std::string> devices{std::string(disk)};
    for (auto& partition : partitionsOf(sysfs, disk)) devices.push_back(std::move(partition));
    for (auto& stacked : stackedOn(disk, sysfs)) devices.push_back(std::move(stacked));
    return devices;
}

}  // namespace

std::vector<Mount> mountsOfDisk(std::string_view disk, const Sysfs& sysfs,
                                const std::vector<Mount>& table) {
    std::map<std::pair<unsigned, unsigned>, std::string> byNumber;
    std::map<std::string, std::string> bySource;
    for (const auto& device : devicesOf(disk, sysfs)) {
        bySource["/dev/" + device] = device;
        const auto numbers = sysfs.read(blockPath(device) + "/dev");
        unsigned major = 0;
        unsigned minor = 0;
        char colon = 0;
        if (numbers && (std::istringstream(*numbers) >> major >> colon >> minor) && colon == ':') {
            byNumber[{major, minor}] = device;
        }
    }
    std::vector<Mount> found;
    for (auto it = table.rbegin(); it != table.rend(); ++it) {
        std::optional<std::string> device;
        if (auto n = byNumber.find({it->major, it->minor}); n != byNumber.end() && it->major != 0) {
            device = n->second;
        } else if (auto s = bySource.find(it->source); s != bySource.end()) {
            device = s->second;
        }
        if (!device) continue;
        Mount mount = *it;
        mount.source = *device;
        found.push_back(std::move(mount));
    }
    return found;
}

}  // namespace platform
