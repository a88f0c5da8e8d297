#include "app/store/refresh_plan.hpp"

#include <algorithm>

namespace app {

namespace {

double secondsBetween(drivekit::json::SystemTime from, drivekit::json::SystemTime to) {
    return std::chrono::duration<double>(to - from).count();
}

}  // namespace

RefreshPlan RefreshPlan::make(const Inputs& in) {
    RefreshPlan plan;

    // Selection: the identity of the selected drive survives a new id (a remount, a new
    // kernel name after a hand-over).
    auto key = in.selectionKey;
    if (in.selectedID) {
        const auto was = std::find_if(in.previous.begin(), in.previous.end(),
                                      [&](const DriveSummary& d) { return d.id == *in.selectedID; });
        if (was != in.previous.end()) key = SelectionKey{was->usbKey, was->bsdName};
    }
    plan.selectedID = in.selectedID;
    plan.selectionKey = key;
    const bool stillThere = in.selectedID && std::any_of(in.drives.begin(), in.drives.end(), [&](const DriveSummary& d) {
                                return d.id == *in.selectedID;
                            });
    if (!stillThere && key) {
        for (const auto& d : in.drives) {
            if ((d.usbKey && key->usb && *d.usbKey == *key->usb) || d.bsdName == key->bsd) {
                plan.selectedID = d.id;
                break;
            }
        }
    }

    std::set<std::string> present;
    for (const auto& d : in.drives) {
        if (!d.usbKey) continue;
        plan.knownUSB.push_back(*d.usbKey);
        present.insert(*d.usbKey);
    }

    // Arrival: the first drive new to this pass that isn't a USB drive coming back from a
    // read (the hand-over makes it vanish and return under a new id).
    std::set<std::string> busy = in.reading;
    for (const auto& [usbKey, date] : in.recentReads) {
        if (secondsBetween(date, in.now) < kRecentReadSeconds) busy.insert(usbKey);
    }
    if (!in.isFirstRead) {
        for (const auto& d : in.drives) {
            if (d.kind == drivekit::DriveKind::internalSSD) continue;
            if (std::any_of(in.previous.begin(), in.previous.end(), [&](const DriveSummary& p) { return p.id == d.id; })) {
                continue;
            }
            if (d.usbKey && (in.knownUSB.contains(*d.usbKey) || busy.contains(*d.usbKey))) continue;
            const bool autoRead = in.checksOnArrival && in.checksOnArrival(d);
            plan.arriving = Arriving{d, Arrival{d.id, in.now, d.usbKey, autoRead}};
            break;
        }
    }

    if (!plan.arriving && in.arrival) {
        const auto& card = *in.arrival;
        const bool present_ = std::any_of(in.drives.begin(), in.drives.end(), [&](const DriveSummary& d) {
            return d.id == card.driveID || (card.usbKey && d.usbKey && *d.usbKey == *card.usbKey);
        });
        if (!present_) plan.closesArrival = !card.usbKey || !in.reading.contains(*card.usbKey);
    }

    // A drive that came back in a pass that began after its read finished has proved its
    // return: its entry goes at once.
    for (const auto& [usbKey, date] : in.recentReads) {
        if (secondsBetween(date, in.now) >= kRecentReadSeconds) continue;
        if (!present.contains(usbKey) || date > in.readStarted) plan.recentReads.emplace(usbKey, date);
    }

    for (const auto& k : in.reports) {
        if (!present.contains(k)) plan.droppedReports.insert(k);
    }
    for (const auto& k : in.scans) {
        if (!present.contains(k) && !in.reading.contains(k)) plan.droppedScans.insert(k);
    }
    return plan;
}

}  // namespace app
