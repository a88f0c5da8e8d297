#include "platform/linux/linux_usb_device.hpp"

#include "platform/linux/linux_usb_recovery.hpp"

#include <libusb.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <list>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr const char* sysfsUSBDevices = "/sys/bus/usb/devices/";
constexpr std::size_t deviceDescriptorLength = 18;
constexpr std::size_t configurationHeaderLength = 9;
constexpr int maxPorts = 8;
// How long giving back waits for stream transfers that were cancelled to come back.
constexpr auto cancelledTransfersWait = std::chrono::seconds(2);

// One context for the process, never exited (see the header).
struct Context {
    libusb_context* context = nullptr;
    int initError = 0;
    std::once_flag eventThreadStarted;
};

Context& processContext() {
    static Context* shared = [] {
        auto* made = new Context;
        made->initError = libusb_init(&made->context);
        return made;
    }();
    return *shared;
}

// Completions of asynchronous transfers run on this thread. Synchronous transfers
// coexist with it: libusb lets whichever thread holds its event lock reap them.
void startEventThread(Context& context) {
    std::call_once(context.eventThreadStarted, [&context] {
        std::thread([ctx = context.context] {
            for (;;) libusb_handle_events(ctx);
        }).detach();
    });
}

unsigned int milliseconds(double seconds) {
    if (!(seconds > 0)) return 1;  // libusb takes 0 as "wait for ever"
    const double ms = std::ceil(seconds * 1000.0);
    if (ms >= static_cast<double>(UINT_MAX)) return UINT_MAX;
    return std::max(1u, static_cast<unsigned int>(ms));
}

USBError transferStatusError(libusb_transfer_status status) {
    switch (status) {
        case LIBUSB_TRANSFER_COMPLETED: return {};
        case LIBUSB_TRANSFER_TIMED_OUT: return libusbError(LIBUSB_ERROR_TIMEOUT);
        case LIBUSB_TRANSFER_STALL: return libusbError(LIBUSB_ERROR_PIPE);
        case LIBUSB_TRANSFER_NO_DEVICE: return libusbError(LIBUSB_ERROR_NO_DEVICE);
        case LIBUSB_TRANSFER_OVERFLOW: return libusbError(LIBUSB_ERROR_OVERFLOW);
        case LIBUSB_TRANSFER_CANCELLED:
            return {USBError::Kind::cancelled, LIBUSB_ERROR_INTERRUPTED, "Transfer cancelled"};
        case LIBUSB_TRANSFER_ERROR: break;
    }
    return libusbError(LIBUSB_ERROR_IO);
}

std::optional<std::vector<std::uint8_t>> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                    std::istreambuf_iterator<char>());
    return bytes;
}

std::optional<std::uint8_t> readSmallNumber(const std::string& path) {
    std::ifstream in(path);
    int value = -1;
    if (!(in >> value) || value < 0 || value > 255) return std::nullopt;
    return static_cast<std::uint8_t>(value);
}

Result<void, USBError> failure(int result) {
    if (result >= 0) return {};
    return Unexpected(libusbError(result));
}

// The handle and what hangs on it. Stream transfers in flight and device memory hold it
// too, so the handle is closed only when the last of them is gone.
struct Handle {
    libusb_device* device = nullptr;
    libusb_device_handle* handle = nullptr;

    std::mutex lock;
    std::condition_variable drained;
    struct Pending;
    std::list<Pending*> pending;

    Handle(libusb_device* d, libusb_device_handle* h) : device(libusb_ref_device(d)), handle(h) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() {
        libusb_close(handle);
        libusb_unref_device(device);
    }
};

struct Handle::Pending {
    std::shared_ptr<Handle> owner;
    libusb_transfer* transfer = nullptr;
    std::uint8_t endpoint = 0;
    std::uint32_t stream = 0;
    std::function<void(const USBTransfer&)> completion;
};

void LIBUSB_CALL streamTransferDone(libusb_transfer* transfer) {
    auto* pending = static_cast<Handle::Pending*>(transfer->user_data);
    USBTransfer result;
    result.transferred = static_cast<std::size_t>(std::max(0, transfer->actual_length));
    if (transfer->status != LIBUSB_TRANSFER_COMPLETED) result.error = transferStatusError(transfer->status);
    if (pending->completion) pending->completion(result);

    std::shared_ptr<Handle> owner = std::move(pending->owner);
    {
        std::lock_guard guard(owner->lock);
        owner->pending.remove(pending);
    }
    owner->drained.notify_all();
    libusb_free_transfer(transfer);
    delete pending;
    // `owner` may be the last hold on the handle; closing it from the event thread is
    // allowed.
}

