#pragma once
// Little helpers for reading drive data out of byte buffers. Multi-byte drive data is
// little-endian unless a wire format (SCSI) says otherwise. Bytes past the end of the
// buffer read as 0, so a short page yields absent or zero fields instead of undefined
// behaviour, whatever the offset. A field wider than 8 bytes gives its low 64 bits, the
// way the 128-bit NVMe counters are read.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace platform {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

inline std::uint64_t readLE(ByteView data, std::size_t offset, std::size_t width) noexcept {
    // Compared as "i < size - offset" so that an offset near SIZE_MAX can't wrap round.
    if (offset >= data.size()) return 0;
    const std::size_t available = data.size() - offset;
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < width && i < 8 && i < available; ++i) {
        v |= static_cast<std::uint64_t>(data[offset + i]) << (8 * i);
    }
    return v;
}
inline std::uint16_t le16(ByteView d, std::size_t o) noexcept {
    return static_cast<std::uint16_t>(readLE(d, o, 2));
}
inline std::uint32_t le32(ByteView d, std::size_t o) noexcept {
    return static_cast<std::uint32_t>(readLE(d, o, 4));
}
inline std::uint64_t le64(ByteView d, std::size_t o) noexcept {
    return readLE(d, o, 8);
}

inline std::uint64_t readBE(ByteView data, std::size_t offset, std::size_t width) noexcept {
    const std::size_t available = offset < data.size() ? data.size() - offset : 0;
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < width; ++i) {
        v = (v << 8) | (i < available ? data[offset + i] : 0u);
    }
    return v;
}
inline std::uint16_t be16(ByteView d, std::size_t o) noexcept {
    return static_cast<std::uint16_t>(readBE(d, o, 2));
}
inline std::uint32_t be32(ByteView d, std::size_t o) noexcept {
    return static_cast<std::uint32_t>(readBE(d, o, 4));
}
inline std::uint64_t be64(ByteView d, std::size_t o) noexcept {
    return readBE(d, o, 8);
}

/// Writes the low `width` bytes of `value` big-endian at `offset`, as SCSI command blocks
/// carry their fields; the caller sizes `out` for them.
inline void putBE(std::span<std::uint8_t> out, std::size_t offset, std::uint64_t value,
                  std::size_t width) noexcept {
    for (std::size_t i = 0; i < width; ++i) {
        out[offset + i] = static_cast<std::uint8_t>(value >> (8 * (width - 1 - i)));
    }
}

}  // namespace platform
