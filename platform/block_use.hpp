#pragma once
// Uses of a block device that leave no mount point in this process's view: swap, and
// anything that holds the device open exclusively (a mount in another mount namespace,
// a device-mapper or md holder, a virtual machine given the raw disk, another program).
// Before a capture the careful check asks both, so a disk is never taken from under a
// user that a mount table can't show.
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.hpp"

namespace platform {

class BlockUse {
public:
    virtual ~BlockUse() = default;

    /// The kernel names of the block devices active as swap ("sdb2").
    virtual std::vector<std::string> activeSwaps() const = 0;

    /// Success when /dev/`name` can be opened exclusively (and was closed again at once),
    /// else the errno: EBUSY while anything holds it.
    virtual Result<void, int> openExclusively(std::string_view name) const = 0;

protected:
    BlockUse() = default;
    BlockUse(const BlockUse&) = default;
    BlockUse& operator=(const BlockUse&) = default;
};

}  // namespace platform