class DeviceMemory final : public USBBuffer {
public:
    DeviceMemory(std::shared_ptr<Handle> handle, unsigned char* memory, std::size_t length)
        : handle_(std::move(handle)), memory_(memory), length_(length) {}
    DeviceMemory(const DeviceMemory&) = delete;
    DeviceMemory& operator=(const DeviceMemory&) = delete;
    ~DeviceMemory() override { libusb_dev_mem_free(handle_->handle, memory_, length_); }

    std::span<std::uint8_t> bytes() override { return {memory_, length_}; }

private:
    std::shared_ptr<Handle> handle_;
    unsigned char* memory_;
    std::size_t length_;
};

class LinuxUSBDevice final : public USBDevice {
public:
    LinuxUSBDevice(std::shared_ptr<Handle> handle, std::string sysfsName)
        : handle_(std::move(handle)), sysfsName_(std::move(sysfsName)) {}
    LinuxUSBDevice(const LinuxUSBDevice&) = delete;
    LinuxUSBDevice& operator=(const LinuxUSBDevice&) = delete;
    ~LinuxUSBDevice() override { releaseInterface(); }

    std::optional<std::pair<std::uint8_t, std::uint8_t>> busAndAddress() const override {
        return std::pair{libusb_get_bus_number(handle_->device),
                         libusb_get_device_address(handle_->device)};
    }

    std::optional<std::vector<std::uint8_t>> configurationDescriptor() override {
        int active = 0;
        if (libusb_get_configuration(h(), &active) < 0 || active <= 0) return std::nullopt;
        const auto value = static_cast<std::uint8_t>(active);
        // The kernel keeps the descriptors it read at enumeration; reading its copy puts
        // no traffic on the bus.
        if (auto all = readFile(sysfsUSBDevices + sysfsName_ + "/descriptors")) {
            if (auto found = configurationFromDescriptors(*all, value)) return found;
        }
        return configurationFromDevice(value);
    }

    Result<void, USBError> setConfiguration(std::uint8_t value) override {
        int active = 0;
        if (libusb_get_configuration(h(), &active) == 0 && active == value) return {};
        return failure(libusb_set_configuration(h(), value));
    }

    Result<void, USBError> claimInterface(std::uint8_t number, bool seize) override {
        if (claimed_) {
            if (*claimed_ == number) return {};
            return Unexpected(libusbError(LIBUSB_ERROR_BUSY));
        }
        // The record comes first: a run killed between the claim and the release leaves
        // it for the next start, which gives back only what was recorded.
        const std::string name = interfaceName(number);
        if (!recordClaim(name)) return Unexpected(libusbError(LIBUSB_ERROR_ACCESS));
        const auto unrecord = [&name](USBError error) {
            forgetClaim(name);
            return Unexpected(std::move(error));
        };
        if (seize) {
            // The kernel disconnects the driver and hands the interface to usbfs in one
            // step (USBDEVFS_DISCONNECT_CLAIM); libusb then re-attaches on release too.
            libusb_set_auto_detach_kernel_driver(h(), 1);
            if (const int result = libusb_claim_interface(h(), number); result < 0) {
                libusb_set_auto_detach_kernel_driver(h(), 0);
                return unrecord(libusbError(result));
            }
        } else {
            bool detached = false;
            if (libusb_kernel_driver_active(h(), number) == 1) {
                const int result = libusb_detach_kernel_driver(h(), number);
                if (result < 0 && result != LIBUSB_ERROR_NOT_FOUND) return unrecord(libusbError(result));
                detached = result == 0;
            }
            if (const int result = libusb_claim_interface(h(), number); result < 0) {
                if (detached) libusb_attach_kernel_driver(h(), number);
                return unrecord(libusbError(result));
            }
        }
        claimed_ = number;
        alternate_ = currentAlternate(number);
        originalAlternate_ = alternate_;
        claimedName_ = name;
        noteClaimedInterface(claimedName_);
        return {};
    }

    std::optional<std::uint8_t> alternateSetting() override {
        if (!claimed_) return std::nullopt;
        return alternate_;
    }

    Result<void, USBError> selectAlternateSetting(std::uint8_t alternate) override {
        if (!claimed_) return Unexpected(libusbError(LIBUSB_ERROR_NOT_FOUND));
        if (const int result = libusb_set_interface_alt_setting(h(), *claimed_, alternate); result < 0) {
            return Unexpected(libusbError(result));
        }
        alternate_ = alternate;
        return {};
    }

