#pragma once
// Which SMART attributes to believe for a family of SATA drives. SSD makers put life,
// spare and written data in different attributes with different units, and some
// controllers fill attributes with meaningless numbers; a family says which ids count.
// Selecting a family is the first step of every ATA reading. Pure data plus one ordered
// decision; safe from any thread.
#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "drivekit/health/ata_attribute.hpp"

namespace drivekit {

struct ATAFamily {
    enum class Kind {
        generic,
        hardDrive,
        marvellSanDisk,
        phison,
        siliconMotion,
        crucial,
        kingston,
        intel,
        lexar,
        toshibaOCZ,
        jmicron,
    };

    /// The attribute that counts data written, and the bytes one raw count stands for.
    struct Written {
        std::uint8_t id = 0;
        std::uint64_t unit = 0;

        bool operator==(const Written&) const = default;
    };

    Kind kind = Kind::generic;
    /// Ids for life left, in order of trust.
    std::vector<std::uint8_t> life;
    /// Average and rated erase counts (167, 168) may also give a life figure.
    bool eraseCounts = false;
    std::optional<Written> written;
    /// Ids that hold an average erase count, for the written-data estimate.
    std::vector<std::uint8_t> averageErase;
    /// Ids for spare capacity, in order of trust.
    std::vector<std::uint8_t> spare;
    /// Ids this family fills with noise; removed before anything is read.
    std::set<std::uint8_t> ignored;
    /// Pending sectors this family reports without meaning.
    std::uint64_t pendingNoise = 0;

    /// The table row of a family, with `pendingNoise` 0.
    static ATAFamily of(Kind kind);

    bool operator==(const ATAFamily&) const = default;
};

/// Picks the family of a drive: a rotating drive first, then the named model patterns,
/// a firmware prefix, attribute signatures, the maker's name, and `generic` last. The
/// attributes are all that were read, before any family's `ignored` ids are removed.
/// `isSSD` absent means unknown and never selects `hardDrive`.
ATAFamily familyFor(std::string_view model, std::optional<std::string_view> firmware,
                    const ATAAttributeTable& attributes, std::optional<bool> isSSD);

namespace ATAFamilyText {
/// The raw text of a kind is its name: "generic", "hardDrive", ...
constexpr std::string_view raw(ATAFamily::Kind kind) noexcept {
    constexpr std::array<std::string_view, 11> names{
        "generic", "hardDrive", "marvellSanDisk", "phison",     "siliconMotion", "crucial",
        "kingston", "intel",    "lexar",          "toshibaOCZ", "jmicron"};
    return names[static_cast<std::size_t>(kind)];
}
}  // namespace ATAFamilyText

}  // namespace drivekit
