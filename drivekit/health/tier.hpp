#pragma once
// The health tier a drive is shown with, and the kind of drive that some sentences turn
// on. A verdict maps to the tier of the same name; a drive whose health couldn't be read
// (verdict `unknown`, or nothing read at all) is `limited`.
#include <optional>
#include <string_view>

#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/verdict.hpp"

namespace drivekit {

enum class Tier { healthy, watch, warning, failing, failed, limited };

/// How bad a tier is, for comparing two: limited (no rating) lowest, then healthy up to
/// failed.
constexpr int severity(Tier tier) noexcept {
    switch (tier) {
        case Tier::limited: return -1;
        case Tier::healthy: return 0;
        case Tier::watch: return 1;
        case Tier::warning: return 2;
        case Tier::failing: return 3;
        case Tier::failed: return 4;
    }
    return -1;
}

namespace TierText {
/// Stored form: "healthy", ... "limited".
std::string_view raw(Tier tier) noexcept;
std::optional<Tier> parse(std::string_view raw) noexcept;
/// Localisation key of the label: "tier.healthy", ... "tier.limited".
std::string_view key(Tier tier) noexcept;
}  // namespace TierText

/// The tier of the same name; `unknown` is `limited`.
Tier tierFor(Verdict verdict) noexcept;

/// What kind of drive a summary describes, stored by these names.
enum class DriveKind { internalSSD, thunderbolt, usb, sdCard, other };

namespace DriveKindText {
std::string_view raw(DriveKind kind) noexcept;
std::optional<DriveKind> parse(std::string_view raw) noexcept;
}  // namespace DriveKindText

/// `internalNVMe` is the internal SSD, `externalNVMe` Thunderbolt, `usb` and `sdCard`
/// themselves, anything else `other`.
DriveKind driveKindFor(Transport transport) noexcept;

}  // namespace drivekit
