#include "app/eject.hpp"

#include <algorithm>
#include <cerrno>

#include "app/drive_check.hpp"
#include "app/read_all.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/usb/checker.hpp"
#include "platform/block_stack.hpp"

namespace app {

namespace {

// The one wording table of ejecting and mounting again. Texts that name the platform say
// the true thing for Linux.
namespace Words {
constexpr std::string_view checking = "A health check is using this drive. Cancel it first.";
constexpr std::string_view checkingLog = "Eject refused: a USB health check has the drive.";
constexpr std::string_view startup = "This drive holds the startup volume, so it can't be ejected.";
constexpr std::string_view startupLog = "Eject refused: the drive holds the startup volume.";
constexpr std::string_view busy =
    "Something is still using this drive. Close any files or windows on it, then try again.";
constexpr std::string_view busyLog = "Eject refused: a file on the drive is open.";
constexpr std::string_view heldBy = "Something is still using this drive: ";
constexpr std::string_view closeIt = ". Close it, then try again.";
constexpr std::string_view closeThem = ". Close them, then try again.";
constexpr std::string_view notPermitted = "Linux didn't let Vantrel eject this drive. Eject it in the file manager.";
constexpr std::string_view notPermittedLog = "Eject refused: Vantrel isn't allowed to eject it.";
constexpr std::string_view refusedLog = "Eject refused, in Linux's words.";
constexpr std::string_view refusedBare = "The drive couldn't be ejected.";
constexpr std::string_view refusedBareLog = "Eject refused, and Linux gave no reason.";
constexpr std::string_view noAnswer = "Linux didn't answer in time. Try again.";
constexpr std::string_view noAnswerLog = "Eject: Linux didn't answer in time.";
constexpr std::string_view ejectedLog = "Eject: the drive was ejected.";
constexpr std::string_view wholeSet = " (all its drives)";
constexpr std::string_view safeOne = "It's safe to unplug now.";
constexpr std::string_view safeTwo = "Both drives are safe to unplug now.";
constexpr std::string_view safeMany = " drives are safe to unplug now.";
constexpr std::string_view ejecting = "Ejecting\u2026";
constexpr std::string_view ejected = "Ejected \u00b7 safe to unplug";
constexpr std::string_view mounting = "Mounting again\u2026";
constexpr std::string_view mountFailed = "Couldn't mount it again \u00b7 unplug and replug";
constexpr std::string_view notMounted = "Not mounted \u00b7 safe to unplug";
}  // namespace Words

using Kind = EjectOutcome::Kind;

// "md0", "md127": an array, which is stopped once its file systems are unmounted.
bool isArray(std::string_view name) {
    return name.size() > 2 && name.starts_with("md") &&
           std::all_of(name.begin() + 2, name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool notPermitted(const EjectOutcome& outcome) {
    return outcome.kind == Kind::refused && (outcome.code == EPERM || outcome.code == EACCES);
}

// The system's words made into a sentence: a capital first and a full stop last.
std::string sentence(std::string text) {
    if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') text.front() = static_cast<char>(text.front() - 32);
    if (!text.empty() && text.back() != '.' && text.back() != '!' && text.back() != '?') text += '.';
    return text;
}

std::vector<std::string> mountPointsOf(const EjectJob& job, const Machine& machine) {
    std::vector<std::string> points;
    if (machine.mounts == nullptr) return points;
    const auto table = machine.mounts->list();
    for (const auto& member : job.members) {
        for (const auto& mount : platform::mountsOfDisk(member.bsdName, machine.sysfs, table)) {
            if (std::find(points.begin(), points.end(), mount.mountPoint) == points.end()) {
                points.push_back(mount.mountPoint);
            }
        }
    }
    return points;
}

}  // namespace

namespace Eject {

EjectJob job(const DriveSummary& drive, const std::vector<DriveSummary>& drives) {
    EjectJob job{drive, {drive}, drive.name};
    if (!job.isSet()) return job;
    job.name = drive.raid->setName;
    job.members.clear();
    for (const auto& other : drives) {
        if (other.raid && other.raid->setBSDName == drive.raid->setBSDName) job.members.push_back(other);
    }
    if (job.members.empty()) job.members.push_back(drive);
    return job;
}

std::optional<EjectRefusal> refusal(const EjectJob& job, const std::set<std::string>& checking) {
    for (const auto& member : job.members) {
        if (member.usbKey && checking.contains(*member.usbKey)) {
            return EjectRefusal{std::string(Words::checking), std::string(Words::checkingLog)};
        }
    }
    for (const auto& member : job.members) {
        if (member.hostsBootVolume) return EjectRefusal{std::string(Words::startup), std::string(Words::startupLog)};
    }
    return std::nullopt;
}

EjectOutcome run(const EjectJob& job, platform::Volumes& volumes, const platform::FileHolders& holders,
                 const std::vector<std::string>& mountPoints, double stepSeconds) {
    const auto failed = [&](const platform::UnmountFailure& failure) -> EjectOutcome {
        if (failure.kind == platform::UnmountFailure::Kind::timeout) return {Kind::noAnswer};
        if (failure.code == EBUSY) {
            const auto lines = drivekit::Checker::holderLines(holders.holding(mountPoints));
            if (lines.empty()) return {Kind::busy};
            std::string text(Words::heldBy);
            for (std::size_t i = 0; i < lines.size(); ++i) text += (i == 0 ? "" : "; ") + lines[i];
            text += lines.size() == 1 ? Words::closeIt : Words::closeThem;
            return {Kind::busy, text, EBUSY};
        }
        return {Kind::refused,
                failure.reason.empty() ? std::nullopt : std::optional<std::string>(failure.reason), failure.code};
    };
    // A disk that went away meanwhile (unplugged) has nothing left to do.
    const auto fails = [](const platform::Result<void, platform::UnmountFailure>& step) {
        return !step && step.error().kind != platform::UnmountFailure::Kind::noDisk;
    };

    // The stores on top go first, so that a file system goes before the array or the
    // container it lives in, and that before the drives under it.
    std::vector<std::string> stores;
    for (const auto& member : job.members) {
        for (const auto& store : member.disksOnTop) {
            const bool isMember = std::any_of(job.members.begin(), job.members.end(),
                                              [&](const DriveSummary& m) { return m.bsdName == store; });
            if (!isMember && std::find(stores.begin(), stores.end(), store) == stores.end()) stores.push_back(store);
        }
    }
    for (const auto& store : stores) {
        if (auto step = volumes.unmountWhole(store, stepSeconds); fails(step)) return failed(step.error());
        if (!isArray(store)) continue;
        if (auto step = volumes.stopArray(store, stepSeconds); fails(step)) return failed(step.error());
    }
    for (const auto& member : job.members) {
        if (auto step = volumes.unmountWhole(member.bsdName, stepSeconds); fails(step)) return failed(step.error());
        if (auto step = volumes.powerOff(member.bsdName, stepSeconds); fails(step)) return failed(step.error());
    }
    return {Kind::ejected};
}

std::string reason(const EjectOutcome& outcome) {
    switch (outcome.kind) {
        case Kind::busy:
            return outcome.text ? *outcome.text : std::string(Words::busy);
        case Kind::refused:
            if (notPermitted(outcome)) return std::string(Words::notPermitted);
            return outcome.text ? sentence(*outcome.text) : std::string(Words::refusedBare);
        case Kind::noAnswer:
            return std::string(Words::noAnswer);
        case Kind::ejected:
            break;
    }
    return {};
}

std::string logLine(const EjectOutcome& outcome) {
    switch (outcome.kind) {
        case Kind::busy:
            return outcome.text ? std::string() : std::string(Words::busyLog);
        case Kind::refused:
            if (notPermitted(outcome)) return std::string(Words::notPermittedLog);
            return std::string(outcome.text ? Words::refusedLog : Words::refusedBareLog);
        case Kind::noAnswer:
            return std::string(Words::noAnswerLog);
        case Kind::ejected:
            break;
    }
    return std::string(Words::ejectedLog);
}

std::string title(const EjectJob& job) { return job.name + (job.isSet() ? std::string(Words::wholeSet) : ""); }

std::string safeToUnplug(std::size_t drives) {
    if (drives <= 1) return std::string(Words::safeOne);
    if (drives == 2) return std::string(Words::safeTwo);
    return std::to_string(drives) + std::string(Words::safeMany);
}

std::string line(const DriveSummary& drive, const std::optional<EjectState>& state, const std::string& normal,
                 const std::optional<std::string>& scanning) {
    if (scanning) return *scanning;
    if (state) {
        switch (state->kind) {
            case EjectState::Kind::refused:
                return state->reason;
            case EjectState::Kind::ejecting:
                return std::string(Words::ejecting);
            case EjectState::Kind::ejected:
                return std::string(Words::ejected);
            case EjectState::Kind::mounting:
                return std::string(Words::mounting);
            case EjectState::Kind::mountFailed:
                return std::string(Words::mountFailed);
        }
    }
    const bool hasVolumes = drive.hasVolumes.value_or(!drive.volumes.empty());
    if (hasVolumes && drive.notMounted() && !drive.hostsBootVolume) return std::string(Words::notMounted);
    return normal;
}

std::map<std::string, EjectState> surviving(const std::map<std::string, EjectState>& states,
                                            const std::vector<DriveSummary>& drives) {
    std::map<std::string, EjectState> kept;
    for (const auto& drive : drives) {
        if (const auto it = states.find(drive.id); it != states.end()) kept.insert(*it);
    }
    return kept;
}

}  // namespace Eject

std::vector<std::string> ejectMountPoints(const EjectJob& job, const Machine& machine) {
    return mountPointsOf(job, machine);
}

std::optional<EjectReport> ejectDrive(Machine& machine, std::string_view bsdName) {
    if (machine.volumes == nullptr || machine.holders == nullptr) return std::nullopt;
    const ReadContext context = readContextOf(machine);
    std::vector<DriveSummary> drives;
    std::optional<DriveSummary> asked;
    // Discovered, not read: ejecting needs what a drive is and where it sits, never its
    // health, and must not wake a sleeping disk just to take it out.
    for (const auto& drive : drivekit::Discovery::allDrives(context.discovery)) {
        auto read = summarized(drive, {}, context);
        if (!read) continue;
        if (drive.bsdName == bsdName) asked = read->summary;
        drives.push_back(std::move(read->summary));
    }
    if (!asked) return std::nullopt;
    EjectReport report{Eject::job(*asked, drives), std::nullopt, std::nullopt};
    report.refused = Eject::refusal(report.job, {});
    if (report.refused) return report;
    report.outcome = Eject::run(report.job, *machine.volumes, *machine.holders, mountPointsOf(report.job, machine));
    return report;
}

std::optional<MountReport> mountDrive(Machine& machine, std::string_view bsdName) {
    if (machine.volumes == nullptr) return std::nullopt;
    if (!drivekit::Discovery::drive(bsdName, sourcesOf(machine))) return std::nullopt;
    MountReport report;
    report.sentences = machine.volumes->mountAll(bsdName);
    if (machine.mounts != nullptr) {
        for (const auto& mount : platform::mountsOfDisk(bsdName, machine.sysfs, machine.mounts->list())) {
            report.mountPoints.push_back(mount.mountPoint);
        }
        std::reverse(report.mountPoints.begin(), report.mountPoints.end());
    }
    return report;
}

}  // namespace app
