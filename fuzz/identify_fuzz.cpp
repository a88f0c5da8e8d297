// IDENTIFY DEVICE decoding on arbitrary bytes: what an enclosure may hand back.
#include <cstddef>
#include <cstdint>

#include "drivekit/health/ata_identity.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto identity = drivekit::ATAIdentity::decode(drivekit::ByteView(data, size));
    if (identity) {
        volatile std::int64_t capacity = identity->capacityBytes();
        volatile bool ssd = identity->isSSD().value_or(false);
        (void)capacity;
        (void)ssd;
    }
    return 0;
}
