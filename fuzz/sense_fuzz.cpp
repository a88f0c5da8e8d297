// Sense data decoding on arbitrary bytes, as a SCSI layer or a USB bridge might hand it back
// after CHECK CONDITION: key and codes, the ATA registers, and the log line.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "drivekit/health/ata_smart_lib.hpp"
#include "drivekit/health/sense.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    const ByteView sense(data, size);
    const auto decoded = Sense::decode(sense);
    if (decoded) {
        volatile std::size_t length = Sense::describe(*decoded).size();
        (void)length;
    }
    // Registers only ever come from sense data that decodes.
    if (Sense::ataRegisters(sense) && !decoded) std::abort();
    const auto status = ATASMARTLib::statusFromAnswer(sense);
    if (status == SMARTStatus::notSupported) std::abort();
    return 0;
}
