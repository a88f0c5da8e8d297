#include "cli/signals.hpp"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iterator>

namespace cli {

namespace {

std::atomic<int> caughtSignal{0};
std::atomic<void (*)() noexcept> giveBack{nullptr};
static_assert(std::atomic<int>::is_always_lock_free);

// Async-signal-safe: lock-free loads and stores. A second signal means the user won't
// wait for the orderly way: the interfaces go back to the kernel from here, and the
// process ends by the signal.
void onSignal(int signal) {
    if (caughtSignal.exchange(signal) != 0) {
        if (auto* now = giveBack.load()) now();
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

// Every signal whose default action ends the process and that can come from outside
// while a drive is held: Ctrl-C, a service manager, a closed terminal or SSH session,
// Ctrl-\\, and a reader of our output that went away (`vantrel check sdb 2>&1 | head`).
constexpr int stopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};
struct sigaction previous[std::size(stopSignals)] {};

}  // namespace

StopOnSignals::StopOnSignals(void (*giveBackNow)() noexcept) {
    caughtSignal = 0;
    giveBack = giveBackNow;
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a wait in progress returns early, so the flag is seen soon.
    action.sa_flags = 0;
    for (std::size_t i = 0; i < std::size(stopSignals); ++i) sigaction(stopSignals[i], &action, &previous[i]);
}

StopOnSignals::~StopOnSignals() {
    for (std::size_t i = 0; i < std::size(stopSignals); ++i) sigaction(stopSignals[i], &previous[i], nullptr);
    giveBack = nullptr;
}

bool StopOnSignals::requested() { return caughtSignal.load() != 0; }

void StopOnSignals::endBySignal() {
    const int which = caughtSignal.load() != 0 ? caughtSignal.load() : SIGTERM;
    std::signal(which, SIG_DFL);
    std::raise(which);
    std::_Exit(128 + which);
}

}  // namespace cli