    void releaseInterface() override {
        if (!claimed_) return;
        const std::uint8_t number = *claimed_;
        claimed_.reset();

        // Nothing of ours may still be queued when the interface goes: cancel, wait, and
        // if the device doesn't let go, reset it, which ends every transfer.
        if (!cancelAllAndWait()) {
            libusb_reset_device(h());
            cancelAllAndWait();
        }
        if (!streamEndpoints_.empty()) {
            libusb_free_streams(h(), streamEndpoints_.data(),
                                static_cast<int>(streamEndpoints_.size()));
            streamEndpoints_.clear();
        }
        if (alternate_ != originalAlternate_) {
            libusb_set_interface_alt_setting(h(), number, originalAlternate_);
        }
        libusb_release_interface(h(), number);
        // Always asked, also when no driver was bound at capture: the kernel then binds
        // whatever matches. "Busy" means libusb's auto-detach has already re-attached.
        libusb_attach_kernel_driver(h(), number);
        noteReleasedInterface(claimedName_);
        forgetClaim(claimedName_);
    }

    USBTransfer controlTransfer(const USBControlRequest& request, std::span<std::uint8_t> data,
                                double timeoutSeconds) override {
        if (data.size() > 0xFFFF) return {0, libusbError(LIBUSB_ERROR_INVALID_PARAM)};
        const int result = libusb_control_transfer(
            h(), request.requestType, request.request, request.value, request.index, data.data(),
            static_cast<std::uint16_t>(data.size()), milliseconds(timeoutSeconds));
        if (result < 0) return {0, libusbError(result)};
        return {static_cast<std::size_t>(result), std::nullopt};
    }

    USBTransfer bulkTransfer(std::uint8_t endpoint, std::span<std::uint8_t> data,
                             double timeoutSeconds) override {
        if (data.size() > static_cast<std::size_t>(INT_MAX)) {
            return {0, libusbError(LIBUSB_ERROR_INVALID_PARAM)};
        }
        int transferred = 0;
        const int result = libusb_bulk_transfer(h(), endpoint, data.data(),
                                                static_cast<int>(data.size()), &transferred,
                                                milliseconds(timeoutSeconds));
        USBTransfer outcome{static_cast<std::size_t>(std::max(0, transferred)), std::nullopt};
        if (result < 0) outcome.error = libusbError(result);
        return outcome;
    }

    Result<void, USBError> clearHalt(std::uint8_t endpoint) override {
        return failure(libusb_clear_halt(h(), endpoint));
    }

    Result<void, USBError> reset() override { return failure(libusb_reset_device(h())); }

    Result<std::uint32_t, USBError> allocateStreams(
        std::uint32_t count, std::span<const std::uint8_t> endpoints) override {
        std::vector<unsigned char> list(endpoints.begin(), endpoints.end());
        const int result = libusb_alloc_streams(h(), count, list.data(), static_cast<int>(list.size()));
        if (result < 0) return Unexpected(libusbError(result));
        for (const unsigned char endpoint : list) {
            if (std::find(streamEndpoints_.begin(), streamEndpoints_.end(), endpoint) ==
                streamEndpoints_.end()) {
                streamEndpoints_.push_back(endpoint);
            }
        }
        return static_cast<std::uint32_t>(result);
    }

    Result<void, USBError> freeStreams(std::span<const std::uint8_t> endpoints) override {
        std::vector<unsigned char> list(endpoints.begin(), endpoints.end());
        const int result = libusb_free_streams(h(), list.data(), static_cast<int>(list.size()));
        if (result < 0) return Unexpected(libusbError(result));
        std::erase_if(streamEndpoints_, [&](unsigned char e) {
            return std::find(list.begin(), list.end(), e) != list.end();
        });
        return {};
    }

    Result<void, USBError> submitStreamTransfer(
        std::uint8_t endpoint, std::uint32_t streamID, std::span<std::uint8_t> data,
        std::function<void(const USBTransfer&)> completion) override {
        if (data.size() > static_cast<std::size_t>(INT_MAX)) {
            return Unexpected(libusbError(LIBUSB_ERROR_INVALID_PARAM));
        }
        startEventThread(processContext());
        libusb_transfer* transfer = libusb_alloc_transfer(0);
        if (transfer == nullptr) return Unexpected(libusbError(LIBUSB_ERROR_NO_MEM));
        auto* pending = new Handle::Pending{handle_, transfer, endpoint, streamID, std::move(completion)};
        libusb_fill_bulk_stream_transfer(transfer, h(), endpoint, streamID, data.data(),
                                         static_cast<int>(data.size()), streamTransferDone,
                                         pending, 0);
        {
            std::lock_guard guard(handle_->lock);
            handle_->pending.push_back(pending);
        }
        if (const int result = libusb_submit_transfer(transfer); result < 0) {
            {
                std::lock_guard guard(handle_->lock);
                handle_->pending.remove(pending);
            }
            libusb_free_transfer(transfer);
            delete pending;
            return Unexpected(libusbError(result));
        }
        return {};
    }

