#include "app/self_test_runner.hpp"

namespace app {

bool SelfTestRunner::attach(const std::string& key, const std::string& bsdName) {
    const auto progress = drive_.progress(bsdName);
    if (!progress) return runs_.contains(key);
    estimates_[key] = Estimates{progress->shortMinutes, progress->extendedMinutes};
    if (progress->outcome == Outcome::inProgress && !runs_.contains(key)) {
        runs_[key] = Run{std::nullopt, progress->percentDone, std::nullopt};
    }
    return runs_.contains(key);
}

bool SelfTestRunner::start(const std::string& key, const std::string& bsdName, Kind kind) {
    problems_.erase(key);
    finished_.erase(key);
    std::optional<int> estimate;
    if (const auto known = estimates_.find(key); known != estimates_.end()) {
        estimate = kind == Kind::extended ? known->second.extended : known->second.short_;
    }
    runs_[key] = Run{kind, 0, estimate};
    if (!drive_.start(kind, bsdName)) {
        runs_.erase(key);
        problems_[key] = kStartProblem;
        return false;
    }
    return true;
}

std::optional<SelfTestRunner::Finished> SelfTestRunner::follow(const std::string& key, const std::string& bsdName,
                                                               const std::function<void(const Run&)>& progress) {
    while (runs_.contains(key)) {
        if (!drive_.wait(kPollSeconds)) return std::nullopt;
        const auto answer = drive_.progress(bsdName);
        const auto run = runs_.find(key);
        if (run == runs_.end()) return std::nullopt;
        if (!answer) continue;
        if (answer->outcome == Outcome::inProgress) {
            run->second.percentDone = answer->percentDone;
            if (progress) progress(run->second);
            continue;
        }
        // The drive reports 100 % for anything but a running test: the last figure it
        // gave while running says how far the test got.
        const Finished end{run->second.kind, answer->outcome, run->second.percentDone};
        runs_.erase(run);
        finished_[key] = end;
        if (drive_.ended) drive_.ended(key);
        return end;
    }
    return std::nullopt;
}

std::string SelfTestRunner::runningText(const Run& run, const drivekit::Locale& locale) {
    const char* name = !run.kind                  ? "Self-test"
                       : *run.kind == Kind::extended ? "Extended test"
                                                     : "Short test";
    return std::string(name) + " \u00b7 " + drivekit::LocalFormat::percent(run.percentDone, locale);
}

}  // namespace app
