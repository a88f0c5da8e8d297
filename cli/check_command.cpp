#include "cli/check_command.hpp"

#include <cerrno>
#include <variant>

#include "cli/ata_live.hpp"
#include "cli/capture_command.hpp"
#include "cli/drive_reads.hpp"
#include "cli/exit_codes.hpp"
#include "cli/nvme_drives.hpp"
#include "cli/scsi_disks.hpp"
#include "cli/report_text.hpp"
#include "cli/summary_text.hpp"
#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/nvme_reader.hpp"
#include "drivekit/health/report_json.hpp"

namespace cli {

using namespace drivekit;

namespace {

// What checking one drive gave: a rated report, with the live reading beside it for an
// ATA drive (its SMART status), or neither when the sentence saying why went to stderr.
struct Checked {
    std::optional<HealthReport> report;
    std::optional<ATALiveReading> ata;
    int exitCode = exitOK;
    /// The decoded log behind an NVMe report.
    std::optional<NVMeHealth> nvme = std::nullopt;
    /// A drive discovery shows though no reader serves it (an SD card): only its summary.
    bool summaryOnly = false;
};

std::string dev(std::string_view name) { return "/dev/" + std::string(name); }

int failureExit(const NVMeReader::Failure& failure) {
    if (failure.kind == NVMeReader::Failure::Kind::ioError) return exitReadFailed;
    if (failure.errorNumber == EACCES || failure.errorNumber == EPERM) return exitNoPermission;
    return exitNotSupported;
}

std::string failureSentence(std::string_view name, const NVMeReader::Failure& failure) {
    if (failureExit(failure) == exitNoPermission) {
        return "Reading the health of " + dev(name) + " needs root: run it with sudo.";
    }
    return dev(name) + ": " + failure.text();
}

}  // namespace

std::optional<int> refuseDevice(std::string_view name, const Machine& machine, std::ostream& err) {
    const std::string base = "/sys/class/block/" + std::string(name);
    if (!machine.sysfs.exists(base)) {
        err << "vantrel: no such device: " << dev(name) << ".\n";
        return exitNoDevice;
    }
    if (machine.sysfs.exists(base + "/partition")) {
        err << "vantrel: " << dev(name) << " is a partition; check the whole drive instead.\n";
        return exitNotSupported;
    }
    return std::nullopt;
}

namespace {

Checked checkNVMe(std::string_view name, Machine& machine, std::ostream& err) {
    auto health = NVMeReader::read(name, machine.nvme);
    if (!health) {
        err << "vantrel: " << failureSentence(name, health.error()) << '\n';
        return {std::nullopt, std::nullopt, failureExit(health.error())};
    }
    // Discovery knows the enclosure and its tunnel (a Thunderbolt NVMe drive); the plain
    // controller facts serve where it doesn't.
    const Drive drive = discoveredDrive(name, machine).value_or(nvmeDrive(name, machine.sysfs));
    HealthReport report = HealthRules::evaluate(*health, drive, machine.locale);
    return {std::move(report), std::nullopt, exitOK, *health};
}

Checked checkATA(std::string_view name, Machine& machine, std::ostream& err, bool capture,
                 bool wake) {
    // A USB enclosure that refuses pass-through through the driver is read by capture.
    auto read = readATADrive(name, machine, err, capture, wake);
    if (auto* code = std::get_if<int>(&read)) return {std::nullopt, std::nullopt, *code};
    ATALiveReading reading = std::get<ATALiveReading>(std::move(read));
    // The raw reading stays beside the report: its SMART status is printed with it.
    HealthReport report = rateATAReading(reading, machine.locale);
    return {std::move(report), std::move(reading), exitOK};
}

// One drive, by the transport its kernel name gives away.
Checked checkOne(std::string_view name, Machine& machine, std::ostream& err, bool capture,
                 bool wake) {
    if (auto refused = refuseDevice(name, machine, err)) return {std::nullopt, std::nullopt, *refused};
    if (isNVMeName(name)) return checkNVMe(name, machine, err);
    if (isSCSIDiskName(name)) return checkATA(name, machine, err, capture, wake);
    if (summarizeMachineDrive(name, {}, machine)) return {std::nullopt, std::nullopt, exitOK, std::nullopt, true};
    err << "vantrel: " << dev(name)
        << " is neither an NVMe nor a SATA or USB drive; Vantrel can't read its health.\n";
    return {std::nullopt, std::nullopt, exitNotSupported};
}

// What the check read, as the application's reading of the drive: its summary and
// document then rate the very report that was printed.
app::SummaryBuilder::Reading readingOf(const Checked& checked) {
    app::SummaryBuilder::Reading reading;
    if (checked.ata) reading.smartStatus = checked.ata->smartStatus;
    if (checked.nvme) reading.smartStatus = SMARTStatusRules::nvme(checked.nvme->criticalWarning);
    if (!checked.report) return reading;
    reading.report = checked.report;
    reading.nvme = checked.nvme;
    reading.method = checked.nvme ? ReadMethod::nvmeSMART : checked.ata->method;
    return reading;
}

}  // namespace

int runCheck(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << checkUsageText();
        return exitOK;
    }
    std::vector<std::string> names;
    if (arguments.device) {
        names.push_back(*arguments.device);
    } else {
        names = nvmeNamespaces(machine.sysfs);
        if (names.empty()) {
            err << "vantrel: this computer has no NVMe drives to check.\n";
            return exitNoDevice;
        }
    }

