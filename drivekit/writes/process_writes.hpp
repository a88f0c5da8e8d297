#pragma once
// What the kernel counts per process: the bytes it caused to be written to storage since
// it started, read from /proc. A process is known by its pid and start time together,
// because the kernel reuses pids.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/core/json.hpp"
#include "platform/proc_files.hpp"

namespace drivekit {

/// A process that has written nothing yet is read no further than its counter: `started`
/// 0, `path` and `cgroup` empty. Its owner is never asked, and the ledger counts whatever
/// it writes later whole, so the other files of most processes are left unread.
struct ProcessWrites {
    std::int32_t pid = 0;
    /// Start time in microseconds since 1970; 0 when the system gave none.
    std::uint64_t started = 0;
    /// The executable; empty when unknown (kernel threads, zombies, no permission).
    std::string path;
    /// Bytes written since the process started ("write_bytes" of its io file).
    std::uint64_t written = 0;
    /// The process's cgroup on the unified hierarchy ("/user.slice/…/app-….scope"), where
    /// a desktop launch, a flatpak or a snap says which application it belongs to.
    std::string cgroup;
    /// A browser's renderer or content process, by its command line.
    bool webContent = false;

    bool operator==(const ProcessWrites&) const = default;
};

/// Keys `pid`, `started`, `path`, `written`, then `cgroup` and `webContent`.
json::Object toJson(const ProcessWrites& process);
/// Nothing unless `pid`, `started`, `path` and `written` are there with their types; the
/// Linux fields are optional.
std::optional<ProcessWrites> processWritesFromJson(const json::Object& value);

namespace ProcessWritesReader {

/// Every process that can be read, in the order /proc lists them. A process that can't be
/// read (gone mid-read, or another user's without root) is left out, never an error.
std::vector<ProcessWrites> snapshot(const platform::ProcFiles& proc);

/// One process; a record with pid 0 and everything else empty when it can't be read.
ProcessWrites read(const platform::ProcFiles& proc, std::int32_t pid);

}  // namespace ProcessWritesReader

}  // namespace drivekit
