// Three days of the monitor's write counting, simulated: 8,640 steps of 30 seconds over a table
// of 1,000 processes (a tenth of them replaced by new ones, some reusing old pids, every
// hour), with the history rolled and saved at each new hour as the monitor does. Prints the
// resident memory every six hours: it grows with the ten-minute slots of the first two days,
// then stays flat, since the ledger forgets ended processes and slots older than two days
// are summed into one entry per day.
//
//   writes_day
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "app/writes/app_writes.hpp"

namespace {

struct SimClock final : platform::Clock {
    std::chrono::system_clock::time_point at = std::chrono::system_clock::time_point(std::chrono::seconds(1'763'197'200));
    std::chrono::system_clock::time_point now() const override { return at; }
    std::chrono::steady_clock::time_point steadyNow() const override { return {}; }
};

struct Processes final : app::WritesSource {
    const SimClock& clock;
    explicit Processes(const SimClock& c) : clock(c) {}
    std::optional<std::vector<drivekit::ProcessWrites>> snapshot() override {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(clock.at.time_since_epoch()).count();
        const auto step = static_cast<std::uint64_t>(seconds / 30);
        const auto hour = static_cast<std::int32_t>(seconds / 3600);
        std::vector<drivekit::ProcessWrites> table;
        table.reserve(1000);
        for (std::int32_t i = 0; i < 1000; ++i) {
            // Every hour a tenth of the table is new processes; their pids cycle, so some
            // are reused by a different program with a later start.
            const bool churned = i % 10 == hour % 10;
            const std::int32_t pid = churned ? 20'000 + (hour * 100 + i) % 3'000 : 100 + i;
            const std::uint64_t started = churned ? static_cast<std::uint64_t>(hour) : 1u;
            const std::uint64_t written = (step - (churned ? static_cast<std::uint64_t>(hour) * 120 : 0)) * 4096u * static_cast<std::uint64_t>(i % 7);
            table.push_back({pid, started, "/usr/bin/tool" + std::to_string(i % 60), written, "", false});
        }
        return table;
    }
};

long residentKB() {
    std::ifstream statm("/proc/self/statm");
    long size = 0, resident = 0;
    statm >> size >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace

int main() {
    namespace fs = std::filesystem;
    std::string pattern = (fs::temp_directory_path() / "vantrel-bench-writes-XXXXXX").string();
    const fs::path folder = ::mkdtemp(pattern.data());
    SimClock clock;
    app::AppWrites::Options options;
    options.source = std::make_shared<Processes>(clock);
    options.files = app::AppWritesFiles::in(folder);
    options.calendar = drivekit::WriteCalendar::zone("UTC");
    app::AppWrites writes(std::move(options), clock);
    std::printf("hour  resident KB  slots  days\n");
    for (int step = 0; step <= 8640; ++step) {
        writes.step();
        if (step % 720 == 0) {
            std::printf("%4d  %11ld  %5zu  %4zu\n", step / 120, residentKB(), writes.history().slots.size(),
                        writes.history().days.size());
        }
        clock.at += std::chrono::seconds(30);
    }
    fs::remove_all(folder);
}
