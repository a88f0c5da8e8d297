#include "drivekit/discovery/io_stats.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <vector>

#include "drivekit/core/text.hpp"

namespace drivekit {

namespace {

using platform::blockPath;
using platform::isPlainName;

// The block layer counts sectors of 512 bytes whatever the device's own block size.
constexpr std::uint64_t sectorBytes = 512;
// Every kernel since 2.6 writes at least these eleven fields; 4.18 and 5.5 added six.
constexpr std::size_t statMinimumFields = 11;
constexpr std::size_t statReadSectors = 2;
constexpr std::size_t statWriteSectors = 6;

std::vector<std::string_view> fields(std::string_view line) {
    std::vector<std::string_view> out;
    std::size_t at = 0;
    while (at < line.size()) {
        at = line.find_first_not_of(" \t\n", at);
        if (at == std::string_view::npos) break;
        const std::size_t end = std::min(line.find_first_of(" \t\n", at), line.size());
        out.push_back(line.substr(at, end - at));
        at = end;
    }
    return out;
}

std::uint64_t sectorsToBytes(std::uint64_t sectors) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max() / sectorBytes;
    return sectors > most ? std::numeric_limits<std::uint64_t>::max() : sectors * sectorBytes;
}

// SCSI writes the counter as "0x1f"; a plain decimal is taken too.
std::uint64_t errorCount(const std::optional<std::string>& attribute) {
    if (!attribute) return 0;
    std::string_view value = *attribute;
    while (!value.empty() && (value.back() == ' ' || value.back() == '\n')) value.remove_suffix(1);
    if (value.size() > 2 && value[0] == '0' && (value[1] == 'x' || value[1] == 'X')) {
        return text::number<std::uint64_t>(value.substr(2), 16).value_or(0);
    }
    return text::number<std::uint64_t>(value).value_or(0);
}

}  // namespace

std::optional<IOStats> IOStats::read(std::string_view bsdName, const platform::Sysfs& sysfs,
                                     const platform::Clock& clock) {
    if (!isPlainName(bsdName)) return std::nullopt;
    const std::string base = blockPath(bsdName);
    const auto line = sysfs.read(base + "/stat");
    if (!line) return std::nullopt;

    const auto parts = fields(*line);
    if (parts.size() < statMinimumFields) return std::nullopt;
    std::vector<std::uint64_t> numbers;
    for (std::size_t i = 0; i < statMinimumFields; ++i) {
        const auto value = text::number<std::uint64_t>(parts[i]);
        if (!value) return std::nullopt;
        numbers.push_back(*value);
    }

    IOStats stats;
    stats.bytesRead = sectorsToBytes(numbers[statReadSectors]);
    stats.bytesWritten = sectorsToBytes(numbers[statWriteSectors]);
    stats.readErrors = errorCount(sysfs.read(base + "/device/ioerr_cnt"));
    stats.sampledAt = clock.now();
    return stats;
}

IOStats::Rates IOStats::rates(const IOStats& earlier) const {
    if (isRestart(earlier)) return {};
    const std::chrono::duration<double> between = sampledAt - earlier.sampledAt;
    const double elapsed = std::max(between.count(), 0.001);
    return {static_cast<double>(bytesRead - earlier.bytesRead) / elapsed,
            static_cast<double>(bytesWritten - earlier.bytesWritten) / elapsed};
}

bool IOStats::isRestart(const IOStats& earlier) const {
    return bytesRead < earlier.bytesRead || bytesWritten < earlier.bytesWritten;
}

namespace ReadLimit {

std::optional<std::int64_t> maxBytes(std::string_view bsdName, const platform::Sysfs& sysfs) {
    if (!isPlainName(bsdName)) return std::nullopt;
    const std::string base = blockPath(bsdName);
    auto text = sysfs.read(base + "/queue/max_hw_sectors_kb");
    // A partition has no queue of its own; its folder sits inside its disk's.
    if (!text && sysfs.exists(base + "/partition")) {
        if (const auto partition = sysfs.resolve(base)) {
            const auto slash = partition->rfind('/');
            if (slash != std::string::npos && slash > 0) {
                text = sysfs.read(partition->substr(0, slash) + "/queue/max_hw_sectors_kb");
            }
        }
    }
    if (!text) return std::nullopt;
    const auto words = fields(*text);
    const auto kilobytes = words.size() == 1 ? text::number<std::uint64_t>(words.front()) : std::nullopt;
    constexpr auto most =
        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) / 1024;
    if (!kilobytes || *kilobytes < 1 || *kilobytes > most) return std::nullopt;
    return static_cast<std::int64_t>(*kilobytes * 1024);
}

}  // namespace ReadLimit

}  // namespace drivekit
