// NVMe Identify Controller decoding on arbitrary bytes beside a well-formed SMART log, so that
// every input reaches the text fields (serial, model, firmware) whatever its length.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "drivekit/core/bytes.hpp"
#include "drivekit/health/nvme_health.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    static const Bytes log(NVMeHealth::logSize, 0);
    const auto health = NVMeHealth::decode(log, ByteView(data, size));
    // A full log always decodes; the identify data only fills or leaves out names.
    if (!health) std::abort();
    volatile std::size_t names =
        health->model.size() + health->serial.size() + health->firmware.size();
    (void)names;
    return 0;
}
