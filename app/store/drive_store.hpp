#pragma once
// The one observable store of drives. Every front end sees drives through it: the list of
// summaries, their history, the arrival of a new drive, the live speeds. It lives on the
// thread of a Qt event loop and only there; the one thing that leaves that thread is the
// read of a pass, which works on copies and hands its summaries back.
//
// A pass starts from the poller (every Prefs.checkMinutes), from a device event (0.7 s
// after the last of a burst, with a settling pass 3 s later for volumes that appear
// late), or from a request. Passes are never cancelled and may overlap; a ticket decides:
// a pass that a later one overtook is dropped whole.
#include <QObject>
#include <array>
#include <atomic>
#include <memory>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/drive_summary.hpp"
#include "app/eject.hpp"
#include "app/read_all.hpp"
#include "app/store/alerts.hpp"
#include "app/store/reading.hpp"
#include "app/store/refresh_plan.hpp"
#include "app/store/state_files.hpp"
#include "app/store/timers.hpp"
#include "app/store/usb_read.hpp"

namespace app {

/// What a pass asks of the drives: the USB readings kept in memory (copied) and whether
/// USB drives without one may be read live.
struct PassRequest {
    USBReports reports;
    bool live = true;
};

/// The one function the store reads drives through. Called off the store's thread.
using DriveSource = std::function<std::vector<DriveSummary>(const PassRequest&)>;

/// Runs `read` away from the store's thread and hands its result to `back` on it.
using Background = std::function<void(std::function<std::vector<DriveSummary>()> read,
                                      std::function<void(std::vector<DriveSummary>)> back)>;

/// A Background on Qt's global thread pool, handing back through `context`'s event loop.
Background qtBackground(QObject* context);

/// Runs `work` away from the store's thread, then `then` on it.
using Work = std::function<void(std::function<void()> work, std::function<void()> then)>;

/// A Work on Qt's global thread pool, handing back through `context`'s event loop.
Work qtWork(QObject* context);
/// Runs a careful check on a thread of its own and hands its end to `context`'s event loop
/// (the store's `runCheck`); nothing comes back once `context` is gone.
std::function<void(std::function<void()> work, std::function<void()> done)> qtRunCheck(QObject* context);

/// Byte counters of a disk since boot.
struct IOStats {
    std::uint64_t readBytes = 0;
    std::uint64_t writtenBytes = 0;
};

/// Bytes per second over one sampling interval.
struct Speed {
    double read = 0;
    double write = 0;
    bool operator==(const Speed&) const = default;
};

/// The last minute of speeds of a drive, oldest first; a fixed ring, so that sampling
/// allocates nothing.
class SpeedHistory {
  public:
    static constexpr std::size_t kLength = 60;
    void push(Speed speed) noexcept;
    Speed at(std::size_t index) const noexcept { return samples_[(start_ + index) % kLength]; }
    std::size_t size() const noexcept { return kLength; }

  private:
    std::array<Speed, kLength> samples_{};
    std::size_t start_ = 0;
};

/// One pass as it ended, for a log or a front end.
struct PassReport {
    std::uint64_t ticket = 0;
    double seconds = 0;
    /// False when a later pass was shown first and this one was dropped.
    bool shown = false;
    std::vector<DriveSummary> previous;
    std::vector<DriveSummary> drives;
};

class DriveStore final : public QObject {
    Q_OBJECT

