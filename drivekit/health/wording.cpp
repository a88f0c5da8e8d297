#include "drivekit/health/wording.hpp"

#include <array>
#include <cctype>
#include <utility>

#include "drivekit/core/text.hpp"
#include "drivekit/health/placeholders.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/sentences.hpp"

namespace drivekit {
namespace {

using namespace Sentences;

constexpr std::string_view kRaidSentence = " One of %d drives in the %@ %@, which is %@.";

// Helper volumes of a Mac's disk, by whole name, which a disk brought over from one still
// carries and nobody would name as its volumes.
constexpr std::array<std::string_view, 7> kHiddenNames{"iSCPreboot", "xART", "Hardware", "Recovery",
                                                       "Preboot",    "VM",   "Update"};

// The NVMe critical-warning bits in their order, with their words and verdicts. Bits 6 and
// 7 are in no row: they count as healthy.
struct CriticalBit {
    std::uint8_t bit;
    std::string_view word;
    Verdict verdict;
};
constexpr std::array<CriticalBit, 6> kCriticalBits{{
    {0x01, "spare low", Verdict::failed},
    {0x02, "temperature", Verdict::watch},
    {0x04, "reliability", Verdict::failing},
    {0x08, "read-only", Verdict::failed},
    {0x10, "backup failed", Verdict::warning},
    {0x20, "persistent memory read-only", Verdict::warning},
}};

constexpr std::string_view kBullets = "••••";

std::string capitalised(std::string text) {
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') {
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    }
    return text;
}

template <std::size_t N>
bool contains(const std::array<std::string_view, N>& list, std::string_view value) {
    for (const auto& item : list) {
        if (item == value) return true;
    }
    return false;
}

// UTF-8 to code points and back, for the serial mask, which counts characters, not bytes.
std::vector<std::string> codePoints(std::string_view text) {
    std::vector<std::string> points;
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = 1;
        if (lead >= 0xF0)
            length = 4;
        else if (lead >= 0xE0)
            length = 3;
        else if (lead >= 0xC0)
            length = 2;
        length = std::min(length, text.size() - i);
        points.emplace_back(text.substr(i, length));
        i += length;
    }
    return points;
}

// Unicode White_Space, in UTF-8.
bool isWhitespace(std::string_view point) {
    static constexpr std::array<std::string_view, 25> kSpaces{
        "\t",           "\n",           "\v",
        "\f",           "\r",           " ",
        "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80",
        "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82",
        "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85",
        "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88",
        "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8",
        "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F",
        "\xE3\x80\x80"};
    return contains(kSpaces, point);
}

// Where a capacity at the end of a model begins: the leftmost start of a match of
// "\s*\d+(\.\d+)?\s?(TB|GB)$", read from the end; the model's length when there is none.
std::size_t capacitySuffixStart(std::string_view model) {
    const auto isDigit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    const std::size_t none = model.size();
    if (model.size() < 2) return none;
    const std::string_view unit = model.substr(model.size() - 2);
    if (unit != "TB" && unit != "GB") return none;
    std::size_t at = model.size() - 2;
    if (at > 0 && isSpace(model[at - 1])) --at;
    const std::size_t digitsEnd = at;
    while (at > 0 && isDigit(model[at - 1])) --at;
    if (at == digitsEnd) return none;
    // A fraction: the digits read so far follow a point with digits before it.
    if (at > 1 && model[at - 1] == '.' && isDigit(model[at - 2])) {
        at -= 1;
        while (at > 0 && isDigit(model[at - 1])) --at;
    }
    while (at > 0 && isSpace(model[at - 1])) --at;
    return at;
}

}  // namespace

namespace ReadMethodText {

std::string_view raw(ReadMethod method) noexcept {
    switch (method) {
        case ReadMethod::nvmeSMART:
            return "nvmeSMART";
        case ReadMethod::ataSMARTLive:
            return "ataSMARTLive";
        case ReadMethod::ataSMARTHandOver:
            return "ataSMARTHandOver";
        case ReadMethod::none:
            return "none";
    }
    return "none";
}

std::optional<ReadMethod> parse(std::string_view raw) noexcept {
    for (auto method : {ReadMethod::nvmeSMART, ReadMethod::ataSMARTLive,
                        ReadMethod::ataSMARTHandOver, ReadMethod::none}) {
        if (ReadMethodText::raw(method) == raw) return method;
    }
    return std::nullopt;
}

}  // namespace ReadMethodText

