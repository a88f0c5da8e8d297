#include "drivekit/core/local_format.hpp"

#include "drivekit/core/icu_data.hpp"

#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/unistr.h>
#include <unicode/ures.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace drivekit {
namespace {

namespace number = icu::number;
using Formatter = number::LocalizedNumberFormatter;

constexpr std::string_view kFallbackLocale = "en_US";
constexpr int kMaxDigits = 20;
constexpr int kCachedDigits = 6;
// Locales are few in one process (the user's, and the fixed ones of tests and renders);
// the bound only keeps a caller that invents identifiers from growing the cache.
constexpr std::size_t kMaxCachedLocales = 32;

// Texts by their code points, spelled as UTF-8 bytes so no source encoding is involved.
constexpr std::string_view kNoBreakSpace = "\xC2\xA0";            // U+00A0
constexpr std::string_view kTimes = "\xC3\x97";                   // U+00D7 ×
constexpr std::string_view kEnDash = "\xE2\x80\x93";              // U+2013
constexpr std::string_view kWordJoiner = "\xE2\x81\xA0";          // U+2060
constexpr std::string_view kLeftToRightIsolate = "\xE2\x81\xA6";  // U+2066
constexpr std::string_view kPopIsolate = "\xE2\x81\xA9";          // U+2069
constexpr std::string_view kDegreesCelsius =
    " \xC2\xB0"
    "C";  // " °C"
constexpr std::array<std::string_view, 3> kFullWidthStops = {
    "\xE3\x80\x82",  // U+3002 ideographic full stop
    "\xEF\xBC\x81",  // U+FF01 full-width exclamation mark
    "\xEF\xBC\x9F",  // U+FF1F full-width question mark
};

// Everything a locale needs, built once. LocalizedNumberFormatter is immutable and safe
// to use from several threads at once.
struct Formatters {
    Formatter base;
    Formatter grouped;
    Formatter plain;
    Formatter percent;
    std::array<Formatter, kCachedDigits + 1> fixed;  // exactly d fraction digits
    std::array<Formatter, 3> upTo;                   // at most d, trailing zeros dropped
};

Formatter fixedFormatter(const Formatter& base, int digits) {
    return base.precision(number::Precision::fixedFraction(digits))
        .roundingMode(UNUM_ROUND_HALFUP)  // ICU's "half up" is away from zero for negatives
        .sign(UNUM_SIGN_NEGATIVE);        // -0.4 with no digits is "0", not "-0"
}

bool isLocaleName(std::string_view id) {
    return !id.empty() && id.size() <= 100 && std::all_of(id.begin(), id.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '-';
    });
}

// The ICU locale that formats for `id`. ICU quietly falls back to the process's default
// locale for a language it has no data for, which would make the result depend on the
// environment; such a locale formats as en_US instead.
icu::Locale resolve(const std::string& id) {
    const icu::Locale fallback(kFallbackLocale.data());
    if (!isLocaleName(id)) return fallback;
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale = id.find('-') != std::string::npos
                                   ? icu::Locale::forLanguageTag(id, status)
                                   : icu::Locale(id.c_str());
    if (U_FAILURE(status) || locale.isBogus()) return fallback;
    status = U_ZERO_ERROR;
    UResourceBundle* bundle = ures_open(nullptr, locale.getName(), &status);
    if (bundle) ures_close(bundle);
    if (U_FAILURE(status) || status == U_USING_DEFAULT_WARNING) return fallback;
    return locale;
}

