#include "cli/selftest_command.hpp"

#include "app/self_test_run.hpp"
#include "app/shown.hpp"
#include "cli/exit_codes.hpp"
#include "cli/failure_text.hpp"
#include "cli/report_text.hpp"

namespace cli {

using namespace drivekit;

namespace {

std::string kindName(SelfTest::Kind kind) { return kind == SelfTest::Kind::extended ? "extended" : "short"; }

std::string minutes(int count, const Locale& locale) {
    return LocalFormat::count(count, locale) + (count == 1 ? " minute" : " minutes");
}

json::Object progressJSON(const SelfTest::Progress& progress) {
    json::Object object = json::Object::object();
    object["outcome"] = std::string(SelfTestRunText::outcome(progress.outcome));
    object["percentDone"] = progress.percentDone;
    json::putOptional(object, "shortMinutes", progress.shortMinutes);
    json::putOptional(object, "extendedMinutes", progress.extendedMinutes);
    return object;
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
        if (progress->extendedMinutes) out << " an extended test about " << minutes(*progress->extendedMinutes, locale);
        out << ".\n";
    }
}

int failed(const app::Failure& failure, std::ostream& err) {
    const Said says = said(failure);
    err << "vantrel: " << says.sentence << '\n';
    return says.exitCode;
}

}  // namespace

int runSelfTest(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << selfTestUsageText();
        return exitOK;
    }
    const std::string& name = *arguments.device;
    if (arguments.start) {
        const auto started = app::SelfTestRun::start(machine, name, *arguments.start, arguments.abort);
        if (!started) return failed(started.error(), err);
        if (arguments.json) {
            json::Object object = json::Object::object();
            object["bsdName"] = name;
            object["started"] = kindName(started->kind);
            json::putOptional(object, "estimateMinutes", started->estimateMinutes);
            out << json::dump(object) << '\n';
            return exitOK;
        }
        out << "Started the " << kindName(started->kind) << " self-test on /dev/" << name << ".";
        if (started->estimateMinutes) {
            out << " The drive expects it to take about " << minutes(*started->estimateMinutes, machine.locale) << ".";
        }
        out << "\nFollow it with: vantrel selftest " << name << '\n';
        return exitOK;
    }
    const auto state = app::SelfTestRun::state(machine, name);
    if (!state) return failed(state.error(), err);
    if (arguments.json) {
        json::Object object = json::Object::object();
        object["bsdName"] = name;
        if (state->progress) object["progress"] = progressJSON(*state->progress);
        json::Object entries = json::Object::array();
        for (const auto& entry : state->log) entries.push_back(ReportJSON::selfTestEntry(entry));
        object["selfTests"] = std::move(entries);
        out << json::dump(object) << '\n';
        return exitOK;
    }
    out << "/dev/" << name << '\n';
    printProgress(state->progress, machine.locale, out);
    out << "\nSelf-test log\n";
    printSelfTestLog(state->log, machine.locale, out);
    return exitOK;
}

}  // namespace cli
