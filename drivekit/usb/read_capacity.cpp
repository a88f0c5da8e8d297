#include "drivekit/usb/read_capacity.hpp"

#include <limits>

namespace drivekit::ReadCapacity {
namespace {

std::uint64_t bigEndian(ByteView bytes, std::size_t at, std::size_t length) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < length; ++i) value = (value << 8) | bytes[at + i];
    return value;
}

}  // namespace

Bytes command10() { return Bytes{0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}; }

Bytes command16() { return Bytes{0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0}; }

bool needsSixteen(ByteView answer10) {
    return answer10.size() >= 8 && bigEndian(answer10, 0, 4) == 0xFFFFFFFFu;
}

std::optional<Capacity> decode(ByteView answer, bool sixteen) {
    const std::size_t lbaLength = sixteen ? 8 : 4;
    if (answer.size() < lbaLength + 4) return std::nullopt;
    const std::uint64_t lastBlock = bigEndian(answer, 0, lbaLength);
    const std::uint64_t allOnes =
        sixteen ? std::numeric_limits<std::uint64_t>::max() : 0xFFFFFFFFu;
    if (lastBlock == allOnes) return std::nullopt;
    return Capacity{lastBlock + 1, static_cast<std::uint32_t>(bigEndian(answer, lbaLength, 4))};
}

std::optional<std::uint64_t> bytes(const Capacity& capacity) {
    std::uint64_t total = 0;
    if (__builtin_mul_overflow(capacity.blocks, std::uint64_t{capacity.blockLength}, &total)) {
        return std::nullopt;
    }
    return total;
}

}  // namespace drivekit::ReadCapacity
