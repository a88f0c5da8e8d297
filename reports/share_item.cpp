#include "reports/share_item.hpp"

#include <algorithm>
#include <ctime>

#include "drivekit/core/text.hpp"

namespace reports {

namespace {

// Decodes one scalar at `i`, moving past it; malformed bytes read as U+FFFD.
char32_t nextScalar(std::string_view text, std::size_t& i) {
    const auto byte = static_cast<unsigned char>(text[i++]);
    if (byte < 0x80) return byte;
    int extra = 0;
    char32_t value = 0;
    if ((byte & 0xE0) == 0xC0) {
        extra = 1;
        value = byte & 0x1F;
    } else if ((byte & 0xF0) == 0xE0) {
        extra = 2;
        value = byte & 0x0F;
    } else if ((byte & 0xF8) == 0xF0) {
        extra = 3;
        value = byte & 0x07;
    } else {
        return 0xFFFD;
    }
    for (int k = 0; k < extra; ++k) {
        if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return 0xFFFD;
        value = (value << 6) | (static_cast<unsigned char>(text[i++]) & 0x3F);
    }
    return value;
}

void append(std::u32string_view scalars, std::string& out) {
    for (const char32_t c : scalars) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
}

bool isWhitespace(char32_t c) {
    return c == ' ' || (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x2028 || c == 0x2029; }

}  // namespace

std::string ShareItem::safeName(std::string_view name) {
    std::u32string mapped;
    for (std::size_t i = 0; i < name.size();) {
        char32_t c = nextScalar(name, i);
        if (c == '/' || c == '\\' || c == ':') c = '-';
        else if (isControl(c)) c = ' ';
        mapped += c;
    }
    // Whitespace runs become one blank; none at either end.
    std::u32string joined;
    bool pendingBlank = false;
    for (const char32_t c : mapped) {
        if (isWhitespace(c)) {
            pendingBlank = !joined.empty();
            continue;
        }
        if (pendingBlank) joined += U' ';
        pendingBlank = false;
        joined += c;
    }
    const auto firstKept = joined.find_first_not_of(U'.');
    joined.erase(0, firstKept == std::u32string::npos ? joined.size() : firstKept);
    if (joined.size() > 180) joined.resize(180);
    while (!joined.empty() && isWhitespace(joined.front())) joined.erase(0, 1);
    while (!joined.empty() && isWhitespace(joined.back())) joined.pop_back();
    if (joined.empty()) return "Vantrel";
    std::string out;
    append(joined, out);
    return out;
}

std::string ShareItem::fileName(ShareFormat format) const {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return drivekit::text::format("Vantrel %s \u2013 %s \u2013 %04d-%02d-%02d.", what.c_str(), safeName(driveName).c_str(),
                                  local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) +
           std::string(ShareFormatText::raw(format));
}

std::optional<std::string> ShareItem::volumeNote(std::span<const std::string> volumes) {
    if (volumes.empty()) return std::nullopt;
    std::string names;
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        if (i > 0) names += ", ";
        names += "\u201C" + volumes[i] + "\u201D";
    }
    return (volumes.size() == 1 ? "Includes the volume name " : "Includes the volume names ") + names;
}

std::optional<ShareFile> ShareItem::file(const ShareOptions& options) const {
    if (std::find(formats.begin(), formats.end(), options.format) == formats.end() || !make) return std::nullopt;
    auto data = make(options);
    if (!data) return std::nullopt;
    return ShareFile{std::move(*data), fileName(options.format), options.format};
}

namespace ReadingsCSV {

std::string text(std::span<const app::Reading> readings, const std::map<std::string, std::string>& names) {
    std::string out = std::string(kHeader) + "\n";
    const auto optional = [](const auto& value) { return value ? std::to_string(*value) : std::string(); };
    for (const auto& reading : readings) {
        const auto named = names.find(reading.driveID);
        std::string drive = named != names.end() ? named->second : reading.driveID;
        std::string quoted = "\"";
        for (const char c : drive) {
            quoted += c;
            if (c == '"') quoted += '"';
        }
        quoted += '"';
        out += drivekit::json::isoDate(reading.date) + "," + quoted + "," + std::string(drivekit::TierText::raw(reading.tier)) +
               "," + optional(reading.score) + "," + optional(reading.lifeLeft) + "," + optional(reading.temperatureC) + "," +
               optional(reading.writtenBytes) + "\n";
    }
    return out;
}

}  // namespace ReadingsCSV

}  // namespace reports
