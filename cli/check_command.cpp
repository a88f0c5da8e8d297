#include "cli/check_command.hpp"

#include <cerrno>
#include <variant>

#include "cli/ata_live.hpp"
#include "cli/exit_codes.hpp"
#include "cli/nvme_drives.hpp"
#include "cli/scsi_disks.hpp"
#include "cli/report_text.hpp"
#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/nvme_reader.hpp"
#include "drivekit/health/report_json.hpp"

namespace cli {

using namespace drivekit;

namespace {

// What checking one drive gave: a rated report (NVMe), a live ATA reading, or neither
// when the sentence saying why went to stderr.
struct Checked {
    std::optional<HealthReport> report;
    std::optional<ATALiveReading> ata;
    int exitCode = exitOK;
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
    const Drive drive = nvmeDrive(name, machine.sysfs);
    HealthReport report = HealthRules::evaluate(*health, drive, machine.locale);
    const Verdict verdict = report.verdict();
    const bool needsCare = verdict != Verdict::unknown && verdict >= Verdict::warning;
    return {std::move(report), std::nullopt, needsCare ? exitNeedsCare : exitOK};
}

Checked checkATA(std::string_view name, Machine& machine, std::ostream& err) {
    auto read = readATALive(name, machine, err);
    if (auto* code = std::get_if<int>(&read)) return {std::nullopt, std::nullopt, *code};
    ATALiveReading reading = std::get<ATALiveReading>(std::move(read));
    // ATA RULES CALL SITE. Once HealthRules::evaluate(ata:attributes:drive:source:selfTests:)
    // exists, rate the reading here and return the report in place of the raw reading:
    //   HealthReport report = HealthRules::evaluate(reading.identity, reading.attributes,
    //       reading.drive, reading.source, reading.selfTests, machine.locale);
    // printed by printReport / ReportJSON::encode with "smartStatus" beside it, the exit code
    // from its verdict as on the NVMe path (a failing SMART status still needs care).
    const int code = ataExitCode(reading);
    return {std::nullopt, std::move(reading), code};
}

// One drive, by the transport its kernel name gives away.
Checked checkOne(std::string_view name, Machine& machine, std::ostream& err) {
    if (auto refused = refuseDevice(name, machine, err)) return {std::nullopt, std::nullopt, *refused};
    if (isNVMeName(name)) return checkNVMe(name, machine, err);
    if (isSCSIDiskName(name)) return checkATA(name, machine, err);
    err << "vantrel: " << dev(name)
        << " is neither an NVMe nor a SATA or USB drive; Vantrel can't read its health.\n";
    return {std::nullopt, std::nullopt, exitNotSupported};
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
        Checked checked = checkOne(name, machine, err);
        exitCode = worseExit(exitCode, checked.exitCode);
        if (!checked.report && !checked.ata) continue;
        if (arguments.json) {
            documents.push_back(checked.report ? ReportJSON::encode(*checked.report)
                                               : ataReadingJSON(*checked.ata));
        } else {
            if (!first) out << '\n' << std::string(72, '-') << "\n\n";
            if (checked.report) {
                printReport(*checked.report, machine.locale, out);
            } else {
                printATAReading(*checked.ata, machine.locale, out);
            }
            first = false;
        }
    }
    if (arguments.json) {
        if (arguments.device && documents.size() == 1) {
            out << json::dump(documents.front()) << '\n';
        } else if (!arguments.device) {
            out << json::dump(documents) << '\n';
        }
    }
    return exitCode;
}

}  // namespace cli
