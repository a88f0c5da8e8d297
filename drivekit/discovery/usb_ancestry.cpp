#include "drivekit/discovery/discovery_pass.hpp"
#include "platform/usb_device.hpp"

namespace drivekit::Discovery {

namespace Internal {

std::optional<USBDevice> usbDeviceAbove(const Pass& pass, const std::vector<std::string>& chain) {
    for (const auto& folder : chain) {
        if (!isUSBDeviceName(baseName(folder))) continue;
        const auto vendor = pass.attribute(folder + "/idVendor");
        if (!vendor) continue;
        USBDevice usb;
        usb.path = folder;
        usb.info.vendorID = number<int>(*vendor, 16).value_or(0);
        usb.info.productID =
            number<int>(pass.attribute(folder + "/idProduct").value_or(""), 16).value_or(0);
        const auto bus = number<int>(pass.attribute(folder + "/busnum").value_or(""));
        const auto devpath = pass.attribute(folder + "/devpath");
        if (bus && devpath) usb.info.locationID = locationID(*bus, *devpath);
        usb.info.productName = pass.attribute(folder + "/product");
        usb.info.vendorName = pass.attribute(folder + "/manufacturer");
        // libusb addresses a device by bus and address; together they name this connection.
        const auto address =
            number<std::uint64_t>(pass.attribute(folder + "/devnum").value_or(""));
        if (bus && address && *bus >= 0) {
            usb.info.registryID = (static_cast<std::uint64_t>(*bus) << 32) | *address;
        }
        if (const auto speed = pass.attribute(folder + "/speed"))
            usb.megabitsPerSecond = parseDecimal(*speed);
        return usb;
    }
    return std::nullopt;
}

}  // namespace Internal

using namespace Internal;

std::uint32_t locationID(int busNumber, std::string_view devicePath) {
    std::vector<std::uint8_t> ports;
    std::size_t at = 0;
    while (at < devicePath.size()) {
        const auto end = std::min(devicePath.find('.', at), devicePath.size());
        const auto port = number<unsigned>(devicePath.substr(at, end - at));
        if (!port) break;
        ports.push_back(static_cast<std::uint8_t>(std::min(*port, 0xFFu)));
        at = end + 1;
    }
    return platform::usbLocationID(static_cast<std::uint8_t>(std::clamp(busNumber, 0, 0xFF)), ports);
}

}  // namespace drivekit::Discovery
