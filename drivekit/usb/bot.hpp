#pragma once
// BOT: SCSI commands over USB Mass Storage Bulk-Only Transport. The wrappers are pure
// byte building and parsing; `send` runs one command over the two bulk pipes of a
// captured device. The transport only reads: a command has a data-in phase or none,
// never a data-out phase.
#include <array>
#include <cstdint>
#include <optional>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/usb/capture_failure.hpp"
#include "platform/diagnostics_log.hpp"
#include "drivekit/usb/io_buffer_pool.hpp"
#include "platform/usb_device.hpp"

namespace drivekit::BOT {

inline constexpr std::uint32_t cbwSignature = 0x43425355;  // "USBC" on the wire
inline constexpr std::uint32_t cswSignature = 0x53425355;  // "USBS" on the wire
inline constexpr std::size_t cbwLength = 31;
inline constexpr std::size_t cswLength = 13;
inline constexpr std::size_t maxCDBLength = 16;

/// What a Command Status Wrapper says. The residue is kept for the log and never acted
/// on: the length of an answer is what the pipe moved.
struct Status {
    std::uint32_t tag = 0;
    std::uint32_t residue = 0;
    std::uint8_t status = 0;

    bool operator==(const Status&) const = default;
};

/// The 31-byte Command Block Wrapper: signature, tag, data length, flags 0x80 for
/// data-in (else 0), the low four bits of `lun`, the CDB length and the CDB padded with
/// zeros. A CDB of fewer than 1 or more than 16 bytes is a programming fault: the
/// process stops.
std::array<std::uint8_t, cbwLength> commandBlockWrapper(std::uint32_t tag,
                                                        std::uint32_t dataLength, bool dataIn,
                                                        std::uint8_t lun, ByteView cdb);

/// The fields of a Command Status Wrapper; nothing for fewer than 13 bytes or a wrong
/// signature. The tag isn't compared here, and any status byte is taken as it stands.
std::optional<Status> parseStatus(ByteView bytes);

/// The bulk pipes of the Bulk-Only setting a capture stands on; either may be missing.
struct Pipes {
    platform::USBDevice* device = nullptr;
    std::optional<std::uint8_t> bulkIn;
    std::optional<std::uint8_t> bulkOut;
    /// The logical unit every wrapper addresses.
    std::uint8_t lun = 0;
};

/// One command: raises `tag` by one (wrapping), sends the wrapper, reads up to `dataIn`
/// bytes if that isn't 0, and reads the status wrapper. Returns the bytes the pipe moved,
/// which may be fewer than asked for. Each phase waits at most `timeoutSeconds`.
///
/// A failed data phase clears the halt on bulk-in and goes on to the status with no
/// data, so a status of success after it returns empty bytes. A status block that is
/// short, unsigned or of another tag is read once more, as is one whose first read
/// failed (after clearing the halt). A non-zero status (failed or phase error alike)
/// rejects the command; nothing is reset during a run, the caller decides what follows.
///
/// `dataIn` must be 0 to 4,294,967,295 and `cdb` 1 to 16 bytes; anything else is a
/// programming fault that stops the process. Wrapper and data buffers come from
/// `buffers`. Failures are noted in `log`, and successes too while it takes them.
Result<Bytes, CaptureFailure> send(const Pipes& pipes, std::uint32_t& tag, ByteView cdb,
                                   std::int64_t dataIn, double timeoutSeconds,
                                   IOBufferPool& buffers, DiagnosticsLog& log);

}  // namespace drivekit::BOT
