#pragma once
// LocalFormat: the one place where numbers and short texts are put into the user's
// locale, so a percent sign or a decimal comma is the same everywhere. Backed by ICU.
// A Locale is an ICU/BCP 47 identifier such as "en_US", "de_DE", "fr_FR", "ja_JP".
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace drivekit {

struct Locale {
    std::string id = "en_US";
    /// The user's locale from the environment (LC_ALL, LC_NUMERIC, LANG), "en_US" when
    /// none is set or it is "C"/"POSIX".
    static Locale current();
};

namespace LocalFormat {

/// Integer with the locale's grouping: 1,234,567 (en), 1.234.567 (de), 1 234 567 (fr).
std::string count(std::int64_t value, const Locale& locale);
std::string count(std::uint64_t value, const Locale& locale);
/// Integer without any grouping separators, in the locale's digits.
std::string plainCount(std::uint64_t value, const Locale& locale);
/// Integer percent in the locale's percent style: 98% (en), 98 % (de, fr).
std::string percent(std::int64_t value, const Locale& locale);
/// The localised integer followed by " °C".
std::string celsius(std::int64_t value, const Locale& locale);
/// Exactly `digits` fraction digits, rounded halves away from zero: 1,5 (de) for 1.5.
std::string decimal(double value, int digits, const Locale& locale);
/// One fraction digit when the value isn't whole, none when it is (link texts).
std::string decimalTrimmed(double value, const Locale& locale);
/// Joins non-empty texts with one blank, no blank after U+3002, U+FF01, U+FF1F.
std::string sentences(const std::vector<std::string>& texts);
/// Keeps a technical term such as "PCIe 3.0 ×4" in one left-to-right piece.
std::string code(std::string_view text);
/// Keeps a range such as "5–9" from being broken at a line end.
std::string unbrokenRange(std::string_view text);

}  // namespace LocalFormat

/// Byte sizes in decimal units (1 KB = 1000 bytes, 1 GB = 10^9), always numeric:
/// "0 bytes", "1 byte", "999 bytes", "512 KB", "1.5 MB", "1.23 GB", "4 TB".
/// Fraction digits: none for bytes and KB, one for MB, two from GB up; trailing zeros
/// dropped; rounding halves away from zero; the number in the locale's format.
namespace ByteSize {
std::string decimal(std::int64_t bytes, const Locale& locale);
}

}  // namespace drivekit