    int exitCode = exitOK;
    json::Object documents = json::Object::array();
    bool first = true;
    for (const auto& name : names) {
        Checked checked = checkOne(name, machine, err, arguments.capture, arguments.wake);
        exitCode = worseExit(exitCode, checked.exitCode);
        if (!checked.report && !checked.ata && !checked.summaryOnly) {
            // A drive that couldn't be read still has its limited document, as in the list.
            if (arguments.json && !arguments.fullReport) {
                if (const auto limited = summarizeMachineDrive(name, {}, machine)) {
                    documents.push_back(documentOf(*limited, machine).toJSON());
                }
            }
            continue;
        }
        if (app::needsCare(readingOf(checked))) exitCode = worseExit(exitCode, exitNeedsCare);
        const auto read = summarizeMachineDrive(name, readingOf(checked), machine);
        if (arguments.json && arguments.fullReport && checked.report) {
            // The full report carries the raw rows a document leaves out: the NVMe health
            // log, or an ATA drive's attribute table and self-test log with its SMART status.
            documents.push_back(checked.ata
                                    ? ataReportJSON(*checked.report, checked.ata->smartStatus)
                                    : ReportJSON::encode(*checked.report));
        } else if (arguments.json) {
            // A drive discovery doesn't show still has its document, from what was read.
            const app::DriveRead documented =
                read ? *read
                     : app::DriveRead{checked.report ? checked.report->drive : checked.ata->drive,
                                      readingOf(checked), {}};
            documents.push_back(documentOf(documented, machine).toJSON());
        } else {
            if (!first) out << '\n' << std::string(72, '-') << "\n\n";
            if (checked.report && checked.ata) {
                printATAReport(*checked.report, checked.ata->smartStatus, machine.locale, out);
            } else if (checked.report) {
                printReport(*checked.report, machine.locale, out);
            } else if (read) {
                out << read->drive.device() << "  " << read->summary.name << "  ("
                    << kindWord(read->drive) << ")\n";
            }
            if (read) printSummary(read->summary, out);
            first = false;
        }
    }
    if (arguments.json) {
        if (arguments.device && documents.size() == 1) {
            out << json::dump(documents.front(), json::Layout::prettySorted) << '\n';
        } else if (!arguments.device) {
            out << json::dump(documents, json::Layout::prettySorted) << '\n';
        }
    }
    return exitCode;
}

}  // namespace cli
