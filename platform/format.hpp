#pragma once
// Text helpers every layer shares, from the pass-through logs up.
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// printf-style formatting into a std::string, for the fixed technical formats of the
/// program ("0x%08X", "0x%02X"). Always formats as the C locale does, whatever the
/// process's setlocale says (a GUI toolkit sets it), so "%.1f" never turns into "1,5";
/// numbers shown to users go through LocalFormat instead.
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

/// The non-empty pieces of `text` between separators: "/sys//block/" gives "sys", "block".
std::vector<std::string> split(std::string_view text, char separator);

}  // namespace platform
