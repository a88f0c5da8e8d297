#include "drivekit/discovery/link.hpp"

#include <algorithm>

#include "drivekit/discovery/drive.hpp"

namespace drivekit {

namespace {

struct PCIeGeneration {
    std::uint32_t code;
    std::string_view name;
    int perLaneMBps;  // usable, after line coding
};

constexpr std::array<PCIeGeneration, 5> pcieGenerations{{
    {1, "1.0", 250},
    {2, "2.0", 500},
    {3, "3.0", 985},
    {4, "4.0", 1969},
    {5, "5.0", 3938},
}};

const PCIeGeneration* generationOf(std::uint32_t code) {
    for (const auto& g : pcieGenerations) {
        if (g.code == code) return &g;
    }
    return nullptr;
}

struct PCIeWord {
    const PCIeGeneration* generation;
    std::uint32_t lanes;

    explicit PCIeWord(std::uint32_t word)
        : generation(generationOf(word & 0xF)), lanes((word >> 4) & 0x3F) {}

    std::string text() const {
        return "PCIe " + std::string(generation->name) + " \u00D7" + std::to_string(lanes);
    }
    bool atOrAbove(const PCIeWord& other) const {
        return generation->code >= other.generation->code && lanes >= other.lanes;
    }
};

constexpr std::int64_t bitsPerGigabit = 1'000'000'000;
constexpr std::int64_t bitsPerMegabit = 1'000'000;
constexpr int usbCeilingLimitMBps = 2000;

std::optional<std::string> speedName(const std::optional<SATALink::Speed>& speed,
                                     const Locale& locale) {
    if (!speed) return std::nullopt;
    return SATALink::name(*speed, locale);
}

}  // namespace

namespace LinkRules {

int tunnelCeilingMBps(LinkInfo::Tunnel tunnel) {
    switch (tunnel) {
        case LinkInfo::Tunnel::thunderbolt3:
            return 2800;
        case LinkInfo::Tunnel::usb4:
            return 3800;
        case LinkInfo::Tunnel::thunderbolt5:
            return 6000;
        case LinkInfo::Tunnel::unknown:
            break;
    }
    return 3800;
}

LinkInfo::Tunnel tunnelFor(std::optional<int> thunderboltVersion) {
    if (!thunderboltVersion) return LinkInfo::Tunnel::unknown;
    if (*thunderboltVersion == 16) return LinkInfo::Tunnel::thunderbolt3;
    if (*thunderboltVersion == 32) return LinkInfo::Tunnel::usb4;
    if (*thunderboltVersion >= 64) return LinkInfo::Tunnel::thunderbolt5;
    return LinkInfo::Tunnel::unknown;
}

LinkInfo usb(std::int64_t bitsPerSecond, const Locale& locale) {
    const std::int64_t bps = std::max<std::int64_t>(bitsPerSecond, 0);
    LinkInfo link;
    if (bps >= bitsPerGigabit) {
        const double gigabits = static_cast<double>(bps) / static_cast<double>(bitsPerGigabit);
        link.current = "USB " + LocalFormat::decimalTrimmed(gigabits, locale) + " Gb/s";
    } else {
        const double megabits = static_cast<double>(bps) / static_cast<double>(bitsPerMegabit);
        link.current = "USB " + LocalFormat::decimal(megabits, 0, locale) + " Mb/s";
    }
    // Megabits x 0.125 gives megabytes; the protocol keeps 72 % of that up to 5 Gb/s and
    // 80 % above. In whole numbers, so that 5 Gb/s gives 450 and not 449.999...:
    // bps / 1e6 x 0.125 x 0.72 = bps x 9 / 1e8, and bps / 1e6 x 0.125 x 0.8 = bps / 1e7.
    if (bps <= 5 * bitsPerGigabit) {
        link.ceilingMBps = static_cast<int>(bps * 9 / 100'000'000);
    } else {
        link.ceilingMBps =
            static_cast<int>(std::min<std::int64_t>(bps / 10'000'000, usbCeilingLimitMBps));
    }
    return link;
}

std::optional<LinkInfo> pciExpress(std::uint32_t status, std::optional<std::uint32_t> capabilities,
                                   std::optional<LinkInfo::Tunnel> tunnel) {
    const PCIeWord now(status);
    if (now.generation == nullptr || now.lanes == 0) return std::nullopt;

    LinkInfo link;
    link.current = now.text();
    if (capabilities) {
        const PCIeWord most(*capabilities);
        if (most.generation != nullptr) {
            if (!now.atOrAbove(most)) link.capable = most.text();
            if (most.atOrAbove(now)) link.supported = most.text();
        }
    }
    // 95 % of the usable lane rate, in whole numbers so that 985 x 4 gives 3743 exactly.
    const std::int64_t raw =
        static_cast<std::int64_t>(now.generation->perLaneMBps) * now.lanes * 95 / 100;
    link.ceilingMBps = static_cast<int>(raw);
    if (tunnel) link.ceilingMBps = std::min(link.ceilingMBps, tunnelCeilingMBps(*tunnel));
    return link;
}

}  // namespace LinkRules

std::optional<SATALink> SATALink::fromWords(std::uint16_t word76, std::uint16_t word77) {
    if (word76 == 0 || word76 == 0xFFFF || (word76 & 0x1) != 0) return std::nullopt;

    std::optional<Speed> supported;
    if ((word76 & 0xF0) == 0) {
        if (word76 & (1u << 3)) {
            supported = Speed::gen3;
        } else if (word76 & (1u << 2)) {
            supported = Speed::gen2;
        } else if (word76 & (1u << 1)) {
            supported = Speed::gen1;
        }
    }

    std::optional<Speed> current;
    const unsigned currentCode = (word77 >> 1) & 0x7u;
    if ((word77 & 0x1) == 0 && currentCode >= 1 && currentCode <= 3) {
        current = static_cast<Speed>(currentCode);
    }

    if (current) {
        // A drive that claims to run faster than it supports contradicts itself.
        if (supported && static_cast<int>(*supported) < static_cast<int>(*current)) {
            return std::nullopt;
        }
        return SATALink{current, supported};
    }
    if (!supported) return std::nullopt;
    return SATALink{std::nullopt, supported};
}

std::optional<SATALink> SATALink::fromIdentify(ByteView identify) {
    if (identify.size() < 512) return std::nullopt;
    return fromWords(le16(identify, 76 * 2), le16(identify, 77 * 2));
}

double SATALink::gigabits(Speed speed) {
    switch (speed) {
        case Speed::gen1:
            return 1.5;
        case Speed::gen2:
            return 3.0;
        case Speed::gen3:
            return 6.0;
    }
    return 0.0;
}

std::string SATALink::name(Speed speed, const Locale& locale) {
    return "SATA " + LocalFormat::decimalTrimmed(gigabits(speed), locale) + " Gb/s";
}

std::optional<TransferMode> TransferMode::make(const Drive& drive,
                                               const std::optional<SATALink>& sata,
                                               const Locale& locale) {
    TransferMode mode;
    if (drive.link) {
        mode.current = drive.link->current;
        mode.supported = drive.link->supported;
    }
    if (sata) {
        mode.sataCurrent = speedName(sata->current, locale);
        mode.sataSupported = speedName(sata->supported, locale);
    }
    if (mode == TransferMode{}) return std::nullopt;
    return mode;
}

json::Object TransferMode::toJSON() const {
    json::Object object = json::Object::object();
    json::putOptional(object, "current", current);
    json::putOptional(object, "supported", supported);
    json::putOptional(object, "sataCurrent", sataCurrent);
    json::putOptional(object, "sataSupported", sataSupported);
    return object;
}

std::optional<TransferMode> TransferMode::fromJSON(const json::Object& object) {
    if (!object.is_object()) return std::nullopt;
    TransferMode mode;
    for (auto [key, into] :
         {std::pair{"current", &mode.current}, std::pair{"supported", &mode.supported},
          std::pair{"sataCurrent", &mode.sataCurrent},
          std::pair{"sataSupported", &mode.sataSupported}}) {
        const auto it = object.find(key);
        if (it == object.end()) continue;
        if (!it->is_string()) return std::nullopt;
        *into = it->get<std::string>();
    }
    return mode;
}

}  // namespace drivekit
