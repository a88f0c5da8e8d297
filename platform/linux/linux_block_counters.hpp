#pragma once
// Byte counters from "/sys/class/block/<disk>/stat" (sectors of 512 bytes, whatever the
// disk's own block size). Each disk's file is opened once and read again from its start
// into a fixed buffer, so a tick allocates nothing; a disk that went away is let go and
// opened afresh when it comes back. Used from one thread at a time.
#include <string>
#include <vector>

#include "platform/block_counters.hpp"

namespace platform {

class LinuxBlockCounters final : public BlockCounterReader {
  public:
    /// `root` is "/sys/class/block" in the program and a fixture folder in tests.
    explicit LinuxBlockCounters(std::string root = "/sys/class/block");
    ~LinuxBlockCounters() override;
    LinuxBlockCounters(const LinuxBlockCounters&) = delete;
    LinuxBlockCounters& operator=(const LinuxBlockCounters&) = delete;

    std::optional<BlockCounters> read(std::string_view disk) override;

  private:
    struct Open {
        std::string disk;
        int fd = -1;
    };
    std::string root_;
    std::vector<Open> open_;  // a handful of disks: searched in order
};

/// The bytes read and written of a stat line ("reads merges sectors ticks writes merges
/// sectors ..."); nothing when the line has fewer than seven numbers.
std::optional<BlockCounters> blockCountersOf(std::string_view statLine);

}  // namespace platform
