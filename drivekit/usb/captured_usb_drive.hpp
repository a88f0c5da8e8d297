#pragma once
// CapturedUSBDrive: the program's exclusive hold on a USB drive for a few seconds. It
// opens the device, takes its mass-storage interface from the kernel driver, chooses
// USB Attached SCSI or Bulk-Only, prepares the pipes and then takes SCSI commands
// through the SCSIDrive interface until `release()` gives everything back, after which
// the kernel driver serves the disk again and its volumes can be mounted.
//
// A capture is made whole or not at all: the factories either return a ready capture or
// a Failure, having given back whatever they took. The destructor releases, so no path
// leaves a device without its driver. One capture is used from one thread at a time;
// setup, commands and release block that thread.
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/usb/capture_failure.hpp"
#include "platform/diagnostics_log.hpp"
#include "drivekit/usb/io_buffer_pool.hpp"
#include "platform/scsi_drive.hpp"
#include "drivekit/usb/uas_transport.hpp"
#include "platform/usb_device.hpp"

namespace drivekit {

class CapturedUSBDrive final : public SCSIDrive {
public:
    using Failure = CaptureFailure;

    /// Makes the UAS transport on a selected UAS setting, given its pipe table (pipe ID
    /// to endpoint address), or says why it couldn't.
    using MakeUAS = UASTransport::Maker;

    struct Options {
        /// Waits between the steps of the setup; a real sleep unless a test says otherwise.
        std::function<void(double seconds)> sleep;
        /// The UAS transport; `UASTransport::maker()` unless given.
        MakeUAS makeUAS;
    };

    inline static constexpr std::size_t logCapacity = 400;
    inline static constexpr std::uint32_t firstTag = 0x55D40000;

    /// Opens the device at `locationID` and captures it. Fails with `notRoot` unless the
    /// process is privileged, `deviceNotFound` when nothing is there.
    static Result<std::unique_ptr<CapturedUSBDrive>, Failure> capture(
        platform::USBHost& host, std::uint32_t locationID, Options options = {});

    /// Opens the device of `target`, confirms its bus and address when the target gives
    /// them (`deviceNotFound` when another device stands there now), and captures the
    /// target's interface (any mass-storage interface when it names none), addressing
    /// the target's LUN.
    static Result<std::unique_ptr<CapturedUSBDrive>, Failure> capture(
        platform::USBHost& host, const platform::USBTarget& target, Options options = {});

    /// Captures a device someone else opened, who keeps it: release gives the interface
    /// back but leaves the device open. `device` must outlive the capture.
    static Result<std::unique_ptr<CapturedUSBDrive>, Failure> adopt(platform::USBDevice& device,
                                                                     Options options = {});

    CapturedUSBDrive(const CapturedUSBDrive&) = delete;
    CapturedUSBDrive& operator=(const CapturedUSBDrive&) = delete;
    ~CapturedUSBDrive() override;

    /// Through the UAS transport when there is one, else Bulk-Only. The failure's message
    /// is the sentence of `send`'s Failure: the transport's own, wrapped no further.
    Answer command(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override;

    /// The same command with the capture's own Failure, for callers that tell the cases
    /// apart; a UAS failure comes as `uas` with the transport's sentence. On Bulk-Only
    /// after `release()` it fails with `pipes`.
    Result<Bytes, Failure> send(ByteView cdb, std::int64_t dataIn, double timeoutSeconds);

    DiagnosticsLog& log() override { return *log_; }
    std::vector<std::string> diagnostics() const { return log_->lines(); }

    /// True once the UAS transport has wedged; never on Bulk-Only.
    bool stoppedAnswering() const override;

    /// Gives everything back: the interface to its kernel driver and, when the capture
    /// opened the device, the device. Safe to call more than once. A UAS transport that
    /// refuses to close keeps the device, interface and streams alive in a process-wide
    /// list until the process ends.
    void release();

    bool usesUAS() const noexcept { return uas_ != nullptr; }

    /// The lines of the log of the most recent capture of this process; nothing before
    /// the first.
    static std::optional<std::vector<std::string>> lastDiagnostics();

    /// How many captures of this process were kept open by a transport that wouldn't close.
    static std::size_t keptOpenCount();

    /// Whether a platform error means the system refused for want of privilege.
    static bool isNotPermitted(const platform::USBError& error);

private:
    CapturedUSBDrive(platform::USBDevice* device, std::unique_ptr<platform::USBDevice> owned,
                     Options options);

    std::optional<Failure> setup();
    std::optional<std::uint8_t> findInterfaceNub();
    std::optional<Failure> openInterface(std::uint8_t number);
    bool tryUAS(const Bytes& descriptor, std::uint8_t number, std::uint8_t uasAlternate,
                bool hasBulkOnly, std::uint8_t bulkOnlyAlternate);
    void sleep(double seconds) const;

    // In the order of the record: the device, the claimed interface, the transports,
    // the tag, the log and the pool.
    std::unique_ptr<platform::USBDevice> ownedDevice_;
    platform::USBDevice* device_ = nullptr;
    std::optional<std::uint8_t> interface_;
    std::unique_ptr<UASLink> uas_;
    std::optional<std::uint8_t> bulkIn_;
    std::optional<std::uint8_t> bulkOut_;
    std::uint32_t tag_ = firstTag;
    std::optional<std::uint8_t> wantedInterface_;
    std::uint8_t lun_ = 0;
    std::shared_ptr<DiagnosticsLog> log_;
    bool released_ = false;
    bool ownsDevice_ = false;
    std::unique_ptr<IOBufferPool> ioBuffers_;
    Options options_;
};

}  // namespace drivekit
