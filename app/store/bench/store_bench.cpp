// What the store costs: a whole refresh pass on the demo machine (read, enrich, plan,
// readings and shared files written), the read alone, and the allocations of one tick of
// the speed sampler, which must be none. The sampler reads through the real counter
// reader, from stat files in a folder of its own that stand in for /sys/class/block.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>

#include "app/demo/demo_files.hpp"
#include "app/drive_check.hpp"
#include "app/store/drive_source.hpp"
#include "app/store/drive_store.hpp"
#include "platform/demo/demo_machine.hpp"
#include "platform/linux/linux_block_counters.hpp"

namespace {
std::atomic<long> allocations{0};
}

void* operator new(std::size_t size) {
    ++allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

int main(int argc, char** argv) {
    const int passes = argc > 1 ? std::atoi(argv[1]) : 50;
    auto loaded = platform::DemoMachine::load(app::defaultDemoFile());
    if (!loaded) {
        std::fprintf(stderr, "store_bench: %s\n", loaded.error().c_str());
        return 2;
    }
    app::Machine machine = app::demoMachine(*loaded.value(), drivekit::Locale{"en_US"});
    const auto folder = std::filesystem::temp_directory_path() / ("store-bench-" + std::to_string(::getpid()));

    app::QtTimers timers;
    std::uint64_t bytes = 0;
    platform::LinuxBlockCounters counters((folder / "block").string());
    app::DriveStore::Services services;
    services.read = app::driveSource(app::readContextOf(machine));
    services.background = [](auto read, auto back) { back(read()); };
    services.timers = &timers;
    services.paths = app::StatePaths{folder / "data", folder / "config"};
    services.ioStats = app::ioStatsFrom(counters);
    app::DriveStore store(std::move(services), app::Prefs{});
    // Each tick's counters, as the kernel would have moved them; written outside the count.
    const auto advance = [&] {
        bytes += 1'000'000;
        for (const auto& drive : store.allDrives()) {
            std::ofstream(folder / "block" / drive.bsdName / "stat")
                << "100 0 " << bytes / 512 << " 0 50 0 " << bytes / 1024 << " 0 0 0 0\n";
        }
    };

    using clock = std::chrono::steady_clock;
    auto start = clock::now();
    for (int i = 0; i < passes; ++i) store.refresh();
    const double pass = std::chrono::duration<double, std::milli>(clock::now() - start).count() / passes;

    const auto source = app::driveSource(app::readContextOf(machine));
    start = clock::now();
    for (int i = 0; i < passes; ++i) (void)source(app::PassRequest{});
    const double read = std::chrono::duration<double, std::milli>(clock::now() - start).count() / passes;

    for (const auto& drive : store.allDrives()) std::filesystem::create_directories(folder / "block" / drive.bsdName);
    // Two ticks to meet each drive, then the steady state.
    for (int i = 0; i < 2; ++i) {
        advance();
        store.sampleSpeeds();
    }
    constexpr int kTicks = 1000;
    long counted = 0;
    for (int i = 0; i < kTicks; ++i) {
        advance();
        const long before = allocations.load();
        store.sampleSpeeds();
        counted += allocations.load() - before;
    }
    const double perTick = static_cast<double>(counted) / kTicks;

    std::printf("drives on the demo machine: %zu\n", store.allDrives().size());
    std::printf("refresh pass: %.2f ms (of which the read: %.2f ms), mean of %d\n", pass, read, passes);
    std::printf("sampler: %.2f allocations per tick over %d ticks\n", perTick, kTicks);
    std::filesystem::remove_all(folder);
    return perTick == 0 ? 0 : 1;
}
