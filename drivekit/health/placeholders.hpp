#pragma once
// Puts already formatted values into a catalogue sentence. The sentences keep the
// catalogue's own placeholders ("%@", "%lld", "%d"), so they read exactly as the English
// catalogue has them; each placeholder takes the next value, in order.
#include <initializer_list>
#include <string>
#include <string_view>

namespace drivekit {

inline std::string fillPlaceholders(std::string_view pattern,
                                    std::initializer_list<std::string_view> values) {
    std::string out;
    out.reserve(pattern.size() + 16);
    auto next = values.begin();
    std::size_t i = 0;
    while (i < pattern.size()) {
        std::size_t width = 0;
        if (pattern.substr(i, 2) == "%@" || pattern.substr(i, 2) == "%d") width = 2;
        if (pattern.substr(i, 4) == "%lld") width = 4;
        if (width != 0 && next != values.end()) {
            out += *next++;
            i += width;
        } else {
            out += pattern[i++];
        }
    }
    return out;
}

}  // namespace drivekit
