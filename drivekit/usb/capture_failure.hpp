#pragma once
// Why a capture of a USB drive, or one command through it, failed: the sentence the user
// sees. The technical detail (platform codes, which phase of which command) goes to the
// capture's DiagnosticsLog, never into these texts.
#include <cstdint>
#include <string>
#include <string_view>

namespace drivekit {

struct CaptureFailure {
    enum class Kind {
        captureFailed,           // detail: the platform's description
        transport,               // detail: which step, and the platform's description
        commandFailed,           // status: the CSW status byte
        deviceNotFound,
        notRoot,
        noMassStorageInterface,
        noBulkOnlySetting,
        pipes,
        notAllowed,
        commandRefused,          // the block isn't on the allow-list; never sent
        uas,                     // detail: the UAS transport's own sentence, shown as it is
    };
    Kind kind = Kind::transport;
    std::string detail;
    std::uint8_t status = 0;

    static CaptureFailure captureFailed(std::string detail);
    static CaptureFailure transport(std::string detail);
    static CaptureFailure commandFailed(std::uint8_t status);
    static CaptureFailure of(Kind kind);
    /// A failure of the UAS transport; `status` is the SCSI status of a rejection, else 0.
    static CaptureFailure uas(std::string sentence, std::uint8_t status = 0);

    /// "USB transfer failed: status: Pipe error", "The enclosure rejected the command
    /// (status 1).", "No USB mass-storage interface found.", ... Sentences that name the
    /// operating system name the one this runs on.
    std::string text() const;

    bool operator==(const CaptureFailure&) const = default;
};

}  // namespace drivekit
