#pragma once
// What the history rules found over a drive's stored readings: a record kept in the
// drive's summary. The rules themselves run in the application after each refresh; this
// is only the stored record and its JSON form.
#include <optional>
#include <string>
#include <string_view>

#include "drivekit/core/json.hpp"
#include "drivekit/health/tier.hpp"

namespace drivekit {

struct HistoryFinding {
    /// The rules in the order they run, stored by these names.
    enum class Rule { shortForecast, spareDrop, errorsWeekOverWeek, errorsRising, errorLogRising };

    Rule rule = Rule::shortForecast;
    /// The tier the rule asks for; absent for the rules that change only the score.
    std::optional<Tier> tier;
    std::string message;
    /// The points spare fell; only for `spareDrop`.
    std::optional<int> points;
    /// The condition no longer holds on the newest reading but held in the past week.
    bool held = false;

    /// {"rule", "tier", "message", "points", "held"}, absent values left out.
    json::Object toJSON() const;
    /// Nothing when a key is missing, has the wrong type or names no rule or tier.
    static std::optional<HistoryFinding> fromJSON(const json::Object& object);

    bool operator==(const HistoryFinding&) const = default;
};

namespace HistoryRuleText {
/// "shortForecast", "spareDrop", "errorsWeekOverWeek", "errorsRising", "errorLogRising".
std::string_view raw(HistoryFinding::Rule rule) noexcept;
std::optional<HistoryFinding::Rule> parse(std::string_view raw) noexcept;
}  // namespace HistoryRuleText

}  // namespace drivekit
