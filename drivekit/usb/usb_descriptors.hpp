#pragma once
// The standard descriptors of a USB configuration, as a capture reads them to choose a
// mass-storage setting and its pipes: interfaces with every alternate setting, their
// endpoints, and the Pipe Usage descriptors by which a UAS setting names its four pipes.
// Pure decoding of untrusted bytes: the walk follows each descriptor's length byte up to
// wTotalLength and stops at a length below 2 or at a descriptor the buffer doesn't hold.
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "drivekit/core/bytes.hpp"

namespace drivekit::USBDescriptors {

inline constexpr std::uint8_t configurationType = 0x02;
inline constexpr std::uint8_t interfaceType = 0x04;
inline constexpr std::uint8_t endpointType = 0x05;
inline constexpr std::uint8_t pipeUsageType = 0x24;

inline constexpr std::uint8_t massStorageClass = 0x08;
inline constexpr std::uint8_t bulkOnlyProtocol = 0x50;
inline constexpr std::uint8_t uasProtocol = 0x62;
inline constexpr std::uint8_t bulkTransferType = 2;

struct Endpoint {
    std::uint8_t address = 0;
    std::uint8_t attributes = 0;
    std::uint16_t maxPacketSize = 0;

    /// Low two bits of bmAttributes: 0 control, 1 isochronous, 2 bulk, 3 interrupt.
    std::uint8_t transferType() const noexcept { return attributes & 0x03; }
    /// An address above 127 moves data to the host.
    bool isIn() const noexcept { return address > 127; }

    bool operator==(const Endpoint&) const = default;
};

/// One alternate setting of one interface.
struct Interface {
    std::uint8_t number = 0;
    std::uint8_t alternate = 0;
    std::uint8_t interfaceClass = 0;
    std::uint8_t subclass = 0;
    std::uint8_t protocol = 0;
    std::vector<Endpoint> endpoints;

    bool operator==(const Interface&) const = default;
};

struct Configuration {
    /// bConfigurationValue, byte 5.
    std::uint8_t value = 0;
    /// Every interface descriptor in the order of the bytes, each alternate on its own.
    std::vector<Interface> interfaces;

    /// The setting `alternate` of interface `number`, if the configuration has it.
    const Interface* find(std::uint8_t number, std::uint8_t alternate) const;
    /// The first setting of interface `number` with mass-storage class and `protocol`.
    const Interface* firstMassStorage(std::uint8_t number, std::uint8_t protocol) const;
    /// The settings of interface `number`, in order.
    std::vector<const Interface*> alternates(std::uint8_t number) const;

    bool operator==(const Configuration&) const = default;
};

/// Nothing when the bytes don't start with a configuration descriptor.
std::optional<Configuration> parse(ByteView descriptor);

/// The mass-storage interface of a configuration: the highest-numbered interface with
/// class 8 in any of its settings. A composite device with two such interfaces is rare;
/// the later one is the newest function, as the system itself would list it last.
std::optional<std::uint8_t> massStorageInterface(const Configuration& configuration);

/// The pipe table of a UAS setting: pipe ID (1 command, 2 status, 3 data-in, 4 data-out)
/// to endpoint address. A Pipe Usage descriptor names the endpoint seen last before it
/// in the same setting; a later one with the same pipe ID replaces the entry.
std::map<int, std::uint8_t> pipeTable(ByteView descriptor, std::uint8_t number,
                                      std::uint8_t alternate);

}  // namespace drivekit::USBDescriptors
