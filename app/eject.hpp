#pragma once
// Taking a drive out safely, and putting its volumes back. Ejecting unmounts every file
// system on the drive and on what is stacked on it, stops the md arrays built on it and
// has the system power the drive off, so it can be unplugged. A RAID set goes whole or
// not at all: ejecting one member ejects every member present. Nothing is forced: a
// volume in use refuses, and the refusal names who holds it.
//
// The steps run on `platform::Volumes` (the disk service where it runs, else the kernel's
// calls as root) and block: run them off any thread that draws. The planning, the
// outcome's words and the line a drive shows meanwhile are pure.
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "app/drive_summary.hpp"
#include "app/machine.hpp"
#include "platform/volumes.hpp"

namespace app {

/// What a drive shows while it is ejected or mounted again, per drive `id`.
struct EjectState {
    enum class Kind { refused, ejecting, ejected, mounting, mountFailed };
    Kind kind = Kind::ejecting;
    /// Why, for `refused`.
    std::string reason = {};

    bool operator==(const EjectState&) const = default;
};

/// One eject: the drive asked for, every drive that goes with it, and the name the user
/// knows it by (the set's, for a RAID set).
struct EjectJob {
    DriveSummary drive;
    std::vector<DriveSummary> members;
    std::string name;

    bool isSet() const { return drive.raid.has_value() && drive.raid->setBSDName.has_value(); }
};

/// The system's answer to a job.
struct EjectOutcome {
    enum class Kind { busy, refused, ejected, noAnswer };
    Kind kind = Kind::ejected;
    /// What the system said, or who holds the drive's files for `busy`.
    std::optional<std::string> text = std::nullopt;
    /// The errno of a refusal (EPERM when the caller wasn't allowed); 0 when none came.
    int code = 0;

    bool operator==(const EjectOutcome&) const = default;
};

/// A refusal with its log line.
struct EjectRefusal {
    std::string reason;
    std::string log;

    bool operator==(const EjectRefusal&) const = default;
};

namespace Eject {

/// Each step may take this long before the job counts as unanswered.
inline constexpr double kStepSeconds = 30.0;

/// The job for `drive`: every present member of its RAID set when the set's array is
/// known, else the drive alone.
EjectJob job(const DriveSummary& drive, const std::vector<DriveSummary>& drives);

/// Why the job may not start at all: a USB check has one of its drives (`checking` holds
/// the `usbKey`s under a check), or one of them holds the startup volume.
std::optional<EjectRefusal> refusal(const EjectJob& job, const std::set<std::string>& checking);

/// Runs the job: for every array and other store stacked on the members, its file
/// systems unmounted and an array stopped; then each member unmounted and powered off.
/// The first step that fails ends the job; a busy volume is answered with the processes
/// that hold files under `mountPoints` (the job's), when any can be named.
EjectOutcome run(const EjectJob& job, platform::Volumes& volumes, const platform::FileHolders& holders,
                 const std::vector<std::string>& mountPoints, double stepSeconds = kStepSeconds);

/// The sentence a drive shows for an outcome that isn't `ejected`.
std::string reason(const EjectOutcome& outcome);
/// The log line of an outcome.
std::string logLine(const EjectOutcome& outcome);

/// The button's words: the job's name, and " (all its drives)" for a RAID set.
std::string title(const EjectJob& job);
/// "It's safe to unplug now.", "Both drives are safe to unplug now.", "3 drives are …".
std::string safeToUnplug(std::size_t drives);

/// The line a drive shows instead of `normal` while an eject or a remount applies,
/// first match wins: a scan under way (`scanning`, its own words), the state, then a drive
/// with volumes none of which is mounted.
std::string line(const DriveSummary& drive, const std::optional<EjectState>& state, const std::string& normal,
                 const std::optional<std::string>& scanning = std::nullopt);

/// The states a pass keeps: those of drives it still lists. An ejected drive keeps its
/// state until it leaves the list.
std::map<std::string, EjectState> surviving(const std::map<std::string, EjectState>& states,
                                            const std::vector<DriveSummary>& drives);

}  // namespace Eject

/// `vantrel eject` and `vantrel mount` on a machine: the drive found by kernel name
/// among every drive (not read, only discovered), its job, and how it went.
struct EjectReport {
    EjectJob job;
    /// Set when the job didn't start.
    std::optional<EjectRefusal> refused;
    /// Set when it ran.
    std::optional<EjectOutcome> outcome;
};

/// Nothing when `bsdName` is no drive of the machine or the machine can't eject.
std::optional<EjectReport> ejectDrive(Machine& machine, std::string_view bsdName);

/// Where the file systems of the job's drives, and of what is stacked on them, are
/// mounted now.
std::vector<std::string> ejectMountPoints(const EjectJob& job, const Machine& machine);

struct MountReport {
    /// Where the drive's file systems are mounted now; none means it failed.
    std::vector<std::string> mountPoints;
    /// Why a file system wasn't mounted, where the system said.
    std::vector<std::string> sentences;
};

/// Mounts the drive's volumes again. Nothing when `bsdName` is no drive of the machine
/// or the machine can't mount.
std::optional<MountReport> mountDrive(Machine& machine, std::string_view bsdName);

}  // namespace app
