#pragma once
// `vantrel writes [--since 24h|7d|30d] [--seconds N] [--json]`: the programs that wrote
// the most, with bytes, their share of everything written in the period and a short
// name. From the stored history when the counting loop has kept one; otherwise from one
// live interval of a few seconds, with a progress line on stderr.
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "app/writes/writes_report.hpp"
#include "cli/app_names.hpp"

namespace cli {

/// What the command runs on; `runWritesCommand` builds it for this computer.
struct WritesPlatform {
    /// Absent when this user can't count every program's writes (not root, no service).
    std::shared_ptr<app::WritesSource> source;
    const platform::Clock& clock;
    std::function<bool(std::chrono::milliseconds)> wait;
    /// The system drive's kernel name and its own total of bytes written, read anew at
    /// each call; nothing when there is no such drive or it can't be read.
    std::function<std::optional<std::pair<std::string, std::uint64_t>>()> systemDrive;
    std::filesystem::path dataFolder;
    drivekit::WriteCalendar calendar = drivekit::WriteCalendar::local();
};

int runWrites(const std::vector<std::string_view>& args, const WritesPlatform& platform, std::ostream& out,
              std::ostream& err);

/// `args` are the words after "writes".
int runWritesCommand(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out,
                     std::ostream& err);

}  // namespace cli
