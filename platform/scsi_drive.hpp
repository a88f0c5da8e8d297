#pragma once
// SCSIDrive: anything that takes SCSI commands (a captured USB enclosure, a kernel SCSI
// generic device). Health reads and the surface scan are written against this interface
// alone, so they run the same over every transport and against fakes in tests.
#include <cstdint>
#include <string>

#include "platform/bytes.hpp"
#include "platform/result.hpp"
#include "platform/diagnostics_log.hpp"

namespace platform {

class SCSIDrive {
public:
    /// Why a command failed, as the sentence the user may be shown. Each transport words
    /// its own failures; the technical detail goes to `log()`.
    struct Failure {
        std::string message;
        /// The command was turned down as one the layer or the drive doesn't take (ILLEGAL
        /// REQUEST, or refused before it was sent), as opposed to lost on the way, timed
        /// out or failed at the drive. A refused pass-through form means "try another".
        bool refused = false;

        bool operator==(const Failure&) const = default;
    };
    using Answer = Result<Bytes, Failure>;

    virtual ~SCSIDrive() = default;

    /// Sends one command block and reads up to `dataIn` bytes back (0 for none), waiting
    /// at most `timeoutSeconds`. The answer may hold fewer bytes than asked for.
    /// An ATA PASS-THROUGH that asks for the ATA registers (the check-condition bit, no
    /// data) ends in CHECK CONDITION on success; its answer is then the sense data that
    /// holds them (ASC/ASCQ 00h/1Dh), for Sense::ataRegisters to read.
    virtual Answer command(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) = 0;

    /// The same command when only the length of its answer matters, as for a surface
    /// scan's reads: how many bytes came back. A transport that can read into a buffer of
    /// its own, kept from call to call, overrides it; handing over a fresh copy of every
    /// 512 KB read costs a scan of a fast drive as much processor time as a quarter of the
    /// reads themselves take.
    virtual Result<std::int64_t, Failure> commandLength(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) {
        auto answer = command(cdb, dataIn, timeoutSeconds);
        if (!answer) return Unexpected(std::move(answer.error()));
        return static_cast<std::int64_t>(answer->size());
    }

    /// The transport's diagnostics for this drive.
    virtual DiagnosticsLog& log() = 0;

    /// True once the device has stopped answering altogether and nothing more can be
    /// asked until it is reset. Callers stop sending then instead of piling up time-outs.
    virtual bool stoppedAnswering() const { return false; }

protected:
    SCSIDrive() = default;
    SCSIDrive(const SCSIDrive&) = default;
    SCSIDrive& operator=(const SCSIDrive&) = default;
};

}  // namespace platform

// DriveKit names it, and the types of its answers, as its own.
namespace drivekit {
using platform::Bytes;
using platform::ByteView;
using platform::Result;
using platform::SCSIDrive;
using platform::Unexpected;
}  // namespace drivekit
