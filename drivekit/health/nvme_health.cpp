#include "drivekit/health/nvme_health.hpp"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "drivekit/core/text.hpp"

namespace drivekit {

namespace {

// Places in the SMART / Health Information log. The 128-bit counters are read by their
// low 8 bytes only: a drive would need 9.4 exabyte-units before the high half matters.
namespace smartlog {
constexpr std::size_t criticalWarning = 0;
constexpr std::size_t temperature = 1;
constexpr std::size_t availableSpare = 3;
constexpr std::size_t spareThreshold = 4;
constexpr std::size_t percentageUsed = 5;
constexpr std::size_t dataUnitsRead = 32;
constexpr std::size_t dataUnitsWritten = 48;
constexpr std::size_t powerCycles = 112;
constexpr std::size_t powerOnHours = 128;
constexpr std::size_t unsafeShutdowns = 144;
constexpr std::size_t mediaErrors = 160;
constexpr std::size_t errorLogEntries = 176;
constexpr std::size_t warningTempMinutes = 192;
constexpr std::size_t criticalTempMinutes = 196;
}  // namespace smartlog

// Places of the text fields in the Identify Controller data: offset, length.
namespace identify {
constexpr std::size_t serial = 4, serialLength = 20;
constexpr std::size_t model = 24, modelLength = 40;
constexpr std::size_t firmware = 64, firmwareLength = 8;
}  // namespace identify

constexpr int kelvinOffset = 273;
constexpr std::uint64_t bytesPerDataUnit = 512'000;
constexpr std::uint8_t percentageUsedCap = 255;

// The catalogue holds English only so far, and its keys for these rows are the English
// texts themselves; every label and word of this file goes through here to be found later.
std::string localized(std::string_view english) {
    return std::string(english);
}

Detail row(std::string_view key, std::string value) {
    return Detail{std::string(key), localized(key), std::move(value)};
}

std::string dataUnits(std::uint64_t units, const Locale& locale) {
    // Wrapping on purpose: a corrupt counter must not stop the row, only look large.
    const std::uint64_t bytes = units * bytesPerDataUnit;
    const auto capped = static_cast<std::int64_t>(
        std::min<std::uint64_t>(bytes, static_cast<std::uint64_t>(INT64_MAX)));
    return LocalFormat::plainCount(units, locale) + " (" + ByteSize::decimal(capped, locale) + ")";
}

}  // namespace

std::optional<NVMeHealth> NVMeHealth::decode(ByteView smart, ByteView identifyData) {
    if (smart.size() < logSize) return std::nullopt;

    NVMeHealth h;
    h.criticalWarning = smart[smartlog::criticalWarning];
    if (const std::uint16_t kelvin = le16(smart, smartlog::temperature); kelvin != 0) {
        h.temperatureC = static_cast<int>(kelvin) - kelvinOffset;
    }
    h.availableSpare = smart[smartlog::availableSpare];
    h.spareThreshold = smart[smartlog::spareThreshold];
    h.percentageUsed = smart[smartlog::percentageUsed];
    h.dataUnitsRead = le64(smart, smartlog::dataUnitsRead);
    h.dataUnitsWritten = le64(smart, smartlog::dataUnitsWritten);
    h.powerCycles = le64(smart, smartlog::powerCycles);
    h.powerOnHours = le64(smart, smartlog::powerOnHours);
    h.unsafeShutdowns = le64(smart, smartlog::unsafeShutdowns);
    h.mediaErrors = le64(smart, smartlog::mediaErrors);
    h.errorLogEntries = le64(smart, smartlog::errorLogEntries);
    h.warningTempMinutes = le32(smart, smartlog::warningTempMinutes);
    h.criticalTempMinutes = le32(smart, smartlog::criticalTempMinutes);
    h.model = text::field(identifyData, identify::model, identify::modelLength);
    h.serial = text::field(identifyData, identify::serial, identify::serialLength);
    h.firmware = text::field(identifyData, identify::firmware, identify::firmwareLength);
    return h;
}

std::vector<Detail> healthDetails(const NVMeHealth& h, const Locale& locale) {
    std::string temperature =
        h.temperatureC ? LocalFormat::celsius(*h.temperatureC, locale) : localized("Not reported");
    std::string used = LocalFormat::percent(h.percentageUsed, locale);
    if (h.percentageUsed == percentageUsedCap) used += localized(" or more");

    std::vector<Detail> rows;
    rows.reserve(12);
    rows.push_back(row("Critical warning", text::format("0x%02X", h.criticalWarning)));
    rows.push_back(row("Temperature", std::move(temperature)));
    rows.push_back(row("Available spare", LocalFormat::percent(h.availableSpare, locale)));
    rows.push_back(
        row("Available spare threshold", LocalFormat::percent(h.spareThreshold, locale)));
    rows.push_back(row("Percentage used", std::move(used)));
    rows.push_back(row("Data units read", dataUnits(h.dataUnitsRead, locale)));
    rows.push_back(row("Data units written", dataUnits(h.dataUnitsWritten, locale)));
    rows.push_back(row("Power cycles", LocalFormat::plainCount(h.powerCycles, locale)));
    rows.push_back(row("Power-on hours", LocalFormat::plainCount(h.powerOnHours, locale)));
    rows.push_back(row("Unsafe shutdowns", LocalFormat::plainCount(h.unsafeShutdowns, locale)));
    rows.push_back(
        row("Media and data integrity errors", LocalFormat::plainCount(h.mediaErrors, locale)));
    rows.push_back(row("Error log entries", LocalFormat::plainCount(h.errorLogEntries, locale)));
    return rows;
}

}  // namespace drivekit
