#include "drivekit/usb/bot.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "drivekit/core/text.hpp"
#include "drivekit/usb/usb_error_text.hpp"

namespace drivekit::BOT {
namespace {

constexpr std::uint8_t dataInFlag = 0x80;

// A caller that builds a command the wire can't carry has a bug; sending a cut-down
// command to a drive instead would be worse than stopping.
[[noreturn]] void programmingFault(const char* what) {
    std::fprintf(stderr, "Bulk-Only: %s\n", what);
    std::abort();
}

void putLE32(std::uint8_t* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

// One read of the status wrapper into a fresh buffer: the block, or the platform's error.
struct StatusRead {
    Bytes block;
    std::optional<platform::USBError> error;
};

StatusRead readStatusBlock(platform::USBDevice& device, std::uint8_t bulkIn, double timeout) {
    Bytes block(cswLength, 0);
    const platform::USBTransfer transfer = device.bulkTransfer(bulkIn, block, timeout);
    if (!transfer.ok()) return {{}, transfer.error};
    block.resize(std::min(transfer.transferred, cswLength));
    return {std::move(block), std::nullopt};
}

// The status of the command with `tag`. A block that is short, unsigned or stale (the
// tag of another command, left over from an earlier exchange) is read once more, without
// a halt clear; a first read that failed is read once more after clearing the halt.
Result<Status, CaptureFailure> readStatus(platform::USBDevice& device, std::uint8_t bulkIn,
                                          std::uint32_t tag, double timeout) {
    for (int attempt = 1; attempt <= 2; ++attempt) {
        const StatusRead read = readStatusBlock(device, bulkIn, timeout);
        if (read.error) {
            if (attempt == 2) {
                return Unexpected(CaptureFailure::transport("status: " + read.error->description));
            }
            (void)device.clearHalt(bulkIn);
            continue;
        }
        const auto status = parseStatus(read.block);
        if (status && status->tag == tag) return *status;
    }
    return Unexpected(CaptureFailure::transport("bad status block"));
}

}  // namespace

std::array<std::uint8_t, cbwLength> commandBlockWrapper(std::uint32_t tag,
                                                        std::uint32_t dataLength, bool dataIn,
                                                        std::uint8_t lun, ByteView cdb) {
    if (cdb.empty() || cdb.size() > maxCDBLength) {
        programmingFault("a command block must be 1 to 16 bytes");
    }
    std::array<std::uint8_t, cbwLength> wrapper{};
    putLE32(&wrapper[0], cbwSignature);
    putLE32(&wrapper[4], tag);
    putLE32(&wrapper[8], dataLength);
    wrapper[12] = dataIn ? dataInFlag : 0x00;
    wrapper[13] = lun & 0x0F;
    wrapper[14] = static_cast<std::uint8_t>(cdb.size());
    std::copy(cdb.begin(), cdb.end(), wrapper.begin() + 15);
    return wrapper;
}

std::optional<Status> parseStatus(ByteView bytes) {
    if (bytes.size() < cswLength || le32(bytes, 0) != cswSignature) return std::nullopt;
    return Status{le32(bytes, 4), le32(bytes, 8), bytes[12]};
}

Result<Bytes, CaptureFailure> send(const Pipes& pipes, std::uint32_t& tag, ByteView cdb,
                                   std::int64_t dataIn, double timeoutSeconds,
                                   IOBufferPool& buffers, DiagnosticsLog& log) {
    if (pipes.device == nullptr || !pipes.bulkIn || !pipes.bulkOut) {
        return Unexpected(CaptureFailure::of(CaptureFailure::Kind::pipes));
    }
    platform::USBDevice& device = *pipes.device;
    const std::uint8_t bulkIn = *pipes.bulkIn;

    tag += 1;  // unsigned: 0xFFFFFFFF is followed by 0
    if (dataIn < 0 || dataIn > std::int64_t{std::numeric_limits<std::uint32_t>::max()}) {
        programmingFault("data-in length out of range");
    }
    const auto wanted = static_cast<std::uint32_t>(dataIn);
    const auto wrapper = commandBlockWrapper(tag, wanted, wanted != 0, pipes.lun, cdb);
    const auto cbw = buffers.buffer("cbw", cbwLength);
    std::copy(wrapper.begin(), wrapper.end(), cbw.begin());

    const std::string opcode = text::format("%02X", cdb[0]);

    const platform::USBTransfer sent = device.bulkTransfer(*pipes.bulkOut, cbw, timeoutSeconds);
    if (!sent.ok()) {
        log.note("cmd " + opcode + ": CBW failed: " + codeText(*sent.error));
        return Unexpected(CaptureFailure::transport("command: " + sent.error->description));
    }

    Bytes data;
    if (wanted != 0) {
        const auto buffer = buffers.buffer("data", wanted);
        const platform::USBTransfer read = device.bulkTransfer(bulkIn, buffer, timeoutSeconds);
        if (read.ok()) {
            const std::size_t moved = std::min(read.transferred, buffer.size());
            data.assign(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(moved));
        } else {
            log.note("cmd " + opcode + ": data phase: " + codeText(*read.error));
            (void)device.clearHalt(bulkIn);
        }
    }

    const auto status = readStatus(device, bulkIn, tag, timeoutSeconds);
    if (!status) {
        log.note("cmd " + opcode + ": status: " + status.error().text());
        return Unexpected(status.error());
    }
    const auto line = [&] {
        return "cmd " + opcode + text::format(": status %d, %zu bytes", status->status, data.size());
    };
    if (status->status != 0) {
        log.note(line());
        return Unexpected(CaptureFailure::commandFailed(status->status));
    }
    log.noteSuccess(line);
    return data;
}

}  // namespace drivekit::BOT
