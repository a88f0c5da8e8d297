#include "cli/check_command.hpp"

#include <cerrno>
#include <variant>

#include "cli/exit_codes.hpp"
#include "cli/nvme_drives.hpp"
#include "cli/report_text.hpp"
#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/nvme_reader.hpp"
#include "drivekit/health/report_json.hpp"

namespace cli {

using namespace drivekit;

namespace {

struct Checked {
    std::optional<HealthReport> report;
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

// Refuses what can't be an NVMe drive of this machine before any command reaches it.
std::optional<int> refuse(std::string_view name, const Machine& machine, std::ostream& err) {
    const std::string base = "/sys/class/block/" + std::string(name);
    if (!machine.sysfs.exists(base)) {
        err << "vantrel: no such device: " << dev(name) << ".\n";
        return exitNoDevice;
    }
    if (machine.sysfs.exists(base + "/partition")) {
        err << "vantrel: " << dev(name) << " is a partition; check the whole drive instead.\n";
        return exitNotSupported;
    }
    if (!isNVMeName(name)) {
        err << "vantrel: " << dev(name) << " is not an NVMe drive; this version reads NVMe health only.\n";
        return exitNotSupported;
    }
    return std::nullopt;
}

Checked checkOne(std::string_view name, Machine& machine, std::ostream& err) {
    if (auto refused = refuse(name, machine, err)) return {std::nullopt, *refused};
    auto health = NVMeReader::read(name, machine.nvme);
    if (!health) {
        err << "vantrel: " << failureSentence(name, health.error()) << '\n';
        return {std::nullopt, failureExit(health.error())};
    }
    const Drive drive = nvmeDrive(name, machine.sysfs);
    HealthReport report = HealthRules::evaluate(*health, drive, machine.locale);
    const Verdict verdict = report.verdict();
    const bool needsCare = verdict != Verdict::unknown && verdict >= Verdict::warning;
    return {std::move(report), needsCare ? exitNeedsCare : exitOK};
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
        if (!checked.report) continue;
        if (arguments.json) {
            documents.push_back(ReportJSON::encode(*checked.report));
        } else {
            if (!first) out << '\n' << std::string(72, '-') << "\n\n";
            printReport(*checked.report, machine.locale, out);
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
