#include "platform/iso_date.hpp"

#include <cstdint>

#include "platform/format.hpp"

namespace platform {
namespace {

using namespace std::chrono;

// Reads exactly `count` ASCII digits at `at`, moving past them.
bool digits(std::string_view text, std::size_t& at, std::size_t count, int& out) {
    if (text.size() - at < count) return false;
    int value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const char c = text[at + i];
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    at += count;
    out = value;
    return true;
}

bool take(std::string_view text, std::size_t& at, char wanted) {
    if (at >= text.size() || text[at] != wanted) return false;
    ++at;
    return true;
}

}  // namespace

std::string isoDate(SystemTime time) {
    const auto second = floor<seconds>(time);
    const auto day = floor<days>(second);
    const year_month_day date{day};
    const hh_mm_ss clock{second - day};
    return platform::format("%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                        static_cast<int>(clock.hours().count()),
                        static_cast<int>(clock.minutes().count()),
                        static_cast<int>(clock.seconds().count()));
}

std::optional<SystemTime> parseIsoDate(std::string_view text) {
    std::size_t at = 0;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!digits(text, at, 4, year) || !take(text, at, '-') || !digits(text, at, 2, month) ||
        !take(text, at, '-') || !digits(text, at, 2, day)) {
        return std::nullopt;
    }
    if (!take(text, at, 'T') && !take(text, at, 't')) return std::nullopt;
    if (!digits(text, at, 2, hour) || !take(text, at, ':') || !digits(text, at, 2, minute) ||
        !take(text, at, ':') || !digits(text, at, 2, second)) {
        return std::nullopt;
    }

    std::int64_t nanos = 0;
    if (take(text, at, '.') || take(text, at, ',')) {
        std::int64_t scale = 100'000'000;
        const std::size_t first = at;
        for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
            nanos += (text[at] - '0') * scale;
            scale /= 10;  // digits past the ninth add nothing
        }
        if (at == first) return std::nullopt;
    }

    int offsetMinutes = 0;
    if (!take(text, at, 'Z') && !take(text, at, 'z')) {
        int sign = 0;
        if (take(text, at, '+'))
            sign = 1;
        else if (take(text, at, '-'))
            sign = -1;
        int offsetHour = 0, offsetMinute = 0;
        if (sign == 0 || !digits(text, at, 2, offsetHour)) return std::nullopt;
        take(text, at, ':');
        if (!digits(text, at, 2, offsetMinute)) return std::nullopt;
        if (offsetHour > 23 || offsetMinute > 59) return std::nullopt;
        offsetMinutes = sign * (offsetHour * 60 + offsetMinute);
    }
    if (at != text.size()) return std::nullopt;

    const year_month_day date{std::chrono::year{year},
                              std::chrono::month{static_cast<unsigned>(month)},
                              std::chrono::day{static_cast<unsigned>(day)}};
    // A leap second (60) reads as the first second of the next minute.
    if (!date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;

    const std::int64_t wholeSeconds = sys_days{date}.time_since_epoch().count() * 86'400LL +
                                      hour * 3600LL + minute * 60LL + second - offsetMinutes * 60LL;
    // The clock counts nanoseconds in 64 bits: about the years 1677 to 2262.
    constexpr auto limit = duration_cast<seconds>(SystemTime::duration::max()).count() - 1;
    if (wholeSeconds > limit || wholeSeconds < -limit) return std::nullopt;
    return SystemTime{duration_cast<SystemTime::duration>(seconds{wholeSeconds}) +
                      duration_cast<SystemTime::duration>(nanoseconds{nanos})};
}

}  // namespace platform
