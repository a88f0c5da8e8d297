#include "platform/linux/errno_text.hpp"

#include <cstring>

namespace platform {

std::string errnoText(int error) {
    char buffer[256] = {};
    // The GNU strerror_r may return a static string instead of filling the buffer.
    const char* text = strerror_r(error, buffer, sizeof buffer);
    return std::string(text) + " (" + std::to_string(error) + ")";
}

}  // namespace platform
