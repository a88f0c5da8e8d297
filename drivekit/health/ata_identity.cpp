#include "drivekit/health/ata_identity.hpp"

#include <algorithm>
#include <limits>

#include "drivekit/core/text.hpp"

namespace drivekit {
namespace {

// Word numbers of IDENTIFY DEVICE; the byte offset of word w is 2w.
namespace word {
constexpr std::size_t serial = 10, serialWords = 10;
constexpr std::size_t firmware = 23, firmwareWords = 4;
constexpr std::size_t model = 27, modelWords = 20;
constexpr std::size_t sectors28 = 60;  // words 60-61: 28-bit addressable sectors
constexpr std::size_t sataCapabilities = 76;
constexpr std::size_t sataAdditional = 77;
constexpr std::size_t commandSetsSupported = 82;
constexpr std::size_t commandSetsEnabled = 85;
constexpr std::size_t sectors48 = 100;  // words 100-103: 48-bit addressable sectors
constexpr std::size_t sectorSizeInfo = 106;
constexpr std::size_t logicalSectorWords = 117;  // words 117-118
constexpr std::size_t rotationRate = 217;
}  // namespace word

constexpr std::size_t at(std::size_t w) { return 2 * w; }

// Word 106 is valid when bit 14 is set and bit 15 clear; bit 12 then says that words
// 117-118 hold the logical sector size, counted in 16-bit words.
constexpr std::uint16_t sectorSizeMask = 0xD000;
constexpr std::uint16_t sectorSizeReported = 0x5000;
// Counts this small are bridges filling the words with junk: no drive has logical
// sectors under 512 bytes.
constexpr std::uint32_t smallestWordCount = 255;

constexpr std::uint16_t rotationNotReported = 0;
constexpr std::uint16_t rotationReserved = 0xFFFF;

// ATA strings hold two characters a word, the first in the high byte: on the little-endian
// wire each pair of bytes is swapped.
std::string ataString(ByteView data, std::size_t firstWord, std::size_t words) {
    Bytes swapped(2 * words, 0);
    const std::size_t start = at(firstWord);
    for (std::size_t i = 0; i + 1 < swapped.size(); i += 2) {
        swapped[i] = data[start + i + 1];
        swapped[i + 1] = data[start + i];
    }
    return text::trimmed(text::repairedUTF8(swapped));
}

}  // namespace

std::optional<ATAIdentity> ATAIdentity::decode(ByteView data) {
    if (data.size() < size) return std::nullopt;
    const ByteView page = data.first(size);
    if (std::all_of(page.begin(), page.end(), [](std::uint8_t b) { return b == 0x00; })) {
        return std::nullopt;
    }
    if (std::all_of(page.begin(), page.end(), [](std::uint8_t b) { return b == 0xFF; })) {
        return std::nullopt;
    }

    ATAIdentity id;
    id.model = ataString(page, word::model, word::modelWords);
    id.serial = ataString(page, word::serial, word::serialWords);
    id.firmware = ataString(page, word::firmware, word::firmwareWords);

    const std::uint16_t rotation = le16(page, at(word::rotationRate));
    if (rotation != rotationNotReported && rotation != rotationReserved) {
        id.rotationRate = rotation;
    }

    id.sectors = le64(page, at(word::sectors48));
    if (id.sectors == 0) id.sectors = le32(page, at(word::sectors28));

    id.smartSupported = (le16(page, at(word::commandSetsSupported)) & 1u) != 0;
    id.smartEnabled = (le16(page, at(word::commandSetsEnabled)) & 1u) != 0;

    const std::uint16_t sizeInfo = le16(page, at(word::sectorSizeInfo));
    const std::uint32_t sectorWords = le32(page, at(word::logicalSectorWords));
    if ((sizeInfo & sectorSizeMask) == sectorSizeReported && sectorWords > smallestWordCount) {
        id.logicalSectorSize = 2 * static_cast<std::int64_t>(sectorWords);
    }

    id.sataLink = SATALink::fromWords(le16(page, at(word::sataCapabilities)),
                                      le16(page, at(word::sataAdditional)));
    return id;
}

std::int64_t ATAIdentity::capacityBytes() const noexcept {
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    if (sectors > static_cast<std::uint64_t>(largest)) return largest;
    std::int64_t product = 0;
    if (__builtin_mul_overflow(static_cast<std::int64_t>(sectors), logicalSectorSize, &product)) {
        return largest;
    }
    return product;
}

std::optional<bool> ATAIdentity::isSSD() const noexcept {
    if (!rotationRate) return std::nullopt;
    return *rotationRate == 1;
}

}  // namespace drivekit