  public:
    struct Services {
        DriveSource read;
        Background background;
        Timers* timers = nullptr;
        StatePaths paths;
        drivekit::Locale locale{"en_US"};
        std::function<void(const std::string&)> log;
        /// Counters of a disk by kernel name; nothing when they can't be read. Called by
        /// the sampler every second: it must not allocate.
        std::function<std::optional<IOStats>(const std::string& bsdName)> ioStats;
        /// The system's figures written with the internal SSD's readings.
        std::function<std::optional<SystemMark>()> system;
        /// Whether any window of the program is visible; the sampler skips its work when not.
        std::function<bool()> windowVisible;
        /// The USB check is offered on this system.
        bool usbCheckAvailable = false;
        /// Where notes are shown; none keeps the store silent (and its alert state untouched).
        NoteSink notes;
        /// Runs an eject to its answer; called off the store's thread. Absent, nothing
        /// is ejected.
        std::function<EjectOutcome(const EjectJob&)> eject;
        /// Mounts a drive's volumes again by kernel name (`Volumes::mountAll`) and says
        /// whether any is mounted now; called off the store's thread.
        std::function<bool(const std::string& bsdName)> mountAgain;
        /// Where ejecting and mounting run.
        Work work;
        /// The careful check of a USB drive; called off the store's thread, by `runCheck`.
        USBRead::Run usbCheck;
        /// Runs `work` away from the store's thread, then `done` on it.
        std::function<void(std::function<void()> work, std::function<void()> done)> runCheck;
        /// Whether discovery still finds a drive by kernel name.
        std::function<bool(const std::string& bsdName)> driveFound;
        /// The USB drives handed over are remembered in the preferences file; off in the
        /// demo, whose approvals must not become this computer's.
        bool persistsApprovals = false;
    };

