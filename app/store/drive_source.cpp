#include "app/store/drive_source.hpp"

namespace app {

DriveSource driveSource(ReadContext context) {
    return [context = std::move(context)](const PassRequest& request) {
        std::vector<DriveSummary> summaries;
        for (auto& read : readDrives(request.reports, request.live, context)) summaries.push_back(std::move(read.summary));
        return summaries;
    };
}

}  // namespace app
