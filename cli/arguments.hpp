#pragma once
// Parsing of the command line into a plain record. Knows every subcommand's options, so
// a typo is reported before anything touches a device.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/shown.hpp"

namespace cli {

enum class Command { none, help, version, check, selftest, list, watch };

struct Arguments {
    Command command = Command::none;
    std::optional<std::string> device;  // kernel name, "/dev/" already removed
    bool json = false;
    bool help = false;                  // --help after a subcommand
    std::optional<drivekit::SelfTest::Kind> start = std::nullopt;  // selftest: the test, or none
    /// `--demo` or `--demo=FILE` before the command: run against a described machine.
    /// Empty text for the machine that ships with the program.
    std::optional<std::string> demo = std::nullopt;
    /// check --capture: read a USB drive by taking it from its kernel driver.
    bool capture = false;
    /// check --json=report: the full rated report (raw health-log rows, attribute table,
    /// self-test log) instead of the shareable health document.
    bool fullReport = false;
    /// check, list --wake: read ATA disks that sleep too, spinning them up.
    bool wake = false;
    /// list --wide: model names and lines whole, however wide the rows get.
    bool wide = false;
    /// selftest --abort: start a test even while one runs, which ends that one.
    bool abort = false;
    /// watch --check: check each drive as it arrives, a USB drive before it mounts.
    bool checkArrivals = false;
    /// selftest --wait: follow the test to its end.
    bool wait = false;
    /// selftest --cancel: ask the drive to end its test.
    bool cancel = false;
};

struct ParseResult {
    std::optional<Arguments> arguments;
    std::string error;                  // one sentence when arguments is absent
};

ParseResult parseArguments(const std::vector<std::string_view>& args);

/// "nvme0n1" for "nvme0n1" and "/dev/nvme0n1"; nothing for a path elsewhere or an empty
/// or dotted name, which could never be a block device of this machine.
std::optional<std::string> kernelName(std::string_view device);

std::string usageText();
std::string checkUsageText();
std::string selfTestUsageText();
std::string listUsageText();
std::string watchUsageText();

}  // namespace cli
