#pragma once
// Signals at the edge of the program. While a StopOnSignals lives, SIGINT, SIGTERM, SIGHUP,
// SIGQUIT and SIGPIPE only set a flag (a write to a closed pipe then fails with EPIPE
// instead): the core's work asks the flag between steps and ends in order, giving back a
// USB device it took. A second signal calls `giveBackNow` (async-signal-safe) and ends the
// process at once. The handlers before it come back when it goes. One at a time.

namespace cli {

class StopOnSignals {
public:
    explicit StopOnSignals(void (*giveBackNow)() noexcept = nullptr);
    StopOnSignals(const StopOnSignals&) = delete;
    StopOnSignals& operator=(const StopOnSignals&) = delete;
    ~StopOnSignals();

    /// Whether a signal came since construction.
    static bool requested();
    /// Ends the process by the signal that came, as it would have ended without us.
    [[noreturn]] static void endBySignal();
};

}  // namespace cli
