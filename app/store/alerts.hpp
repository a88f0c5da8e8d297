#pragma once
// Speaking up: which drives call for a note after a pass (`AlertPlan`), the words of every
// note (`Notes`), and how often one may go out (`Notifier`). A note goes to whatever
// shows it (`NoteSink`): the desktop's notification service, or a log line where there is
// no desktop. What the program remembers between runs, the tiers of the last pass and when
// each note last went out, is one state file beside the readings ("alerts.json"), so that
// a restart neither repeats a note nor forgets a drive's last tier.
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "app/drive_summary.hpp"
#include "drivekit/core/json.hpp"

namespace app {

struct AlertPlan {
    /// The drive's tier rose above the one stored at the last rated pass.
    struct Worse {
        DriveSummary drive;
        drivekit::Tier from = drivekit::Tier::healthy;
    };
    struct Hot {
        DriveSummary drive;
        int celsius = 0;
    };
    struct LowSpace {
        std::string volume;
        std::int64_t free = 0;
        /// The free share cut to an integer, never rounded up: 9.9 % is 9.
        int percent = 0;
        drivekit::DriveKind kind = drivekit::DriveKind::other;
    };
    using Alert = std::variant<Worse, Hot, LowSpace>;

    /// At this temperature a drive is hot.
    static constexpr int kHotCelsius = 70;

    std::vector<Alert> alerts;
    /// Drive `id` to its tier's raw text. Drives that left the list keep their entry, so a
    /// drive that comes back after a week is compared with its tier of a week ago.
    std::map<std::string, std::string> lastTiers;

    /// The alerts of a pass over `drives`, in list order. A `limited` drive was not rated:
    /// its tier is neither compared nor stored, so the next rated pass compares with the
    /// tier before; a stored `limited` (from an older file) always alerts, because the
    /// first full reading of a drive is news.
    static AlertPlan make(std::span<const DriveSummary> drives, std::map<std::string, std::string> lastTiers,
                          int lowSpacePercent);
};

/// One notification: `hours` is how long the same `id` stays silent after it went out.
struct Note {
    enum class Urgency { info, notice, warning };

    std::string id;
    std::string title;
    std::string body;
    double hours = 0;
    Urgency urgency = Urgency::info;

    bool operator==(const Note&) const = default;
};

/// The title and body of every note, in one place.
namespace Notes {

/// "%@ is healthy" ... "%@ has failed" ("%@ is read-only" for a read-only failed drive),
/// "%@ is connected" for a limited one.
std::string title(drivekit::Tier tier, const std::string& name, bool readOnly);
/// The label of a tier in a sentence: "Healthy", ... "Limited".
std::string tierLabel(drivekit::Tier tier);

/// The notes of a plan that the preferences let through, in the plan's order.
std::vector<Note> of(const AlertPlan& plan, bool worse, bool hot, bool lowSpace, const drivekit::Locale& locale);

/// A drive that arrived and isn't read by itself, or a USB check that ended: its tier and
/// what is known of its life. `identity` is the drive's `usbKey`, else its `id`.
Note checked(const DriveSummary& drive, bool usbCheckAvailable, const drivekit::Locale& locale);
/// A drive (or a RAID set of `drives` members) that is safe to unplug.
Note ejected(const std::string& name, int drives);
/// A self-test ended with `outcome`; `kind` is absent for a test the program didn't start.
Note selfTestEnded(const std::string& key, const std::string& name, std::optional<drivekit::SelfTest::Kind> kind,
                   drivekit::SelfTest::Outcome outcome);

}  // namespace Notes

/// What the program remembers of its notes between runs.
struct AlertState {
    std::map<std::string, std::string> lastTiers;
    /// Note `id` to when one last went out.
    std::map<std::string, drivekit::json::SystemTime> notified;

    drivekit::json::Object toJSON() const;
    /// Damaged entries are dropped one by one; nothing for a value that isn't an object.
    static std::optional<AlertState> fromJSON(const drivekit::json::Object& object);
    bool operator==(const AlertState&) const = default;
};

/// Shows a note. False when it couldn't (no permission, the service didn't answer): the
/// note then doesn't count as sent, and the next occasion tries again.
using NoteSink = std::function<bool(const Note&)>;

class Notifier {
  public:
    /// `path` empty keeps the state in memory only.
    Notifier(std::filesystem::path path, NoteSink sink, std::function<drivekit::json::SystemTime()> now);

    /// Sends the note unless one of the same id went out less than its `hours` ago. True
    /// when it went out.
    bool post(const Note& note);

    /// The tiers of the last rated pass, read once from the file.
    const std::map<std::string, std::string>& lastTiers();
    /// Stores the tiers of this pass (written only when they changed).
    void setLastTiers(std::map<std::string, std::string> tiers);

  private:
    void load();
    void save();

    std::filesystem::path path_;
    NoteSink sink_;
    std::function<drivekit::json::SystemTime()> now_;
    std::optional<AlertState> state_;
};

}  // namespace app
