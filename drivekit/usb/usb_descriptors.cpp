#include "drivekit/usb/usb_descriptors.hpp"

#include <functional>

namespace drivekit::USBDescriptors {
namespace {

constexpr std::size_t configurationLength = 9;

// Calls `visit` with each whole descriptor inside wTotalLength, in order.
void walk(ByteView descriptor, const std::function<void(ByteView)>& visit) {
    const std::size_t total = std::min<std::size_t>(le16(descriptor, 2), descriptor.size());
    std::size_t at = 0;
    while (at + 2 <= total) {
        const std::size_t length = descriptor[at];
        if (length < 2 || length > total - at) break;
        visit(descriptor.subspan(at, length));
        at += length;
    }
}

}  // namespace

const Interface* Configuration::find(std::uint8_t number, std::uint8_t alternate) const {
    for (const Interface& interface : interfaces) {
        if (interface.number == number && interface.alternate == alternate) return &interface;
    }
    return nullptr;
}

const Interface* Configuration::firstMassStorage(std::uint8_t number,
                                                 std::uint8_t protocol) const {
    for (const Interface& interface : interfaces) {
        if (interface.number == number && interface.interfaceClass == massStorageClass &&
            interface.protocol == protocol) {
            return &interface;
        }
    }
    return nullptr;
}

std::vector<const Interface*> Configuration::alternates(std::uint8_t number) const {
    std::vector<const Interface*> found;
    for (const Interface& interface : interfaces) {
        if (interface.number == number) found.push_back(&interface);
    }
    return found;
}

std::optional<Configuration> parse(ByteView descriptor) {
    if (descriptor.size() < configurationLength || descriptor[0] < configurationLength ||
        descriptor[1] != configurationType) {
        return std::nullopt;
    }
    Configuration configuration;
    configuration.value = descriptor[5];
    walk(descriptor, [&](ByteView d) {
        if (d[1] == interfaceType && d.size() >= 9) {
            configuration.interfaces.push_back(Interface{d[2], d[3], d[5], d[6], d[7], {}});
        } else if (d[1] == endpointType && d.size() >= 7 && !configuration.interfaces.empty()) {
            configuration.interfaces.back().endpoints.push_back(
                Endpoint{d[2], d[3], le16(d, 4)});
        }
    });
    return configuration;
}

std::optional<std::uint8_t> massStorageInterface(const Configuration& configuration) {
    std::optional<std::uint8_t> found;
    for (const Interface& interface : configuration.interfaces) {
        if (interface.interfaceClass != massStorageClass) continue;
        if (!found || interface.number > *found) found = interface.number;
    }
    return found;
}

std::map<int, std::uint8_t> pipeTable(ByteView descriptor, std::uint8_t number,
                                      std::uint8_t alternate) {
    std::map<int, std::uint8_t> table;
    bool inside = false;
    std::optional<std::uint8_t> lastEndpoint;
    walk(descriptor, [&](ByteView d) {
        if (d[1] == interfaceType && d.size() >= 4) {
            inside = d[2] == number && d[3] == alternate;
            lastEndpoint.reset();
        } else if (inside && d[1] == endpointType && d.size() >= 3) {
            lastEndpoint = d[2];
        } else if (inside && d[1] == pipeUsageType && d.size() >= 3 && lastEndpoint) {
            table[d[2]] = *lastEndpoint;
        }
    });
    return table;
}

}  // namespace drivekit::USBDescriptors
