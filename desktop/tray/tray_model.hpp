#pragma once
// What the tray shows, worked out from the store's values with no widget in sight: the
// icon's tier and score, the panel's rows with their USB check, the arrival card. The
// widgets only lay these out, so that every rule here is tested on plain values.
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/store/drive_store.hpp"

namespace tray {

/// The store at one moment, as far as the tray cares.
struct Snapshot {
    /// The drives the user didn't hide, in the store's order.
    std::vector<app::DriveSummary> drives;
    /// The check of each USB drive that has one under way or failed, by `usbKey`.
    std::map<std::string, app::USBRead::State> checks;
    std::optional<app::Arrival> arrival;
    std::optional<drivekit::json::SystemTime> lastRefresh;
    drivekit::json::SystemTime now;
    bool showsScore = true;
    bool showPlugCard = true;
    bool usbCheckAvailable = false;
    drivekit::Locale locale{"en_US"};
};

Snapshot snapshotOf(const app::DriveStore& store, bool usbCheckAvailable, const drivekit::Locale& locale,
                    drivekit::json::SystemTime now);

/// The one button beside a drive's check, if any.
enum class CheckAction { none, check, cancel, retry };

/// The USB check of one drive: offered, under way at a step, or failed with its problem.
struct CheckView {
    CheckAction action = CheckAction::none;
    std::string button;
    /// The step's sentence, or the problem's title.
    std::string status;
    std::string advice;
    /// "Error code 0000001F" when the problem has one.
    std::string code;
    bool underWay = false;
    bool failed = false;
    bool operator==(const CheckView&) const = default;
};

CheckView checkOf(const app::DriveSummary& drive, const std::optional<app::USBRead::State>& state, bool usbCheckAvailable);

struct Row {
    std::string id;
    std::string name;
    drivekit::Tier tier = drivekit::Tier::limited;
    std::string tierLabel;
    std::optional<int> score;
    std::string line;
    std::optional<std::string> usbKey;
    CheckView check;
    bool operator==(const Row&) const = default;
};

struct Panel {
    std::vector<Row> rows;
    /// "Checked 5 minutes ago", or "Not checked yet".
    std::string lastRefresh;
    /// Said instead of rows when there are none.
    std::string empty;
    bool operator==(const Panel&) const = default;
};

Panel panelOf(const Snapshot& snapshot);

/// "Checked just now", "Checked 5 minutes ago", "Checked 3 hours ago", "Checked on
/// 2026-11-20"; "Not checked yet" before the first pass.
std::string lastRefreshText(const std::optional<drivekit::json::SystemTime>& last, drivekit::json::SystemTime now);

/// The icon: the colour of the worst rated tier among the visible drives (limited when
/// none is rated), this computer's score when the setting shows it (the system drive's,
/// else the lowest), and a tooltip naming the drive that sets the colour.
struct IconLook {
    drivekit::Tier tier = drivekit::Tier::limited;
    std::optional<int> score;
    std::string tooltip;
    bool operator==(const IconLook&) const = default;
};

IconLook iconOf(const Snapshot& snapshot);

/// The arrival card of a plugged-in drive.
struct Card {
    std::string driveID;
    std::optional<std::string> usbKey;
    std::string title;
    std::string body;
    CheckView check;
    /// "Not now" for a drive that can be checked, "Close" otherwise.
    std::string dismiss;
    bool operator==(const Card&) const = default;
};

/// The card for the store's arrival, if it shows: the setting allows cards, the drive is
/// visible (or away under its check, then `remembered` stands in for it) and the user
/// didn't dismiss it (`dismissed` holds its `usbKey`, else its `id`, while it stays).
std::optional<Card> cardOf(const Snapshot& snapshot, const std::set<std::string>& dismissed,
                           const app::DriveSummary* remembered = nullptr);

/// The key a dismissed card is remembered by.
std::string dismissKey(const app::Arrival& arrival);

/// Dismissed keys whose drive is neither present nor under a check: a drive that is
/// plugged in again is offered again.
std::set<std::string> stillDismissed(const Snapshot& snapshot, std::set<std::string> dismissed);

/// A check is under way somewhere: its steps move without a pass, so the tray looks again
/// every moment while this holds.
bool anyCheckUnderWay(const Snapshot& snapshot);

}  // namespace tray
