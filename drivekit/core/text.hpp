#pragma once
// Text clean-up shared by every decoder of drive data.
#include <cstddef>
#include <string>
#include <string_view>

#include "drivekit/core/bytes.hpp"

namespace drivekit::text {

/// Removes whitespace and control characters (including NUL and Unicode spaces such as
/// U+00A0) from both ends of UTF-8 text.
std::string trimmed(std::string_view utf8);

/// Decodes bytes as UTF-8, replacing each invalid sequence by U+FFFD.
std::string repairedUTF8(ByteView bytes);

/// The field [offset, offset+length) of a buffer as repaired, trimmed UTF-8; the empty
/// text when the buffer ends before the field does.
std::string field(ByteView buffer, std::size_t offset, std::size_t length);

/// printf-style formatting into a std::string, for the fixed technical formats of the
/// program ("0x%08X", "0x%02X").
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

}  // namespace drivekit::text
