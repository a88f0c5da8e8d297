#pragma once
// Everything a share of one drive shows, gathered from the application core: the drive
// read as the list reads it (never taken over, never woken), its kept readings and the
// history they give, its saved scan and benchmark, and Linux's counters of it.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "app/failure.hpp"
#include "app/machine.hpp"
#include "drivekit/core/result.hpp"
#include "reports/share.hpp"

namespace reports {

struct ShareRequest {
    /// Kernel name, "sda".
    std::string name;
    bool fullSerial = false;
    /// readings.json, as the monitor keeps it.
    std::filesystem::path readings;
    /// The folder of scans.json and benchmarks.json; empty for none.
    std::filesystem::path savedRuns;
};

/// One drive and what its shares show, dated by the machine's clock.
drivekit::Result<DriveShare, app::Failure> shareOf(app::Machine& machine, const ShareRequest& request);

/// Every kept reading, and the names of the drives they belong to (from the known
/// drives beside them).
struct AllReadings {
    std::vector<app::Reading> readings;
    std::map<std::string, std::string> names;
};
AllReadings allReadings(const std::filesystem::path& readings, const std::filesystem::path& knownDrives);

}  // namespace reports
