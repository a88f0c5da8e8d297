#pragma once
// UASTransport: SCSI commands over USB Attached SCSI (protocol 0x62) with USB 3 bulk
// streams. A capture makes it once the UAS setting is selected and sends every command
// through it while it exists.
//
// Deliberately narrow: one command in flight, always tag 1 on stream 1, data-in only.
// Its main care is an enclosure that stops answering. Then the transport wedges: it
// sends nothing more, cancels nothing more and tears nothing down, because a read still
// queued on a stream owns a buffer of ours and the device may yet complete it. Only a
// reset of the device (at release, by the kernel) ends that safely. A device rejecting a
// command (a Sense IU with a non-zero status) and a short status leave it ready.
//
// A link without streams (High-Speed UAS, which paces data with READ READY IUs) is
// refused at setup; the capture then goes to the Bulk-Only setting if there is one.
//
// `send`, `close` and setup run on the caller's thread, one at a time. Completions run on
// a platform thread and touch only their own command's state.
#include <array>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/result.hpp"
#include "platform/diagnostics_log.hpp"
#include "drivekit/usb/io_buffer_pool.hpp"
#include "platform/usb_device.hpp"

namespace drivekit {

/// Why a UAS command or the transport's setup failed, as the sentence the user sees.
struct UASFailure {
    enum class Kind {
        setup,      // "UAS setup: %@"
        transport,  // "UAS transfer: %@"
        timeout,    // "UAS timed out waiting for %@."
        status,     // "The enclosure rejected the command (SCSI status %d)."
        notUAS,     // "No UAS setting."
    };
    Kind kind = Kind::transport;
    std::string detail;
    std::uint8_t status = 0;

    static UASFailure setup(std::string detail) { return {Kind::setup, std::move(detail), 0}; }
    static UASFailure transport(std::string detail) {
        return {Kind::transport, std::move(detail), 0};
    }
    static UASFailure timeout(std::string what) { return {Kind::timeout, std::move(what), 0}; }
    static UASFailure rejected(std::uint8_t status) { return {Kind::status, {}, status}; }

    std::string text() const;

    bool operator==(const UASFailure&) const = default;
};

/// What a capture needs of a UAS transport: one command at a time, a close that may
/// refuse, and whether it stopped answering for good.
class UASLink {
  public:
    virtual ~UASLink() = default;
    virtual Result<Bytes, UASFailure> send(ByteView cdb, std::int64_t dataIn,
                                           double timeoutSeconds) = 0;
    /// True when streams and buffers are gone and the device can be given back; false
    /// when it must be left open.
    virtual bool close() = 0;
    virtual bool wedged() const = 0;
    /// The logical unit the following commands address; 0 until told.
    virtual void addressLUN(std::uint8_t lun) { (void)lun; }

  protected:
    UASLink() = default;
    UASLink(const UASLink&) = default;
    UASLink& operator=(const UASLink&) = default;
};

/// A flag a completion raises and the sending thread waits for.
class UASSignal {
  public:
    void raise();
    bool raised() const;
    /// Waits until raised or `seconds` pass; true when raised.
    bool waitFor(double seconds);

  private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool raised_ = false;
};

namespace UAS {

inline constexpr std::uint32_t streamID = 1;
inline constexpr std::uint16_t tag = 1;
inline constexpr std::size_t commandIULength = 32;
inline constexpr std::size_t statusBufferLength = 64;
inline constexpr std::uint8_t commandIU = 0x01;
inline constexpr std::uint8_t senseIU = 0x03;
inline constexpr std::uint8_t responseIU = 0x04;

/// Pipe IDs of the Pipe Usage descriptors.
enum PipeID : int { commandPipe = 1, statusPipe = 2, dataInPipe = 3, dataOutPipe = 4 };

/// The 32-byte Command IU: tag 1, the LUN in single-level form (byte 9), no additional
/// CDB; a CDB longer than 16 bytes is cut at 16.
std::array<std::uint8_t, commandIULength> commandIUFor(ByteView cdb, std::uint8_t lun = 0);

/// The SCSI status a status IU carries: byte 6 of a Sense IU, and 0xFF for any other IU
/// (a Response IU means the task never ran).
std::uint8_t statusOf(ByteView iu);

}  // namespace UAS

class UASTransport final : public UASLink {
  public:
    using Failure = UASFailure;
    /// Pipe ID to endpoint address, as the Pipe Usage descriptors give it.
    using PipeTable = std::map<int, std::uint8_t>;

    /// How the transport waits. Real waits unless a test passes its own clock.
    struct Timing {
        /// Waits until `signal` is raised or `seconds` pass; true when it was raised.
        std::function<bool(UASSignal& signal, double seconds)> wait;
        /// Lets `seconds` pass while polling for cancelled reads to come back.
        std::function<void(double seconds)> pause;
    };

    using Maker = std::function<Result<std::unique_ptr<UASLink>, std::string>(
        platform::USBDevice& device, const PipeTable& pipes, DiagnosticsLog& log)>;

    /// Opens the four pipes of `pipes` on the selected UAS setting of `device`, turns on
    /// streams on status, data-in and data-out, and notes each step in `log`. Without
    /// streams it notes "UAS: streams unavailable (...); High-Speed UAS isn't supported
    /// yet" and fails with `setup`. `device` and `log` must outlive the transport.
    static Result<std::unique_ptr<UASTransport>, Failure> make(platform::USBDevice& device,
                                                               const PipeTable& pipes,
                                                               DiagnosticsLog& log,
                                                               Timing timing = {});

    /// What a capture calls to make its transport; the failure is the Failure's text.
    static Maker maker(Timing timing = {});

    /// How many transports exist in this process. One that was kept open because it
    /// wouldn't close stays counted until the process ends.
    static std::size_t alive();

    UASTransport(const UASTransport&) = delete;
    UASTransport& operator=(const UASTransport&) = delete;
    ~UASTransport() override;

    /// One command on stream 1: the status and data reads are queued first, then the
    /// Command IU goes out; the one long wait, up to `timeoutSeconds`, is for the status.
    /// Returns the data that came, possibly short or empty.
    Result<Bytes, Failure> send(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override;

    /// False at once when wedged, and when queued reads don't come back within 2 s;
    /// otherwise frees the streams and the buffers and returns true.
    bool close() override;

    bool wedged() const override { return wedged_; }
    void addressLUN(std::uint8_t lun) override { lun_ = lun; }

  private:
    struct InFlight;
    struct Exchange;
    struct Pipes {
        std::uint8_t command = 0;
        std::uint8_t status = 0;
        std::uint8_t dataIn = 0;
        std::uint8_t dataOut = 0;
    };

    UASTransport(platform::USBDevice& device, DiagnosticsLog& log, Timing timing);

    std::optional<Failure> setup(const PipeTable& pipes);
    std::optional<platform::USBError> queueRead(std::uint8_t endpoint, std::span<std::uint8_t> into,
                                                const std::shared_ptr<Exchange>& exchange,
                                                bool isStatus);
    void abortRead(std::uint8_t endpoint, const std::string& name);
    bool drained();
    void wedge(const std::string& reason);

    platform::USBDevice& device_;
    Pipes pipes_;
    bool streamsOn_ = false;
    DiagnosticsLog& log_;
    std::shared_ptr<InFlight> inFlight_;
    bool wedged_ = false;
    std::uint8_t lun_ = 0;
    IOBufferPool buffers_;
    Timing timing_;
};

}  // namespace drivekit
