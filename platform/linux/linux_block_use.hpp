#pragma once
// Swap from /proc/swaps; exclusive use by open(2) with O_EXCL, which for a block device
// fails with EBUSY while it is mounted in any namespace, used as swap, held by a
// device-mapper or md device, or opened with O_EXCL by anybody else.
#include <filesystem>

#include "platform/block_use.hpp"

namespace platform {

class LinuxBlockUse final : public BlockUse {
public:
    explicit LinuxBlockUse(std::filesystem::path root = "/") : root_(std::move(root)) {}

    std::vector<std::string> activeSwaps() const override;
    Result<void, int> openExclusively(std::string_view name) const override;

private:
    std::filesystem::path root_;
};

}  // namespace platform
