#pragma once
// LinuxSGDrive: a SCSIDrive over SG_IO on a whole-disk node such as /dev/sda. The kernel's
// own drivers carry each command: libata translates ATA PASS-THROUGH for SATA disks,
// usb-storage and uas hand it to a USB bridge. This is how ATA SMART is read live, with
// the disk left mounted and in use.
//
// Only commands that read (data-in) or move no data are sent; the node is opened
// read-only and without waiting for a medium. The kernel lets ATA PASS-THROUGH through
// only for a process with CAP_SYS_RAWIO (in practice root); without it every such command
// would fail one by one, so `open` refuses with EPERM at once.
//
// A command that ends in CHECK CONDITION because it asked for the ATA registers succeeds,
// and its answer is the sense data that holds them (see SCSIDrive::command). Every other
// failure answers a short sentence; the statuses and sense behind it go to `log()`.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/bytes.hpp"
#include "platform/result.hpp"
#include "platform/diagnostics_log.hpp"
#include "platform/scsi_drive.hpp"

namespace platform {

/// The fields SG_IO fills in when a command has run.
struct SGCompletion {
    /// The SCSI status byte: 00h GOOD, 02h CHECK CONDITION, 08h BUSY, ...
    std::uint8_t status = 0;
    /// The host adapter's verdict (the kernel's DID_ codes).
    std::uint16_t hostStatus = 0;
    /// The low-level driver's verdict (DRIVER_ codes; DRIVER_SENSE only says that sense
    /// data came back).
    std::uint16_t driverStatus = 0;
    /// Bytes asked for that didn't come.
    std::int32_t resid = 0;
    /// The sense data the kernel wrote, as long as it wrote it.
    platform::Bytes sense;
};

/// What one command came to.
struct SGOutcome {
    enum class Kind {
        /// Completed; the first `length` bytes of the buffer came from the device.
        data,
        /// Completed with the ATA registers in the sense data.
        ataRegisters,
        /// The device refused or failed the command; the sense data says why.
        checkCondition,
        /// Nobody answered in time.
        timedOut,
        /// The device is no longer there.
        gone,
        /// The device was busy or reserved for someone else.
        busy,
        /// The host adapter or its driver failed the command.
        transportFailed,
    };
    Kind kind = Kind::data;
    std::size_t length = 0;
    /// For the log: "CHECK CONDITION, ILLEGAL REQUEST, ASC/ASCQ 20h/00h (...)".
    std::string detail;

    /// The sentence a caller may show for a failure: "The drive refused the command.",
    /// "The drive didn't answer in time.", ...; empty for the two kinds that succeed.
    std::string sentence() const;
};

/// Decides what a command came to from what SG_IO reported, for a command that asked for
/// `requested` bytes. Pure: it is where the kernel's status conventions live.
SGOutcome classify(const SGCompletion& completion, std::size_t requested);

/// Whether this process may send ATA PASS-THROUGH by SG_IO: CAP_SYS_RAWIO is in its
/// effective set. True when that can't be told, leaving the answer to the kernel.
bool mayPassThrough();

class LinuxSGDrive final : public platform::SCSIDrive {
public:
    /// Opens a disk node; the errno when that fails (ENOENT, ENXIO, EACCES, ...), or EPERM
    /// when the process may not send pass-through commands at all.
    static platform::Result<std::unique_ptr<LinuxSGDrive>, int> open(const std::filesystem::path& node);

    ~LinuxSGDrive() override;
    LinuxSGDrive(const LinuxSGDrive&) = delete;
    LinuxSGDrive& operator=(const LinuxSGDrive&) = delete;

    Answer command(platform::ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override;
    /// The data land in a page-aligned buffer kept from command to command, which the
    /// kernel maps instead of copying through a bounce buffer, and no copy is handed over.
    platform::Result<std::int64_t, Failure> commandLength(platform::ByteView cdb, std::int64_t dataIn,
                                                          double timeoutSeconds) override;
    platform::DiagnosticsLog& log() override { return log_; }
    /// True once the kernel said the device is gone; commands after that aren't sent.
    bool stoppedAnswering() const override { return gone_; }

private:
    LinuxSGDrive(int fd, std::string node);

    /// What a command sent into `data` came to: the bytes that came, or the sense data
    /// that hold the ATA registers.
    struct Sent {
        std::size_t length = 0;
        std::optional<platform::Bytes> registers;
    };
    platform::Result<Sent, Failure> send(platform::ByteView cdb, std::int64_t dataIn, double timeoutSeconds,
                                         unsigned char* data);

    int fd_;
    std::string node_;
    platform::DiagnosticsLog log_;
    bool gone_ = false;
    void* kept_ = nullptr;  // commandLength's buffer; grows to the largest read, then stays
    std::size_t keptSize_ = 0;
};

}  // namespace platform
