#include "cli/writes_command.hpp"

#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <thread>

#include "app/scan/saved_scans.hpp"
#include "app/drive_check.hpp"
#include "app/shown.hpp"
#include "cli/exit_codes.hpp"
#include "cli/signals.hpp"

namespace cli {
namespace {

using app::WritesReport;
using drivekit::WriteOwner;

constexpr std::string_view usage =
    "Usage: vantrel writes [--since 24h|7d|30d] [--seconds N] [--json]\n"
    "\n"
    "The programs that wrote the most to this computer's drives: bytes, share of all that\n"
    "was written, and a short name. From the history Vantrel keeps while it counts in the\n"
    "background; without one, counts live for a few seconds. Counting every program's\n"
    "writes needs root.\n"
    "\n"
    "  --since P    the period of the history: 24h (the default), 7d or 30d\n"
    "  --seconds N  count live for N seconds (1 to 600; default 5), even with a history\n"
    "  --json       print the list as JSON\n"
    "\n"
    "Exit codes: 0 listed, 2 bad command line, 5 needs root, 6 the counters couldn't be read.\n";

struct Options {
    std::chrono::seconds period{std::chrono::hours(24)};
    std::optional<int> seconds;
    bool json = false;
    bool help = false;
};

std::optional<std::chrono::seconds> period(std::string_view text) {
    if (text == "24h") return std::chrono::hours(24);
    if (text == "7d") return std::chrono::hours(24 * 7);
    if (text == "30d") return std::chrono::hours(24 * 30);
    return std::nullopt;
}

std::optional<std::string> parse(const std::vector<std::string_view>& args, Options& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        std::string_view arg = args[i];
        std::optional<std::string_view> value;
        const auto takeValue = [&](std::string_view name) -> bool {
            if (arg == name) {
                if (i + 1 >= args.size()) return false;
                value = args[++i];
                return true;
            }
            if (arg.starts_with(name) && arg.size() > name.size() && arg[name.size()] == '=') {
                value = arg.substr(name.size() + 1);
                return true;
            }
            return false;
        };
        if (arg == "--json") {
            options.json = true;
        } else if (arg == "--help" || arg == "-h") {
            options.help = true;
        } else if (takeValue("--since")) {
            const auto p = period(*value);
            if (!p) return "--since takes 24h, 7d or 30d; got " + std::string(*value) + ".";
            options.period = *p;
        } else if (takeValue("--seconds")) {
            int n = 0;
            const auto [end, error] = std::from_chars(value->data(), value->data() + value->size(), n);
            if (error != std::errc() || end != value->data() + value->size() || n < 1 || n > 600) {
                return "--seconds takes a whole number from 1 to 600; got " + std::string(*value) + ".";
            }
            options.seconds = n;
        } else if (arg == "--since" || arg == "--seconds") {
            return std::string(arg) + " needs a value.";
        } else {
            return "Unknown argument for writes: " + std::string(arg) + ".";
        }
    }
    return std::nullopt;
}

// The list's words for the owners that have no file name.
std::string nameOf(const WriteOwner& owner) {
    if (const auto name = drivekit::WriteOwners::fileName(owner)) return *name;
    return owner.kind == WriteOwner::Kind::webPages ? "Web pages" : "System";
}

std::string kindText(WriteOwner::Kind kind) {
    switch (kind) {
        case WriteOwner::Kind::app: return "app";
        case WriteOwner::Kind::tool: return "tool";
        case WriteOwner::Kind::webPages: return "webPages";
        case WriteOwner::Kind::system: return "system";
    }
    return "system";
}

std::string shareText(double share) {
    return drivekit::text::format("%.1f%%", share * 100.0);
}

std::string periodText(const WritesReport& report, const Options& options) {
    if (report.source == WritesReport::Source::live) {
        const auto seconds = std::chrono::duration<double>(report.until - report.since).count();
        return drivekit::text::format(seconds < 1.5 ? "in %.0f second, counted live" : "in %.0f seconds, counted live",
                                      seconds);
    }
    const auto hours = std::chrono::duration_cast<std::chrono::hours>(options.period).count();
    return hours <= 24 ? "in the last 24 hours" : drivekit::text::format("in the last %lld days", static_cast<long long>(hours / 24));
}

void printText(const WritesReport& report, const Options& options,
               const std::optional<std::string>& driveName, std::ostream& out) {
    const drivekit::Locale locale = drivekit::Locale::current();
    out << "Written " << periodText(report, options) << ": "
        << drivekit::ByteSize::decimal(static_cast<std::int64_t>(report.total), locale) << '\n';
    if (report.rows.empty()) {
        out << "No program wrote anything in this time.\n";
    }
    for (const auto& row : report.rows) {
        const std::string bytes = drivekit::ByteSize::decimal(static_cast<std::int64_t>(row.bytes), locale);
        out << drivekit::text::format("%10s  %6s  ", bytes.c_str(), shareText(row.share).c_str());
        // A tool's path or an application's id after its short name, when they differ.
        const std::string name = nameOf(row.owner);
        if (row.owner.name.empty() || row.owner.name == name) {
            out << name << '\n';
        } else {
            out << drivekit::text::format("%-20s  %s", drivekit::text::printable(name).c_str(), drivekit::text::printable(row.owner.name).c_str()) << '\n';
        }
    }
    if (report.driveWritten && driveName) {
        out << "The system drive (" << *driveName << ") counted "
            << drivekit::ByteSize::decimal(static_cast<std::int64_t>(*report.driveWritten), locale)
            << " written in this time; what no program accounts for is the system's.\n";
    }
}

void printJson(const WritesReport& report, const std::optional<std::string>& driveName, std::ostream& out) {
    drivekit::json::Object object;
    object["source"] = report.source == WritesReport::Source::live ? "live" : "history";
    object["since"] = drivekit::json::isoDate(report.since);
    object["until"] = drivekit::json::isoDate(report.until);
    object["total"] = report.total;
    drivekit::json::putOptional(object, "systemDrive", driveName);
    drivekit::json::putOptional(object, "driveWritten", report.driveWritten);
    drivekit::json::Object owners = drivekit::json::Object::array();
    for (const auto& row : report.rows) {
        drivekit::json::Object entry;
        entry["owner"] = row.owner.key();
        entry["kind"] = kindText(row.owner.kind);
        entry["name"] = nameOf(row.owner);
        entry["bytes"] = row.bytes;
        entry["share"] = row.share;
        owners.push_back(std::move(entry));
    }
    object["owners"] = std::move(owners);
    out << drivekit::json::dump(object) << '\n';
}

}  // namespace