namespace DocumentWording {

std::string title(Tier tier, DriveKind kind, bool readOnly) {
    switch (tier) {
        case Tier::healthy:
            return std::string(Title::healthy);
        case Tier::watch:
            return std::string(Title::watch);
        case Tier::warning:
            return std::string(Title::warning);
        case Tier::failing:
            return std::string(Title::failing);
        case Tier::failed:
            return std::string(readOnly ? Title::readOnly : Title::failed);
        case Tier::limited:
            return std::string(kind == DriveKind::sdCard ? Title::sdCard
                                                         : Title::limited);
    }
    return std::string(Title::limited);
}

std::string forecastSentence(const LifeForecast& forecast, const Locale& locale) {
    return fillPlaceholders(Line::atCurrentUsage,
                            {capitalised(LifeForecast::leftPhrase(forecast, locale))});
}

std::string line(Tier tier, std::optional<int> lifeUsed, std::optional<int> lifeLeft,
                 const std::optional<LifeForecast>& forecast, std::span<const Finding> findings,
                 const Locale& locale) {
    // The tier decides: a healthy drive is never told by a finding, whatever it says.
    if (const auto worst = worstFinding(findings); worst && tier != Tier::healthy) {
        if (tier == Tier::watch) return worst->message + " " + std::string(Line::keepBackups);
        return worst->message;
    }

    std::vector<std::string> sentences;
    if (lifeUsed) {
        sentences.push_back(fillPlaceholders(Line::lifeUsedDigits, {std::to_string(*lifeUsed)}));
    } else if (lifeLeft) {
        sentences.push_back(fillPlaceholders(Line::lifeLeftDigits, {std::to_string(*lifeLeft)}));
    }
    if (forecast) sentences.push_back(forecastSentence(*forecast, locale));
    if (tier == Tier::healthy) sentences.emplace_back(Line::nothingToDo);

    if (sentences.empty()) {
        for (const auto& finding : findings) {
            if (finding.verdict == Verdict::unknown) return finding.message;
        }
        return std::string(Line::unreadable);
    }
    std::string joined;
    for (const auto& sentence : sentences) {
        if (!joined.empty()) joined += ' ';
        joined += sentence;
    }
    return joined;
}

std::string limitedReason(DriveKind kind, bool nvmeBridge) {
    switch (kind) {
        case DriveKind::sdCard:
            return std::string(Limited::sdCard);
        case DriveKind::usb:
            return std::string(nvmeBridge ? Limited::usbNVMeBridge : Limited::usb);
        case DriveKind::internalSSD:
        case DriveKind::thunderbolt:
        case DriveKind::other:
            return std::string(Limited::other);
    }
    return std::string(Limited::other);
}

std::string limitedReasonForShare(DriveKind kind, bool nvmeBridge) {
    return limitedReason(kind, nvmeBridge) + std::string(Limited::shareSuffix);
}

std::string readSource(ReadMethod method, const Drive& drive,
                       const std::optional<std::string>& bridgeName, bool nvmeBridge) {
    switch (method) {
        case ReadMethod::nvmeSMART:
            return std::string(drive.transport == Transport::externalNVMe
                                   ? ReadSource::nvmeThunderbolt
                                   : ReadSource::nvmeInternal);
        // The same sentence as the report's own source of a live read.
        case ReadMethod::ataSMARTLive:
            return ReadingSource::ataLive(drive.transport);
        case ReadMethod::ataSMARTHandOver:
            return std::string(ReadSource::ataHandOver);
        case ReadMethod::none:
            break;
    }
    if (drive.transport == Transport::usb) {
        std::string text(ReadSource::connectedOverUSB);
        if (bridgeName) text += std::string(ReadSource::throughIts) + *bridgeName;
        text += ". ";
        text += nvmeBridge ? ReadSource::usbNVMeBridge : ReadSource::usbNotRead;
        return text;
    }
    if (drive.transport == Transport::sdCard) return std::string(ReadSource::sdCard);
    return std::string(ReadSource::other);
}

std::string prettyName(std::string_view model) {
    std::string rest(model.substr(0, capacitySuffixStart(model)));
    if (rest.rfind("SSD ", 0) == 0) rest.replace(0, 4, "Samsung ");
    return rest.empty() ? std::string(model) : rest;
}

std::string raidSentence(const RAIDInfo& raid) {
    std::string kind = RAIDWording::levelText(raid);
    if (kind == "RAID 1 mirror") kind = "mirror (RAID 1)";
    return fillPlaceholders(kRaidSentence, {std::to_string(raid.memberCount), raid.setName, kind,
                                            text::asciiLowered(RAIDWording::statusLabel(raid))});
}

std::vector<Volume> volumeNames(std::span<const Volume> volumes) {
    std::vector<Volume> named;
    for (const auto& volume : volumes) {
        if (!volume.name || volume.name->empty() || contains(kHiddenNames, *volume.name)) continue;
        named.push_back(volume);
    }
    return named;
}

std::string criticalText(std::uint8_t criticalWarning) {
    std::string text;
    for (const auto& row : kCriticalBits) {
        if ((criticalWarning & row.bit) == 0) continue;
        if (!text.empty()) text += ", ";
        text += row.word;
    }
    return text;
}

}  // namespace DocumentWording

namespace HealthRules {

Verdict criticalWarning(std::uint8_t criticalWarning) {
    Verdict worst = Verdict::healthy;
    for (const auto& row : kCriticalBits) {
        if ((criticalWarning & row.bit) != 0 && row.verdict > worst) worst = row.verdict;
    }
    return worst;
}

}  // namespace HealthRules

namespace SerialMask {

std::optional<std::string> shown(const std::optional<std::string>& serial, bool keepWhole) {
    if (!serial) return std::nullopt;
    auto points = codePoints(*serial);
    std::size_t first = 0;
    std::size_t last = points.size();
    while (first < last && isWhitespace(points[first])) ++first;
    while (last > first && isWhitespace(points[last - 1])) --last;
    if (first == last) return std::nullopt;

    std::string trimmed;
    std::vector<std::string> kept;
    for (std::size_t i = first; i < last; ++i) {
        trimmed += points[i];
        if (!isWhitespace(points[i])) kept.push_back(points[i]);
    }
    if (keepWhole) return trimmed;

    const std::size_t shownCount = std::min<std::size_t>(kept.size() / 2, 4);
    std::string masked(kBullets);
    for (std::size_t i = kept.size() - shownCount; i < kept.size(); ++i) masked += kept[i];
    return masked;
}

}  // namespace SerialMask

}  // namespace drivekit
