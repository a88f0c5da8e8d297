#include "reports/page_packer.hpp"

namespace reports::PagePacker {

std::vector<std::vector<int>> pack(const std::vector<Item>& items, double pageHeight) {
    // Groups: runs of items that keep with the next, closed by one that doesn't, breaks
    // the page, or ends the list.
    std::vector<std::vector<int>> groups;
    std::vector<int> current;
    for (int i = 0; i < static_cast<int>(items.size()); ++i) {
        current.push_back(i);
        const Item& item = items[static_cast<std::size_t>(i)];
        if (!item.keepsWithNext || item.breaksAfter || i + 1 == static_cast<int>(items.size())) {
            groups.push_back(std::move(current));
            current.clear();
        }
    }

    std::vector<std::vector<int>> pages;
    std::vector<int> page;
    double used = 0;
    for (const auto& group : groups) {
        double height = items[static_cast<std::size_t>(group.front())].height;
        for (std::size_t k = 1; k < group.size(); ++k) {
            const Item& item = items[static_cast<std::size_t>(group[k])];
            height += item.spacingBefore + item.height;
        }
        double gap = page.empty() ? 0 : items[static_cast<std::size_t>(group.front())].spacingBefore;
        if (!page.empty() && pageHeight < used + gap + height) {
            pages.push_back(std::move(page));
            page.clear();
            used = 0;
            gap = 0;
        }
        page.insert(page.end(), group.begin(), group.end());
        if (items[static_cast<std::size_t>(group.back())].breaksAfter) {
            pages.push_back(std::move(page));
            page.clear();
            used = 0;
        } else {
            used += gap + height;
        }
    }
    if (!page.empty()) pages.push_back(std::move(page));
    return pages;
}

}  // namespace reports::PagePacker
