// A status IU on the UAS status pipe: a Sense IU with its status and sense data, a
// Response IU, or anything else a bridge sends there.
#include <cstddef>
#include <cstdint>

#include "drivekit/health/sense.hpp"
#include "drivekit/usb/uas_transport.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    const ByteView iu(data, size);
    const std::uint8_t status = UAS::statusOf(iu);
    // The sense data of a Sense IU follows its 16-byte header.
    if (status != 0xFF && size > 16) {
        if (const auto sense = Sense::decode(iu.subspan(16))) {
            volatile std::size_t length = Sense::describe(*sense).size();
            (void)length;
        }
    }
    return 0;
}
