#pragma once
// NVMeAdmin: the two NVMe admin commands the health reader needs, addressed by the kernel
// name of a drive ("nvme0n1", "nvme0c0n1" or the controller "nvme0"). Implementations find
// the controller behind the name and run the command on it; they never write to the drive.
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/result.hpp"

namespace platform {

/// Why an admin command produced no data.
struct NVMeAdminFailure {
    enum class Kind {
        /// No NVMe controller answers for that name, or we may not talk to it. `code` is the
        /// errno that said so: ENODEV (not an NVMe drive), ENOENT or ENXIO (no controller
        /// node), EACCES or EPERM (needs root).
        noController,
        /// The controller was reached but the system call failed; `code` is its errno.
        systemError,
        /// The controller completed the command with an error; `code` is the NVMe status
        /// field as the kernel hands it back (status code type << 8 | status code, with the
        /// More and Do Not Retry bits above).
        commandStatus,
    };
    Kind kind = Kind::noController;
    std::uint32_t code = 0;

    bool operator==(const NVMeAdminFailure&) const = default;
};

/// The data a command returned, or why it returned none.
using NVMeAdminReply = Result<std::vector<std::uint8_t>, NVMeAdminFailure>;

class NVMeAdmin {
  public:
    virtual ~NVMeAdmin() = default;

    /// Get Log Page: the SMART / Health Information log (identifier 2) for all namespaces,
    /// 512 bytes.
    virtual NVMeAdminReply smartLog(std::string_view bsdName) = 0;
    /// Identify Controller (CNS 1): 4,096 bytes.
    virtual NVMeAdminReply identifyController(std::string_view bsdName) = 0;
};

}  // namespace platform
