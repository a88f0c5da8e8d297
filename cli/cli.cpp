#include "cli/cli.hpp"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <thread>

#include "app/linux/udisks_volumes.hpp"
#include "cli/arguments.hpp"
#include "cli/capture_command.hpp"
#include "cli/check_command.hpp"
#include "cli/demo_mode.hpp"
#include "cli/exit_codes.hpp"
#include "cli/list_command.hpp"
#include "cli/printable_stream.hpp"
#include "cli/selftest_command.hpp"
#include "cli/watch_command.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/core/version.hpp"
#include "drivekit/usb/uas_transport.hpp"
#include "platform/linux/linux_block_probe.hpp"
#include "platform/linux/linux_clock.hpp"
#include "platform/linux/linux_mounts.hpp"
#include "platform/linux/linux_nvme_admin.hpp"
#include "platform/linux/linux_sg_drive.hpp"
#include "platform/linux/linux_sysfs.hpp"
#include "platform/linux/linux_usb_device.hpp"
#include "platform/linux/linux_usb_recovery.hpp"
#include "platform/linux/linux_volumes.hpp"
#include "platform/linux/linux_volume_space.hpp"

namespace cli {

namespace {

int runParsed(const ParseResult& parsed, Machine& machine, std::ostream& out, std::ostream& err) {
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
        case Command::list:
            return runList(arguments, machine, out, err);
        case Command::watch:
            return runWatch(arguments, machine, out, err);
        case Command::none:
            break;
    }
    err << "vantrel: " << usageText();
    return exitUsage;
}

}  // namespace

int run(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out, std::ostream& err) {
    const ParseResult parsed = parseArguments(args);
    // Everything but a JSON document passes through the terminal filter: strings from
    // drives, file systems and processes are printed in many places, and this is the one
    // place all of them go through.
    const bool json = parsed.arguments && parsed.arguments->json;
    PrintableStream printableOut(out, !json);
    PrintableStream printableErr(err, true);
    return runParsed(parsed, machine, printableOut, printableErr);
}

int main(int argc, char** argv) {
    std::vector<std::string_view> args;
    for (int i = 1; i < argc; ++i) args.emplace_back(argv[i]);
    if (args.empty()) {
        // The desktop application is not part of this build yet; the terminal commands are.
        std::cerr << usageText();
        return exitUsage;
    }
    if (const auto parsed = parseArguments(args); parsed.arguments && parsed.arguments->demo) {
        return runDemo(args, *parsed.arguments->demo, std::cout, std::cerr);
    }
    platform::LinuxSysfs sysfs;
    platform::LinuxNVMeAdmin nvme(sysfs, "/dev");
    const OpenSCSI openSCSI = [](std::string_view name)
        -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
        auto opened = platform::LinuxSGDrive::open("/dev/" + std::string(name));
        if (!opened) return drivekit::Unexpected(opened.error());
        return std::unique_ptr<drivekit::SCSIDrive>(std::move(opened).value());
    };
    const platform::LinuxMounts mounts;
    const platform::LinuxBlockProbe probe;
    const platform::LinuxVolumeSpace space;
    const platform::LinuxClock clock;
    std::error_code noFolder;
    const auto folder = std::filesystem::current_path(noFolder);
    Machine machine{sysfs,  nvme,   drivekit::Locale::current(), openSCSI,
                    &mounts, &probe, &space,                      &clock,
                    noFolder ? std::string() : folder.string()};
    // The disk service when the system bus has it, so the desktop keeps track of the
    // volumes; else umount2 and mount(2).
    const auto volumes = app::systemVolumes(sysfs, mounts);
    const platform::LinuxFileHolders holders;
    platform::LinuxUSBHost usb;
    drivekit::CapturedUSBDrive::Options captureOptions;
    captureOptions.makeUAS = drivekit::UASTransport::maker();
    CapturePlatform capture{*volumes, holders, usb,
                            [](double seconds) {
                                std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
                            },
                            captureOptions, [] {
                                std::vector<std::string> lines;
                                for (const auto& done : platform::reattachOrphanedMassStorage()) {
                                    if (!done.error.empty()) {
                                        lines.push_back("couldn't give " + done.name +
                                                        " back to its driver: " + done.error + ".");
                                    }
                                }
                                return lines;
                            }};
    if (const char* hold = std::getenv("VANTREL_TEST_HOLD_AFTER")) capture.holdAfter = hold;
    machine.capture = &capture;
    // A run killed while it held a USB drive left the drive without its driver; any
    // privileged start gives it back, so the drive returns without a replug.
    if (usb.privileged()) {
        for (const auto& line : capture.recoverOrphans()) {
            std::cerr << "vantrel: " << drivekit::text::printable(line) << '\n';
        }
    }
    return run(args, machine, std::cout, std::cerr);
}

}  // namespace cli