std::shared_ptr<const Formatters> build(const icu::Locale& locale) {
    auto made = std::make_shared<Formatters>();
    // ICU builds a formatter's data on its third use and, until then, builds it anew for
    // each number; a command that formats a few numbers of each kind paid that twice for
    // every formatter. Built on first use instead (ICU's own knob for this, stable since 60).
    made->base = number::NumberFormatter::withLocale(locale).threshold(1);
    made->grouped = made->base;
    made->plain = made->base.grouping(UNUM_GROUPING_OFF);
    made->percent = made->base.unit(icu::NoUnit::percent());
    for (int d = 0; d <= kCachedDigits; ++d) {
        made->fixed[static_cast<std::size_t>(d)] = fixedFormatter(made->base, d);
    }
    for (int d = 0; d < 3; ++d) {
        made->upTo[static_cast<std::size_t>(d)] =
            made->base.precision(number::Precision::maxFraction(d)).roundingMode(UNUM_ROUND_HALFUP);
    }
    return made;
}

std::shared_ptr<const Formatters> formattersFor(const Locale& locale) {
    // Never destroyed: a background thread may still format while the process exits.
    static auto* mutex = new std::mutex;
    static auto* cache = new std::map<std::string, std::shared_ptr<const Formatters>, std::less<>>;
    {
        const std::lock_guard lock(*mutex);
        if (const auto found = cache->find(locale.id); found != cache->end()) return found->second;
    }
    // Built outside the lock; when two threads race, the first one stored wins.
    ICUData::ensure();
    std::shared_ptr<const Formatters> made = build(resolve(locale.id));
    const std::lock_guard lock(*mutex);
    if (cache->size() >= kMaxCachedLocales) return made;
    return cache->emplace(locale.id, std::move(made)).first->second;
}

std::string utf8(const number::FormattedNumber& formatted, UErrorCode& status) {
    const icu::UnicodeString text = formatted.toString(status);
    std::string out;
    if (U_SUCCESS(status)) text.toUTF8String(out);
    return out;
}

// ICU reports failure only for memory exhaustion and the like; the plain C++ rendering
// is then better than nothing.
std::string formatInt(const Formatter& formatter, std::int64_t value) {
    UErrorCode status = U_ZERO_ERROR;
    std::string out = utf8(formatter.formatInt(value, status), status);
    return U_SUCCESS(status) ? out : std::to_string(value);
}

std::string formatDecimal(const Formatter& formatter, const std::string& value) {
    UErrorCode status = U_ZERO_ERROR;
    std::string out = utf8(formatter.formatDecimal(value, status), status);
    return U_SUCCESS(status) ? out : value;
}

std::string formatUnsigned(const Formatter& formatter, std::uint64_t value) {
    if (value <= static_cast<std::uint64_t>(INT64_MAX)) {
        return formatInt(formatter, static_cast<std::int64_t>(value));
    }
    return formatDecimal(formatter, std::to_string(value));
}

// The locale this program runs in most (no LANG, C, POSIX, en_US) is formatted without
// ICU: finding ICU's locale data and building its formatters cost a one-shot command in an
// emulator or on a small board more than everything else it formats, and en_US's rules are
// short: a comma every three digits, a point, a hyphen-minus, a plain percent sign. A test
// holds these to ICU's own en_US.
bool plainEnglish(const Locale& locale) { return locale.id == kFallbackLocale; }

std::string grouped(std::string_view digits) {
    std::string out;
    out.reserve(digits.size() + digits.size() / 3);
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
        out += digits[i];
    }
    return out;
}

std::string englishInteger(std::uint64_t magnitude, bool negative, bool grouping) {
    const std::string digits = std::to_string(magnitude);
    return (negative ? "-" : "") + (grouping ? grouped(digits) : digits);
}

std::string englishInteger(std::int64_t value) {
    const bool negative = value < 0;
    return englishInteger(negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value),
                          negative, true);
}

