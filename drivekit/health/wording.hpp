#pragma once
// The sentences that tell a drive's state to someone reading a report: a title, one
// line, why there is no score, how the data was read; the words of the NVMe critical
// warning; and the masking of a serial number for sharing. Pure functions of plain
// values, so the health document and the share views use the same words. Sentences that
// name the platform say the true thing for Linux (see PlatformWords).
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/core/local_format.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/health/finding.hpp"
#include "drivekit/health/forecast.hpp"
#include "drivekit/health/tier.hpp"
#include "drivekit/health/verdict.hpp"

namespace drivekit {

/// How a reading was made, as a health document records it.
enum class ReadMethod { nvmeSMART, ataSMARTLive, ataSMARTHandOver, none };

namespace ReadMethodText {
/// "nvmeSMART", "ataSMARTLive", "ataSMARTHandOver", "none".
std::string_view raw(ReadMethod method) noexcept;
std::optional<ReadMethod> parse(std::string_view raw) noexcept;
}  // namespace ReadMethodText

namespace DocumentWording {

/// The sentence at the head of a drive's report, by tier.
std::string title(Tier tier, DriveKind kind, bool readOnly);

/// The one line of a read drive, under the title, for every view of one reading (the
/// report, the summary, the health document): the worst finding for a tier above healthy
/// ("Keep your backups current." follows it for `watch`), else the life used (NVMe's
/// figure) or else the life left, the forecast and, when healthy, "Nothing to do."; a
/// drive with nothing to say couldn't be read.
std::string line(Tier tier, std::optional<int> lifeUsed, std::optional<int> lifeLeft,
                 const std::optional<LifeForecast>& forecast, std::span<const Finding> findings,
                 const Locale& locale);

/// "5–9 years left at your current usage."
std::string forecastSentence(const LifeForecast& forecast, const Locale& locale);

/// Why a limited drive has no score.
std::string limitedReason(DriveKind kind, bool nvmeBridge);
/// The same for share views, followed by what the system can see of the drive.
std::string limitedReasonForShare(DriveKind kind, bool nvmeBridge);

/// How the data was read. `bridgeName` is the display name of the enclosure's bridge
/// chip, absent when no bridge is known or the chip is known only by number;
/// `nvmeBridge` says the bridge is an NVMe one.
std::string readSource(ReadMethod method, const Drive& drive,
                       const std::optional<std::string>& bridgeName = std::nullopt,
                       bool nvmeBridge = false);

/// The model for display: a capacity at the end dropped, a leading "SSD " read as
/// Samsung's; the model unchanged when nothing would remain.
std::string prettyName(std::string_view model);

/// " One of 2 drives in the Raid2TB mirror (RAID 1), which is online."
std::string raidSentence(const RAIDInfo& raid);

/// The volumes worth naming: system helper volumes and nameless ones dropped, order kept.
std::vector<Volume> volumeNames(std::span<const Volume> volumes);

/// The set bits of an NVMe critical-warning byte in words, in bit order, joined with
/// ", ": "spare low, read-only". The empty text for a byte with none of the six bits.
std::string criticalText(std::uint8_t criticalWarning);

}  // namespace DocumentWording

namespace HealthRules {

/// The worst verdict of the set bits of an NVMe critical-warning byte: spare alarm and
/// read-only `failed`, reliability `failing`, backup and persistent memory `warning`,
/// temperature `watch`; bits 6 and 7 and a byte of 0 `healthy`.
Verdict criticalWarning(std::uint8_t criticalWarning);

}  // namespace HealthRules

namespace SerialMask {

/// A serial for sharing: trimmed; absent when absent or empty. Kept whole on request,
/// otherwise inner whitespace is dropped and four bullets stand before the last few
/// characters (half the length, at most four).
std::optional<std::string> shown(const std::optional<std::string>& serial, bool keepWhole);

}  // namespace SerialMask

}  // namespace drivekit
