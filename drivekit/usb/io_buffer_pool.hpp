#pragma once
// IOBufferPool: the transfer buffers of one capture, reused from command to command so
// that a scan of many reads doesn't allocate a buffer for each. A buffer is asked for by
// a name ("cbw", "data", ...) and a length; the pool keeps one buffer per name and
// length until it is emptied, which the capture does before it gives the device back.
//
// The pool belongs to one capture and is used from the thread that sends its commands.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/diagnostics_log.hpp"
#include "platform/usb_device.hpp"

namespace drivekit {

class IOBufferPool {
public:
    using Make = std::function<std::unique_ptr<platform::USBBuffer>(std::size_t length)>;

    /// Ordinary memory unless told otherwise.
    IOBufferPool();
    explicit IOBufferPool(Make make);

    IOBufferPool(const IOBufferPool&) = delete;
    IOBufferPool& operator=(const IOBufferPool&) = delete;

    /// The buffer kept under "<name> <length>" ("data 65536"), made when there is none
    /// of that length yet. The span stays valid until the pool is emptied.
    std::span<std::uint8_t> buffer(std::string_view name, std::size_t length);

    /// Drops every buffer.
    void empty();

    /// How many buffers were ever made.
    std::size_t made() const noexcept { return made_; }

private:
    Make make_;
    std::map<std::string, std::unique_ptr<platform::USBBuffer>, std::less<>> buffers_;
    std::size_t made_ = 0;
};

/// An allocator that asks `device` for memory the USB stack maps for zero-copy transfers
/// and, when it has none, notes "<who>: no DMA buffer of %d bytes (%@); using ordinary
/// memory" and falls back to ordinary zero-filled memory. `who` is "Bulk-Only" or "UAS".
/// Without a device it makes ordinary memory and says nothing. `device` and `log` must
/// outlive the pool that uses it.
IOBufferPool::Make deviceMemory(platform::USBDevice* device, DiagnosticsLog& log,
                                std::string who);

}  // namespace drivekit
