// NVMe SMART log and Identify Controller decoding on arbitrary bytes. The first input byte
// splits the rest into the two buffers.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/nvme_health.hpp"
#include "drivekit/health/score.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    if (size < 1) return 0;
    const ByteView input(data + 1, size - 1);
    const std::size_t split = std::min<std::size_t>(input.size(), std::size_t{data[0]} * 4);
    const auto health = NVMeHealth::decode(input.first(split), input.subspan(split));
    if (health) {
        const auto rows = healthDetails(*health, Locale{});
        if (rows.size() != 12) std::abort();
        // The rules, score and forecast on hostile counters: no overflow, a score in range.
        Drive drive;
        drive.sizeBytes = static_cast<std::int64_t>(health->dataUnitsWritten >> 1);
        const auto report = HealthRules::evaluate(*health, drive, Locale{});
        if (!report.score || *report.score < 0 || *report.score > 100) std::abort();
        const auto steps =
            ReadoutText::scoreSteps(ReadoutText::scoreFacts(*health, report), Locale{});
        if (steps.empty()) std::abort();
    }
    return 0;
}
