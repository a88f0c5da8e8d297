#pragma once
// A disk's byte counters since its driver started, for live speeds sampled every second.
// The sampler calls this on every tick, so an implementation must allocate nothing once
// it has seen a disk. Nothing here raises: a disk that can't be read gives nothing.
#include <cstdint>
#include <optional>
#include <string_view>

namespace platform {

struct BlockCounters {
    std::uint64_t readBytes = 0;
    std::uint64_t writtenBytes = 0;

    bool operator==(const BlockCounters&) const = default;
};

class BlockCounterReader {
  public:
    virtual ~BlockCounterReader() = default;

    /// The counters of the disk with kernel name `disk` ("sda").
    virtual std::optional<BlockCounters> read(std::string_view disk) = 0;

  protected:
    BlockCounterReader() = default;
    BlockCounterReader(const BlockCounterReader&) = default;
    BlockCounterReader& operator=(const BlockCounterReader&) = default;
};

}  // namespace platform
