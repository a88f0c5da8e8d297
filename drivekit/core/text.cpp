#include "drivekit/core/text.hpp"

#include <unicode/uchar.h>

#include <cstdint>

namespace drivekit::text {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// Decodes one UTF-8 sequence starting at `i` and moves `i` past it. An invalid sequence
// gives -1 and moves past its maximal subpart only (the lead byte and the trail bytes
// that were still possible), so the byte that broke it starts the next sequence. The
// bounds of the second byte exclude overlong forms, surrogates and values past U+10FFFF.
std::int32_t decodeNext(const std::uint8_t* p, std::size_t n, std::size_t& i) {
    const std::uint8_t lead = p[i];
    if (lead < 0x80) {
        ++i;
        return lead;
    }
    int trails = 0;
    std::uint32_t cp = 0;
    std::uint8_t lo = 0x80;
    std::uint8_t hi = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        trails = 1;
        cp = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trails = 2;
        cp = lead & 0x0Fu;
        if (lead == 0xE0) lo = 0xA0;
        if (lead == 0xED) hi = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trails = 3;
        cp = lead & 0x07u;
        if (lead == 0xF0) lo = 0x90;
        if (lead == 0xF4) hi = 0x8F;
    } else {
        ++i;
        return -1;
    }
    std::size_t j = i + 1;
    for (int k = 0; k < trails; ++k, ++j) {
        if (j >= n || p[j] < lo || p[j] > hi) {
            i = j;
            return -1;
        }
        cp = (cp << 6) | (p[j] & 0x3Fu);
        lo = 0x80;
        hi = 0xBF;
    }
    i = j;
    return static_cast<std::int32_t>(cp);
}

// Whitespace and control characters in the widest sense: what a drive pads a field with
// or what a bridge leaves in it, never part of a name.
bool isTrimmable(std::int32_t cp) {
    switch (u_charType(cp)) {
        case U_CONTROL_CHAR:
        case U_FORMAT_CHAR:
        case U_SPACE_SEPARATOR:
        case U_LINE_SEPARATOR:
        case U_PARAGRAPH_SEPARATOR:
            return true;
        default:
            return false;
    }
}

const std::uint8_t* bytesOf(std::string_view s) {
    return reinterpret_cast<const std::uint8_t*>(s.data());
}

}  // namespace

std::string trimmed(std::string_view utf8) {
    const std::uint8_t* p = bytesOf(utf8);
    std::size_t begin = 0;
    std::size_t end = utf8.size();
    while (begin < end) {
        std::size_t next = begin;
        const std::int32_t cp = decodeNext(p, end, next);
        if (cp < 0 || !isTrimmable(cp)) break;
        begin = next;
    }
    while (end > begin) {
        // The last sequence starts at most three continuation bytes back; it counts only
        // when it decodes validly and ends exactly at `end`.
        std::size_t start = end - 1;
        while (start > begin && end - start < 4 && (p[start] & 0xC0u) == 0x80u) --start;
        std::size_t next = start;
        const std::int32_t cp = decodeNext(p, end, next);
        if (cp < 0 || next != end || !isTrimmable(cp)) break;
        end = start;
    }
    return std::string(utf8.substr(begin, end - begin));
}

std::string repairedUTF8(ByteView bytes) {
    std::string out;
    out.reserve(bytes.size());
    const std::uint8_t* p = bytes.data();
    std::size_t i = 0;
    while (i < bytes.size()) {
        const std::size_t start = i;
        if (decodeNext(p, bytes.size(), i) < 0) {
            out += kReplacement;
        } else {
            out.append(reinterpret_cast<const char*>(p + start), i - start);
        }
    }
    return out;
}

std::string asciiLowered(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = asciiLower(c);
    return out;
}

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    const std::uint8_t* p = bytesOf(text);
    std::size_t i = 0;
    while (i < text.size()) {
        const std::size_t start = i;
        const std::int32_t cp = decodeNext(p, text.size(), i);
        const bool bidi = (cp >= 0x202A && cp <= 0x202E) || (cp >= 0x2066 && cp <= 0x2069);
        if (cp < 0) {
            out += kReplacement;
        } else if (cp < 0x20 || cp == 0x7F) {
            out += format("\\x%02x", static_cast<unsigned>(cp));
        } else if ((cp >= 0x80 && cp <= 0x9F) || cp == 0x2028 || cp == 0x2029 || bidi) {
            out += format("\\u%04x", static_cast<unsigned>(cp));
        } else {
            out.append(text.data() + start, i - start);
        }
    }
    return out;
}

std::string field(ByteView buffer, std::size_t offset, std::size_t length) {
    if (offset > buffer.size() || length > buffer.size() - offset) return {};
    return trimmed(repairedUTF8(buffer.subspan(offset, length)));
}


}  // namespace drivekit::text
