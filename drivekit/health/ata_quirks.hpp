#pragma once
// Facts about particular drive models that their SMART attributes don't say themselves:
// attribute 9 counted in minutes, a written-data counter in 512-byte blocks where the
// drive's family counts gibibytes, vendor data packed above a count, a "life" attribute
// that holds something else. Families (ata_family.hpp) say what a kind of controller
// reports; quirks correct single models inside or across families. Keyed by patterns on
// the whole model text and, for some, the firmware. Pure data; safe from any thread.
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace drivekit {

struct ATAQuirks {
    /// What one count of attribute 9's raw value stands for.
    enum class PowerOnUnit { hours, minutes, halfMinutes, seconds };

    /// Where the count sits in a packed raw value. A mask of 0 says the raw value is no
    /// count of the kind the rules read at all (the drive uses the id for another figure).
    struct Packed {
        std::uint8_t id = 0;
        std::uint64_t mask = 0;

        bool operator==(const Packed&) const = default;
    };

    PowerOnUnit powerOn = PowerOnUnit::hours;
    /// Bytes one count of the written-data attribute stands for, overriding the family.
    std::optional<std::uint64_t> writtenUnit;
    std::vector<Packed> packed;
    /// Life ids whose normalized value is not a percentage of life left.
    std::vector<std::uint8_t> lifeNotPercent;
    /// The id that does hold life left on this drive, tried before the family's own.
    std::optional<std::uint8_t> lifeId;

    /// The quirks of a drive: the first entry whose model pattern matches the whole
    /// model, and whose firmware pattern, when it has one, matches the firmware. No
    /// entry gives the plain reading: hours, the family's units, counts as they stand.
    static ATAQuirks forDrive(std::string_view model, std::optional<std::string_view> firmware);

    /// Hours of a power-on raw value in `unit`, rounded down.
    static std::uint64_t hoursOf(std::uint64_t raw, PowerOnUnit unit) noexcept;

    bool operator==(const ATAQuirks&) const = default;
};

}  // namespace drivekit
