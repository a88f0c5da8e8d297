#include "cli/eject_command.hpp"

#include <optional>
#include <string>

#include "app/eject.hpp"
#include "cli/arguments.hpp"
#include "cli/exit_codes.hpp"

namespace cli {

namespace {

constexpr std::string_view ejectUsage =
    "Usage: vantrel eject DEVICE\n"
    "Unmounts every volume of the drive and of what is stacked on it, stops the RAID array\n"
    "it belongs to and powers it off, so it can be unplugged. A member of a RAID set ejects\n"
    "the whole set. Nothing is forced: a volume in use refuses, and the refusal names who\n"
    "holds it. Uses the disk service (udisks2) when it runs, else the kernel's own calls,\n"
    "which need root. Exits 0 when ejected, 3 without such a drive, 10 when refused.\n";

constexpr std::string_view mountUsage =
    "Usage: vantrel mount DEVICE\n"
    "Mounts the drive's volumes again. Uses the disk service (udisks2) when it runs, which\n"
    "chooses the folders; without it, only what this run unmounted can go back. Exits 0\n"
    "when a volume of the drive is mounted, 3 without such a drive, 10 when none is.\n";

// The device named once, or the exit code of a bad command line after its message.
std::optional<std::string> deviceOf(const std::vector<std::string_view>& args, std::string_view usage,
                                    std::string_view command, std::ostream& out, std::ostream& err, int& code) {
    if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
        out << usage;
        code = exitOK;
        return std::nullopt;
    }
    std::optional<std::string> name = args.size() == 1 ? kernelName(args[0]) : std::nullopt;
    if (!name) {
        err << "vantrel: " << command << " takes one device, like sdb or /dev/sdb. Run vantrel " << command
            << " --help.\n";
        code = exitUsage;
    }
    return name;
}

}  // namespace

int runEjectCommand(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out,
                    std::ostream& err) {
    int code = exitOK;
    const auto name = deviceOf(args, ejectUsage, "eject", out, err, code);
    if (!name) return code;
    if (machine.volumes == nullptr) {
        err << "vantrel: drives can't be ejected on this machine.\n";
        return exitNotSupported;
    }
    const auto report = app::ejectDrive(machine, *name);
    if (!report) {
        err << "vantrel: no drive " << *name << ".\n";
        return exitNoDevice;
    }
    const auto& job = report->job;
    if (report->refused || report->outcome->kind != app::EjectOutcome::Kind::ejected) {
        const std::string reason = report->refused ? report->refused->reason : app::Eject::reason(*report->outcome);
        err << "vantrel: couldn't eject " << app::Eject::title(job) << ": " << reason << '\n';
        return exitRefused;
    }
    // "Ejected Photos (sdb).", "Ejected labset (all its drives): sdb, sdc."
    out << "Ejected " << app::Eject::title(job) << (job.isSet() ? ": " : " (");
    for (std::size_t i = 0; i < job.members.size(); ++i) out << (i == 0 ? "" : ", ") << job.members[i].bsdName;
    out << (job.isSet() ? ". " : "). ") << app::Eject::safeToUnplug(job.members.size()) << '\n';
    return exitOK;
}

int runMountCommand(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out,
                    std::ostream& err) {
    int code = exitOK;
    const auto name = deviceOf(args, mountUsage, "mount", out, err, code);
    if (!name) return code;
    if (machine.volumes == nullptr) {
        err << "vantrel: drives can't be mounted on this machine.\n";
        return exitNotSupported;
    }
    const auto report = app::mountDrive(machine, *name);
    if (!report) {
        err << "vantrel: no drive " << *name << ".\n";
        return exitNoDevice;
    }
    for (const auto& sentence : report->sentences) err << "vantrel: " << sentence << '\n';
    if (report->mountPoints.empty()) {
        err << "vantrel: couldn't mount " << *name << " again: no volume of it is mounted.\n";
        return exitRefused;
    }
    out << "Mounted " << *name << " at";
    for (std::size_t i = 0; i < report->mountPoints.size(); ++i) {
        out << (i == 0 ? " " : ", ") << report->mountPoints[i];
    }
    out << ".\n";
    return exitOK;
}

}  // namespace cli
