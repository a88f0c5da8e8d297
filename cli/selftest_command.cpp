#include "cli/selftest_command.hpp"

#include "cli/ata_live.hpp"
#include "cli/check_command.hpp"
#include "cli/exit_codes.hpp"
#include "cli/scsi_disks.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/health/ata_smart_lib.hpp"
#include "drivekit/health/health_document.hpp"
#include "drivekit/health/report_json.hpp"

namespace cli {

using namespace drivekit;

namespace {

std::string dev(std::string_view name) { return "/dev/" + std::string(name); }

std::string kindName(SelfTest::Kind kind) { return kind == SelfTest::Kind::extended ? "extended" : "short"; }

json::Object progressJSON(const SelfTest::Progress& progress) {
    json::Object object = json::Object::object();
    object["outcome"] = std::string(SelfTestRunText::outcome(progress.outcome));
    object["percentDone"] = progress.percentDone;
    json::putOptional(object, "shortMinutes", progress.shortMinutes);
    json::putOptional(object, "extendedMinutes", progress.extendedMinutes);
    return object;
}

std::string minutes(int count, const Locale& locale) {
    return LocalFormat::count(count, locale) + (count == 1 ? " minute" : " minutes");
}

int start(std::string_view name, SelfTest::Kind kind, const std::optional<SelfTest::Progress>& before,
          const Machine& machine, bool json, std::ostream& out, std::ostream& err) {
    if (!ATASMARTLib::startSelfTest(kind, ataConnect(machine), name)) {
        err << "vantrel: The drive didn't start its self-test. Try again in a moment.\n";
        return exitReadFailed;
    }
    std::optional<int> estimate;
    if (before) estimate = kind == SelfTest::Kind::extended ? before->extendedMinutes : before->shortMinutes;
    if (json) {
        json::Object object = json::Object::object();
        object["bsdName"] = std::string(name);
        object["started"] = kindName(kind);
        json::putOptional(object, "estimateMinutes", estimate);
        out << json::dump(object) << '\n';
        return exitOK;
    }
    out << "Started the " << kindName(kind) << " self-test on " << dev(name) << ".";
    if (estimate) out << " The drive expects it to take about " << minutes(*estimate, machine.locale) << ".";
    out << "\nFollow it with: vantrel selftest " << name << '\n';
    return exitOK;
}

void printProgress(const std::optional<SelfTest::Progress>& progress, const Locale& locale, std::ostream& out) {
    if (!progress) {
        out << "The drive didn't say whether a self-test is running.\n";
        return;
    }
    if (progress->outcome == SelfTest::Outcome::inProgress) {
        // The kind of a test under way isn't in the SMART data; the log gets it at the end.
        out << "Self-test · " << LocalFormat::percent(progress->percentDone, locale) << " done\n";
    } else {
        out << "No self-test is running. The last one: " << SelfTest::label(progress->outcome) << ".\n";
    }
    if (progress->shortMinutes || progress->extendedMinutes) {
        out << "The drive expects";
        if (progress->shortMinutes) out << " a short test to take about " << minutes(*progress->shortMinutes, locale);
        if (progress->shortMinutes && progress->extendedMinutes) out << ", and";
        if (progress->extendedMinutes) {
            out << " an extended test about " << minutes(*progress->extendedMinutes, locale);
        }
        out << ".\n";
    }
}

}  // namespace

int runSelfTest(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << selfTestUsageText();
        return exitOK;
    }
    const std::string& name = *arguments.device;
    if (auto refused = refuseDevice(name, machine, err)) return *refused;
    if (!isSCSIDiskName(name)) {
        err << "vantrel: " << dev(name) << " has no self-tests Vantrel can run; they are for SATA and USB drives.\n";
        return exitNotSupported;
    }
    if (auto refused = ataReachable(name, machine, err)) return *refused;
    const auto connect = ataConnect(machine);
    if (!ATASMARTLib::isCapable(connect, name)) {
        err << "vantrel: " << noPassThroughSentence(scsiDiskDrive(name, machine.sysfs)) << '\n';
        return exitNotSupported;
    }

    const auto progress = ATASMARTLib::selfTestProgress(connect, name);
    // Starting a test while one runs makes the drive end the running one: only on request.
    if (arguments.start && progress && progress->outcome == SelfTest::Outcome::inProgress &&
        !arguments.abort) {
        err << "vantrel: A self-test is running on " << dev(name) << " ("
            << LocalFormat::percent(progress->percentDone, machine.locale)
            << " done). Starting another would end it: add --abort to do that anyway.\n";
        return exitBusy;
    }
    if (arguments.start) return start(name, *arguments.start, progress, machine, arguments.json, out, err);

    const auto log = ATASMARTLib::selfTestLog(connect, name);
    if (arguments.json) {
        json::Object object = json::Object::object();
        object["bsdName"] = name;
        if (progress) object["progress"] = progressJSON(*progress);
        json::Object entries = json::Object::array();
        for (const auto& entry : log) entries.push_back(ReportJSON::selfTestEntry(entry));
        object["selfTests"] = std::move(entries);
        out << json::dump(object) << '\n';
        return exitOK;
    }
    out << dev(name) << '\n';
    printProgress(progress, machine.locale, out);
    out << "\nSelf-test log\n";
    printSelfTestLog(log, machine.locale, out);
    return exitOK;
}

}  // namespace cli
