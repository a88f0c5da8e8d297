// SMART self-test log decoding on arbitrary bytes, with the JSON round trip of each entry.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "drivekit/health/health_rules.hpp"
#include "drivekit/health/self_test.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    const auto entries = SelfTest::parseLog(ByteView(data, size));
    if (entries.size() > 21) std::abort();
    for (const auto& entry : entries) {
        if (SelfTest::Entry::fromJSON(entry.toJSON()) != entry) std::abort();
        volatile std::size_t words =
            entry.kindLabel().size() + SelfTest::label(entry.outcome).size();
        (void)words;
    }
    // Without attributes the only score is the cap a failed newest finished test sets.
    const auto report = HealthRules::evaluate(std::nullopt, {}, Drive{}, "fuzz", entries, Locale{});
    const auto latest = HealthRules::latestFinishedSelfTest(entries);
    const bool failedTest = latest && SelfTest::failed(latest->outcome);
    if (report.score != (failedTest ? std::optional<int>(20) : std::nullopt)) std::abort();
    if (report.verdict() != (failedTest ? Verdict::failing : Verdict::unknown)) std::abort();
    return 0;
}
