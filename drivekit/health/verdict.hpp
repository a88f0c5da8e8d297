#pragma once
// The severity scale on which every reading of a drive is judged. The integer is the
// comparison key; `unknown` sorts highest as an integer but is not a severity, so every
// choice of a worst verdict for display drops it first.
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace drivekit {

enum class Verdict : int {
    healthy = 0,
    watch = 1,
    warning = 2,
    failing = 3,
    failed = 4,
    unknown = 5
};

namespace VerdictText {
/// The integer, which is also the stored form.
constexpr int raw(Verdict verdict) noexcept {
    return static_cast<int>(verdict);
}
/// Nothing for integers outside 0 to 5.
std::optional<Verdict> fromInt(int value) noexcept;
/// The case name: "healthy", "watch", ... "unknown".
std::string_view caseName(Verdict verdict) noexcept;
/// Localisation key of the display name: "tier.healthy", ...
std::string_view key(Verdict verdict) noexcept;
/// English display name: "Healthy", "Watch", ...
std::string_view englishName(Verdict verdict) noexcept;
/// Display name in the user's language, looked up by key with the English word as default.
std::string name(Verdict verdict);
/// The one-sentence summary in the user's language.
std::string summary(Verdict verdict);
}  // namespace VerdictText

/// The greatest verdict of the list by integer, nothing for an empty list. It keeps
/// `unknown`: callers that choose a severity drop it themselves.
std::optional<Verdict> worstVerdict(std::span<const Verdict> verdicts) noexcept;

}  // namespace drivekit
