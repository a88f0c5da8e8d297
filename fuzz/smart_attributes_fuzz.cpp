// SMART data and thresholds pages on arbitrary bytes, carried on into the readings so that
// every width, tie-break and unit estimate sees hostile raw values, and on into the rules,
// the score and the forecast. The first input byte splits the rest into the data page and
// the thresholds page; bytes past 512 in the thresholds page serve as the model text, so
// family selection sees odd models too, and its first eight bytes as the capacity.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_readings.hpp"
#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/score.hpp"
#include "drivekit/health/self_test.hpp"

namespace {
constexpr std::size_t pageBytes = 512;
constexpr std::size_t longestModel = 40;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    if (size < 1) return 0;
    const ByteView input(data + 1, size - 1);
    // Scaled so that both pages can reach a full 512 bytes.
    const std::size_t split = std::min<std::size_t>(input.size(), std::size_t{data[0]} * 4);
    const ByteView smart = input.first(split);
    const ByteView thresholds = input.subspan(split);

    const auto rows = ATAAttribute::parse(smart, thresholds);
    for (const auto& row : rows) {
        volatile bool failing = row.isFailingNow();
        volatile std::size_t nameLength = row.name().size();
        (void)failing;
        (void)nameLength;
    }

    std::string_view model;
    if (thresholds.size() > pageBytes) {
        const ByteView extra = thresholds.subspan(pageBytes);
        model = std::string_view(reinterpret_cast<const char*>(extra.data()),
                                 std::min(extra.size(), longestModel));
    }
    const auto capacity = static_cast<std::int64_t>(le64(thresholds, 0) >> 1);
    for (const std::optional<bool> isSSD :
         {std::optional<bool>{}, std::optional<bool>{true}, std::optional<bool>{false}}) {
        const ATAReadings readings = ATAReadings::make(rows, model, std::nullopt, isSSD, capacity);
        volatile int verdicts =
            static_cast<int>(readings.spareVerdict()) + static_cast<int>(readings.pendingVerdict());
        (void)verdicts;
    }

    // The whole ATA rating on the same rows: every rule, the score and the forecast.
    Drive drive;
    drive.model = std::string(model);
    drive.sizeBytes = capacity;
    const auto report = HealthRules::evaluate(std::nullopt, rows, drive, "fuzz", {}, Locale{});
    if (rows.empty() != !report.score) std::abort();
    if (report.score && (*report.score < 0 || *report.score > 100)) std::abort();
    for (const auto& finding : report.findings) {
        if (finding.message.empty()) std::abort();
    }
    const auto facts = ReadoutText::scoreFacts(report, SMARTStatus::notSupported);
    if (ReadoutText::scoreSteps(facts, Locale{}).empty()) std::abort();

    const auto progress = SelfTest::Progress::fromSmartData(smart);
    (void)progress;
    return 0;
}
