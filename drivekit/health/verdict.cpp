#include "drivekit/health/verdict.hpp"

#include <algorithm>
#include <array>

namespace drivekit {
namespace {

struct VerdictRow {
    Verdict verdict;
    std::string_view caseName;
    std::string_view key;
    std::string_view name;
    std::string_view summary;
};

constexpr std::array<VerdictRow, 6> kVerdicts{{
    {Verdict::healthy, "healthy", "tier.healthy", "Healthy",
     "This drive is healthy. Nothing to do."},
    {Verdict::watch, "watch", "tier.watch", "Watch",
     "This drive is worth watching. Keep your backups current."},
    {Verdict::warning, "warning", "tier.warning", "Warning",
     "This drive needs care. Back it up and plan a replacement."},
    {Verdict::failing, "failing", "tier.failing", "Failing",
     "This drive is failing. Copy your data off it now."},
    {Verdict::failed, "failed", "tier.failed", "Failed",
     "This drive has failed or is read-only. Copy what you can and replace it."},
    {Verdict::unknown, "unknown", "tier.unknown", "Unknown",
     "Vantrel couldn't read this drive's health data."},
}};

const VerdictRow& row(Verdict verdict) noexcept {
    const auto index = static_cast<std::size_t>(VerdictText::raw(verdict));
    return kVerdicts[index < kVerdicts.size() ? index : kVerdicts.size() - 1];
}

}  // namespace

namespace VerdictText {

std::optional<Verdict> fromInt(int value) noexcept {
    if (value < 0 || value > raw(Verdict::unknown)) return std::nullopt;
    return static_cast<Verdict>(value);
}

std::string_view caseName(Verdict verdict) noexcept {
    return row(verdict).caseName;
}
std::string_view key(Verdict verdict) noexcept {
    return row(verdict).key;
}
std::string_view englishName(Verdict verdict) noexcept {
    return row(verdict).name;
}

// The English catalogue is the only one so far; a translated table would be looked up by
// key here, falling back to the English word.
std::string name(Verdict verdict) {
    return std::string(row(verdict).name);
}
std::string summary(Verdict verdict) {
    return std::string(row(verdict).summary);
}

}  // namespace VerdictText

std::optional<Verdict> worstVerdict(std::span<const Verdict> verdicts) noexcept {
    if (verdicts.empty()) return std::nullopt;
    return *std::max_element(verdicts.begin(), verdicts.end());
}

}  // namespace drivekit