// A decimal text ("-12.345") rounded half away from zero to `digits` fraction digits,
// grouped; without trailing zeros when `trim`. Nothing reads "-0".
std::string englishDecimal(std::string_view text, std::size_t digits, bool trim) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) text.remove_prefix(1);
    const std::size_t point = text.find('.');
    std::string whole(text.substr(0, point));
    std::string fraction(point == std::string_view::npos ? std::string_view() : text.substr(point + 1));
    if (whole.empty()) whole = "0";
    const bool up = fraction.size() > digits && fraction[digits] >= '5';
    fraction.resize(digits, '0');
    if (up) {
        std::string all = whole + fraction;
        std::size_t i = all.size();
        while (i > 0 && all[i - 1] == '9') all[--i] = '0';
        if (i == 0) {
            all.insert(all.begin(), '1');
        } else {
            ++all[i - 1];
        }
        whole = all.substr(0, all.size() - digits);
        fraction = all.substr(all.size() - digits);
    }
    if (trim) {
        while (!fraction.empty() && fraction.back() == '0') fraction.pop_back();
    }
    const bool zero = std::all_of(whole.begin(), whole.end(), [](char c) { return c == '0'; }) &&
                      std::all_of(fraction.begin(), fraction.end(), [](char c) { return c == '0'; });
    std::string out = negative && !zero ? "-" : "";
    out += grouped(whole);
    if (!fraction.empty()) out += "." + fraction;
    return out;
}

// The double as its shortest decimal form, rounded as written. ICU words NaN and the
// infinities, and spells the digits of huge values its own way: those go to ICU.
std::optional<std::string> englishDecimal(double value, int digits) {
    if (!std::isfinite(value) || std::fabs(value) >= 1e15) return std::nullopt;
    std::array<char, 64> buffer{};
    const auto [end, error] =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed);
    if (error != std::errc()) return std::nullopt;
    return englishDecimal(std::string_view(buffer.data(), static_cast<std::size_t>(end - buffer.data())),
                          static_cast<std::size_t>(digits), false);
}

bool endsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

std::string replaceAll(std::string_view text, std::string_view what, std::string_view with) {
    std::string out;
    out.reserve(text.size());
    std::size_t from = 0;
    for (std::size_t at = text.find(what); at != std::string_view::npos;
         at = text.find(what, from)) {
        out.append(text.substr(from, at - from));
        out.append(with);
        from = at + what.size();
    }
    out.append(text.substr(from));
    return out;
}

constexpr std::uint64_t pow10(int exponent) {
    std::uint64_t v = 1;
    for (int i = 0; i < exponent; ++i) v *= 10;
    return v;
}

}  // namespace

Locale Locale::current() {
    for (const char* name : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
        const char* value = std::getenv(name);
        if (!value || !*value) continue;
        std::string_view id(value);
        id = id.substr(0, id.find_first_of(".@"));  // "de_DE.UTF-8@euro" -> "de_DE"
        if (id == "C" || id == "POSIX" || !isLocaleName(id)) break;
        return Locale{std::string(id)};
    }
    return Locale{};
}

