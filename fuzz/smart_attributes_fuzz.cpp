// SMART data and thresholds pages on arbitrary bytes, carried on into the readings so that
// every width, tie-break and unit estimate sees hostile raw values. The first input byte
// splits the rest into the data page and the thresholds page; bytes past 512 in the
// thresholds page serve as the model text, so family selection sees odd models too, and
// its first eight bytes as the capacity.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "drivekit/health/ata_attribute.hpp"
#include "drivekit/health/ata_readings.hpp"
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
    for (const std::optional<bool> isSSD : {std::optional<bool>{}, std::optional<bool>{true},
                                            std::optional<bool>{false}}) {
        const ATAReadings readings = ATAReadings::make(rows, model, std::nullopt, isSSD, capacity);
        volatile int verdicts = static_cast<int>(readings.spareVerdict()) +
                                static_cast<int>(readings.pendingVerdict());
        (void)verdicts;
    }

    const auto progress = SelfTest::Progress::fromSmartData(smart);
    (void)progress;
    return 0;
}
