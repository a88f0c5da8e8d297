// What SG_IO reports after a command: status, host and driver codes, residue and sense,
// in any combination, classified into what the command came to.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/linux/linux_sg_drive.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 13) return 0;
    platform::SGCompletion completion;
    completion.status = data[0];
    std::memcpy(&completion.hostStatus, data + 1, 2);
    std::memcpy(&completion.driverStatus, data + 3, 2);
    std::memcpy(&completion.resid, data + 5, 4);
    std::uint32_t requested = 0;
    std::memcpy(&requested, data + 9, 4);
    completion.sense.assign(data + 13, data + size);
    const auto outcome = platform::classify(completion, requested % 65536);
    if (outcome.length > requested % 65536) std::abort();
    const bool succeeded = outcome.kind == platform::SGOutcome::Kind::data ||
                           outcome.kind == platform::SGOutcome::Kind::ataRegisters;
    if (succeeded != outcome.sentence().empty()) std::abort();
    return 0;
}
