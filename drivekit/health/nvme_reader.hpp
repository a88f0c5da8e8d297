#pragma once
// NVMeReader: one live reading of an NVMe drive's health, through the platform's admin
// commands: the SMART / Health Information log, then the Identify Controller data. It
// touches no volume, holds no state and blocks while the controller answers, so any
// background task may call it. Nothing is retried.
#include <cstdint>
#include <string>
#include <string_view>

#include "drivekit/core/result.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "platform/nvme_admin.hpp"

namespace drivekit::NVMeReader {

/// The status of a log that came back too short to decode: the general I/O error.
inline constexpr std::uint32_t ioReturnError = 0xE00002BC;

struct Failure {
    enum class Kind {
        /// No NVMe controller behind the name, or no permission to ask it.
        noSMARTService,
        /// A command failed, or its answer couldn't be decoded.
        ioError,
    };
    Kind kind = Kind::noSMARTService;
    /// For ioError, shown to the user in eight hexadecimal digits: the errno of a failing
    /// system call, the NVMe status field a controller completed a command with, or
    /// ioReturnError for a short log. `errorNumber` tells the first apart. 0 for
    /// noSMARTService.
    std::uint32_t status = 0;
    /// The errno behind the failure, 0 when there is none (a controller status, a short
    /// log). For noSMARTService it says why: ENODEV not NVMe, ENOENT/ENXIO no controller
    /// node, EACCES/EPERM not privileged, which the command line words as "run it with sudo".
    int errorNumber = 0;

    /// "This drive doesn't expose NVMe SMART.", or why the read failed: the errno's words,
    /// the controller's status field, or a short answer.
    std::string text() const;

    bool operator==(const Failure&) const = default;
};

/// Reads the drive with kernel name `bsdName` ("nvme0n1"). A failing identify fails the
/// reading although the log was fetched; a log that decodes to nothing is ioError with
/// ioReturnError.
Result<NVMeHealth, Failure> read(std::string_view bsdName, platform::NVMeAdmin& admin);

}  // namespace drivekit::NVMeReader
