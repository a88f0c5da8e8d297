#include "platform/format.hpp"

#include <locale.h>

#include <cstdarg>
#include <algorithm>
#include <cstdio>

namespace platform {

std::string format(const char* fmt, ...) {
    // A thread-local switch to the C locale: other threads keep their own.
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    const locale_t previous = cLocale ? uselocale(cLocale) : nullptr;

    std::string out;
    char small[256];
    va_list args;
    va_start(args, fmt);
    va_list again;
    va_copy(again, args);
    const int needed = std::vsnprintf(small, sizeof small, fmt, args);
    va_end(args);
    if (needed >= 0) {
        const auto size = static_cast<std::size_t>(needed);
        if (size < sizeof small) {
            out.assign(small, size);
        } else {
            out.resize(size);
            std::vsnprintf(out.data(), size + 1, fmt, again);
        }
    }
    va_end(again);

    if (previous) uselocale(previous);
    return out;
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    std::size_t at = 0;
    while (at <= text.size()) {
        const auto end = std::min(text.find(separator, at), text.size());
        if (end > at) pieces.emplace_back(text.substr(at, end - at));
        at = end + 1;
    }
    return pieces;
}

}  // namespace platform
