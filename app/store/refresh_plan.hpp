#pragma once
// The decisions of a refresh pass that need no state of their own: what stays selected
// when drives change names, which drive is arriving, whether an open arrival card closes,
// and which remembered USB facts die. Everything comes in `Inputs`, so each rule is
// checked with plain values.
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/drive_summary.hpp"
#include "drivekit/core/json.hpp"

namespace app {

/// The card shown when a drive is plugged in.
struct Arrival {
    std::string driveID;
    drivekit::json::SystemTime date;
    std::optional<std::string> usbKey;
    /// The drive is read without asking.
    bool autoRead = false;
    bool operator==(const Arrival&) const = default;
};

struct RefreshPlan {
    /// What identifies the selected drive across a change of `id`.
    struct SelectionKey {
        std::optional<std::string> usb;
        std::string bsd;
        bool operator==(const SelectionKey&) const = default;
    };

    struct Inputs {
        std::vector<DriveSummary> previous;
        std::vector<DriveSummary> drives;
        std::optional<std::string> selectedID;
        std::optional<SelectionKey> selectionKey;
        /// `usbKey`s of the last shown pass.
        std::set<std::string> knownUSB;
        /// Keys with a USB read under way.
        std::set<std::string> reading;
        /// When each USB read finished.
        std::map<std::string, drivekit::json::SystemTime> recentReads;
        std::optional<Arrival> arrival;
        /// No pass has been shown yet: nothing plugged in at start is an arrival.
        bool isFirstRead = false;
        std::set<std::string> reports;
        std::set<std::string> scans;
        drivekit::json::SystemTime readStarted;
        drivekit::json::SystemTime now;
        std::function<bool(const DriveSummary&)> checksOnArrival;
    };

    struct Arriving {
        DriveSummary drive;
        Arrival card;
    };

    std::optional<std::string> selectedID;
    std::optional<SelectionKey> selectionKey;
    std::optional<Arriving> arriving;
    bool closesArrival = false;
    std::vector<std::string> knownUSB;
    std::map<std::string, drivekit::json::SystemTime> recentReads;
    std::set<std::string> droppedReports;
    std::set<std::string> droppedScans;

    /// A USB read that finished this long ago still hides its drive's return from arrival.
    static constexpr double kRecentReadSeconds = 60.0;

    static RefreshPlan make(const Inputs& inputs);
};

}  // namespace app
