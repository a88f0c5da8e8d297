#include "drivekit/health/tier.hpp"

#include <array>
#include <utility>

namespace drivekit {
namespace {

constexpr std::array<std::pair<Tier, std::string_view>, 6> kTiers{{
    {Tier::healthy, "healthy"},
    {Tier::watch, "watch"},
    {Tier::warning, "warning"},
    {Tier::failing, "failing"},
    {Tier::failed, "failed"},
    {Tier::limited, "limited"},
}};

constexpr std::array<std::pair<Tier, std::string_view>, 6> kTierKeys{{
    {Tier::healthy, "tier.healthy"},
    {Tier::watch, "tier.watch"},
    {Tier::warning, "tier.warning"},
    {Tier::failing, "tier.failing"},
    {Tier::failed, "tier.failed"},
    {Tier::limited, "tier.limited"},
}};

constexpr std::array<std::pair<DriveKind, std::string_view>, 5> kKinds{{
    {DriveKind::internalSSD, "internalSSD"},
    {DriveKind::thunderbolt, "thunderbolt"},
    {DriveKind::usb, "usb"},
    {DriveKind::sdCard, "sdCard"},
    {DriveKind::other, "other"},
}};

template <typename E, std::size_t N>
std::string_view textOf(const std::array<std::pair<E, std::string_view>, N>& table, E value) {
    for (const auto& [v, text] : table) {
        if (v == value) return text;
    }
    return {};
}

template <typename E, std::size_t N>
std::optional<E> valueOf(const std::array<std::pair<E, std::string_view>, N>& table,
                         std::string_view raw) {
    for (const auto& [v, text] : table) {
        if (text == raw) return v;
    }
    return std::nullopt;
}

}  // namespace

namespace TierText {
std::string_view raw(Tier tier) noexcept {
    return textOf(kTiers, tier);
}
std::optional<Tier> parse(std::string_view raw) noexcept {
    return valueOf(kTiers, raw);
}
std::string_view key(Tier tier) noexcept {
    return textOf(kTierKeys, tier);
}
}  // namespace TierText

Tier tierFor(Verdict verdict) noexcept {
    switch (verdict) {
        case Verdict::healthy:
            return Tier::healthy;
        case Verdict::watch:
            return Tier::watch;
        case Verdict::warning:
            return Tier::warning;
        case Verdict::failing:
            return Tier::failing;
        case Verdict::failed:
            return Tier::failed;
        case Verdict::unknown:
            return Tier::limited;
    }
    return Tier::limited;
}

namespace DriveKindText {
std::string_view raw(DriveKind kind) noexcept {
    return textOf(kKinds, kind);
}
std::optional<DriveKind> parse(std::string_view raw) noexcept {
    return valueOf(kKinds, raw);
}
}  // namespace DriveKindText

DriveKind driveKindFor(Transport transport) noexcept {
    switch (transport) {
        case Transport::internalNVMe:
            return DriveKind::internalSSD;
        case Transport::externalNVMe:
            return DriveKind::thunderbolt;
        case Transport::usb:
            return DriveKind::usb;
        case Transport::sdCard:
            return DriveKind::sdCard;
        case Transport::sata:
        case Transport::other:
            return DriveKind::other;
    }
    return DriveKind::other;
}

}  // namespace drivekit
