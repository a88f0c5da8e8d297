#pragma once
// SimEnclosure: a USB mass-storage enclosure at the level of transfers, behind the same
// platform::USBDevice interface the Linux implementation offers, so a capture runs over
// it exactly as over libusb. It speaks Bulk-Only as a device does (a wrapper on bulk-out,
// data and then a status block on bulk-in, halted endpoints until cleared, NAK while it
// has nothing to send) in front of a SimATADisk, and it can be told to misbehave the
// ways real bridges do. Its UAS setting (four pipes named by Pipe Usage descriptors)
// speaks USB Attached SCSI on a SuperSpeed link with bulk streams, where reads queued on
// stream 1 of the status and data-in pipes complete once a Command IU with tag 1 came in;
// on a High-Speed link without streams it offers no streams at all.
//
// Completions of stream reads run on the thread that caused them (the Command IU's send,
// a cancel), before that call returns: the order is what a device does, only no thread
// is involved.
//
// Nothing waits: a read that would time out returns the time-out at once and adds its
// time to `timeWaited`. The enclosure outlives the devices it hands out. Test code only.
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/bytes.hpp"
#include "drivekit/usb/tests/support/sim_ata_disk.hpp"
#include "platform/usb_device.hpp"

namespace drivekit::sim {

/// Ways a command can go wrong on the wire.
enum class Fault {
    cbwStall,          // the wrapper is refused with a stall
    dataStall,         // the data phase stalls; the status follows once the halt is cleared
    dataNeverEnds,     // the data read times out and the device stays stuck there
    shortData,         // only `bytes` of the data come, with a good status
    statusStall,       // a status read stalls; the status follows once the halt is cleared
    staleStatus,       // a status block of the command before comes first
    foreignTag,        // the status block carries a tag that was never sent
    badSignature,      // a status block without "USBS"
    shortStatus,       // a status block of 12 bytes (UAS: a status IU of `bytes` bytes)
    statusNeverComes,  // every status read times out (UAS: no status IU ever)
    phaseError,        // the status block says 2, phase error
    responseIU,        // UAS: a Response IU instead of a Sense IU
};

class SimEnclosure {
public:
    struct Layout {
        std::uint8_t configurationValue = 1;
        std::uint8_t interfaceNumber = 0;
        std::uint8_t bulkIn = 0x81;
        std::uint8_t bulkOut = 0x02;
        std::uint16_t maxPacket = 512;
        bool bulkOnlySetting = true;  // alt 0, protocol 0x50
        bool uasSetting = false;      // the next alt, protocol 0x62, four pipes
        bool streams = true;          // false: a High-Speed link, no bulk streams
        bool bulkInEndpoint = true;   // false: the Bulk-Only setting lacks bulk-in
        /// An extra interface of another class before the mass-storage one (a hub-like
        /// composite device), so the interface number isn't always 0.
        bool otherInterfaceFirst = false;
    };

    SimEnclosure();
    explicit SimEnclosure(Layout layout);

    SimATADisk disk = ataDisk();
    /// The disks of LUN 1 and up (a card reader's other slots); a command to a LUN with
    /// no disk ends in CHECK CONDITION.
    std::vector<SimATADisk> otherLUNs;
    /// The LUN of every command, in order.
    std::vector<std::uint8_t> lunsSeen;
    /// Bus number and device address the device reports; nothing when it can't tell.
    std::optional<std::pair<std::uint8_t, std::uint8_t>> busAddress;

    // Faults

    /// The next `commands` commands whose opcode is `opcode` (any, without one) suffer
    /// `fault`. `bytes` is the length of `shortData`. Read-level faults (stale, foreign,
    /// bad signature, short status, status stall) hit `reads` status reads of the command.
    void inject(Fault fault, std::optional<std::uint8_t> opcode = std::nullopt, int commands = 1,
                int reads = 1, std::size_t bytes = 0);

    /// Claims fail with `error` this many times (plain claims; `seize` for the seize too).
    int claimRefusals = 0;
    bool refuseSeize = false;
    platform::USBError claimError{platform::USBError::Kind::busy, -6, "Resource busy"};
    /// The mass storage reset and Get Max LUN requests stall.
    bool resetStalls = false;
    bool maxLUNStalls = false;
    /// Clearing a halt reports an error (the halt is cleared all the same).
    bool clearHaltFails = false;
    /// No configuration is active until `setConfiguration`; then the interface appears
    /// after this many looks at the descriptor.
    bool unconfigured = false;
    int looksBeforeInterface = 0;
    /// Offers no device memory, so buffers fall back to ordinary memory.
    bool noDeviceMemory = false;
    /// Alternate setting the interface stands on before the capture.
    std::uint8_t alternate = 0;
    /// False: cancelled stream reads never come back, as with a host controller that
    /// lost track of a stream.
    bool cancelsComeBack = true;

    static constexpr std::uint8_t uasCommandPipe = 0x04;
    static constexpr std::uint8_t uasStatusPipe = 0x83;
    static constexpr std::uint8_t uasDataInPipe = 0x85;
    static constexpr std::uint8_t uasDataOutPipe = 0x06;

