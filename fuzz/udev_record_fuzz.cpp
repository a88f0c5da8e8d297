// One file of udev's database (/run/udev/data/b8:1): its E: property lines with udev's
// \x escapes give the file system, label and partition of a block device.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/linux/linux_block_probe.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto content = platform::LinuxBlockProbe::fromUdevRecord(text);
    volatile bool found = content.has_value();
    (void)found;
    return 0;
}
