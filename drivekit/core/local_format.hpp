#pragma once
// LocalFormat: the one place where numbers and short texts are put into the user's
// locale, so a percent sign or a decimal comma is the same everywhere. Backed by ICU's
// locale data; separators are whatever ICU gives (fr groups with U+202F and puts U+00A0
// before %). A locale without ICU data formats as "en_US". Every function is pure as seen
// from outside, never throws, and may be called from any thread; the ICU formatters of
// each locale are built once and shared.
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace drivekit {

/// An ICU/BCP 47 identifier such as "en_US", "de_DE", "fr_FR", "ja_JP" (or "de-DE").
struct Locale {
    std::string id = "en_US";

    /// The user's locale for numbers from the environment: the first non-empty of LC_ALL,
    /// LC_NUMERIC, LANG, without its codeset and modifier ("de_DE.UTF-8" -> "de_DE").
    /// "en_US" when none is set, or it is "C" or "POSIX", or it isn't a locale name.
    static Locale current();

    bool operator==(const Locale&) const = default;
};

namespace LocalFormat {

/// Integer with the locale's grouping: 1,234,567 (en), 1.234.567 (de), 1 234 567 (fr).
std::string count(std::int64_t value, const Locale& locale);
std::string count(std::uint64_t value, const Locale& locale);
/// Any other integer type (int, std::uint32_t, ...), which would otherwise be ambiguous
/// between the two above.
template <std::integral T>
requires(!std::same_as<T, bool>) std::string count(T value, const Locale& locale) {
    if constexpr (std::is_signed_v<T>) {
        return count(static_cast<std::int64_t>(value), locale);
    } else {
        return count(static_cast<std::uint64_t>(value), locale);
    }
}
/// Integer without any grouping separators, in the locale's digits.
std::string plainCount(std::uint64_t value, const Locale& locale);
/// Integer percent in the locale's percent style: 98% (en), 98 % (de, fr). The value is
/// the percent itself, not a fraction: 98 gives 98%.
std::string percent(std::int64_t value, const Locale& locale);
/// The localised integer followed by " °C".
std::string celsius(std::int64_t value, const Locale& locale);
/// Exactly `digits` fraction digits (0 to 20; clamped), with grouping, rounded halves away
/// from zero: 1,5 (de) for 1.5; 2.3 for 2.25; -3 for -2.5 with no digits. The double is
/// taken as its shortest decimal form, so 0.285 rounds to 0.29 as written. A value that
/// rounds to zero shows no minus sign.
std::string decimal(double value, int digits, const Locale& locale);
/// One fraction digit when the value isn't whole, none when it is (link texts): 2.5, 8.
std::string decimalTrimmed(double value, const Locale& locale);
/// Joins non-empty texts with one blank, no blank after U+3002, U+FF01, U+FF1F. All
/// empty gives the empty text.
std::string sentences(const std::vector<std::string>& texts);
/// Keeps a technical term such as "PCIe 3.0 ×4" in one left-to-right piece: each " ×"
/// becomes U+00A0 "×" and the whole is wrapped in U+2066 ... U+2069.
std::string code(std::string_view text);
/// Keeps a range such as "5–9" from being broken at a line end: a word joiner U+2060 on
/// both sides of each en dash U+2013.
std::string unbrokenRange(std::string_view text);

}  // namespace LocalFormat

/// Byte sizes in decimal units (1 KB = 1000 bytes, 1 GB = 10^9), always numeric:
/// "0 bytes", "1 byte", "999 bytes", "512 KB", "1.5 MB", "1.23 GB", "4 TB", up to EB.
/// Fraction digits: none for bytes and KB, one for MB, two from GB up; trailing zeros
/// dropped; rounding halves away from zero on the exact byte count, and a value that
/// rounds up to 1000 of a unit is shown in the next one (999,999 bytes is "1 MB"). The
/// number is in the locale's format ("1,5 MB" in de); the unit words are not translated.
/// Negative counts read like positive ones with a minus sign.
namespace ByteSize {
std::string decimal(std::int64_t bytes, const Locale& locale);
}

}  // namespace drivekit
