#include "platform/linux/linux_clock.hpp"

namespace platform {

std::chrono::system_clock::time_point LinuxClock::now() const {
    return std::chrono::system_clock::now();
}

std::chrono::steady_clock::time_point LinuxClock::steadyNow() const {
    return std::chrono::steady_clock::now();
}

}  // namespace platform
