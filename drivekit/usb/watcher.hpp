#pragma once
// Watcher: turns the machine's disk events into news about drives. A drive that was
// there when watching began isn't news; a whole disk that appears is described once and
// reported as connected, and reported as gone when it disappears. It remembers which
// disks it has seen, so a repeated add (a change of medium, a second look by the kernel)
// is reported once.
//
// One watcher is fed from one thread. Describing a drive reads sysfs and the mount table
// at the moment of the event, so a drive whose partitions are still being found is
// described with what is known by then.
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/json.hpp"
#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "platform/disk_events.hpp"

namespace drivekit {

class Watcher {
public:
    struct News {
        enum class Kind { connected, disconnected };
        Kind kind = Kind::connected;
        std::string bsdName;
        /// The drive as it was described when it came; absent when it went.
        std::optional<Drive> drive;

        bool operator==(const News&) const = default;
    };

    /// The drive of a whole disk's kernel name; nothing for a disk that isn't a drive
    /// (a loop device, an optical drive, one that is gone again).
    using Describe = std::function<std::optional<Drive>(std::string_view bsdName)>;

    /// `present`: the disks attached when watching begins.
    Watcher(Describe describe, const std::vector<std::string>& present);

    /// The news an event brings, if any.
    std::optional<News> handle(const platform::DiskEvent& event);

    /// What a watcher that checks drives does with one that arrived.
    enum class Arrival {
        report,            // only news: not a drive to check, or one unsafe to take
        checkBeforeMount,  // a USB drive, held back from mounting while it is checked
        check,             // another drive that can be read
        needsRoot,         // a USB drive, left to mount: checking it needs root
    };

    /// "Watching for drives. Plug one in."
    static std::string startLine();
    /// The sentence of an arrival that is checked or could be: "SanDisk Extreme connected
    /// over USB. Checking before it mounts…"; the news line for `report`.
    static std::string arrivalLine(const News& news, Arrival arrival, const Locale& locale);
    /// "sdb connected: SanDisk Extreme (USB, 64 GB). Check it with sudo vantrel check sdb."
    /// and "sdb disconnected."
    static std::string line(const News& news, const Locale& locale);
    /// {"event": "connected", "bsdName": "sdb", "drive": {...}}; no "drive" when it went.
    static json::Object toJSON(const News& news);

private:
    Describe describe_;
    std::set<std::string, std::less<>> known_;
};

}  // namespace drivekit
