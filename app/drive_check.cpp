#include "app/drive_check.hpp"

#include <cerrno>
#include <chrono>
#include <utility>

#include "app/scan/scan_run.hpp"
#include "app/usb_check.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/report_json.hpp"
#include "drivekit/health/nvme_reader.hpp"

namespace app {

using namespace drivekit;

namespace {

// A command that reads one named drive may run on a machine that lists no mounts and
// probes no devices: then nothing is mounted and no file system is known.
class NothingMounted final : public platform::Mounts {
  public:
    std::vector<platform::Mount> list() const override { return {}; }
};

class NothingProbed final : public platform::BlockProbe {
  public:
    platform::BlockContent probe(std::string_view, unsigned, unsigned) const override { return {}; }
};

const NothingMounted nothingMounted;
const NothingProbed nothingProbed;

Failure failure(Failure::Kind kind, const std::string& device) {
    Failure f;
    f.kind = kind;
    f.device = device;
    return f;
}

}  // namespace

Failure openFailure(int error, const std::string& device) {
    switch (error) {
        case ENOENT:
        case ENXIO:
        case ENODEV:
            return failure(Failure::Kind::noSuchDevice, device);
        case EACCES:
        case EPERM:
            return failure(Failure::Kind::needsRoot, device);
        case EKEYREJECTED:
            // What the privileged service's client gives when polkit said no.
            return failure(Failure::Kind::notAuthorized, device);
        default:
            break;
    }
    Failure f = failure(Failure::Kind::cantOpen, device);
    f.error = error;
    return f;
}

Failure identifyFailure(const ATASMARTLib::IdentifyFailure& why, const Drive& drive) {
    using Kind = ATASMARTLib::IdentifyFailure::Kind;
    switch (why.kind) {
        case Kind::notCapable: {
            Failure f = failure(Failure::Kind::noPassThrough, drive.bsdName);
            f.usb = drive.transport == Transport::usb;
            return f;
        }
        case Kind::unusable: {
            Failure f = failure(Failure::Kind::unusableIdentify, drive.bsdName);
            f.bytes = why.bytes;
            return f;
        }
        case Kind::failed:
            break;
    }
    Failure f = failure(Failure::Kind::readFailed, drive.bsdName);
    f.detail = why.text();
    return f;
}

namespace {

Result<SummaryBuilder::Reading, Failure> nvmeReading(const Drive& drive, const Machine& machine) {
    auto health = readNVMe(drive, machine.nvme, machine.locale);
    if (health) return std::move(health).value();
    const auto& why = health.error();
    Failure f = failure(Failure::Kind::notSupported, drive.bsdName);
    if (why.kind == NVMeReader::Failure::Kind::ioError) f.kind = Failure::Kind::readFailed;
    if (why.errorNumber == EACCES || why.errorNumber == EPERM) f.kind = Failure::Kind::needsRoot;
    if (why.errorNumber == EKEYREJECTED) f.kind = Failure::Kind::notAuthorized;
    f.detail = why.text();
    return Unexpected(std::move(f));
}

// The live ATA read of a SATA or USB disk, on the one connection this opens.
Result<SummaryBuilder::Reading, Failure> ataReading(const Drive& drive, const Machine& machine, bool wake) {
    if (!machine.openSCSI) return Unexpected(failure(Failure::Kind::noSCSI, drive.bsdName));
    auto opened = machine.openSCSI(drive.bsdName);
    if (!opened) return Unexpected(openFailure(opened.error(), drive.bsdName));
    auto reading = readATA(std::move(opened).value(), drive, wake, machine.locale);
    if (!reading) return Unexpected(identifyFailure(reading.error(), drive));
    if (reading->asleep) return Unexpected(failure(Failure::Kind::asleep, drive.bsdName));
    return std::move(reading).value();
}

bool takesSCSICommands(const Drive& drive) {
    return drive.transport == Transport::sata || drive.transport == Transport::usb ||
           ScanRun::routeFor(drive.bsdName) == ScanRun::Route::scsi;
}

// Kinds the careful check may get around: the enclosure is read through its own
// protocol instead of Linux's driver.
bool captureMayHelp(const Failure& live) {
    return live.kind == Failure::Kind::noPassThrough || live.kind == Failure::Kind::unusableIdentify ||
           live.kind == Failure::Kind::readFailed;
}


CheckedDrive checked(DriveRead read, bool shown, const Machine& machine) {
    HealthDocument document = documentOf(read, machine);
    return CheckedDrive{std::move(read), shown, std::move(document)};
}

}  // namespace

Discovery::Sources sourcesOf(const Machine& machine) {
    return {machine.sysfs, machine.mounts ? *machine.mounts : nothingMounted,
            machine.probe ? *machine.probe : nothingProbed, machine.workingDirectory, machine.locale};
}

std::optional<Failure> refuseName(const Machine& machine, const std::string& name) {
    const std::string base = "/sys/class/block/" + name;
    if (!machine.sysfs.exists(base)) return failure(Failure::Kind::noSuchDevice, name);
    if (machine.sysfs.exists(base + "/partition")) return failure(Failure::Kind::partition, name);
    return std::nullopt;
}

Result<CheckedDrive, Failure> checkDrive(Machine& machine, const CheckRequest& request) {
    const std::string& name = request.name;
    if (auto refused = refuseName(machine, name)) return Unexpected(std::move(*refused));
    const ReadContext context = readContextOf(machine);
    const std::optional<Drive> discovered = Discovery::drive(name, context.discovery);
    if (!discovered) return Unexpected(failure(Failure::Kind::unknownKind, name));
    const Drive& drive = *discovered;

    Result<SummaryBuilder::Reading, Failure> reading = Unexpected(failure(Failure::Kind::unknownKind, name));
    if (request.capture) {
        reading = readByCapture(drive, machine, request);
    } else {
        switch (SummaryBuilder::readStep(drive, false, true)) {
            case SummaryBuilder::ReadStep::nvme:
                reading = nvmeReading(drive, machine);
                break;
            case SummaryBuilder::ReadStep::none:
                // Nothing reads an SD card's health; its summary still says what is known.
                reading = SummaryBuilder::Reading{};
                break;
            case SummaryBuilder::ReadStep::liveATA:
            case SummaryBuilder::ReadStep::storedUSBReport:
            case SummaryBuilder::ReadStep::notShown:
                if (!takesSCSICommands(drive)) break;
                reading = ataReading(drive, machine, request.wake);
                if (!reading && drive.transport == Transport::usb && machine.capture &&
                    captureMayHelp(reading.error())) {
                    if (request.progress) {
                        request.progress("The enclosure of " + drive.device() +
                                         " doesn't pass health requests through Linux's driver; "
                                         "reading it directly.");
                    }
                    reading = readByCapture(drive, machine, request);
                }
                break;
        }
    }
    if (!reading) return Unexpected(reading.error());
    if (auto read = summarized(drive, std::move(reading).value(), context)) {
        return checked(std::move(*read), true, machine);
    }
    // A drive discovery doesn't show (a SAS disk, say) still has its reading and document.
    DriveRead read{drive, std::move(reading).value(), {}};
    return checked(std::move(read), false, machine);
}

std::optional<CheckedDrive> unreadDrive(const Machine& machine, const std::string& name) {
    const ReadContext context = readContextOf(machine);
    const auto drive = Discovery::drive(name, context.discovery);
    if (!drive) return std::nullopt;
    auto read = summarized(*drive, {}, context);
    if (!read) return std::nullopt;
    return checked(std::move(*read), true, machine);
}

std::vector<std::string> nvmeDriveNames(const Machine& machine) {
    std::vector<std::string> names;
    for (const auto& drive : Discovery::allDrives(readContextOf(machine).discovery)) {
        if (SummaryBuilder::readStep(drive, false, true) == SummaryBuilder::ReadStep::nvme) {
            names.push_back(drive.bsdName);
        }
    }
    return names;
}

std::vector<DriveRead> readEveryDrive(const Machine& machine, bool wake) {
    ReadContext context = readContextOf(machine);
    context.wake = wake;
    return readDrives({}, true, context);
}

std::optional<json::Object> fullReport(const DriveRead& read) {
    if (!read.reading.report) return std::nullopt;
    json::Object object = ReportJSON::encode(*read.reading.report);
    if (read.reading.report->ata) object["smartStatus"] = std::string(SMARTStatusText::raw(read.reading.smartStatus));
    return object;
}

namespace {

HealthDocument documentOf(const HealthDocument::Source& source, const Machine& machine) {
    const auto now = machine.clock ? machine.clock->now() : std::chrono::system_clock::now();
    return HealthDocument::make(source, std::chrono::time_point_cast<std::chrono::seconds>(now), false);
}

}  // namespace

HealthDocument documentOf(const DriveRead& read, const Machine& machine) {
    return documentOf(documentSource(read), machine);
}

std::vector<DocumentedDrive> documentEveryDrive(const Machine& machine, bool wake) {
    ReadContext context = readContextOf(machine);
    context.wake = wake;
    std::vector<DocumentedDrive> documents;
    for (const auto& one : readReadings({}, true, context)) {
        documents.push_back(DocumentedDrive{documentOf(documentSource(one.drive, one.reading), machine),
                                            needsCare(one.reading)});
    }
    return documents;
}

std::optional<DriveRead> readDriveHolding(Machine& machine, const std::string& folder) {
    Discovery::Sources sources = sourcesOf(machine);
    sources.workingDirectory = folder;
    for (const Drive& drive : Discovery::allDrives(sources)) {
        if (!drive.hostsCurrentDirectory) continue;
        auto checked = checkDrive(machine, CheckRequest{drive.bsdName});
        if (!checked) return std::nullopt;
        return std::move(checked->read);
    }
    return std::nullopt;
}

std::optional<std::string> systemDriveName(const Machine& machine) {
    for (const Drive& drive : Discovery::allDrives(sourcesOf(machine))) {
        if (drive.hostsBootVolume) return drive.bsdName;
    }
    return std::nullopt;
}

ReadContext readContextOf(const Machine& machine) {
    ReadContext context{sourcesOf(machine), machine.nvme, nullptr, nullptr, true,
                        false, machine.concurrentReads};
    if (machine.openSCSI) {
        context.connect = [&machine](std::string_view name) -> std::unique_ptr<SCSIDrive> {
            auto opened = machine.openSCSI(name);
            if (!opened) return nullptr;
            return std::move(opened).value();
        };
    }
    if (machine.space) {
        const platform::VolumeSpace& space = *machine.space;
        context.freeSpace = [&space](std::string_view mountPoint) -> std::optional<FreeSpace> {
            const auto figures = space.space(mountPoint);
            if (!figures) return std::nullopt;
            return FreeSpace{figures->free, figures->total};
        };
    }
    return context;
}

}  // namespace app
