#include "app/process_use.hpp"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace app {

namespace {

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> out;
    for (std::string word; in >> word;) out.push_back(word);
    return out;
}

}  // namespace

std::optional<ProcessUse> ownUse(const platform::ProcFiles& proc) {
    // utime and stime are fields 14 and 15, the start time field 22, after the name in
    // parentheses, which may itself hold spaces.
    const auto self = proc.text("self/stat");
    if (!self || self->rfind(')') == std::string::npos) return std::nullopt;
    const auto w = words(self->substr(self->rfind(')') + 1));
    const double ticks = static_cast<double>(proc.ticksPerSecond());
    if (w.size() <= 19 || ticks <= 0) return std::nullopt;
    ProcessUse use;
    use.cpuSeconds = (std::strtod(w[11].c_str(), nullptr) + std::strtod(w[12].c_str(), nullptr)) / ticks;
    const double started = std::strtod(w[19].c_str(), nullptr) / ticks;
    if (const auto uptime = proc.text("uptime")) {
        const auto up = words(*uptime);
        if (!up.empty()) use.aliveSeconds = std::max(0.0, std::strtod(up[0].c_str(), nullptr) - started);
    }
    // statm: size, then resident, in pages.
    if (const auto statm = proc.text("self/statm")) {
        const auto pages = words(*statm);
        if (pages.size() > 1) use.residentBytes = std::strtoull(pages[1].c_str(), nullptr, 10) * proc.pageSize();
    }
    return use;
}

}  // namespace app
