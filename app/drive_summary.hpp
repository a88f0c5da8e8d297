#pragma once
// What the program knows about one drive at one moment: the whole of a drive page in one
// flat record, stored as JSON inside the shared state and the known drives. Views, files,
// widgets and reports read only this. Identity has three levels: `id` (this connection),
// `usbKey` (this port) and `stableKey` (over reconnections).
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "app/drive_insight.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/discovery/link.hpp"
#include "drivekit/health/finding.hpp"
#include "drivekit/health/forecast.hpp"
#include "drivekit/health/history_finding.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/health/tier.hpp"
#include "drivekit/health/wording.hpp"

namespace app {

/// Space on a volume in bytes. Free space doesn't count what the system could purge.
struct FreeSpace {
    std::int64_t free = 0;
    std::int64_t total = 0;

    drivekit::json::Object toJSON() const;
    static std::optional<FreeSpace> fromJSON(const drivekit::json::Object& object);

    bool operator==(const FreeSpace&) const = default;
};

/// A mounted volume of a drive as its page lists it.
struct VolumeInfo {
    std::string name;
    std::string mountPoint;
    std::optional<std::string> fileSystem;
    std::optional<FreeSpace> space;

    drivekit::json::Object toJSON() const;
    static std::optional<VolumeInfo> fromJSON(const drivekit::json::Object& object);

    bool operator==(const VolumeInfo&) const = default;
};

struct DriveSummary {
    using Kind = drivekit::DriveKind;
    using Field = DriveField;

    /// Serial-derived when the drive told its serial, else the BSD name.
    std::string id;
    std::string bsdName;
    /// The display name.
    std::string name;
    /// The model, or "Not reported by the enclosure" when it is hidden.
    std::string model;
    Kind kind = Kind::other;
    drivekit::Tier tier = drivekit::Tier::limited;
    std::optional<int> score;
    std::string title;
    std::string line;
    /// The messages of all findings.
    std::vector<std::string> findings;
    /// Percents; for NVMe `lifeLeft` is 100 less `lifeUsed`, which can pass 100.
    std::optional<int> lifeLeft;
    std::optional<int> lifeUsed;
    std::optional<int> spare;
    /// Media errors as the reading tells them.
    std::optional<std::uint64_t> dataErrors;
    std::optional<drivekit::LifeForecast> forecast;
    std::optional<int> temperatureC;
    std::optional<std::uint64_t> powerOnHours;
    std::optional<std::uint64_t> dataWrittenBytes;
    std::int64_t capacityBytes = 0;
    /// The negotiated link, and the line on the faster link the drive supports.
    std::optional<std::string> link;
    std::optional<std::string> linkNote;
    std::optional<int> ceilingMBps;
    /// The sentence that tells how this summary was read.
    std::string readSource;
    /// Raw fields for the Health data page.
    std::vector<Field> healthLog;
    bool isRAIDMember = false;
    /// Of the main volume: the one at "/" for the start-up drive, else the first mounted.
    std::optional<std::string> mountPoint;
    std::optional<std::string> volumeName;
    std::optional<drivekit::RAIDInfo> raid;
    /// The drive reports no model and is named after its volume.
    bool modelHidden = false;
    bool hostsBootVolume = false;
    /// Of the main volume.
    std::optional<FreeSpace> space;
    std::vector<VolumeInfo> volumes;
    DriveInsight insight;
    /// "<locationID>-<sizeBytes>"; only for `usb`.
    std::optional<std::string> usbKey;
    /// "VVVV:PPPP:<sizeBytes>"; only for `usb` with USB facts.
    std::optional<std::string> usbSignature;
    std::optional<std::string> usbProductName;
    /// Kernel names of the devices stacked on the drive's volumes (LUKS, LVM, md), once
    /// each, without the drive itself.
    std::vector<std::string> disksOnTop;
    drivekit::SMARTStatus smartStatus = drivekit::SMARTStatus::notSupported;
    /// Health came through the system's own driver: no hand-over is needed.
    bool liveUSBHealth = false;
    std::vector<drivekit::SelfTest::Entry> selfTests;
    // Fields from here on came after the first release: optional, so older files decode.
    std::optional<bool> readOnly;
    /// Raw texts of the signals of findings worse than healthy, in order of first
    /// appearance.
    std::optional<std::vector<std::string>> flaggedSignals;
    std::optional<std::vector<drivekit::HistoryFinding>> history;
    /// The score before the history rules changed it.
    std::optional<int> ownScore;
    std::optional<drivekit::TransferMode> transferMode;
    /// The drive has any volume, mounted or not.
    std::optional<bool> hasVolumes;
    /// The enclosure's bridge is an NVMe one: no hand-over is possible.
    std::optional<bool> usbNVMeBridge;
    /// The disk was asleep at the last pass and wasn't woken to be read.
    std::optional<bool> asleep;

    /// The key that survives reconnection: "usb:" and the signature for a USB drive that
    /// has one; "name:<name>:<capacityBytes>" for a drive with no identity of its own
    /// (`id` is its BSD name); otherwise `id`.
    std::string stableKey() const;
    /// Whether the page offers the USB check: only for a USB drive, when the system
    /// `available`ly offers the hand-over, not read live, not behind an NVMe bridge, and
    /// only while the summary is still limited.
    bool offersUSBCheck(bool available) const;
    /// No volume of the drive has a mount point.
    bool notMounted() const;

    /// Keys are the field names in field order; absent values left out, lists always
    /// written.
    drivekit::json::Object toJSON() const;
    /// Nothing when a field every release wrote is missing or damaged; a damaged or
    /// unknown optional value reads as absent.
    static std::optional<DriveSummary> fromJSON(const drivekit::json::Object& object);

    bool operator==(const DriveSummary&) const = default;
};

/// "<locationID>-<sizeBytes>" in decimal, with location 0 without USB facts: the key of
/// the drive on its port, under which a USB reading is kept while it stays connected.
std::string usbKey(const drivekit::Drive& drive);
/// "%04X:%04X:" of vendor and product id, then the size in decimal; nothing without USB
/// facts.
std::optional<std::string> usbSignature(const drivekit::Drive& drive);

/// The sentences of a drive page. Those that name the platform say the true thing for
/// Linux.
namespace SummaryWording {

/// The sentence at the head of the page; the internal SSD is "your SSD".
std::string title(drivekit::Tier tier, drivekit::DriveKind kind, bool readOnly);

/// The line of a drive whose health couldn't be read: why, then what is still tracked.
/// `usbNVMeBridge` matters only for USB drives; `asleep`, a disk left asleep, for any.
std::string limitedLine(drivekit::DriveKind kind, bool usbNVMeBridge, bool asleep = false);

/// How the summary was read. `method` none is a limited drive; `usbCheckAvailable` says
/// the USB check is offered for it on this system. A hidden model adds a first sentence.
std::string readSource(const drivekit::Drive& drive, drivekit::ReadMethod method, bool modelHidden,
                       bool usbCheckAvailable);

}  // namespace SummaryWording

}  // namespace app