    Result<void, USBError> cancelStreamTransfers(std::uint8_t endpoint,
                                                 std::uint32_t streamID) override {
        // Under the lock a queued transfer can't be freed; its completion may already be
        // running, which libusb answers with "not found".
        std::lock_guard guard(handle_->lock);
        for (Handle::Pending* pending : handle_->pending) {
            if (pending->endpoint == endpoint && pending->stream == streamID) {
                libusb_cancel_transfer(pending->transfer);
            }
        }
        return {};
    }

    Result<std::unique_ptr<USBBuffer>, USBError> deviceMemory(std::size_t length) override {
        unsigned char* memory = libusb_dev_mem_alloc(h(), length);
        if (memory == nullptr) {
            return Unexpected(USBError{USBError::Kind::notSupported, LIBUSB_ERROR_NOT_SUPPORTED,
                                       "the USB stack maps no memory for this device"});
        }
        std::fill(memory, memory + length, std::uint8_t{0});
        return std::unique_ptr<USBBuffer>(new DeviceMemory(handle_, memory, length));
    }

private:
    libusb_device_handle* h() const { return handle_->handle; }

    // The interface's sysfs name, "2-1:1.0": device, configuration, interface number.
    std::string interfaceName(std::uint8_t number) {
        int configuration = 0;
        if (libusb_get_configuration(h(), &configuration) != 0) configuration = 1;
        return sysfsName_ + ":" + std::to_string(configuration) + "." + std::to_string(number);
    }

    // The alternate setting the kernel has the interface on; asked of the device only
    // when sysfs doesn't say.
    std::uint8_t currentAlternate(std::uint8_t number) {
        int configuration = 0;
        if (libusb_get_configuration(h(), &configuration) == 0) {
            const std::string path = sysfsUSBDevices + sysfsName_ + ":" +
                                     std::to_string(configuration) + "." + std::to_string(number) +
                                     "/bAlternateSetting";
            if (auto value = readSmallNumber(path)) return *value;
        }
        std::uint8_t alternate[1] = {0};
        const auto answer = controlTransfer({0x81, LIBUSB_REQUEST_GET_INTERFACE, 0, number},
                                            alternate, 1.0);
        return answer.ok() && answer.transferred == 1 ? alternate[0] : 0;
    }

    // GET_DESCRIPTOR for the configuration with that value: its header, then the whole.
    std::optional<std::vector<std::uint8_t>> configurationFromDevice(std::uint8_t value) {
        libusb_device_descriptor device{};
        if (libusb_get_device_descriptor(handle_->device, &device) < 0) return std::nullopt;
        for (std::uint8_t index = 0; index < device.bNumConfigurations; ++index) {
            std::vector<std::uint8_t> header(configurationHeaderLength);
            if (libusb_get_descriptor(h(), LIBUSB_DT_CONFIG, index, header.data(),
                                      static_cast<int>(header.size())) <
                static_cast<int>(configurationHeaderLength)) {
                continue;
            }
            if (header[5] != value) continue;
            const int total = header[2] | header[3] << 8;
            std::vector<std::uint8_t> whole(static_cast<std::size_t>(total));
            const int got = libusb_get_descriptor(h(), LIBUSB_DT_CONFIG, index, whole.data(), total);
            if (got < static_cast<int>(configurationHeaderLength)) return std::nullopt;
            whole.resize(static_cast<std::size_t>(got));
            return whole;
        }
        return std::nullopt;
    }

    // True when nothing of ours is queued any more.
    bool cancelAllAndWait() {
        std::unique_lock guard(handle_->lock);
        for (Handle::Pending* pending : handle_->pending) libusb_cancel_transfer(pending->transfer);
        return handle_->drained.wait_for(guard, cancelledTransfersWait,
                                         [&] { return handle_->pending.empty(); });
    }

