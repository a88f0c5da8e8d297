#include "app/store/drive_source.hpp"

namespace app {

DriveSource driveSource(ReadContext context) {
    return [context = std::move(context)](const PassRequest& request) {
        std::vector<DriveSummary> summaries;
        for (auto& read : readDrives(request.reports, request.live, context)) summaries.push_back(std::move(read.summary));
        return summaries;
    };
}

std::function<std::optional<IOStats>(const std::string& bsdName)> ioStatsFrom(platform::BlockCounterReader& reader) {
    return [&reader](const std::string& bsdName) -> std::optional<IOStats> {
        const auto counters = reader.read(bsdName);
        if (!counters) return std::nullopt;
        return IOStats{counters->readBytes, counters->writtenBytes};
    };
}

}  // namespace app
