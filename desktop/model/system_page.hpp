#pragma once
// What the Swap page and the sidebar's footer show of the system's figures: swap in use,
// what was swapped out to the SSD (per day, from the internal SSD's readings), memory
// pressure, and what Vantrel itself writes and costs.
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "app/store/reading.hpp"
#include "app/store/system_stats.hpp"
#include "desktop/model/drive_pages.hpp"
#include "desktop/model/history_page.hpp"

namespace desktop {

struct SwapView {
    std::vector<Fact> facts;
    /// Bytes swapped out on each day, in GB, from three days of readings of the same boot on.
    std::optional<Trend> swappedPerDay;
};

/// `readings` are the internal SSD's, oldest first.
SwapView swapPage(const app::SystemStats& stats, std::span<const app::Reading> readings, long utcOffsetSeconds,
                  const drivekit::Locale& locale);

/// "Vantrel wrote 12 MB · 0.3% CPU".
std::string footer(const app::SystemStats& stats, const drivekit::Locale& locale);

}  // namespace desktop
