// A configuration descriptor as a USB device reports it, read for its interfaces and
// endpoints and for the UAS pipe table of every setting it names.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "drivekit/usb/usb_descriptors.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    const ByteView descriptor(data, size);
    const auto configuration = USBDescriptors::parse(descriptor);
    if (!configuration) return 0;
    if (const auto number = USBDescriptors::massStorageInterface(*configuration)) {
        for (const auto* setting : configuration->alternates(*number)) {
            const auto pipes =
                USBDescriptors::pipeTable(descriptor, *number, setting->alternate);
            if (pipes.size() > size) std::abort();
        }
        (void)configuration->firstMassStorage(*number, 0x62);
    }
    return 0;
}
