#include "cli/cli.hpp"

#include <iostream>

#include "cli/arguments.hpp"
#include "cli/check_command.hpp"
#include "cli/exit_codes.hpp"
#include "cli/selftest_command.hpp"
#include "drivekit/core/version.hpp"
#include "platform/linux/linux_nvme_admin.hpp"
#include "platform/linux/linux_sg_drive.hpp"
#include "platform/linux/linux_sysfs.hpp"

namespace cli {

int run(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out, std::ostream& err) {
    const ParseResult parsed = parseArguments(args);
    if (!parsed.arguments) {
        err << "vantrel: " << parsed.error << '\n';
        return exitUsage;
    }
    const Arguments& arguments = *parsed.arguments;
    switch (arguments.command) {
        case Command::help:
            out << usageText();
            return exitOK;
        case Command::version:
            out << "vantrel " << drivekit::version() << '\n';
            return exitOK;
        case Command::check:
            return runCheck(arguments, machine, out, err);
        case Command::selftest:
            return runSelfTest(arguments, machine, out, err);
        case Command::none:
            break;
    }
    err << "vantrel: " << usageText();
    return exitUsage;
}

int main(int argc, char** argv) {
    std::vector<std::string_view> args;
    for (int i = 1; i < argc; ++i) args.emplace_back(argv[i]);
    if (args.empty()) {
        // The desktop application is not part of this build yet; the terminal commands are.
        std::cerr << usageText();
        return exitUsage;
    }
    platform::LinuxSysfs sysfs;
    platform::LinuxNVMeAdmin nvme(sysfs, "/dev");
    const OpenSCSI openSCSI = [](std::string_view name)
        -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
        auto opened = platform::LinuxSGDrive::open("/dev/" + std::string(name));
        if (!opened) return drivekit::Unexpected(opened.error());
        return std::unique_ptr<drivekit::SCSIDrive>(std::move(opened).value());
    };
    Machine machine{sysfs, nvme, drivekit::Locale::current(), openSCSI};
    return run(args, machine, std::cout, std::cerr);
}

}  // namespace cli
