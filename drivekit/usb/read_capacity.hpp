#pragma once
// READ CAPACITY (10) and (16): the command blocks and their answers, the number of blocks
// and the block length of the medium behind a SCSI layer. Pure byte work; an enclosure's
// answer is untrusted, so a short or impossible one is absent.
#include <cstdint>
#include <optional>

#include "drivekit/core/bytes.hpp"

namespace drivekit::ReadCapacity {

struct Capacity {
    std::uint64_t blocks = 0;
    std::uint32_t blockLength = 0;

    bool operator==(const Capacity&) const = default;
};

/// 25h, ten bytes: eight bytes of answer.
Bytes command10();
/// SERVICE ACTION IN (16) 9Eh with READ CAPACITY (16) 10h, 32 bytes of answer asked for.
Bytes command16();

/// The answer of (10) (at least 8 bytes) or of (16) (at least 12); nothing when it is
/// shorter, or when its last block number leaves no count (FFFFFFFFh in (10) means "too
/// large, ask (16)"; all ones in (16) can't be counted).
std::optional<Capacity> decode(ByteView answer, bool sixteen);

/// Whether an answer of (10) says the medium is too large for it.
bool needsSixteen(ByteView answer10);

/// The medium's bytes; nothing when they don't fit 64 bits.
std::optional<std::uint64_t> bytes(const Capacity& capacity);

}  // namespace drivekit::ReadCapacity
