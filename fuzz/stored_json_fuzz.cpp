// The readers of what the program keeps as JSON: a drive's summary with its insight,
// volumes and free space, and the records inside it (RAID, transfer mode, self-test
// entries, history findings). A damaged or hand-edited file must read as absent fields,
// never as a crash; what reads back must write and read again to the same record.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "app/drive_summary.hpp"
#include "drivekit/core/json.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/discovery/link.hpp"
#include "drivekit/health/history_finding.hpp"
#include "drivekit/health/self_test.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    const auto object = json::parse(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!object) return 0;
    if (const auto summary = app::DriveSummary::fromJSON(*object)) {
        const auto again = app::DriveSummary::fromJSON(summary->toJSON());
        if (!again) std::abort();
        volatile std::size_t length = json::dump(summary->toJSON()).size();
        (void)length;
    }
    (void)RAIDInfo::fromJSON(*object);
    (void)TransferMode::fromJSON(*object);
    (void)SelfTest::Entry::fromJSON(*object);
    (void)HistoryFinding::fromJSON(*object);
    return 0;
}
