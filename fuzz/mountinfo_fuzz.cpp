// The text of /proc/self/mountinfo, read line by line with the kernel's octal escapes.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/linux/linux_mounts.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto mounts = platform::LinuxMounts::parse(text);
    volatile std::size_t count = mounts.size();
    (void)count;
    return 0;
}
