#pragma once
// Which sections a drive's Health report gets, in print order: the one place that says
// what the report holds, so the share panel's "What's in it" and the pages agree.
#include <string>
#include <vector>

#include "reports/share.hpp"

namespace reports {

struct ReportPlan {
    enum class Part {
        summary,
        information,
        indicators,
        problems,
        counters,
        temperature,
        history,
        selfTests,
        benchmark,
        surfaceScan,
        readSource,
        methodology,
    };

    std::vector<Part> parts;
    /// The drive told its serial, so its readings are its own.
    bool hasSerial = false;
    /// The volume names the report shows.
    std::vector<std::string> volumes;
    /// The drive's readings the report sums up.
    int readings = 0;

    /// The plan of one drive's report.
    static ReportPlan make(const DriveShare& share);

    /// The section's heading on the page; the summary's is the drive's verdict.
    static std::string heading(Part part);
    /// "What's in it": the items joined with semicolons, then the volumes it names.
    std::string whatsInIt(bool limited) const;

    bool operator==(const ReportPlan&) const = default;
};

/// What the report says in place of a history when the drive has no serial.
inline constexpr const char* kNoHistoryWithoutSerial =
    "No history: the drive reports no serial number, so Vantrel can\u2019t tell its past readings from other "
    "drives\u2019.";

}  // namespace reports
