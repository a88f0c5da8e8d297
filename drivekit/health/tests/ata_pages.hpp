#pragma once
// Test pages laid out by hand as ATA drives send them: IDENTIFY DEVICE data, the SMART
// data and thresholds pages and the SMART self-test log, each 512 bytes with the
// revision and checksum a drive would give. Fields are set by word or byte offset, so a
// test reads like the drive's page, not like our decoder.
#include <cstdint>
#include <numeric>
#include <string_view>

#include "drivekit/core/bytes.hpp"

namespace drivekit::testpages {

// The last byte makes the 512 bytes sum to 0 modulo 256.
inline void sealChecksum(Bytes& page) {
    const unsigned sum = std::accumulate(page.begin(), page.end() - 1, 0u);
    page[511] = static_cast<std::uint8_t>((256u - (sum & 0xFFu)) & 0xFFu);
}

struct IdentifyPage {
    Bytes bytes = Bytes(512, 0);

    IdentifyPage& word(std::size_t w, std::uint16_t v) {
        bytes[2 * w] = static_cast<std::uint8_t>(v & 0xFF);
        bytes[2 * w + 1] = static_cast<std::uint8_t>(v >> 8);
        return *this;
    }
    // ATA strings: the first character of each pair in the word's high byte, padded with
    // blanks to the field's length.
    IdentifyPage& ataString(std::size_t firstWord, std::size_t words, std::string_view s) {
        for (std::size_t i = 0; i < words; ++i) {
            const auto hi = static_cast<std::uint8_t>(2 * i < s.size() ? s[2 * i] : ' ');
            const auto lo = static_cast<std::uint8_t>(2 * i + 1 < s.size() ? s[2 * i + 1] : ' ');
            word(firstWord + i, static_cast<std::uint16_t>(hi << 8 | lo));
        }
        return *this;
    }
    IdentifyPage& serial(std::string_view s) { return ataString(10, 10, s); }
    IdentifyPage& firmware(std::string_view s) { return ataString(23, 4, s); }
    IdentifyPage& model(std::string_view s) { return ataString(27, 20, s); }
    // Word 255: signature A5h in the low byte, checksum in the high byte.
    Bytes sealed() {
        bytes[510] = 0xA5;
        sealChecksum(bytes);
        return bytes;
    }
};

// SMART READ DATA: revision 0x0010, 30 attribute slots of 12 bytes from byte 2, the
// off-line and self-test status at 362-363, time estimates at 372-376.
struct SmartDataPage {
    Bytes bytes = Bytes(512, 0);

    SmartDataPage() { bytes[0] = 0x10; }
    SmartDataPage& attribute(std::size_t slot, std::uint8_t id, std::uint16_t flags,
                             std::uint8_t value, std::uint8_t worst, std::uint64_t raw48) {
        const std::size_t at = 2 + 12 * slot;
        bytes[at] = id;
        bytes[at + 1] = static_cast<std::uint8_t>(flags & 0xFF);
        bytes[at + 2] = static_cast<std::uint8_t>(flags >> 8);
        bytes[at + 3] = value;
        bytes[at + 4] = worst;
        for (std::size_t i = 0; i < 6; ++i) {
            bytes[at + 5 + i] = static_cast<std::uint8_t>((raw48 >> (8 * i)) & 0xFF);
        }
        bytes[at + 11] = 0xEE;  // vendor byte, never read
        return *this;
    }
    SmartDataPage& selfTestStatus(std::uint8_t status) { bytes[363] = status; return *this; }
    SmartDataPage& byteAt(std::size_t at, std::uint8_t v) { bytes[at] = v; return *this; }
    Bytes sealed() { sealChecksum(bytes); return bytes; }
};

// SMART READ THRESHOLDS: same slots, id and threshold, the rest reserved.
struct ThresholdsPage {
    Bytes bytes = Bytes(512, 0);

    ThresholdsPage() { bytes[0] = 0x10; }
    ThresholdsPage& threshold(std::size_t slot, std::uint8_t id, std::uint8_t value) {
        bytes[2 + 12 * slot] = id;
        bytes[2 + 12 * slot + 1] = value;
        return *this;
    }
    Bytes sealed() { sealChecksum(bytes); return bytes; }
};

// SMART self-test log (log address 6): revision 0x0001, 21 descriptors of 24 bytes from
// byte 2, the index of the newest at 508.
struct SelfTestLogPage {
    Bytes bytes = Bytes(512, 0);

    SelfTestLogPage() { bytes[0] = 0x01; }
    // `number` is 1-based, as the log counts its descriptors.
    SelfTestLogPage& descriptor(std::size_t number, std::uint8_t test, std::uint8_t status,
                                std::uint16_t hours, std::uint32_t failingLBA = 0) {
        const std::size_t at = 2 + 24 * (number - 1);
        bytes[at] = test;
        bytes[at + 1] = status;
        bytes[at + 2] = static_cast<std::uint8_t>(hours & 0xFF);
        bytes[at + 3] = static_cast<std::uint8_t>(hours >> 8);
        bytes[at + 4] = 0x5A;  // checkpoint, vendor-specific
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[at + 5 + i] = static_cast<std::uint8_t>((failingLBA >> (8 * i)) & 0xFF);
        }
        return *this;
    }
    SelfTestLogPage& newest(std::uint8_t index) { bytes[508] = index; return *this; }
    Bytes sealed() { sealChecksum(bytes); return bytes; }
};

}  // namespace drivekit::testpages