    // What the host did

    /// One line per operation: "claim 0", "CBW 12 tag 55D40001 len 36", "data-in 36",
    /// "status", "clear 81", "reset recovery", "max LUN", "alt 1", "release 0", ...
    std::vector<std::string> trace;
    bool driverAttached = true;
    bool claimed = false;
    int openDevices = 0;
    int resets = 0;               // mass storage resets
    int dataOutAttempts = 0;      // wrappers asking to send data to the device
    double timeWaited = 0;        // seconds spent in time-outs
    std::vector<std::uint32_t> tagsSeen;
    /// Endpoints with streams allocated, and stream reads queued and not yet completed.
    std::vector<std::uint8_t> streamEndpoints;
    std::size_t queuedReads() const { return queued_.size(); }

    /// A new device object onto this enclosure, as the host's open gives.
    std::unique_ptr<platform::USBDevice> open();

    Bytes configurationDescriptor() const;

    // Called by the device objects.
    std::optional<Bytes> descriptorIfConfigured();
    std::optional<platform::USBError> setConfiguration(std::uint8_t value);
    std::optional<platform::USBError> claim(std::uint8_t number, bool seize);
    std::optional<platform::USBError> selectAlternate(std::uint8_t alternateSetting);
    void release();
    platform::USBTransfer control(const platform::USBControlRequest& request,
                                  std::span<std::uint8_t> data, double timeout);
    platform::USBTransfer bulk(std::uint8_t endpoint, std::span<std::uint8_t> data, double timeout);
    std::optional<platform::USBError> clearHalt(std::uint8_t endpoint);
    std::optional<platform::USBError> portReset();
    platform::Result<std::uint32_t, platform::USBError> allocateStreams(
        std::uint32_t count, std::span<const std::uint8_t> endpoints);
    std::optional<platform::USBError> freeStreams(std::span<const std::uint8_t> endpoints);
    std::optional<platform::USBError> submitStreamTransfer(
        std::uint8_t endpoint, std::uint32_t streamID, std::span<std::uint8_t> data,
        std::function<void(const platform::USBTransfer&)> completion);
    void cancelStreamTransfers(std::uint8_t endpoint, std::uint32_t streamID);

private:
    SimATADisk::Reply executeOn(std::uint8_t lun, const Bytes& cdb);

    enum class State { idle, dataIn, status, stuck };
    struct Planned {
        Fault fault;
        std::optional<std::uint8_t> opcode;
        int commands;
        int reads;
        std::size_t bytes;
    };
    struct Active {
        Fault fault;
        int readsLeft;
        std::size_t bytes;
    };

    platform::USBTransfer receiveCBW(std::span<std::uint8_t> data);
    platform::USBTransfer sendData(std::span<std::uint8_t> data, double timeout);
    platform::USBTransfer sendStatus(std::span<std::uint8_t> data, double timeout);
    platform::USBTransfer timedOut(double timeout);
    bool has(Fault fault) const;
    Active* active(Fault fault);
    void takeFaults(ByteView cdb);

    // USB Attached SCSI
    struct Queued {
        std::uint8_t endpoint;
        std::uint32_t stream;
        std::span<std::uint8_t> data;
        std::function<void(const platform::USBTransfer&)> completion;
    };
    struct UASCommand {
        std::uint16_t tag = 0;
        std::optional<Bytes> data;   // still to send on data-in
        std::optional<Bytes> status; // the IU still to send on the status pipe
        bool statusStalls = false;
    };
    bool onUAS() const;
    platform::USBTransfer receiveCommandIU(std::span<std::uint8_t> data);
    void progress();
    bool complete(std::uint8_t endpoint, std::uint32_t stream, const Bytes& bytes,
                  std::optional<platform::USBError> error = std::nullopt);
    void killQueued(const platform::USBError& why);
    std::deque<Queued> queued_;
    UASCommand uas_;

    Layout layout_;
    bool configured_ = true;
    int looks_ = 0;
    State state_ = State::idle;
    std::deque<Planned> planned_;
    std::vector<Active> faults_;  // of the command in progress
    Bytes pendingData_;
    bool dataFails_ = false;  // the command failed and the bridge stalls its data phase
    std::uint32_t tag_ = 0;
    std::uint32_t previousTag_ = 0;
    std::uint32_t expected_ = 0;
    std::uint8_t cswStatus_ = 0;
    std::map<std::uint8_t, bool> halted_;
};

/// A host with enclosures at location IDs.
class SimUSBHost final : public platform::USBHost {
public:
    bool isPrivileged = true;
    std::map<std::uint32_t, SimEnclosure*> devices;
    std::optional<platform::USBError> openError;

    bool privileged() const override { return isPrivileged; }
    platform::Result<std::unique_ptr<platform::USBDevice>, platform::USBError> open(
        std::uint32_t locationID) override;
};

/// An enclosure that lives until the process ends, for captures kept open for the rest of
/// the run. It stays reachable from a global, so leak checking doesn't count it.
SimEnclosure& enclosureForTheRestOfTheRun(SimEnclosure::Layout layout);

}  // namespace drivekit::sim
