#include "desktop/tray/tray_model.hpp"

#include <algorithm>

#include "app/store/alerts.hpp"
#include "drivekit/core/text.hpp"

namespace tray {

namespace {

using app::USBRead::Step;
using drivekit::Tier;
using drivekit::text::format;

// Every sentence of the tray and the card that isn't a note's or a check problem's.
constexpr const char* kCheckButton = "Check health";
constexpr const char* kCancelButton = "Cancel";
constexpr const char* kRetryButton = "Try again";
constexpr const char* kNotNow = "Not now";
constexpr const char* kClose = "Close";
constexpr const char* kErrorCode = "Error code %s";
constexpr const char* kBorrows = "Vantrel borrows %s for a few seconds to read its health, then gives it back.";
constexpr const char* kNoDrives = "No drives to show.";
constexpr const char* kAllHealthy = "Vantrel: every drive is healthy";
constexpr const char* kNothingRated = "Vantrel: no drive's health is known yet";
constexpr const char* kTooltip = "Vantrel: %s";

const char* stepText(Step step) {
    switch (step) {
        case Step::unmounting: return "Unmounting the drive…";
        // On Linux the wait for the hand-over is the wait for polkit's answer.
        case Step::waitingForAssignment: return "Waiting for your permission…";
        case Step::reading: return "Reading its health…";
        case Step::returning: return "Giving the drive back…";
    }
    return "";
}

const app::DriveSummary* byID(const std::vector<app::DriveSummary>& drives, const std::string& id) {
    const auto it = std::find_if(drives.begin(), drives.end(), [&](const app::DriveSummary& d) { return d.id == id; });
    return it == drives.end() ? nullptr : &*it;
}

const app::DriveSummary* byUSBKey(const std::vector<app::DriveSummary>& drives, const std::optional<std::string>& key) {
    if (!key) return nullptr;
    const auto it = std::find_if(drives.begin(), drives.end(), [&](const app::DriveSummary& d) { return d.usbKey == key; });
    return it == drives.end() ? nullptr : &*it;
}

std::optional<app::USBRead::State> checkState(const Snapshot& snapshot, const std::optional<std::string>& key) {
    if (!key) return std::nullopt;
    const auto it = snapshot.checks.find(*key);
    return it == snapshot.checks.end() ? std::nullopt : std::optional(it->second);
}

}  // namespace

Snapshot snapshotOf(const app::DriveStore& store, bool usbCheckAvailable, const drivekit::Locale& locale,
                    drivekit::json::SystemTime now) {
    Snapshot snapshot;
    snapshot.locale = locale;
    snapshot.drives = store.visibleDrives();
    for (const auto& drive : snapshot.drives) {
        if (!drive.usbKey) continue;
        if (auto state = store.usbReadState(*drive.usbKey)) snapshot.checks.emplace(*drive.usbKey, std::move(*state));
    }
    // A drive under its check has left the list for the moment: its card still follows it.
    snapshot.arrival = store.arrival();
    if (snapshot.arrival && snapshot.arrival->usbKey && !snapshot.checks.contains(*snapshot.arrival->usbKey)) {
        if (auto state = store.usbReadState(*snapshot.arrival->usbKey)) {
            snapshot.checks.emplace(*snapshot.arrival->usbKey, std::move(*state));
        }
    }
    snapshot.lastRefresh = store.lastRefresh();
    snapshot.now = now;
    snapshot.showsScore = store.prefs().menuBarShowsScore;
    snapshot.showPlugCard = store.prefs().showPlugCard;
    snapshot.usbCheckAvailable = usbCheckAvailable;
    return snapshot;
}

CheckView checkOf(const app::DriveSummary& drive, const std::optional<app::USBRead::State>& state,
                  bool usbCheckAvailable) {
    CheckView view;
    if (state && state->step) {
        view.underWay = true;
        view.status = stepText(*state->step);
        view.action = CheckAction::cancel;
        view.button = kCancelButton;
        return view;
    }
    if (state && state->problem) {
        const auto& problem = *state->problem;
        view.failed = true;
        // A problem without a title (no way to check on this system) says its advice alone.
        view.status = problem.title.empty() ? problem.advice : problem.title;
        if (!problem.title.empty()) view.advice = problem.advice;
        if (problem.code) view.code = format(kErrorCode, problem.code->c_str());
        view.action = CheckAction::retry;
        view.button = kRetryButton;
        return view;
    }
    if (drive.offersUSBCheck(usbCheckAvailable)) {
        view.action = CheckAction::check;
        view.button = kCheckButton;
    }
    return view;
}

Panel panelOf(const Snapshot& snapshot) {
    Panel panel;
    for (const auto& drive : snapshot.drives) {
        panel.rows.push_back(Row{drive.id, drive.name, drive.tier, app::Notes::tierLabel(drive.tier), drive.score,
                                 drive.line, drive.usbKey,
                                 checkOf(drive, checkState(snapshot, drive.usbKey), snapshot.usbCheckAvailable)});
    }
    panel.lastRefresh = lastRefreshText(snapshot.lastRefresh, snapshot.now);
    if (panel.rows.empty()) panel.empty = kNoDrives;
    return panel;
}

std::string lastRefreshText(const std::optional<drivekit::json::SystemTime>& last, drivekit::json::SystemTime now) {
    if (!last) return "Not checked yet";
    const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(now - *last).count();
    if (minutes < 1) return "Checked just now";
    if (minutes < 60) return minutes == 1 ? "Checked 1 minute ago" : format("Checked %lld minutes ago", static_cast<long long>(minutes));
    const auto hours = minutes / 60;
    if (hours < 24) return hours == 1 ? "Checked 1 hour ago" : format("Checked %lld hours ago", static_cast<long long>(hours));
    return "Checked on " + drivekit::json::isoDate(*last).substr(0, 10);
}

IconLook iconOf(const Snapshot& snapshot) {
    IconLook look;
    const app::DriveSummary* worst = nullptr;
    const app::DriveSummary* system = nullptr;
    const app::DriveSummary* lowest = nullptr;
    for (const auto& drive : snapshot.drives) {
        // Among equals the first keeps the colour, as the list shows them.
        if (drive.tier != Tier::limited && (!worst || drivekit::severity(drive.tier) > drivekit::severity(worst->tier))) {
            worst = &drive;
        }
        if (!drive.score) continue;
        if (drive.hostsBootVolume && !system) system = &drive;
        if (!lowest || *drive.score < *lowest->score) lowest = &drive;
    }
    if (!worst) {
        look.tooltip = kNothingRated;
        return look;
    }
    look.tier = worst->tier;
    look.tooltip = worst->tier == Tier::healthy
                       ? std::string(kAllHealthy)
                       : format(kTooltip, app::Notes::title(worst->tier, worst->name, worst->readOnly.value_or(false)).c_str());
    if (snapshot.showsScore) {
        const auto* scored = system ? system : lowest;
        if (scored) look.score = scored->score;
    }
    return look;
}

std::string dismissKey(const app::Arrival& arrival) { return arrival.usbKey.value_or(arrival.driveID); }

std::optional<Card> cardOf(const Snapshot& snapshot, const std::set<std::string>& dismissed,
                           const app::DriveSummary* remembered) {
    if (!snapshot.arrival || !snapshot.showPlugCard) return std::nullopt;
    const auto& arrival = *snapshot.arrival;
    if (dismissed.contains(dismissKey(arrival))) return std::nullopt;
    const auto state = checkState(snapshot, arrival.usbKey);
    const app::DriveSummary* drive = byID(snapshot.drives, arrival.driveID);
    if (!drive) drive = byUSBKey(snapshot.drives, arrival.usbKey);
    // Away under its check: the drive it was stands in. A hidden drive never shows one.
    if (!drive && state && state->step && remembered && remembered->usbKey == arrival.usbKey) drive = remembered;
    if (!drive) return std::nullopt;

    Card card;
    card.driveID = drive->id;
    card.usbKey = arrival.usbKey;
    card.title = app::Notes::title(drive->tier, drive->name, drive->readOnly.value_or(false));
    card.check = checkOf(*drive, state, snapshot.usbCheckAvailable);
    const bool checkable = drive->offersUSBCheck(snapshot.usbCheckAvailable);
    card.body = checkable ? format(kBorrows, drive->name.c_str())
                          : app::Notes::checked(*drive, snapshot.usbCheckAvailable, snapshot.locale).body;
    card.dismiss = checkable ? kNotNow : kClose;
    return card;
}

std::set<std::string> stillDismissed(const Snapshot& snapshot, std::set<std::string> dismissed) {
    std::erase_if(dismissed, [&](const std::string& key) {
        const bool present = std::any_of(snapshot.drives.begin(), snapshot.drives.end(), [&](const app::DriveSummary& d) {
            return d.usbKey == key || d.id == key;
        });
        return !present && !snapshot.checks.contains(key);
    });
    return dismissed;
}

bool anyCheckUnderWay(const Snapshot& snapshot) {
    return std::any_of(snapshot.checks.begin(), snapshot.checks.end(),
                       [](const auto& entry) { return entry.second.step.has_value(); });
}

}  // namespace tray
