#pragma once
// Thread-safe text of an errno value, for logs and technical detail.
#include <string>

namespace platform {

/// "Permission denied (13)". Unlike strerror, safe from any thread.
std::string errnoText(int error);

}  // namespace platform
