#include "cli/draw/draw_commands.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "app/scan/saved_scans.hpp"
#include "cli/exit_codes.hpp"
#include "cli/failure_text.hpp"
#include "cli/share_output.hpp"
#include "reports/gather.hpp"
#include "reports/report_plan.hpp"
#include "reports/render/render.hpp"

namespace cli {

namespace {

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

// The words after the command: the options each command takes, the device, and the file.
struct Options {
    std::optional<std::string> device;
    std::optional<std::string> output;
    std::optional<std::string> format;
    std::optional<int> page;
    bool fullSerial = false;
    bool help = false;
    std::optional<reports::render::Card> card;
    std::string error;
};

Options parse(const std::vector<std::string_view>& args, std::string_view command) {
    Options o;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string_view arg = args[i];
        const auto value = [&]() -> std::optional<std::string> {
            if (i + 1 >= args.size()) return std::nullopt;
            return std::string(args[++i]);
        };
        if (arg == "--help" || arg == "-h") {
            o.help = true;
        } else if (arg == "-o" || arg == "--output") {
            o.output = value();
            if (!o.output) o.error = std::string(arg) + " needs a file";
        } else if (arg.starts_with("--output=")) {
            o.output = std::string(arg.substr(9));
        } else if (command == "report" && (arg == "--format" || arg.starts_with("--format="))) {
            o.format = arg == "--format" ? value() : std::optional<std::string>(std::string(arg.substr(9)));
            if (!o.format) o.error = "--format needs pdf, png or json";
        } else if (command == "report" && arg == "--page") {
            const auto number = value();
            if (number && !number->empty() && number->size() < 4 &&
                std::all_of(number->begin(), number->end(), [](char c) { return c >= '0' && c <= '9'; }) &&
                std::stoi(*number) >= 1) {
                o.page = std::stoi(*number);
            } else {
                o.error = "--page needs a page number from 1";
            }
        } else if (command == "report" && arg == "--full-serial") {
            o.fullSerial = true;
        } else if (command == "card" && arg == "--benchmark") {
            o.card = reports::render::Card::benchmark;
        } else if (command == "card" && arg == "--scan") {
            o.card = reports::render::Card::scan;
        } else if (!o.device && !arg.starts_with("-")) {
            o.device = std::string(arg.starts_with("/dev/") ? arg.substr(5) : arg);
        } else {
            o.error = "unknown option for " + std::string(command) + ": " + std::string(arg);
        }
        if (!o.error.empty()) break;
    }
    return o;
}

std::optional<reports::DriveShare> gathered(const Options& o, Machine& machine, bool demo, std::ostream& err,
                                            int& code) {
    const auto paths = sharePaths(demo);
    reports::ShareRequest request{*o.device, o.fullSerial, paths.data.empty() ? std::filesystem::path() : paths.readings(),
                                  app::ScanStore::dataFolder(environment)};
    auto share = reports::shareOf(machine, request);
    if (!share) {
        const Said says = said(share.error());
        err << "vantrel: " << says.sentence << '\n';
        code = says.exitCode;
        return std::nullopt;
    }
    return std::move(share.value());
}

}  // namespace

int runReportCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                     std::ostream& err) {
    const Options o = parse(args, "report");
    if (o.help) {
        out << "Usage: vantrel report DEVICE [--format pdf|png|json] [--page N] [--full-serial] [-o FILE]\n"
               "The drive's Health report: a PDF of US Letter pages (the default), the pages as one\n"
               "PNG (--page N: that page alone), or the health document as JSON. The serial number shows only its last\n"
               "characters unless --full-serial. Without -o the file goes to the working folder\n"
               "under the name the share gives it; -o - writes to standard output.\n";
        return exitOK;
    }
    if (!o.error.empty() || !o.device) {
        err << "vantrel: " << (o.error.empty() ? "report needs a drive: vantrel report nvme0n1" : o.error)
            << ". Run vantrel report --help.\n";
        return exitUsage;
    }
    const auto format = reports::ShareFormatText::parse(o.format.value_or("pdf"));
    if (!format) {
        err << "vantrel: --format takes pdf, png or json, not " << *o.format << ".\n";
        return exitUsage;
    }
    int code = exitOK;
    const auto share = gathered(o, machine, demo, err, code);
    if (!share) return code;
    const reports::ShareItem item = reports::ShareItems::healthReport(*share);
    if (o.page && *format != reports::ShareFormat::png) {
        err << "vantrel: --page is for --format png.\n";
        return exitUsage;
    }
    const auto file = item.file({*format, o.fullSerial, o.page});
    if (!file) {
        err << "vantrel: the report couldn't be drawn" << (o.page ? " (it may have fewer pages)" : "") << ".\n";
        return exitReadFailed;
    }
    const std::string target = o.output.value_or(file->name);
    const int wrote = writeShared(file->data, target, out, err);
    // What leaves the machine with the file, as the share panel says it.
    if (wrote == exitOK && target != "-") {
        const auto plan = reports::ReportPlan::make(*share);
        err << "vantrel: what's in it: " << plan.whatsInIt(share->summary.tier == drivekit::Tier::limited) << '\n';
    }
    return wrote;
}

int runCardCommand(const std::vector<std::string_view>& args, Machine& machine, bool demo, std::ostream& out,
                   std::ostream& err) {
    const Options o = parse(args, "card");
    if (o.help) {
        out << "Usage: vantrel card DEVICE [--benchmark | --scan] [-o FILE.png]\n"
               "The drive's Disk Health card as a PNG, or the card of its last benchmark or surface\n"
               "scan. Without -o the file goes to the working folder; -o - writes to standard output.\n";
        return exitOK;
    }
    if (!o.error.empty() || !o.device) {
        err << "vantrel: " << (o.error.empty() ? "card needs a drive: vantrel card nvme0n1" : o.error)
            << ". Run vantrel card --help.\n";
        return exitUsage;
    }
    int code = exitOK;
    const auto share = gathered(o, machine, demo, err, code);
    if (!share) return code;
    const auto which = o.card.value_or(reports::render::Card::health);
    if (which == reports::render::Card::benchmark && !share->document.benchmark) {
        err << "vantrel: no benchmark of " << *o.device << " is kept: run vantrel bench on one of its folders first.\n";
        return exitNoDevice;
    }
    if (which == reports::render::Card::scan && !share->document.surfaceScan) {
        err << "vantrel: no surface scan of " << *o.device << " is kept: run vantrel scan " << *o.device << " first.\n";
        return exitNoDevice;
    }
    const auto file = reports::ShareItems::card(*share, which).file({reports::ShareFormat::png, false});
    if (!file) {
        err << "vantrel: the card couldn't be drawn.\n";
        return exitReadFailed;
    }
    return writeShared(file->data, o.output.value_or(file->name), out, err);
}

int runDrawingCommand(std::string_view command, const std::vector<std::string_view>& args, Machine& machine, bool demo,
                      std::ostream& out, std::ostream& err) {
    return command == "card" ? runCardCommand(args, machine, demo, out, err)
                             : runReportCommand(args, machine, demo, out, err);
}

void useDrawing() { setDrawing(&runDrawingCommand); }

}  // namespace cli
