#pragma once
// Everything the program remembers between runs, and where: the readings in the data
// folder ($XDG_DATA_HOME/vantrel), the files other local programs read (panel widgets,
// status bars) in its shared/ folder, the preferences in the configuration folder
// ($XDG_CONFIG_HOME/vantrel). Every write replaces a file whole and atomically, so a
// reader (or a crash) sees the old file or the new one, never a torn one. A file that
// doesn't decode, or that a newer release wrote, is kept aside beside itself as
// "<name>.damaged" and reads as empty: it is never a reason to stop.
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "app/drive_summary.hpp"
#include "app/store/reading.hpp"
#include "drivekit/core/json.hpp"

namespace app {

/// The user's wishes, with their defaults. One JSON file, written whole at each change.
struct Prefs {
    enum class Appearance { system, void_, lab };

    Appearance appearance = Appearance::system;
    bool menuBarShowsScore = true;
    bool showPlugCard = true;
    bool autoCheckUSB = true;
    /// The poller's period; 0 counts as 1.
    int checkMinutes = 10;
    /// `usbKey`, `id` or `stableKey` of drives the user hid.
    std::vector<std::string> hiddenDrives;
    int keepDays = 400;
    bool notifyWorse = true;
    bool notifyChecked = false;
    bool notifyEjected = true;
    bool notifyLowSpace = true;
    int lowSpacePercent = 10;
    bool notifyHot = false;
    /// `usbSignature` of USB drives the user handed over before.
    std::set<std::string> approvedUSB;

    /// The file's layout; a file of a later layout is kept aside, not misread.
    static constexpr int kVersion = 1;

    drivekit::json::Object toJSON() const;
    /// Unknown keys are ignored and a missing or damaged value takes its default; an
    /// unknown appearance reads as `system`. Nothing for a value that isn't an object or
    /// comes from a later layout.
    static std::optional<Prefs> fromJSON(const drivekit::json::Object& object);

    bool operator==(const Prefs&) const = default;
};

struct KnownDrives {
    struct Entry {
        DriveSummary drive;
        drivekit::json::SystemTime lastSeen;
        bool operator==(const Entry&) const = default;
    };
    /// By `stableKey`. An entry is never removed: it is how a drive that is away is known.
    std::map<std::string, Entry> entries;

    /// Each drive at its `stableKey`, seen `now`; other entries stay.
    void merge(std::span<const DriveSummary> drives, drivekit::json::SystemTime now);

    drivekit::json::Object toJSON() const;
    static std::optional<KnownDrives> fromJSON(const drivekit::json::Object& object);
    bool operator==(const KnownDrives&) const = default;
};

/// Every key a hidden drive may be known by: the user's list, and for each present drive
/// it hides, also its `id`, `stableKey` and `usbKey`; sorted.
std::vector<std::string> hiddenKeys(std::span<const std::string> hidden,
                                    std::span<const DriveSummary> drives);

/// Whether the user hid the drive, by any of its keys.
bool isHidden(const DriveSummary& drive, std::span<const std::string> hidden);

/// The folders; empty paths where the environment names none (then nothing is kept).
struct StatePaths {
    std::filesystem::path data;
    std::filesystem::path config;

    /// $XDG_DATA_HOME/vantrel (else ~/.local/share/vantrel) and $XDG_CONFIG_HOME/vantrel
    /// (else ~/.config/vantrel); relative XDG values are ignored, as the standard says.
    static StatePaths fromEnvironment(const std::function<std::optional<std::string>(const char*)>& environment);

    std::filesystem::path readings() const;
    std::filesystem::path shared() const;
    std::filesystem::path knownDrives() const;
    std::filesystem::path hiddenDrives() const;
    std::filesystem::path sharedState() const;
    std::filesystem::path widgetSettings() const;
    std::filesystem::path prefs() const;
    /// The tiers of the last pass and when each note last went out.
    std::filesystem::path alerts() const;
};

namespace StateFiles {

/// The one way the program writes its state: the folder made with its parents, then the
/// file replaced whole and atomically (temporary file, fsync, rename, fsync of the folder).
/// False when anything failed; the old file is then untouched.
bool write(const std::filesystem::path& path, const drivekit::json::Object& value);

/// What a file holds: absent when missing; a file that doesn't parse or that `accepts`
/// refuses is renamed to "<name>.damaged" (replacing an older one) and reads as absent.
std::optional<drivekit::json::Object> read(const std::filesystem::path& path,
                                           const std::function<bool(const drivekit::json::Object&)>& accepts);

/// Removes the temporary files that writers killed mid-write left in `folder` (their
/// process is gone); a live writer's are left alone. The number removed.
int removeLeftovers(const std::filesystem::path& folder);

/// Empty when missing or damaged.
std::vector<Reading> readReadings(const std::filesystem::path& path);
bool writeReadings(const std::filesystem::path& path, std::span<const Reading> readings);

/// The defaults when missing, damaged or written by a later release.
Prefs readPrefs(const std::filesystem::path& path);
bool writePrefs(const std::filesystem::path& path, const Prefs& prefs);

KnownDrives readKnownDrives(const std::filesystem::path& path);
bool writeKnownDrives(const std::filesystem::path& path, const KnownDrives& known);

/// Absent when missing or damaged, so that a damaged file is rewritten.
std::optional<std::vector<std::string>> readHiddenDrives(const std::filesystem::path& path);
bool writeHiddenDrives(const std::filesystem::path& path, std::span<const std::string> keys);

/// {"lowSpacePercent"}: the one preference a panel widget needs to colour a volume. Absent
/// when missing or damaged, so that a damaged file is rewritten.
std::optional<int> readWidgetLowSpacePercent(const std::filesystem::path& path);
bool writeWidgetLowSpacePercent(const std::filesystem::path& path, int lowSpacePercent);

/// {"date", "drives"}: what a panel widget shows while the program runs.
bool writeSharedState(const std::filesystem::path& path, std::span<const DriveSummary> drives,
                      drivekit::json::SystemTime now);

}  // namespace StateFiles

}  // namespace app
