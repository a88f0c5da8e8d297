#pragma once
// The NVMe drives of the machine as sysfs lists them, and the facts of one that the
// health rules take. Enough for checking NVMe drives; full discovery of every kind of
// drive replaces it.
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/discovery/drive.hpp"
#include "platform/sysfs.hpp"

namespace cli {

/// Kernel names of whole NVMe namespaces ("nvme0n1", not its partitions), sorted
/// naturally: nvme2n1 before nvme10n1.
std::vector<std::string> nvmeNamespaces(const platform::Sysfs& sysfs);

/// Whether the kernel name is an NVMe namespace or controller ("nvme0n1", "nvme0").
bool isNVMeName(std::string_view name);

/// The drive record of an NVMe namespace: model, size, medium and block size from sysfs.
drivekit::Drive nvmeDrive(std::string_view name, const platform::Sysfs& sysfs);

}  // namespace cli
