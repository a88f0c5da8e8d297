#include "drivekit/scan/scan_map.hpp"

#include <algorithm>
#include <cmath>

namespace drivekit {

ScanMap ScanMap::make(std::int64_t readsPlanned, int regions) {
    ScanMap map;
    map.readsPlanned = std::max<std::int64_t>(readsPlanned, 0);
    if (readsPlanned < 1 || regions < 1) return map;
    const auto cells = static_cast<std::size_t>(std::min<std::int64_t>(readsPlanned, regions));
    map.states.assign(cells, 0);
    map.mbps.assign(cells, 0);
    return map;
}

int ScanMap::region(std::int64_t read) const noexcept {
    if (count() == 0 || readsPlanned < 1) return 0;
    // read * count fits easily: count is at most 2048 and reads are far below 2^52.
    const std::int64_t cell = read * count() / readsPlanned;
    return static_cast<int>(std::clamp<std::int64_t>(cell, 0, count() - 1));
}

ScanMap::State ScanMap::state(int cell) const noexcept {
    if (cell < 0 || cell >= count()) return State::notRead;
    const std::uint8_t byte = states[static_cast<std::size_t>(cell)];
    return byte <= 3 ? static_cast<State>(byte) : State::notRead;
}

std::uint16_t ScanMap::speed(int cell) const noexcept {
    if (cell < 0 || cell >= count()) return 0;
    return mbps[static_cast<std::size_t>(cell)];
}

std::array<int, 4> ScanMap::tally() const noexcept {
    std::array<int, 4> cells{};
    for (int i = 0; i < count(); ++i) ++cells[static_cast<std::size_t>(state(i))];
    return cells;
}

std::pair<std::uint64_t, std::uint64_t> ScanMap::byteRange(int region, std::uint64_t totalBytes) const {
    if (count() == 0 || region < 0 || region >= count()) return {0, 0};
    const double total = static_cast<double>(totalBytes);
    const auto at = [&](int cell) {
        return static_cast<std::uint64_t>(std::floor(static_cast<double>(cell) / count() * total));
    };
    return {at(region), region == count() - 1 ? totalBytes : at(region + 1)};
}

void ScanMap::record(int cell, State newState, std::optional<double> speed) {
    if (cell < 0 || cell >= count()) return;
    const auto index = static_cast<std::size_t>(cell);
    const std::uint8_t stored = states[index];
    const auto wanted = static_cast<std::uint8_t>(newState);
    const bool unknown = stored > 3;
    if ((unknown && newState != State::notRead) || (!unknown && stored < wanted)) states[index] = wanted;
    if (speed && !std::isnan(*speed)) mbps[index] = static_cast<std::uint16_t>(std::clamp(std::round(*speed), 0.0, 65535.0));
}

}  // namespace drivekit
