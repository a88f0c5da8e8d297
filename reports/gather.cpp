#include "reports/gather.hpp"

#include "app/drive_check.hpp"
#include "app/read_all.hpp"
#include "app/store/history.hpp"
#include "app/store/state_files.hpp"
#include "drivekit/core/version.hpp"
#include "platform/file_store.hpp"

namespace reports {

namespace {

app::Failure failure(app::Failure::Kind kind, const std::string& device) {
    app::Failure f;
    f.kind = kind;
    f.device = device;
    return f;
}

std::optional<app::SavedScan> savedScan(const std::filesystem::path& folder, const std::string& bsdName,
                                        const std::optional<std::string>& serial) {
    if (folder.empty()) return std::nullopt;
    const auto scans = app::ScanStore::read(platform::systemFiles(), app::ScanStore::file(folder));
    for (const auto& [key, scan] : scans.byDrive) {
        if (serial && scan.serial == serial) return scan;
    }
    if (const auto found = scans.byDrive.find("device:" + bsdName); found != scans.byDrive.end()) return found->second;
    return std::nullopt;
}

}  // namespace

drivekit::Result<DriveShare, app::Failure> shareOf(app::Machine& machine, const ShareRequest& request) {
    if (auto refused = app::refuseName(machine, request.name)) return drivekit::Unexpected(std::move(*refused));
    const app::ReadContext context = app::readContextOf(machine);
    const auto drive = drivekit::Discovery::drive(request.name, context.discovery);
    if (!drive) return drivekit::Unexpected(failure(app::Failure::Kind::noSuchDevice, request.name));
    // Read as the list reads: a report never takes a drive from its driver nor wakes it.
    auto read = app::readDrive(*drive, {}, true, context);
    if (!read) return drivekit::Unexpected(failure(app::Failure::Kind::noSuchDevice, request.name));

    const auto now = std::chrono::time_point_cast<std::chrono::seconds>(
        machine.clock ? machine.clock->now() : std::chrono::system_clock::now());
    DriveShare share;
    share.locale = machine.locale;
    ShareContext& shared = share.context;
    shared.generated = now;
    shared.version = std::string(drivekit::version());
    shared.fullSerial = request.fullSerial;
    shared.lastRefresh = now;

    const auto readings = request.readings.empty() ? std::vector<app::Reading>{}
                                                   : app::StateFiles::readReadings(request.readings);
    std::vector<app::DriveSummary> drives{read->summary};
    app::enrich(drives, readings, now, machine.locale);
    share.summary = std::move(drives.front());
    // A drive without a serial goes by its kernel name, which another disk may have had:
    // its readings aren't its own.
    if (share.summary.id != share.summary.bsdName) {
        shared.readings = app::ForecastHistory::sameDrive(app::Readings::of(readings, share.summary.id));
    }

    if (!request.savedRuns.empty()) {
        const auto benchmarks = app::BenchStore::read(app::BenchStore::file(request.savedRuns));
        if (const auto found = benchmarks.byDrive.find(share.summary.id); found != benchmarks.byDrive.end()) {
            shared.benchmark = found->second;
        }
    }
    const auto whole = drivekit::HealthDocument::make(app::documentSource(*read), now, true);
    share.wholeSerial = whole.drive.serial;
    shared.scan = savedScan(request.savedRuns, drive->bsdName, whole.drive.serial);

    share.document = healthDocument(share.summary, drivekit::HealthDocument::make(app::documentSource(*read), now,
                                                                                    request.fullSerial),
                                    shared);
    if (machine.clock) share.counters = drivekit::IOStats::read(drive->bsdName, machine.sysfs, *machine.clock);
    return share;
}

AllReadings allReadings(const std::filesystem::path& readings, const std::filesystem::path& knownDrives) {
    AllReadings all;
    all.readings = app::StateFiles::readReadings(readings);
    for (const auto& [key, entry] : app::StateFiles::readKnownDrives(knownDrives).entries) {
        all.names[entry.drive.id] = entry.drive.name;
    }
    return all;
}

}  // namespace reports
