#include "drivekit/core/version.hpp"

namespace drivekit {

std::string_view version() { return "0.1.0"; }

}  // namespace drivekit