int runWrites(const std::vector<std::string_view>& args, const WritesPlatform& platform, std::ostream& out,
              std::ostream& err) {
    Options options;
    if (const auto problem = parse(args, options)) {
        err << "vantrel: " << *problem << '\n' << usage;
        return exitUsage;
    }
    if (options.help) {
        out << usage;
        return exitOK;
    }
    const auto log = [&err](const std::string& line) { err << "vantrel: " << line << '\n'; };
    std::optional<WritesReport> report;
    std::optional<std::string> driveName;
    if (!options.seconds && !platform.dataFolder.empty()) {
        report = WritesReport::fromHistory(app::AppWritesFiles::in(platform.dataFolder), platform.clock.now(),
                                           options.period, platform.calendar, log);
    }
    if (!report) {
        if (!platform.source) {
            err << "vantrel: " << app::WritesWording::stateLine(app::AppWrites::State::unavailable) << '\n';
            return exitNoPermission;
        }
        const auto length = std::chrono::seconds(options.seconds.value_or(5));
        const auto driveWritten = [&]() -> std::optional<std::uint64_t> {
            const auto drive = platform.systemDrive ? platform.systemDrive() : std::nullopt;
            if (!drive) return std::nullopt;
            driveName = drive->first;
            return drive->second;
        };
        const auto wait = [&](std::chrono::milliseconds total) {
            // The line goes out once the first snapshot is taken: what starts after it counts whole.
            err << "Counting every program's writes for " << length.count()
                << (length.count() == 1 ? " second..." : " seconds...") << std::endl;
            return platform.wait(total);
        };
        report = WritesReport::live({*platform.source, platform.clock, wait, driveWritten}, length);
        if (!report) {
            err << "vantrel: the processes' write counters couldn't be read.\n";
            return exitReadFailed;
        }
    }
    if (options.json) {
        printJson(*report, driveName, out);
    } else {
        printText(*report, options, driveName, out);
    }
    return exitOK;
}

namespace {

// The one place this command asks the application core for the system drive, the one
// that holds the root file system, and its own total of bytes written from its health
// data. The drive is found once; its health is read anew at each call.
std::function<std::optional<std::pair<std::string, std::uint64_t>>()> systemDriveOf(Machine& machine) {
    const std::optional<std::string> bsdName = app::systemDriveName(machine);
    return [&machine, bsdName]() -> std::optional<std::pair<std::string, std::uint64_t>> {
        if (!bsdName) return std::nullopt;
        const auto checked = app::checkDrive(machine, app::CheckRequest{*bsdName});
        if (!checked || !checked->read.summary.dataWrittenBytes) return std::nullopt;
        return std::pair{*bsdName, *checked->read.summary.dataWrittenBytes};
    };
}

}  // namespace

int runWritesCommand(const std::vector<std::string_view>& args, Machine& machine, std::ostream& out,
                     std::ostream& err) {
    if (machine.clock == nullptr) {
        err << "vantrel: this machine has no clock to count writes by.\n";
        return exitReadFailed;
    }
    const platform::Clock& clock = *machine.clock;
    const auto environment = [](const char* key) -> std::optional<std::string> {
        const char* value = std::getenv(key);
        return value ? std::optional<std::string>(value) : std::nullopt;
    };
    const StopOnSignals signals;
    WritesPlatform platform{
        app::WritesAccess::forUser(::geteuid() == 0 && machine.procFiles != nullptr, machine.procFiles,
                                  machine.serviceWrites)
            .source,
        clock,
        [](std::chrono::milliseconds total) {
            // Ctrl-C ends the interval early; what was counted so far is still shown.
            const auto end = std::chrono::steady_clock::now() + total;
            while (std::chrono::steady_clock::now() < end) {
                if (StopOnSignals::requested()) return false;
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
            return true;
        },
        nullptr,
        app::ScanStore::dataFolder(environment),
    };
    if (platform.source) {
        platform.source = std::make_shared<app::TimedWritesSource>(
            platform.source, app::TimedWritesSource::kTimeout,
            [&err](const std::string& line) { err << "vantrel: " << line << '\n'; });
        platform.systemDrive = systemDriveOf(machine);
    }
    return runWrites(args, platform, out, err);
}

}  // namespace cli
