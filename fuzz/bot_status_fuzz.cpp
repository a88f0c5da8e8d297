// A Bulk-Only Command Status Wrapper as an enclosure might send it: any length, any
// signature, any residue and status.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "drivekit/usb/bot.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    const auto status = BOT::parseStatus(ByteView(data, size));
    if (status && size < 13) std::abort();
    return 0;
}
