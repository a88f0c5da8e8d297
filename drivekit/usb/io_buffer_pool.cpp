#include "drivekit/usb/io_buffer_pool.hpp"

#include <utility>

#include "drivekit/core/text.hpp"

namespace drivekit {

IOBufferPool::IOBufferPool()
    : IOBufferPool([](std::size_t length) {
          return std::make_unique<platform::HeapUSBBuffer>(length);
      }) {}

IOBufferPool::IOBufferPool(Make make) : make_(std::move(make)) {}

std::span<std::uint8_t> IOBufferPool::buffer(std::string_view name, std::size_t length) {
    std::string key = std::string(name) + " " + std::to_string(length);
    auto found = buffers_.find(key);
    if (found != buffers_.end() && found->second && found->second->bytes().size() == length) {
        return found->second->bytes();
    }
    auto made = make_(length);
    if (!made || made->bytes().size() != length) {
        made = std::make_unique<platform::HeapUSBBuffer>(length);
    }
    ++made_;
    const auto bytes = made->bytes();
    buffers_.insert_or_assign(std::move(key), std::move(made));
    return bytes;
}

void IOBufferPool::empty() { buffers_.clear(); }

IOBufferPool::Make deviceMemory(platform::USBDevice* device, DiagnosticsLog& log,
                                std::string who) {
    return [device, &log, who = std::move(who)](
               std::size_t length) -> std::unique_ptr<platform::USBBuffer> {
        if (device == nullptr) return std::make_unique<platform::HeapUSBBuffer>(length);
        auto memory = device->deviceMemory(length);
        if (memory) return std::move(memory).value();
        log.note(who +
                 text::format(": no DMA buffer of %zu bytes (", length) +
                 memory.error().description + "); using ordinary memory");
        return std::make_unique<platform::HeapUSBBuffer>(length);
    };
}

}  // namespace drivekit
