#pragma once
// ProcFiles over a folder: "/proc" on a running system, a fixture tree in tests and
// benchmarks. The folder is opened once and every read is relative to it (openat), so a
// snapshot of a thousand processes costs a few system calls per process and no path
// building beyond the relative name.
#include <filesystem>

#include "platform/proc_files.hpp"

namespace platform {

class LinuxProcFiles final : public ProcFiles {
  public:
    /// `ticksPerSecond` 0 asks the system (sysconf(_SC_CLK_TCK)).
    explicit LinuxProcFiles(const std::filesystem::path& root = "/proc", long ticksPerSecond = 0);
    ~LinuxProcFiles() override;
    LinuxProcFiles(const LinuxProcFiles&) = delete;
    LinuxProcFiles& operator=(const LinuxProcFiles&) = delete;

    std::vector<std::int32_t> pids() const override;
    std::optional<std::size_t> read(std::string_view relative, std::span<char> buffer) const override;
    std::optional<std::string> readLink(std::string_view relative) const override;
    long ticksPerSecond() const override { return ticks_; }
    std::uint64_t pageSize() const override;
    /// On the system's /proc, the wall clock less the time since boot; under a fixture
    /// tree, "btime" of its stat file.
    std::optional<std::uint64_t> bootMicros() const override;

  private:
    int folder_ = -1;
    bool system_ = false;
    long ticks_ = 100;
};

}  // namespace platform
