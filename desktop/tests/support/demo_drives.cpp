#include "desktop/tests/support/demo_drives.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "app/demo/demo_files.hpp"
#include "app/drive_check.hpp"
#include "app/store/drive_source.hpp"

namespace desktop::testing {

DemoDrives demoDrives() {
    DemoDrives out;
    auto loaded = platform::DemoMachine::load(std::filesystem::path(VANTREL_DEMO_DATA) / "machine.json");
    if (!loaded) throw std::runtime_error(loaded.error());
    out.demo = std::move(loaded).value();
    out.machine = std::make_unique<app::Machine>(app::demoMachine(*out.demo, drivekit::Locale{"en_US"}));
    auto context = app::readContextOf(*out.machine);
    context.wake = false;
    out.drives = app::driveSource(context)(app::PassRequest{});
    return out;
}

std::vector<app::Reading> dailyHistory(const std::vector<app::DriveSummary>& drives, drivekit::json::SystemTime now,
                                       int days) {
    std::vector<app::Reading> readings;
    for (int day = days - 1; day >= 0; --day) {
        for (const auto& drive : drives) {
            auto reading = app::Reading::of(drive, now - std::chrono::hours(24 * day));
            if (reading.writtenBytes) {
                const std::uint64_t back = static_cast<std::uint64_t>(day) * std::uint64_t{20'000'000'000};
                reading.writtenBytes = *reading.writtenBytes > back ? *reading.writtenBytes - back : 0;
            }
            if (reading.temperatureC) *reading.temperatureC += (day % 3) - 1;
            readings.push_back(reading);
        }
    }
    return readings;
}

const app::DriveSummary& byName(const std::vector<app::DriveSummary>& drives, const std::string& bsdName) {
    const auto it = std::find_if(drives.begin(), drives.end(), [&](const auto& d) { return d.bsdName == bsdName; });
    if (it == drives.end()) throw std::runtime_error("no demo drive " + bsdName);
    return *it;
}

}  // namespace desktop::testing