    std::shared_ptr<Handle> handle_;
    std::string sysfsName_;
    std::optional<std::uint8_t> claimed_;
    std::string claimedName_;
    std::uint8_t alternate_ = 0;
    std::uint8_t originalAlternate_ = 0;
    std::vector<unsigned char> streamEndpoints_;
};

}  // namespace

USBError libusbError(int code) {
    USBError::Kind kind = USBError::Kind::other;
    switch (code) {
        case LIBUSB_ERROR_ACCESS: kind = USBError::Kind::notPermitted; break;
        case LIBUSB_ERROR_NO_DEVICE: kind = USBError::Kind::gone; break;
        case LIBUSB_ERROR_NOT_FOUND: kind = USBError::Kind::notFound; break;
        case LIBUSB_ERROR_BUSY: kind = USBError::Kind::busy; break;
        case LIBUSB_ERROR_TIMEOUT: kind = USBError::Kind::timeout; break;
        case LIBUSB_ERROR_OVERFLOW: kind = USBError::Kind::overflow; break;
        case LIBUSB_ERROR_PIPE: kind = USBError::Kind::stall; break;
        case LIBUSB_ERROR_NOT_SUPPORTED: kind = USBError::Kind::notSupported; break;
        default: break;
    }
    return {kind, code, libusb_strerror(code)};
}

std::string usbSysfsName(std::uint8_t bus, std::span<const std::uint8_t> ports) {
    std::string name = std::to_string(bus) + "-";
    for (std::size_t i = 0; i < ports.size(); ++i) {
        if (i > 0) name += '.';
        name += std::to_string(ports[i]);
    }
    return name;
}

std::optional<std::vector<std::uint8_t>> configurationFromDescriptors(
    std::span<const std::uint8_t> descriptors, std::uint8_t value) {
    std::size_t at = deviceDescriptorLength;
    while (at + configurationHeaderLength <= descriptors.size()) {
        const std::size_t total =
            static_cast<std::size_t>(descriptors[at + 2] | descriptors[at + 3] << 8);
        if (descriptors[at + 1] != LIBUSB_DT_CONFIG || total < configurationHeaderLength) break;
        const std::size_t length = std::min(total, descriptors.size() - at);
        if (descriptors[at + 5] == value) {
            const auto first = descriptors.begin() + static_cast<std::ptrdiff_t>(at);
            return std::vector<std::uint8_t>(first, first + static_cast<std::ptrdiff_t>(length));
        }
        at += length;
    }
    return std::nullopt;
}

bool LinuxUSBHost::privileged() const { return geteuid() == 0; }

Result<std::unique_ptr<USBDevice>, USBError> LinuxUSBHost::open(std::uint32_t locationID) {
    Context& context = processContext();
    if (context.initError < 0) return Unexpected(libusbError(context.initError));

    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(context.context, &list);
    if (count < 0) return Unexpected(libusbError(static_cast<int>(count)));

    libusb_device* found = nullptr;
    std::string sysfsName;
    int matches = 0;
    for (ssize_t i = 0; i < count; ++i) {
        std::uint8_t ports[maxPorts] = {};
        const int depth = libusb_get_port_numbers(list[i], ports, maxPorts);
        if (depth <= 0) continue;  // a root hub, or a path libusb can't tell
        const std::span<const std::uint8_t> path(ports, static_cast<std::size_t>(depth));
        const std::uint8_t bus = libusb_get_bus_number(list[i]);
        if (usbLocationID(bus, path) != locationID) continue;
        ++matches;
        found = list[i];
        sysfsName = usbSysfsName(bus, path);
    }

    Result<std::unique_ptr<USBDevice>, USBError> outcome = Unexpected(USBError{});
    char location[16];
    std::snprintf(location, sizeof location, "0x%08X", locationID);
    if (matches == 0) {
        outcome = Unexpected(USBError{USBError::Kind::notFound, LIBUSB_ERROR_NOT_FOUND,
                                      std::string("No USB device at location ") + location});
    } else if (matches > 1) {
        outcome = Unexpected(USBError{USBError::Kind::notFound, LIBUSB_ERROR_NOT_FOUND,
                                      std::string("More than one USB device answers to location ") + location});
    } else {
        libusb_device_handle* handle = nullptr;
        if (const int result = libusb_open(found, &handle); result < 0) {
            outcome = Unexpected(libusbError(result));
        } else {
            outcome = std::unique_ptr<USBDevice>(
                new LinuxUSBDevice(std::make_shared<Handle>(found, handle), sysfsName));
        }
    }
    libusb_free_device_list(list, 1);
    return outcome;
}

}  // namespace platform
