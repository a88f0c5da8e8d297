#include "drivekit/health/history_finding.hpp"

#include <array>
#include <limits>
#include <utility>

namespace drivekit {
namespace {

constexpr std::array<std::pair<HistoryFinding::Rule, std::string_view>, 5> kRules{{
    {HistoryFinding::Rule::shortForecast, "shortForecast"},
    {HistoryFinding::Rule::spareDrop, "spareDrop"},
    {HistoryFinding::Rule::errorsWeekOverWeek, "errorsWeekOverWeek"},
    {HistoryFinding::Rule::errorsRising, "errorsRising"},
    {HistoryFinding::Rule::errorLogRising, "errorLogRising"},
}};

}  // namespace

namespace HistoryRuleText {
std::string_view raw(HistoryFinding::Rule rule) noexcept {
    for (const auto& [value, text] : kRules) {
        if (value == rule) return text;
    }
    return {};
}
std::optional<HistoryFinding::Rule> parse(std::string_view raw) noexcept {
    for (const auto& [value, text] : kRules) {
        if (text == raw) return value;
    }
    return std::nullopt;
}
}  // namespace HistoryRuleText

json::Object HistoryFinding::toJSON() const {
    json::Object object = json::Object::object();
    object["rule"] = std::string(HistoryRuleText::raw(rule));
    if (tier) object["tier"] = std::string(TierText::raw(*tier));
    object["message"] = message;
    json::putOptional(object, "points", points);
    object["held"] = held;
    return object;
}

std::optional<HistoryFinding> HistoryFinding::fromJSON(const json::Object& object) {
    if (!object.is_object()) return std::nullopt;
    HistoryFinding finding;
    const auto rule = object.find("rule");
    if (rule == object.end() || !rule->is_string()) return std::nullopt;
    const auto parsedRule = HistoryRuleText::parse(rule->get<std::string>());
    if (!parsedRule) return std::nullopt;
    finding.rule = *parsedRule;

    if (const auto tier = object.find("tier"); tier != object.end()) {
        if (!tier->is_string()) return std::nullopt;
        finding.tier = TierText::parse(tier->get<std::string>());
        if (!finding.tier) return std::nullopt;
    }
    const auto message = object.find("message");
    if (message == object.end() || !message->is_string()) return std::nullopt;
    finding.message = message->get<std::string>();

    if (const auto points = object.find("points"); points != object.end()) {
        if (!points->is_number_integer()) return std::nullopt;
        const auto value = points->get<std::int64_t>();
        if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
            return std::nullopt;
        }
        finding.points = static_cast<int>(value);
    }
    const auto held = object.find("held");
    if (held == object.end() || !held->is_boolean()) return std::nullopt;
    finding.held = held->get<bool>();
    return finding;
}

}  // namespace drivekit
