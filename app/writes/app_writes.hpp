#pragma once
// The long-running half of write accounting: every 30 seconds a snapshot of every
// process's counters goes through the ledger, and what comes out is added to the history,
// which is rolled into days and saved at each change of the hour. One object for the life
// of the program, used from one thread; only the snapshot may wait (at most 5 seconds).
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "app/writes/writes_source.hpp"
#include "drivekit/writes/write_calendar.hpp"
#include "drivekit/writes/write_history.hpp"
#include "drivekit/writes/write_ledger.hpp"
#include "platform/clock.hpp"

namespace app {

/// "writes-slots.json" and "writes-days.json" in the data folder.
struct AppWritesFiles {
    std::filesystem::path slots;
    std::filesystem::path days;

    static AppWritesFiles in(const std::filesystem::path& dataFolder);
};

/// What the history files gave at start, and whether each may be written over.
struct LoadedWrites {
    drivekit::WriteHistory history;
    bool slotsWritable = true;
    bool daysWritable = true;
};

namespace WritesFiles {

/// Reads both files. A missing file is an empty list; a damaged one too, and the next save
/// replaces it; a file from a newer program, or one that can't be read, is an empty list
/// and is left as it is. Each case but the first logs its line.
LoadedWrites load(const AppWritesFiles& files, const std::function<void(const std::string&)>& log);

/// Writes each writable list whole and atomically, creating the folder. The log line
/// when a write failed; memory is unchanged either way.
std::optional<std::string> save(const AppWritesFiles& files, const LoadedWrites& state);

}  // namespace WritesFiles

class AppWrites {
  public:
    enum class State { unavailable, starting, counting, helperFailed };

    static constexpr std::chrono::seconds kStep{30};
    static constexpr int kDefaultDaysToKeep = 90;

    struct Options {
        /// Absent: counting is unavailable and the loop doesn't start.
        std::shared_ptr<WritesSource> source = {};
        /// Absent: nothing is stored.
        std::optional<AppWritesFiles> files = {};
        drivekit::WriteCalendar calendar = drivekit::WriteCalendar::local();
        /// The system drive's own total of bytes written, as the drive store has it.
        std::function<std::optional<std::uint64_t>()> driveWritten = {};
        std::function<void(const std::string&)> log = {};
        int daysToKeep = kDefaultDaysToKeep;
    };

    /// Reads the files (when given) and sorts what they hold.
    AppWrites(Options options, const platform::Clock& clock);

    State state() const { return state_; }
    const drivekit::WriteHistory& history() const { return loaded_.history; }
    const std::optional<drivekit::WriteInterval>& latest() const { return latest_; }
    bool slotsWritable() const { return loaded_.slotsWritable; }
    bool daysWritable() const { return loaded_.daysWritable; }

    /// One turn: a snapshot, the ledger, the history; at a new hour, roll and save.
    void step();
    /// Rolls slots into days, drops days older than kept, and saves.
    void roll(int daysToKeep);
    /// Steps until `wait` (called with the 30 seconds between steps, on a clock that goes
    /// on through sleep) says to stop by returning false. Does nothing while unavailable.
    void run(const std::function<bool(std::chrono::seconds)>& wait);

  private:
    Options options_;
    const platform::Clock& clock_;
    LoadedWrites loaded_;
    State state_;
    drivekit::WriteLedger ledger_;
    std::optional<drivekit::WriteInterval> latest_;
    std::optional<drivekit::WriteTime> hourSeen_;
};

/// AppWrites on a thread of its own for a long-running front end (the monitor, the
/// desktop): a step every 30 seconds until the loop is destroyed, which ends the wait at
/// once. The system drive's written total comes from the store after each pass.
class WritesLoop {
  public:
    /// `options.driveWritten` is replaced by the figure `setDriveWritten` keeps.
    WritesLoop(AppWrites::Options options, const platform::Clock& clock);
    ~WritesLoop();
    WritesLoop(const WritesLoop&) = delete;
    WritesLoop& operator=(const WritesLoop&) = delete;

    /// From any thread.
    void setDriveWritten(std::optional<std::uint64_t> bytes);

  private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
    std::thread thread_;
};

namespace WritesWording {

/// The sentence the writes page shows under its title for a state.
std::string stateLine(AppWrites::State state);

}  // namespace WritesWording

}  // namespace app
