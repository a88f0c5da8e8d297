#include "app/store/system_stats.hpp"

#include "app/process_use.hpp"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <vector>

namespace app {

namespace {

/// The number after `key` on the line that starts with it ("SwapTotal:   1024 kB").
std::optional<double> field(const std::string& text, std::string_view key) {
    std::size_t at = 0;
    while ((at = text.find(key, at)) != std::string::npos) {
        if (at == 0 || text[at - 1] == '\n') {
            std::istringstream line(text.substr(at + key.size(), text.find('\n', at) - at - key.size()));
            double value = 0;
            if (line >> value) return value;
            return std::nullopt;
        }
        at += key.size();
    }
    return std::nullopt;
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> out;
    for (std::string word; in >> word;) out.push_back(word);
    return out;
}

std::uint64_t whole(double value) { return value > 0 ? static_cast<std::uint64_t>(value) : 0; }

}  // namespace

namespace SystemStatsReader {

SystemStats read(const platform::ProcFiles& proc, const platform::Sysfs& sysfs,
                 const std::optional<std::string>& bootDrive) {
    SystemStats stats;
    if (const auto meminfo = proc.text("meminfo")) {
        const auto total = field(*meminfo, "SwapTotal:");
        const auto free = field(*meminfo, "SwapFree:");
        if (total && free && *total >= *free) {
            stats.swapTotalBytes = whole(*total * 1024);
            stats.swapUsedBytes = whole((*total - *free) * 1024);
        }
    }
    if (const auto vmstat = proc.text("vmstat")) {
        if (const auto out = field(*vmstat, "pswpout ")) stats.swapOutBytesSinceBoot = whole(*out) * proc.pageSize();
    }
    if (const auto pressure = proc.text("pressure/memory")) {
        if (const auto some = field(*pressure, "some avg10=")) {
            stats.pressure = *some >= 40   ? SystemStats::Pressure::high
                             : *some >= 10 ? SystemStats::Pressure::elevated
                                           : SystemStats::Pressure::normal;
        }
    }
    if (const auto stat = proc.text("stat")) {
        if (const auto btime = field(*stat, "btime ")) {
            stats.bootDate = drivekit::json::SystemTime{} + std::chrono::seconds(whole(*btime));
        }
    }
    if (bootDrive) {
        // Field 7 of the block layer's stat: sectors of 512 bytes written.
        if (const auto blockStat = sysfs.read("/sys/class/block/" + *bootDrive + "/stat")) {
            const auto w = words(*blockStat);
            if (w.size() > 6) stats.writtenSinceBootBytes = std::strtoull(w[6].c_str(), nullptr, 10) * 512;
        }
    }
    if (const auto io = proc.text("self/io")) {
        if (const auto written = field(*io, "write_bytes:")) stats.selfWrittenBytes = whole(*written);
    }
    if (const auto use = ownUse(proc)) {
        stats.selfCPUSeconds = use->cpuSeconds;
        stats.selfAliveSeconds = use->aliveSeconds;
    }
    stats.selfCPUPercent = stats.selfAliveSeconds > 1.0 ? stats.selfCPUSeconds / stats.selfAliveSeconds * 100.0 : 0;
    return stats;
}

SystemStats updated(const std::optional<SystemStats>& old, SystemStats fresh) {
    if (!old || old->selfAliveSeconds <= 0) return fresh;
    const double span = fresh.selfAliveSeconds - old->selfAliveSeconds;
    if (span >= 1.0) {
        fresh.selfCPUPercent = std::max(0.0, (fresh.selfCPUSeconds - old->selfCPUSeconds) / span * 100.0);
    } else {
        fresh.selfCPUPercent = old->selfCPUPercent;
        fresh.selfCPUSeconds = old->selfCPUSeconds;
        fresh.selfAliveSeconds = old->selfAliveSeconds;
    }
    return fresh;
}

}  // namespace SystemStatsReader

}  // namespace app
