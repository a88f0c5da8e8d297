#pragma once
// The program runs once per user session. The first process takes an exclusive lock on
// "vantrel-instance.lock" in $XDG_RUNTIME_DIR (else /tmp) and keeps it for its life; a
// later one finds it held, hands its request to the first over the session bus and ends.
// A lock left by a process that died dies with it.
#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>
#include <utility>
#include <string>
#include <string_view>

#include "drivekit/core/json.hpp"

namespace app {

class DriveStore;

namespace SingleInstance {

struct Lock {
    /// This process is the instance (also when the lock file couldn't be opened at all).
    bool isInstance = true;
    /// The descriptor holding the lock; -1 when none is held. Kept open for the process's
    /// life: closing it gives the lock up.
    int descriptor = -1;
    /// The instance's process id, as it wrote it, when this process lost.
    std::optional<pid_t> holder;
};

std::filesystem::path lockFile(const std::function<std::optional<std::string>(const char*)>& environment);

Lock acquire(const std::filesystem::path& file);

}  // namespace SingleInstance

/// Lets through one request in `interval` seconds: a burst from panel widgets reads the
/// drives once. A clock that went backwards lets the next one through.
struct RequestGate {
    double interval = 5.0;
    std::optional<drivekit::json::SystemTime> last;

    bool admits(drivekit::json::SystemTime now);
};

/// Links that arrive before an interface can show them wait here, and reach the interface
/// in the order they came once it sets its handler.
class LinkInbox {
  public:
    using Handler = std::function<void(const std::string& url)>;

    void deliver(std::string url) {
        pending_.push_back(std::move(url));
        flush();
    }
    void setHandler(Handler handler) {
        handler_ = std::move(handler);
        flush();
    }
    std::size_t waiting() const { return pending_.size(); }

  private:
    // A link sent while the handler runs joins the end of the queue, so links keep the
    // order they came in even when handling one makes another.
    void flush() {
        if (!handler_ || flushing_) return;
        flushing_ = true;
        while (handler_ && !pending_.empty()) {
            const std::string url = std::move(pending_.front());
            pending_.erase(pending_.begin());
            // A copy: the handler may replace or clear itself (a window closing).
            const Handler handler = handler_;
            handler(url);
        }
        flushing_ = false;
    }

    std::vector<std::string> pending_;
    Handler handler_;
    bool flushing_ = false;
};

/// "vantrel://drive/<stableKey or id>" names a drive; "vantrel://drive" alone names none.
/// Nothing for another scheme or path.
std::optional<std::string> driveInLink(std::string_view url);

}  // namespace app
