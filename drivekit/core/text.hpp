#pragma once
// Text clean-up shared by every decoder of drive data. Drive text fields are untrusted
// bytes: any byte sequence goes in, valid UTF-8 always comes out, nothing throws, and a
// field the buffer doesn't fully hold is the empty text. Pure functions, safe from any
// thread.
#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "drivekit/core/bytes.hpp"
#include "platform/format.hpp"

namespace drivekit::text {

/// Removes whitespace and control characters from both ends of UTF-8 text: C0/C1
/// controls including NUL, format characters (Cf, such as U+200B and U+FEFF), and every
/// Unicode space and line or paragraph separator (such as U+00A0 and U+3000). Characters
/// inside the text are kept; an invalid byte at an end stops the trimming there.
std::string trimmed(std::string_view utf8);

/// Decodes bytes as UTF-8, replacing each maximal invalid subsequence by one U+FFFD (the
/// Unicode recommended practice). Valid input, NUL bytes included, comes out unchanged.
std::string repairedUTF8(ByteView bytes);

/// The field [offset, offset+length) of a buffer as repaired, trimmed UTF-8; the empty
/// text when the buffer ends before the field does.
std::string field(ByteView buffer, std::size_t offset, std::size_t length);

/// Text from a drive, a file system or a process made safe to show on a terminal: every
/// control character (C0 including tab and newline, DEL, C1) and every character that
/// reorders or breaks lines (bidirectional overrides and isolates, U+2028, U+2029) is
/// written as an escape ("\x1b", "\u202e"), each invalid UTF-8 sequence as U+FFFD, and
/// everything else, valid non-ASCII text included, is kept. A volume label can then neither
/// move the cursor, retitle the window nor fake a line of output.
std::string printable(std::string_view text);

/// The text with ASCII letters lowered and every other byte kept, whatever the process
/// locale: model names and the words compared are ASCII, and a Turkish dotless i or a
/// text in another script must not change what matches.
constexpr char asciiLower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
std::string asciiLowered(std::string_view text);

/// The text, or nothing when there is none or it is empty: a drive that reports a blank
/// field hasn't reported it.
inline std::optional<std::string> nonEmpty(std::optional<std::string> text) {
    if (text && text->empty()) return std::nullopt;
    return text;
}

/// A whole number written in `base`, as sysfs attributes and kernel fields hold them:
/// blanks before it and blanks or a newline after it are allowed; anything else, a sign
/// included, makes it no number.
template <typename Number>
std::optional<Number> number(std::string_view text, int base = 10) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\n')) text.remove_suffix(1);
    if (text.empty()) return std::nullopt;
    Number value{};
    const auto* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value, base);
    if (ec != std::errc{} || ptr != end) return std::nullopt;
    return value;
}

/// printf-style formatting in the C locale (platform/format.hpp).
using platform::format;

}  // namespace drivekit::text
