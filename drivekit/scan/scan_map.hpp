#pragma once
// ScanMap: the compact picture of a surface scan. At most `defaultRegions` cells, each a
// state and a speed, so that a scan of a thousand reads and one of a million are stored
// and drawn alike: reads fall into cells by proportion.
#include <array>
#include <optional>
#include <cstdint>
#include <utility>
#include <vector>

namespace drivekit {

struct ScanMap {
    static constexpr int defaultRegions = 2048;

    /// Ordered from least to worst: a cell only ever moves to a worse state.
    enum class State : std::uint8_t { notRead = 0, fine = 1, slow = 2, unreadable = 3 };

    std::int64_t readsPlanned = 0;
    std::vector<std::uint8_t> states;
    std::vector<std::uint16_t> mbps;  // 10^6 bytes a second; 0 when unknown

    /// A map of min(readsPlanned, regions) cells, all unread; empty when either is below 1.
    static ScanMap make(std::int64_t readsPlanned, int regions = defaultRegions);

    int count() const noexcept { return static_cast<int>(states.size()); }
    /// The cell a read number falls in.
    int region(std::int64_t read) const noexcept;
    /// `notRead` for an index out of range or a byte no state has.
    State state(int cell) const noexcept;
    std::uint16_t speed(int cell) const noexcept;
    /// Cells in each state, indexed by the state's value.
    std::array<int, 4> tally() const noexcept;
    /// The bytes of the drive a cell stands for, [first, second).
    std::pair<std::uint64_t, std::uint64_t> byteRange(int region, std::uint64_t totalBytes) const;

    /// Keeps the worse of the stored and the new state (an unknown byte gives way to any
    /// read state); a speed, when given, replaces the cell's, held to 16 bits. Out of range
    /// does nothing.
    void record(int cell, State state, std::optional<double> speed);

    bool operator==(const ScanMap&) const = default;
};

}  // namespace drivekit
