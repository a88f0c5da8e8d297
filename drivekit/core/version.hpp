#pragma once
#include <string_view>

namespace drivekit {

/// The program's version, as "--version" prints it and documents record it.
std::string_view version();

}  // namespace drivekit
