#pragma once
// The demo machine's drives for the desktop's tests, and a made-up history of readings
// for them (a reading a day), so that the pages have trends and forecasts to show.
#include <memory>
#include <vector>

#include "app/drive_summary.hpp"
#include "app/machine.hpp"
#include "app/store/reading.hpp"
#include "platform/demo/demo_machine.hpp"

namespace desktop::testing {

struct DemoDrives {
    std::unique_ptr<platform::DemoMachine> demo;
    std::unique_ptr<app::Machine> machine;
    /// One pass over the demo machine.
    std::vector<app::DriveSummary> drives;
};

DemoDrives demoDrives();

/// `days` daily readings of each drive up to `now`: written bytes growing 20 GB a day,
/// temperatures wandering, the score and life as the drive has them now.
std::vector<app::Reading> dailyHistory(const std::vector<app::DriveSummary>& drives, drivekit::json::SystemTime now,
                                       int days);

const app::DriveSummary& byName(const std::vector<app::DriveSummary>& drives, const std::string& bsdName);

}  // namespace desktop::testing
