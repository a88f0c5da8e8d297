// The answers to READ CAPACITY (10) and (16) as an enclosure might give them.
#include <cstddef>
#include <cstdint>

#include "drivekit/usb/read_capacity.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    const ByteView answer(data, size);
    for (const bool sixteen : {false, true}) {
        if (const auto capacity = ReadCapacity::decode(answer, sixteen)) {
            volatile auto bytes = ReadCapacity::bytes(*capacity);
            (void)bytes;
        }
    }
    return 0;
}
