#pragma once
// Fits measured sections onto pages without splitting what belongs together. A group
// higher than a page gets a page of its own and runs over it: a section is never cut.
#include <vector>

namespace reports {

namespace PagePacker {

struct Item {
    /// The measured height, in points.
    double height = 0;
    /// The gap above it when it isn't first on its page.
    double spacingBefore = 0;
    /// Stays on one page with the next item.
    bool keepsWithNext = false;
    /// The page ends after it.
    bool breaksAfter = false;
};

/// The pages, each the indices of its items in order.
std::vector<std::vector<int>> pack(const std::vector<Item>& items, double pageHeight);

}  // namespace PagePacker

}  // namespace reports
