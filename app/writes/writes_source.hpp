#pragma once
// Where write accounting gets its snapshots of every process's counters. Reading another
// user's counters needs root, so the desktop application will ask the privileged service
// (which implements this interface); as root, /proc is read directly.
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivekit/writes/process_writes.hpp"
#include "platform/proc_files.hpp"

namespace app {

class WritesSource {
  public:
    virtual ~WritesSource() = default;
    /// Every readable process's counters; nothing when no answer came (the reason goes to
    /// the log). May block; called off the thread that draws.
    virtual std::optional<std::vector<drivekit::ProcessWrites>> snapshot() = 0;

  protected:
    WritesSource() = default;
};

/// /proc read by this process, which must be root to see every process.
class DirectWritesSource final : public WritesSource {
  public:
    explicit DirectWritesSource(std::shared_ptr<const platform::ProcFiles> proc) : proc_(std::move(proc)) {}
    std::optional<std::vector<drivekit::ProcessWrites>> snapshot() override;

  private:
    std::shared_ptr<const platform::ProcFiles> proc_;
};

/// Any source behind a time-out: the snapshot is asked on a thread of its own, and
/// whichever of its answer and the time-out comes first decides; a late answer is dropped.
/// A source that never answers costs one parked thread, not a hung loop.
class TimedWritesSource final : public WritesSource {
  public:
    static constexpr std::chrono::milliseconds kTimeout{5000};

    TimedWritesSource(std::shared_ptr<WritesSource> inner, std::chrono::milliseconds timeout,
                      std::function<void(const std::string&)> log);
    std::optional<std::vector<drivekit::ProcessWrites>> snapshot() override;

  private:
    std::shared_ptr<WritesSource> inner_;
    std::chrono::milliseconds timeout_;
    std::function<void(const std::string&)> log_;
};

/// Who may count every process's writes here: root reads /proc itself; anyone else asks
/// the privileged service (`service`, absent where there is none).
struct WritesAccess {
    std::shared_ptr<WritesSource> source;  // absent: counting is unavailable
    static WritesAccess forUser(bool root, std::shared_ptr<const platform::ProcFiles> proc,
                                std::shared_ptr<WritesSource> service = nullptr);
};

}  // namespace app
