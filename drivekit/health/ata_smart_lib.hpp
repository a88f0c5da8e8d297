#pragma once
// ATASMARTLib: live ATA SMART through the system's own disk driver, with nothing
// unmounted and no USB take-over. The kernel's SCSI layer carries ATA PASS-THROUGH to the
// drive (libata for SATA, usb-storage and uas for USB bridges that pass it on), so every
// operation here is a few SAT commands on a connection that `Connect` opens for a kernel
// name ("sda").
//
// Each operation opens its own connection and drops it before returning; nothing is kept
// between calls, so any background task may call any of them, two at once for one drive
// included. Every operation starts with the node search: open the connection and find the
// pass-through form (16, then 12) under which the drive answers IDENTIFY DEVICE with
// usable data. No connection or no such form means the drive has no SMART path. Commands
// wait at most ATACommands::commandTimeout each.
//
// Only `identify` says why it failed; the other operations answer nothing, false or an
// empty list.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/bytes.hpp"
#include "drivekit/core/result.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_identity.hpp"
#include "drivekit/health/power_mode.hpp"
#include "drivekit/health/sat.hpp"
#include "drivekit/health/self_test.hpp"
#include "platform/scsi_drive.hpp"

namespace drivekit::ATASMARTLib {

/// Opens a pass-through connection to the disk with the given kernel name; null when
/// there is no such disk or it can't be opened.
using Connect = std::function<std::unique_ptr<SCSIDrive>(std::string_view bsdName)>;

struct IdentifyFailure {
    enum class Kind {
        /// The platform call failed with `status`.
        failed,
        /// The drive answered with data that can't be IDENTIFY data; `bytes` came back.
        unusable,
        /// No SMART path to the drive.
        notCapable,
    };
    Kind kind = Kind::notCapable;
    std::int32_t status = 0;
    int bytes = 0;
    /// With `failed` on a pass-through connection: why IDENTIFY didn't come back (an I/O
    /// error, a time-out), as the connection words it.
    std::string reason = {};

    /// "GetATAIdentifyData returned 0xE00002C0", "unusable IDENTIFY data (200 bytes)",
    /// "no SMART Capable node".
    std::string text() const;

    bool operator==(const IdentifyFailure&) const = default;
};

/// One conversation with a drive on one connection, as a check needs it: IDENTIFY DEVICE
/// is sent once (the 12-byte form only when the layer refused the 16-byte one), and every
/// later command uses the form that reached the drive. Pages that come back short are
/// filled up with zeros to their 512 bytes, as a drive's own buffer would be.
class Session {
public:
    /// Starts a session on an open connection. `notCapable` when the layer refuses both
    /// forms; `unusable` when what came back can't be IDENTIFY data; `failed` when IDENTIFY
    /// reached the drive and failed (an I/O error or a time-out of a dying disk) and SMART
    /// READ DATA doesn't read either. When only IDENTIFY fails, the session goes on
    /// without an identity: the SMART pages still tell the drive's health.
    static Result<Session, IdentifyFailure> begin(std::unique_ptr<SCSIDrive> drive);

    /// Absent when IDENTIFY failed but SMART READ DATA read.
    const std::optional<ATAIdentity>& identity() const { return identity_; }
    /// The SMART READ DATA page, read once and kept.
    const std::optional<Bytes>& smartData();
    /// As `attributes` below, on this session.
    std::optional<std::vector<ATAAttribute>> attributes();
    std::vector<SelfTest::Entry> selfTestLog();
    SMARTStatus smartStatus();
    bool startSelfTest(SelfTest::Kind kind);
    /// Asks the drive to end its self-test; false when the command failed.
    bool abortSelfTest();

private:
    Session(std::unique_ptr<SCSIDrive> drive, SAT::Variant variant) : drive_(std::move(drive)), variant_(variant) {}
    std::optional<Bytes> page(const Bytes& cdb);

    std::unique_ptr<SCSIDrive> drive_;
    SAT::Variant variant_;
    std::optional<ATAIdentity> identity_;
    bool dataRead_ = false;
    std::optional<Bytes> data_;
};

/// The drive has a SMART path.
bool isCapable(const Connect& connect, std::string_view bsdName);

/// The 512-byte SMART READ DATA page; nothing without a SMART path or when the read fails.
std::optional<Bytes> data(const Connect& connect, std::string_view bsdName);

/// The attribute table, with thresholds when SMART READ THRESHOLDS answers and with
/// thresholds of 0 (so nothing fails) when it doesn't. Nothing when the data page can't
/// be read.
std::optional<std::vector<ATAAttribute>> attributes(const Connect& connect,
                                                    std::string_view bsdName);

/// The drive's IDENTIFY DEVICE data, decoded. `unusable` when a pass-through form reached
/// the drive but no answer decoded, with the size of the last answer; `notCapable` when
/// none reached it. (`failed` names a failing platform call; the pass-through connection
/// reports its failures in its log instead, so this path doesn't give it.)
Result<ATAIdentity, IdentifyFailure> identify(const Connect& connect, std::string_view bsdName);

/// Whether a self-test runs and how far it got, from the SMART data page.
std::optional<SelfTest::Progress> selfTestProgress(const Connect& connect,
                                                   std::string_view bsdName);

/// Starts a self-test in the background (off-line mode); true when the drive took it.
bool startSelfTest(SelfTest::Kind kind, const Connect& connect, std::string_view bsdName);

/// The SMART self-test log (log address 6), newest first; empty when it can't be read.
std::vector<SelfTest::Entry> selfTestLog(const Connect& connect, std::string_view bsdName);

/// Whether the disk sleeps, asked with CHECK POWER MODE alone (no IDENTIFY, which would
/// spin it up). Nothing when it can't be opened or doesn't say; callers then read it as an
/// awake disk.
std::optional<PowerMode> powerMode(const Connect& connect, std::string_view bsdName);

/// The drive's own pass/fail verdict from the answer to SMART RETURN STATUS (the sense
/// data holding the ATA registers): `verified` for 4Fh/C2h in LBA mid/high, `failing` for
/// F4h/2Ch, nothing for an answer without registers, with the error bit set, or with
/// any other pair.
std::optional<SMARTStatus> statusFromAnswer(ByteView answer);

}  // namespace drivekit::ATASMARTLib

namespace drivekit::SMARTStatusRules {

/// The drive's own SMART pass/fail check through SMART RETURN STATUS. Never fails: no
/// SMART path, a failing command or an answer that says neither gives `notSupported`.
SMARTStatus ata(const ATASMARTLib::Connect& connect, std::string_view bsdName);

}  // namespace drivekit::SMARTStatusRules
