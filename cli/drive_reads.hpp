#pragma once
// The application core's refresh pass, on the machine a command runs against: every drive
// discovery finds, read and summarized, and the health documents of them.
#include <optional>
#include <string_view>
#include <vector>

#include "app/read_all.hpp"
#include "cli/app_names.hpp"
#include "drivekit/health/health_document.hpp"

namespace cli {

/// What a pass reads the machine with (discovery, NVMe, live ATA, free space).
app::ReadContext readContext(const Machine& machine);

/// Every shown drive of the machine, read live, in discovery's order.
std::vector<app::DriveRead> readMachineDrives(const Machine& machine, bool wake = false);

/// One drive by kernel name, read live; nothing when discovery doesn't know it as a shown
/// drive.
/// The drive as discovery sees it (transport, links, volumes); absent when it doesn't.
std::optional<drivekit::Drive> discoveredDrive(std::string_view bsdName, const Machine& machine);

std::optional<app::DriveRead> readMachineDrive(std::string_view bsdName, const Machine& machine);

/// One drive by kernel name with a reading the command already made, so that nothing is
/// read twice; nothing when discovery doesn't know it as a shown drive.
std::optional<app::DriveRead> summarizeMachineDrive(std::string_view bsdName,
                                                    app::SummaryBuilder::Reading reading,
                                                    const Machine& machine);

/// The health document of a read drive, dated by the machine's clock. The serial is
/// masked: a document is made to be shared.
drivekit::HealthDocument documentOf(const app::DriveRead& read, const Machine& machine);

}  // namespace cli
