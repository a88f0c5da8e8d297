#include "service/operations.hpp"

#include <string>

#include "app/drive_check.hpp"
#include "app/scan/scan_run.hpp"
#include "app/usb_check.hpp"
#include "app/writes/writes_source.hpp"
#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/ata_commands.hpp"
#include "drivekit/health/sat.hpp"
#include "drivekit/health/sat_non_data.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/writes/process_writes.hpp"

namespace service {

using app::ServiceProtocol::DriveKind;
using app::ServiceProtocol::Operation;
using app::ServiceProtocol::Request;
using drivekit::Unexpected;
namespace Error = app::ServiceProtocol::Error;
namespace SAT = drivekit::SAT;

namespace {

ErrorReply error(std::string_view name, std::string message) { return {std::string(name), std::move(message)}; }

// A method's answer in text. Kept out of line: inlined into `perform` beside another, GCC 12
// at -O3 follows the variant's construction into a delete it never makes and warns.
[[gnu::noinline]] drivekit::Result<Answer, ErrorReply> textAnswer(std::string text) {
    return Answer{std::move(text)};
}

bool fits(DriveKind kind, const drivekit::Drive& drive) {
    using drivekit::Transport;
    switch (kind) {
        case DriveKind::none: return true;
        case DriveKind::nvme: return drive.transport == Transport::internalNVMe || drive.transport == Transport::externalNVMe;
        case DriveKind::ata:
            return drive.transport == Transport::sata || drive.transport == Transport::usb ||
                   drive.transport == Transport::other;
        case DriveKind::usb: return drive.transport == Transport::usb;
        case DriveKind::any: return true;
    }
    return false;
}

drivekit::Result<Answer, ErrorReply> nvme(const platform::NVMeAdminReply& reply) {
    if (reply) return Answer{reply.value()};
    const auto& why = reply.error();
    std::string kind = "noController";
    if (why.kind == platform::NVMeAdminFailure::Kind::systemError) kind = "systemError";
    if (why.kind == platform::NVMeAdminFailure::Kind::commandStatus) kind = "commandStatus";
    return Unexpected(error(Error::nvme, kind + " " + std::to_string(why.code)));
}

// The block the operation stands for, built here from the operation alone, and how many
// bytes come back.
struct Block {
    drivekit::Bytes cdb;
    std::int64_t dataIn = 0;
};

// The SMART log that holds the self-test results.
constexpr std::uint8_t selfTestLog = 0x06;

Block blockOf(const Request& request) {
    constexpr std::int64_t page = 512;
    switch (request.operation) {
        case Operation::ataPowerMode: return {SAT::checkPowerMode(request.form), 0};
        case Operation::ataIdentify: return {SAT::identify(request.form), page};
        case Operation::ataSmartData: return {SAT::smartReadData(request.form), page};
        case Operation::ataSmartThresholds: return {SAT::smartReadThresholds(request.form), page};
        case Operation::ataSelfTestLog: return {SAT::smartReadLog(request.form, selfTestLog), page};
        case Operation::ataSmartStatus: return {SAT::smartReturnStatus(request.form), 0};
        case Operation::startSelfTest:
            return {SAT::smartExecuteOffLineImmediate(request.form, static_cast<std::uint8_t>(request.test)), 0};
        case Operation::nvmeHealthLog:
        case Operation::nvmeIdentify:
        case Operation::usbCheck:
        case Operation::processWrites:
        case Operation::surfaceScan:
        case Operation::captureScan:
        case Operation::scanProgress:
        case Operation::cancelScan:
            break;
    }
    return {};
}

drivekit::Result<Answer, ErrorReply> ata(app::Machine& machine, const Request& request) {
    if (!machine.openSCSI) return Unexpected(error(Error::cantOpen, std::to_string(ENODEV)));
    auto opened = machine.openSCSI(request.drive);
    if (!opened) return Unexpected(error(Error::cantOpen, std::to_string(opened.error())));
    const Block block = blockOf(request);
    auto answer = (*opened)->command(block.cdb, block.dataIn, drivekit::ATACommands::commandTimeout);
    if (!answer) {
        return Unexpected(error(answer.error().refused ? Error::refused : Error::failed, answer.error().message));
    }
    return Answer{std::move(answer).value()};
}

drivekit::Result<Answer, ErrorReply> processWrites(const app::Machine& machine) {
    if (!machine.procFiles) return Unexpected(error(Error::failed, "No process counters on this computer."));
    app::DirectWritesSource source(machine.procFiles);
    const auto processes = source.snapshot();
    if (!processes) return Unexpected(error(Error::failed, "/proc couldn't be read."));
    drivekit::json::Object list = drivekit::json::Object::array();
    for (const auto& process : *processes) list.push_back(drivekit::toJson(process));
    return Answer{drivekit::json::dump(list, drivekit::json::Layout::compact)};
}

// The service keeps no user's data: a scan it runs is saved by the caller, in the caller's
// own folder. Nothing is written through this.
class NoFiles final : public platform::FileStore {
  public:
    platform::Result<std::string, platform::FileError> read(const std::filesystem::path&) const override {
        return platform::Unexpected(platform::FileError{ENOENT, "open"});
    }
    platform::Result<void, platform::FileError> replace(const std::filesystem::path&, std::string_view) override {
        return platform::Unexpected(platform::FileError{EROFS, "open"});
    }
    platform::Result<void, platform::FileError> createFolders(const std::filesystem::path&) override {
        return platform::Unexpected(platform::FileError{EROFS, "mkdir"});
    }
};

drivekit::Result<Answer, ErrorReply> scan(app::Machine& machine, const Request& request,
                                          const std::function<bool()>& stop,
                                          const drivekit::surface_scan::Progress& progress) {
    if (!machine.clock) return Unexpected(error(Error::failed, "No clock to time a scan by."));
    NoFiles files;
    // The scan opens the disk itself, by the name discovery vouched for, and sends only the
    // reads it builds.
    const app::ScanRun::Platform platform{machine.sysfs, *machine.clock, machine.openSCSI, machine.openBlockReads,
                                          {},            files,          machine.procFiles.get()};
    const auto outcome = app::ScanRun::run(platform, request.drive, request.mode, stop, progress);
    switch (outcome.failure) {
        case app::ScanRun::Outcome::Failure::none: break;
        case app::ScanRun::Outcome::Failure::cannotOpen:
            return Unexpected(error(Error::cantOpen, std::to_string(outcome.openError)));
        case app::ScanRun::Outcome::Failure::notADisk:
        case app::ScanRun::Outcome::Failure::service:
            return Unexpected(error(Error::noSuchDrive, "No disk " + request.drive + "."));
    }
    return textAnswer(drivekit::json::dump(app::toJson(app::ScanAnswer{*outcome.result, outcome.usage}),
                                           drivekit::json::Layout::compact));
}

// What a scan by capture answers: the scan, and the capture's steps for the caller to show.
drivekit::Result<Answer, ErrorReply> captureScan(const Request& request, const drivekit::Drive& drive,
                                                 const USBScan& usbScan, const std::function<bool()>& stop,
                                                 const drivekit::surface_scan::Progress& progress,
                                                 const drivekit::Checker::Log& steps) {
    std::vector<std::string> lines;
    auto answer = usbScan(drive, request.mode, stop, progress, [&](const std::string& line) {
        lines.push_back(line);
        if (steps) steps(line);
    });
    if (!answer) return Unexpected(error(Error::checkFailed, app::ServiceProtocol::encodeFailure(answer.error())));
    drivekit::json::Object out = app::toJson(*answer);
    out["steps"] = lines;
    return textAnswer(drivekit::json::dump(out, drivekit::json::Layout::compact));
}

}  // namespace

USBScan machineUSBScan(app::Machine& machine) {
    return [&machine](const drivekit::Drive& drive, drivekit::surface_scan::Mode mode, const std::function<bool()>& stop,
                      const drivekit::surface_scan::Progress& progress,
                      const drivekit::Checker::Log& steps) -> drivekit::Result<app::ScanAnswer, app::Failure> {
        if (!machine.clock) return Unexpected(app::Failure{app::Failure::Kind::noCapture, drive.bsdName});
        NoFiles files;
        // The service is root: it takes the device itself. Nothing is saved here; the
        // caller saves what was read in its own folder.
        const app::ScanRun::Platform platform{machine.sysfs, *machine.clock, nullptr, nullptr, {}, files,
                                              machine.procFiles.get(), nullptr, &machine, steps};
        const auto outcome = app::ScanRun::run(platform, drive.bsdName, mode, stop, progress);
        if (auto failure = app::ScanRun::failureOf(outcome)) return Unexpected(std::move(*failure));
        return app::ScanAnswer{*outcome.result, outcome.usage};
    };
}

USBCheck machineUSBCheck(app::Machine& machine) {
    return [&machine](const drivekit::Drive& drive, const std::function<bool()>& stop,
                      const drivekit::Checker::Log& log) {
        // The service is root: the check takes the device itself, never through a service.
        return app::captureReading(drive, machine, false, stop, log);
    };
}

namespace Operations {

drivekit::Result<std::optional<drivekit::Drive>, ErrorReply> findDrive(const app::Machine& machine,
                                                                       const Request& request) {
    const auto& method = app::ServiceProtocol::methodOf(request.operation);
    if (method.drive == DriveKind::none) return std::optional<drivekit::Drive>();
    // The name was checked to be a bare kernel name; it still has to be a whole disk that
    // discovery shows (not a partition, a loop, md or device-mapper device).
    if (const auto refused = app::refuseName(machine, request.drive)) {
        return Unexpected(error(Error::noSuchDrive, refused->kind == app::Failure::Kind::partition
                                                         ? request.drive + " is a partition."
                                                         : "No disk " + request.drive + "."));
    }
    auto drive = drivekit::Discovery::drive(request.drive, app::sourcesOf(machine));
    if (!drive || drive->bsdName != request.drive) {
        return Unexpected(error(Error::noSuchDrive, request.drive + " isn't a drive Vantrel reads."));
    }
    if (!fits(method.drive, *drive)) {
        return Unexpected(error(Error::noSuchDrive, std::string(method.member) + " doesn't read " + request.drive + "."));
    }
    return std::optional<drivekit::Drive>(std::move(*drive));
}

drivekit::Result<Answer, ErrorReply> perform(app::Machine& machine, const Request& request,
                                             const std::optional<drivekit::Drive>& drive, const USBWork& usb,
                                             const std::function<bool()>& stop,
                                             const drivekit::surface_scan::Progress& scanProgress,
                                             const drivekit::Checker::Log& scanSteps) {
    switch (request.operation) {
        case Operation::surfaceScan: return scan(machine, request, stop, scanProgress);
        case Operation::captureScan:
            if (!drive || !usb.scan) return Unexpected(error(Error::noSuchDrive, "No USB drive."));
            return captureScan(request, *drive, usb.scan, stop, scanProgress, scanSteps);
        case Operation::scanProgress:
        case Operation::cancelScan:
            break;
        case Operation::nvmeHealthLog: return nvme(machine.nvme.smartLog(request.drive));
        case Operation::nvmeIdentify: return nvme(machine.nvme.identifyController(request.drive));
        case Operation::processWrites: return processWrites(machine);
        case Operation::usbCheck: {
            if (!drive || !usb.check) return Unexpected(error(Error::noSuchDrive, "No USB drive."));
            std::vector<std::string> lines;
            auto reading = usb.check(*drive, stop, [&lines](const std::string& line) { lines.push_back(line); });
            if (!reading) return Unexpected(error(Error::checkFailed, app::ServiceProtocol::encodeFailure(reading.error())));
            return textAnswer(app::ServiceProtocol::encodeReading(*reading, lines));
        }
        case Operation::ataPowerMode:
        case Operation::ataIdentify:
        case Operation::ataSmartData:
        case Operation::ataSmartThresholds:
        case Operation::ataSelfTestLog:
        case Operation::ataSmartStatus:
        case Operation::startSelfTest:
            return ata(machine, request);
    }
    return Unexpected(error(Error::unknownMethod, "No such method."));
}

}  // namespace Operations

}  // namespace service