namespace LocalFormat {

std::string count(std::int64_t value, const Locale& locale) {
    if (plainEnglish(locale)) return englishInteger(value);
    return formatInt(formattersFor(locale)->grouped, value);
}

std::string count(std::uint64_t value, const Locale& locale) {
    if (plainEnglish(locale)) return englishInteger(value, false, true);
    return formatUnsigned(formattersFor(locale)->grouped, value);
}

std::string plainCount(std::uint64_t value, const Locale& locale) {
    if (plainEnglish(locale)) return englishInteger(value, false, false);
    return formatUnsigned(formattersFor(locale)->plain, value);
}

std::string percent(std::int64_t value, const Locale& locale) {
    if (plainEnglish(locale)) return englishInteger(value) + "%";
    return formatInt(formattersFor(locale)->percent, value);
}

std::string celsius(std::int64_t value, const Locale& locale) {
    return count(value, locale) + std::string(kDegreesCelsius);
}

std::string decimal(double value, int digits, const Locale& locale) {
    digits = std::clamp(digits, 0, kMaxDigits);
    if (plainEnglish(locale)) {
        if (auto english = englishDecimal(value, digits)) return *std::move(english);
    }
    const auto formatters = formattersFor(locale);
    const Formatter uncached =
        digits > kCachedDigits ? fixedFormatter(formatters->base, digits) : Formatter();
    const Formatter& formatter =
        digits > kCachedDigits ? uncached : formatters->fixed[static_cast<std::size_t>(digits)];
    UErrorCode status = U_ZERO_ERROR;
    std::string out = utf8(formatter.formatDouble(value, status), status);
    return U_SUCCESS(status) ? out : std::to_string(value);
}

std::string decimalTrimmed(double value, const Locale& locale) {
    const bool whole = !std::isfinite(value) || value == std::trunc(value);
    return decimal(value, whole ? 0 : 1, locale);
}

std::string sentences(const std::vector<std::string>& texts) {
    std::string out;
    for (const std::string& text : texts) {
        if (text.empty()) continue;
        const bool blank =
            !out.empty() && std::none_of(kFullWidthStops.begin(), kFullWidthStops.end(),
                                         [&](auto stop) { return endsWith(out, stop); });
        if (blank) out += ' ';
        out += text;
    }
    return out;
}

std::string code(std::string_view text) {
    const std::string joined = replaceAll(text, std::string(" ") + std::string(kTimes),
                                          std::string(kNoBreakSpace) + std::string(kTimes));
    return std::string(kLeftToRightIsolate) + joined + std::string(kPopIsolate);
}

std::string unbrokenRange(std::string_view text) {
    return replaceAll(text, kEnDash,
                      std::string(kWordJoiner) + std::string(kEnDash) + std::string(kWordJoiner));
}

}  // namespace LocalFormat

namespace ByteSize {

std::string decimal(std::int64_t bytes, const Locale& locale) {
    struct Unit {
        std::string_view name;
        int exponent;  // of ten
        int digits;    // fraction digits at most
    };
    static constexpr std::array<Unit, 6> kUnits = {{
        {"KB", 3, 0},
        {"MB", 6, 1},
        {"GB", 9, 2},
        {"TB", 12, 2},
        {"PB", 15, 2},
        {"EB", 18, 2},
    }};

    const bool english = plainEnglish(locale);
    const auto formatters = english ? nullptr : formattersFor(locale);
    const bool negative = bytes < 0;
    const std::uint64_t magnitude =
        negative ? 0 - static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
    if (magnitude < 1000) {
        return (english ? englishInteger(bytes) : formatInt(formatters->grouped, bytes)) +
               (magnitude == 1 ? " byte" : " bytes");
    }

    // Exact integer arithmetic on the byte count: the number shown is the count in units
    // of the last fraction digit, rounded halves away from zero. A count that reaches 1000
    // of a unit belongs to the next unit (999,999 bytes is 1000 KB, so 1 MB).
    for (std::size_t i = 0; i < kUnits.size(); ++i) {
        const Unit& unit = kUnits[i];
        const std::uint64_t step = pow10(unit.exponent - unit.digits);
        const std::uint64_t remainder = magnitude % step;
        const std::uint64_t steps = magnitude / step + (remainder >= step - remainder ? 1 : 0);
        const std::uint64_t perWhole = pow10(unit.digits);
        if (steps >= 1000 * perWhole && i + 1 < kUnits.size()) continue;

        std::string number = negative ? "-" : "";
        number += std::to_string(steps / perWhole);
        if (unit.digits > 0) {
            const std::string fraction = std::to_string(steps % perWhole);
            number += '.';
            number.append(static_cast<std::size_t>(unit.digits) - fraction.size(), '0');
            number += fraction;
        }
        const std::string shown =
            english ? englishDecimal(number, static_cast<std::size_t>(unit.digits), true)
                    : formatDecimal(formatters->upTo[static_cast<std::size_t>(unit.digits)], number);
        return shown + " " + std::string(unit.name);
    }
    return {};  // not reached: the last unit takes every count
}

}  // namespace ByteSize

}  // namespace drivekit
