#include "platform/scsi_sense.hpp"

#include <array>
#include <algorithm>

#include "platform/format.hpp"

namespace platform::Sense {
namespace {

constexpr std::uint8_t fixedCurrent = 0x70, fixedDeferred = 0x71;
constexpr std::uint8_t descriptorCurrent = 0x72, descriptorDeferred = 0x73;

// Fixed format: key in byte 2, ASC/ASCQ in 12-13. The ATA registers of a pass-through
// sit in INFORMATION (3-6: error, status, device, count) and COMMAND-SPECIFIC
// INFORMATION (8-11: flags, LBA low, mid, high).
constexpr std::size_t fixedMinimum = 14;

// Descriptor format: key, ASC, ASCQ in bytes 1-3, additional length in 7, descriptors
// from 8, each a type, a length of what follows, then that many bytes.
constexpr std::size_t descriptorHeader = 8;
constexpr std::uint8_t ataStatusReturn = 0x09;
constexpr std::size_t ataStatusReturnLength = 14;

std::optional<Format> formatOf(ByteView sense, bool& deferred) {
    if (sense.empty()) return std::nullopt;
    const std::uint8_t code = sense[0] & 0x7F;
    deferred = code == fixedDeferred || code == descriptorDeferred;
    if (code == fixedCurrent || code == fixedDeferred) return Format::fixed;
    if (code == descriptorCurrent || code == descriptorDeferred) return Format::descriptor;
    return std::nullopt;
}

// The ATA Status Return descriptor, when the descriptor list holds a whole one. The list
// ends at the additional length or at the end of the buffer, whichever comes first, so a
// truncated sense buffer is read as far as it goes.
std::optional<ByteView> ataDescriptor(ByteView sense) {
    if (sense.size() < descriptorHeader) return std::nullopt;
    const std::size_t end = std::min(sense.size(), descriptorHeader + sense[7]);
    std::size_t at = descriptorHeader;
    while (at + 2 <= end) {
        const std::size_t length = 2u + sense[at + 1];
        if (at + length > end) return std::nullopt;
        if (sense[at] == ataStatusReturn && length >= ataStatusReturnLength) {
            return sense.subspan(at, ataStatusReturnLength);
        }
        at += length;
    }
    return std::nullopt;
}

struct Meaning {
    std::uint8_t asc;
    std::uint8_t ascq;
    std::string_view text;
};

constexpr std::array<Meaning, 12> meanings{{
    {0x00, 0x00, "no additional sense information"},
    {0x00, 0x1D, "ATA pass-through information available"},
    {0x04, 0x00, "not ready"},
    {0x11, 0x00, "unrecovered read error"},
    {0x20, 0x00, "invalid command operation code"},
    {0x21, 0x00, "logical block address out of range"},
    {0x24, 0x00, "invalid field in CDB"},
    {0x25, 0x00, "logical unit not supported"},
    {0x29, 0x00, "power on or reset occurred"},
    {0x3A, 0x00, "medium not present"},
    {0x44, 0x00, "internal target failure"},
    {0x47, 0x00, "parity error"},
}};

}  // namespace

std::optional<Data> decode(ByteView sense) {
    bool deferred = false;
    const auto format = formatOf(sense, deferred);
    if (!format) return std::nullopt;
    Data data;
    data.format = *format;
    data.deferred = deferred;
    if (*format == Format::fixed) {
        if (sense.size() < fixedMinimum) return std::nullopt;
        data.key = sense[2] & 0x0F;
        data.asc = sense[12];
        data.ascq = sense[13];
    } else {
        if (sense.size() < 4) return std::nullopt;
        data.key = sense[1] & 0x0F;
        data.asc = sense[2];
        data.ascq = sense[3];
    }
    return data;
}

std::optional<ATARegisters> ataRegisters(ByteView sense) {
    const auto data = decode(sense);
    if (!data) return std::nullopt;
    ATARegisters registers;
    if (data->format == Format::descriptor) {
        const auto d = ataDescriptor(sense);
        if (!d) return std::nullopt;
        // Each register is a pair, high-order byte first; the low-order byte is the
        // 28-bit register.
        registers.extended = ((*d)[2] & 0x01) != 0;
        registers.error = (*d)[3];
        registers.count = (*d)[5];
        registers.lbaLow = (*d)[7];
        registers.lbaMid = (*d)[9];
        registers.lbaHigh = (*d)[11];
        registers.device = (*d)[12];
        registers.status = (*d)[13];
        return registers;
    }
    if (!data->ataInformationAvailable()) return std::nullopt;
    registers.error = sense[3];
    registers.status = sense[4];
    registers.device = sense[5];
    registers.count = sense[6];
    registers.extended = (sense[8] & 0x80) != 0;
    registers.lbaLow = sense[9];
    registers.lbaMid = sense[10];
    registers.lbaHigh = sense[11];
    return registers;
}

std::string_view keyName(std::uint8_t key) {
    static constexpr std::array<std::string_view, 16> names{
        "NO SENSE",        "RECOVERED ERROR", "NOT READY",       "MEDIUM ERROR",
        "HARDWARE ERROR",  "ILLEGAL REQUEST", "UNIT ATTENTION",  "DATA PROTECT",
        "BLANK CHECK",     "VENDOR SPECIFIC", "COPY ABORTED",    "ABORTED COMMAND",
        "RESERVED",        "VOLUME OVERFLOW", "MISCOMPARE",      "COMPLETED"};
    return names[key & 0x0F];
}

std::string describe(const Data& data) {
    std::string line = std::string(keyName(data.key)) +
                       platform::format(", ASC/ASCQ %02Xh/%02Xh", data.asc, data.ascq);
    for (const auto& meaning : meanings) {
        if (meaning.asc == data.asc && meaning.ascq == data.ascq) {
            line += " (" + std::string(meaning.text) + ")";
            break;
        }
    }
    if (data.deferred) line += ", deferred";
    return line;
}

}  // namespace platform::Sense
