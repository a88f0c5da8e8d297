#include "cli/bus/selftest_command.hpp"

#include <unistd.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <chrono>
#include <thread>

#include "app/self_test_run.hpp"
#include "app/self_test_runner.hpp"
#include "app/store/note_sinks.hpp"
#include "cli/signals.hpp"
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

/// A bar on a terminal, redrawn in place; one line per new figure otherwise (a log).
class ProgressLine {
  public:
    ProgressLine(std::ostream& out, bool terminal, const Locale& locale)
        : out_(out), terminal_(terminal), locale_(locale) {}
    ~ProgressLine() { finish(); }

    void show(const app::SelfTestRunner::Run& run) {
        if (shown_ == run.percentDone && !terminal_) return;
        shown_ = run.percentDone;
        const std::string text = app::SelfTestRunner::runningText(run, locale_);
        if (!terminal_) {
            out_ << text << '\n' << std::flush;
            return;
        }
        constexpr int width = 30;
        const int filled = std::clamp(run.percentDone, 0, 100) * width / 100;
        out_ << "\r[" << std::string(static_cast<std::size_t>(filled), '#')
             << std::string(static_cast<std::size_t>(width - filled), ' ') << "] " << text << std::flush;
        open_ = true;
    }
    void finish() {
        if (open_) out_ << '\n' << std::flush;
        open_ = false;
    }

  private:
    std::ostream& out_;
    bool terminal_;
    const Locale& locale_;
    std::optional<int> shown_;
    bool open_ = false;
};

/// A test can take hours: its end is also a note on the desktop, when there is one.
void tellDesktop(const app::Note& note) {
    int argc = 1;
    char name[] = "vantrel";
    char* argv[] = {name, nullptr};
    std::optional<QCoreApplication> application;
    if (QCoreApplication::instance() == nullptr) application.emplace(argc, argv);
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (app::DesktopNotifications::available(bus)) app::DesktopNotifications(bus).show(note);
}

/// Follows the test on `name` to its end: started here when `kind` is given. The exit code
/// tells the outcome.
int follow(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    const std::string& name = *arguments.device;
    std::optional<app::Failure> failure;
    std::optional<app::SelfTestRun::Started> started;
    const StopOnSignals stopOnSignals;
    app::SelfTestRunner::Drive drive;
    drive.progress = [&](const std::string& bsdName) -> std::optional<SelfTest::Progress> {
        auto state = app::SelfTestRun::state(machine, bsdName);
        if (!state) {
            if (!failure) failure = state.error();
            return std::nullopt;
        }
        failure.reset();
        return state->progress;
    };
    drive.start = [&](SelfTest::Kind kind, const std::string& bsdName) {
        auto result = app::SelfTestRun::start(machine, bsdName, kind, arguments.abort);
        if (!result) {
            failure = result.error();
            return false;
        }
        started = *result;
        return true;
    };
    drive.wait = [&](double seconds) {
        if (machine.pause) {
            machine.pause(seconds);
            return !StopOnSignals::requested();
        }
        // In small steps, so that Ctrl-C ends the watch at once.
        const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (std::chrono::steady_clock::now() < until) {
            if (StopOnSignals::requested()) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return !StopOnSignals::requested();
    };
    app::SelfTestRunner runner(drive);
    const std::string& key = name;

    if (arguments.start) {
        if (!runner.start(key, name, *arguments.start)) return failed(*failure, err);
        if (!arguments.json) {
            out << "Started the " << kindName(*arguments.start) << " self-test on /dev/" << name << ".";
            if (started->estimateMinutes) {
                out << " The drive expects it to take about " << minutes(*started->estimateMinutes, machine.locale)
                    << ".";
            }
            out << '\n' << std::flush;
        }
    } else if (!runner.attach(key, name)) {
        if (failure) return failed(*failure, err);
        err << "vantrel: no self-test is running on /dev/" << name << " to follow.\n";
        return exitNoVerdict;
    }

    const bool terminal = !arguments.json && ::isatty(STDOUT_FILENO) == 1;
    ProgressLine line(out, terminal, machine.locale);
    std::optional<app::SelfTestRunner::Finished> end;
    if (!arguments.json) {
        end = runner.follow(key, name, [&](const app::SelfTestRunner::Run& run) { line.show(run); });
    } else {
        end = runner.follow(key, name);
    }
    line.finish();
    if (!end) {
        err << "vantrel: stopped following; the drive goes on with its test. End it with: vantrel selftest " << name
            << " --cancel\n";
        StopOnSignals::endBySignal();
    }

    tellDesktop(app::Notes::selfTestEnded(key, "/dev/" + name, end->kind, end->outcome));

    // The drive's log holds the test's entry once it ended: the newest one.
    std::optional<SelfTest::Entry> entry;
    if (auto state = app::SelfTestRun::state(machine, name); state && !state->log.empty()) entry = state->log.front();
    if (arguments.json) {
        json::Object object = json::Object::object();
        object["bsdName"] = name;
        if (end->kind) object["kind"] = kindName(*end->kind);
        object["outcome"] = std::string(SelfTestRunText::outcome(end->outcome));
        object["percentDone"] = end->percentDone;
        if (entry) object["logEntry"] = ReportJSON::selfTestEntry(*entry);
        out << json::dump(object) << '\n';
    } else {
        out << "The self-test ended: " << SelfTest::label(end->outcome) << ".\n";
        if (entry) {
            out << "\nNewest entry of the self-test log\n";
            printSelfTestLog({*entry}, machine.locale, out);
        }
    }
    if (end->outcome == SelfTest::Outcome::passed) return exitOK;
    return SelfTest::failed(end->outcome) ? exitNeedsCare : exitNoVerdict;
}

}  // namespace

int runSelfTest(const Arguments& arguments, Machine& machine, std::ostream& out, std::ostream& err) {
    if (arguments.help) {
        out << selfTestUsageText();
        return exitOK;
    }
    const std::string& name = *arguments.device;
    if (arguments.cancel) {
        const auto cancelled = app::SelfTestRun::cancel(machine, name);
        if (!cancelled) return failed(cancelled.error(), err);
        out << "Asked /dev/" << name << " to end its self-test.\n";
        return exitOK;
    }
    if (arguments.wait) return follow(arguments, machine, out, err);
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