    static constexpr Timers::Duration kDebounce{700};
    static constexpr Timers::Duration kSettle{3000};
    static constexpr Timers::Duration kSystemPeriod{30'000};
    static constexpr Timers::Duration kSamplePeriod{1000};
    /// A pass that took longer is logged.
    static constexpr double kSlowPassSeconds = 5.0;

    DriveStore(Services services, Prefs prefs, QObject* parent = nullptr);
    ~DriveStore() override;

    /// One pass, the poller and the system ticker.
    void start();
    /// A pass now; `done` runs on this thread once it is shown or dropped.
    void refresh(std::function<void()> done = {});
    /// A pass 0.7 s after the last call of a burst, and a settling pass 3 s after it.
    void scheduleRefresh();

    /// A viewer that shows live speeds came or went; the sampler runs while any watches.
    void beginLive();
    void endLive();
    /// One sampler tick.
    void sampleSpeeds();

    const std::vector<DriveSummary>& allDrives() const { return allDrives_; }
    /// The drives the user didn't hide.
    std::vector<DriveSummary> visibleDrives() const;
    const std::vector<Reading>& readings() const { return readings_; }
    /// Deletes every reading, in memory and in its file; false when the file couldn't be
    /// written (the readings are gone from memory either way, and the next pass's write
    /// replaces the file).
    bool deleteReadings();
    const std::optional<std::string>& selectedID() const { return selectedID_; }
    void select(std::optional<std::string> id);
    const std::optional<Arrival>& arrival() const { return arrival_; }
    /// When the last pass was shown; nothing before the first.
    const std::optional<drivekit::json::SystemTime>& lastRefresh() const { return lastRefresh_; }
    std::optional<Speed> speed(const std::string& bsdName) const;
    const SpeedHistory* history(const std::string& bsdName) const;
    const Prefs& prefs() const { return prefs_; }
    /// Also rewrites the panel widgets' settings file when the low-space limit changed.
    void setPrefs(Prefs prefs);
    bool sampling() const { return sampler_ != 0; }

    /// Writes the shared files: the visible drives and now, the known drives merged, the
    /// hidden keys.
    void publishShared();
    /// Removes the shared state, which tells other programs this one runs.
    void withdrawShared();
    void syncWidgetSettings();
    /// Writes the preferences when the approved USB drives changed and they are kept.
    void rememberApprovals(const std::set<std::string>& before);

    /// Sends a note through the store's silences; false when it stayed silent or couldn't
    /// be shown.
    bool notify(const Note& note);

    /// Ejects the drive with this id, and with it every present drive of its RAID set.
    /// Its line follows in `ejectStates`; a refusal gives its reason there.
    void eject(const std::string& id);
    /// Mounts the volumes of the drive with this id again.
    void remount(const std::string& id);
    /// What each drive shows of an eject or a remount, by `id`.
    const std::map<std::string, EjectState>& ejectStates() const { return ejectStates_; }
    /// A USB check began or ended on the drive at `usbKey`: ejecting it is refused meanwhile.
    void setUSBCheck(const std::string& usbKey, bool underWay);

    /// Starts the careful check of a USB drive: false, with nothing changed, for an NVMe
    /// enclosure, a RAID member, a drive without a USB key, one under a check already or
    /// one discovery no longer finds. `automatic` for a check the arrival started.
    bool startUSBRead(const DriveSummary& drive, bool automatic);
    /// Stops the check of the drive with that USB key; it gives the drive back and ends
    /// without a problem.
    void cancelUSBRead(const std::string& usbKey);
    /// Checks again the drive whose check failed; false as `startUSBRead`.
    bool retryUSBRead(const std::string& usbKey);
    /// What the card of the drive with that USB key shows: a step, a problem, or nothing.
    std::optional<USBRead::State> usbReadState(const std::string& usbKey) const;
    /// Where the user cancelled the last check of that drive.
    std::optional<USBRead::Step> cancelledUSBRead(const std::string& usbKey) const;

    /// Called after each pass, shown or dropped.
    std::function<void(const PassReport&)> onPass;
    /// Called when a job was ejected, before the pass that follows it.
    std::function<void(const EjectJob&)> onEjected;

  Q_SIGNALS:
    void drivesChanged();

  private:
    void apply(std::uint64_t ticket, drivekit::json::SystemTime started,
               std::chrono::steady_clock::time_point steadyStarted, std::vector<DriveSummary> drives);
    void armPoller();
    void updateSystem();
    void speakUp(const RefreshPlan& plan);
    void logMountChanges(const std::vector<DriveSummary>& drives) const;
    void rememberVisible();
    void log(const std::string& line) const;

    Services services_;
    Timers& timers_;
    Prefs prefs_;
    drivekit::json::SystemTime launchedAt_;

    std::vector<DriveSummary> allDrives_;
    std::optional<std::string> selectedID_;
    std::optional<RefreshPlan::SelectionKey> selectionKey_;
    std::optional<drivekit::json::SystemTime> lastRefresh_;
    std::vector<Reading> readings_;
    std::optional<SystemMark> system_;
    USBReports usbReports_;
    std::set<std::string> usbScans_;
    std::set<std::string> usbReads_;
    struct USBCheck {
        DriveSummary drive;
        bool automatic = false;
        std::shared_ptr<std::atomic<bool>> stop;
        std::shared_ptr<std::atomic<USBRead::Step>> step;
    };
    std::map<std::string, USBCheck> usbChecks_;
    std::map<std::string, USBRead::CheckProblem> failedUSBReads_;
    std::map<std::string, USBRead::Step> cancelledUSBReads_;
    std::map<std::string, DriveSummary> lastUSBChecked_;
    void endUSBRead(const std::string& key, drivekit::Result<SummaryBuilder::Reading, Failure> outcome);
    std::map<std::string, drivekit::json::SystemTime> recentUSBReads_;
    std::set<std::string> previousUSBKeys_;
    std::optional<Arrival> arrival_;
    std::optional<Notifier> notifier_;
    std::map<std::string, EjectState> ejectStates_;
    struct Order {
        std::uint64_t issued = 0;
        std::uint64_t applied = 0;
    } refreshOrder_;

    Timers::Handle pending_ = 0;
    std::uint64_t pendingGeneration_ = 0;
    Timers::Handle poller_ = 0;
    Timers::Handle systemTicker_ = 0;
    Timers::Handle sampler_ = 0;
    int liveViewers_ = 0;
    std::uint64_t sampleCount_ = 0;

    struct Counters {
        IOStats stats;
        std::chrono::steady_clock::time_point at;
    };
    // Kernel names of the visible drives, kept so that a tick needn't work them out.
    std::vector<std::string> visibleNames_;
    std::map<std::string, Counters, std::less<>> lastStats_;
    std::map<std::string, Speed, std::less<>> speeds_;
    std::map<std::string, SpeedHistory, std::less<>> history_;
    std::map<std::string, Speed, std::less<>> peaks_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace app
