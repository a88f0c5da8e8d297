#include "drivekit/health/ata_plausibility.hpp"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "drivekit/health/placeholders.hpp"

namespace drivekit {
namespace {

// The notes, one per kind. %@ is the attribute's decimal id, or the unit for powerOnUnit.
struct Wording {
    static constexpr std::string_view notACount =
        "Attribute %@'s raw value isn't a count on this drive; Vantrel goes by its normalized "
        "value.";
    static constexpr std::string_view powerOnUnit =
        "Attribute 9 counts %@ on this drive; Vantrel converts it to hours.";
    static constexpr std::string_view powerOnNotHours =
        "Attribute 9's raw value is too large to be hours; Vantrel leaves power-on time out.";
    static constexpr std::string_view writtenInBlocks =
        "Attribute %@ counts 512-byte blocks on this drive; Vantrel reads data written in "
        "those.";
    static constexpr std::string_view writtenNotPlausible =
        "Attribute %@'s raw value is more than this drive could have written; Vantrel "
        "leaves data written out.";
    static constexpr std::string_view lifeNotPercent =
        "Attribute %@'s normalized value isn't life left on this drive; Vantrel doesn't read "
        "life from it.";
    static constexpr std::string_view lifeContradicted =
        "Attribute %@'s normalized value contradicts the drive's wear counters; Vantrel goes "
        "by those.";
    static constexpr std::string_view minutes = "minutes";
    static constexpr std::string_view halfMinutes = "half-minutes";
    static constexpr std::string_view seconds = "seconds";
};

std::string_view unitWord(ATAQuirks::PowerOnUnit unit) {
    switch (unit) {
        case ATAQuirks::PowerOnUnit::minutes: return Wording::minutes;
        case ATAQuirks::PowerOnUnit::halfMinutes: return Wording::halfMinutes;
        case ATAQuirks::PowerOnUnit::seconds: return Wording::seconds;
        case ATAQuirks::PowerOnUnit::hours: break;
    }
    return "hours";
}

// The same typical rating the forecast assumes for a drive that reports no wear.
constexpr double typicalDriveWrites = 600;

}  // namespace

std::string ATANote::sentence() const {
    const std::string idText = std::to_string(id);
    switch (kind) {
        case Kind::notACount: return fillPlaceholders(Wording::notACount, {idText});
        case Kind::powerOnUnit:
            return fillPlaceholders(Wording::powerOnUnit, {std::string(unitWord(unit))});
        case Kind::powerOnNotHours: return std::string(Wording::powerOnNotHours);
        case Kind::writtenInBlocks: return fillPlaceholders(Wording::writtenInBlocks, {idText});
        case Kind::writtenNotPlausible:
            return fillPlaceholders(Wording::writtenNotPlausible, {idText});
        case Kind::lifeNotPercent: return fillPlaceholders(Wording::lifeNotPercent, {idText});
        case Kind::lifeContradicted: return fillPlaceholders(Wording::lifeContradicted, {idText});
    }
    return {};
}

namespace ATAPlausibility {

std::optional<std::uint64_t> sectorBound(std::optional<std::uint64_t> sectors,
                                         std::int64_t capacity) {
    if (sectors && *sectors > 0) return sectors;
    if (capacity >= 512) return static_cast<std::uint64_t>(capacity) / 512;
    return std::nullopt;
}

std::optional<double> writtenBound(std::int64_t capacity,
                                   std::optional<std::uint64_t> powerOnHours) {
    std::optional<double> bound;
    if (capacity > 0) bound = static_cast<double>(capacity) * mostDriveWrites;
    // A drive leaves the factory with a few hours on it and some data written, so a drive
    // that has run under an hour says nothing about its pace.
    if (powerOnHours && *powerOnHours > 0) {
        const double byLink =
            fastestLinkBytesPerSecond * 3600.0 * static_cast<double>(*powerOnHours);
        bound = bound ? std::min(*bound, byLink) : byLink;
    }
    return bound;
}

std::optional<int> lifeFromWrites(std::uint64_t writtenBytes, std::int64_t capacity) {
    if (capacity <= 0) return std::nullopt;
    const double used =
        static_cast<double>(writtenBytes) / static_cast<double>(capacity) / typicalDriveWrites * 100.0;
    return static_cast<int>(std::floor(std::clamp(100.0 - used, 0.0, 100.0)));
}

}  // namespace ATAPlausibility

}  // namespace drivekit
