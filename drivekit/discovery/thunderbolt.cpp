#include <cmath>

#include "drivekit/discovery/discovery_pass.hpp"
#include "drivekit/discovery/link.hpp"

namespace drivekit::Discovery::Internal {
namespace {

// A Thunderbolt/USB4 router: "0-0" is a domain's host router, "0-1", "0-301" the routers of
// devices below it.
bool isRouterName(std::string_view name) {
    const auto dash = name.find('-');
    return dash != std::string_view::npos && allDigits(name.substr(0, dash)) &&
           allDigits(name.substr(dash + 1));
}
bool isDeviceRouter(std::string_view name) {
    return isRouterName(name) && name.substr(name.find('-') + 1) != "0";
}

// PCI Express generation of a link speed text: "8.0 GT/s PCIe" (older kernels "8 GT/s").
std::uint32_t generationOf(std::string_view speed) {
    const auto blank = speed.find(' ');
    const auto rate = parseDecimal(speed.substr(0, blank));
    if (!rate) return 0;
    constexpr std::array<std::pair<double, std::uint32_t>, 6> rates{
        {{2.5, 1}, {5.0, 2}, {8.0, 3}, {16.0, 4}, {32.0, 5}, {64.0, 6}}};
    for (const auto& [gts, generation] : rates) {
        if (std::abs(*rate - gts) < 0.01) return generation;
    }
    return 0;
}

// A link word as the PCI Express capability lays it out: speed in bits 0-3, width in
// bits 4-9. Nothing for a width the field can't hold (255 is "unknown").
std::optional<std::uint32_t> linkWord(const std::optional<std::string>& speed,
                                      const std::optional<std::string>& width) {
    if (!speed || !width) return std::nullopt;
    const auto lanes = number<std::uint32_t>(*width);
    if (!lanes || *lanes > 0x3F) return std::nullopt;
    return generationOf(*speed) | (*lanes << 4);
}

// Thunderbolt generations 1 to 3 are "Thunderbolt 3" links of 16; 4 is USB4, 32.
std::optional<int> thunderboltVersion(const std::optional<std::string>& generation) {
    if (!generation) return std::nullopt;
    const auto value = number<int>(*generation);
    if (!value || *value < 1) return std::nullopt;
    if (*value <= 3) return 16;
    if (*value == 4) return 32;
    return std::nullopt;
}

class TunnelSearch {
  public:
    explicit TunnelSearch(const platform::Sysfs& sysfs) : sysfs_(sysfs) {}

    // The slowest hop of the Thunderbolt/USB4 domain the drive's PCI path is tunnelled
    // through. The kernel doesn't link a tunnelled PCI device to the routers that carry
    // it, so the domain is found through the host controller: on discrete controllers
    // the NHI function sits beside the tunnel's downstream ports, on integrated ones the
    // root ports name the NHI as their "supplier". Failing both, every domain counts.
    LinkInfo::Tunnel detect(const std::vector<std::string>& chain) {
        for (const auto& folder : chain) {
            if (isDeviceRouter(baseName(folder))) note(folder);
        }
        if (versions_.empty()) {
            for (const auto& folder : chain) {
                if (!isPCIAddress(baseName(folder))) continue;
                const std::string up = parentOf(folder);
                for (const auto& sibling : sysfs_.list(up)) {
                    if (isPCIAddress(sibling)) domainsBelow(up + "/" + sibling);
                }
                for (const auto& entry : sysfs_.list(folder)) {
                    if (!entry.starts_with("supplier:pci:")) continue;
                    if (const auto nhi = sysfs_.resolve(folder + "/" + entry + "/supplier")) {
                        domainsBelow(*nhi);
                    }
                }
                if (!versions_.empty()) break;
            }
        }
        if (versions_.empty()) {
            for (const auto& entry : sysfs_.list("/sys/bus/thunderbolt/devices")) {
                if (!isDeviceRouter(entry)) continue;
                if (const auto router = sysfs_.resolve("/sys/bus/thunderbolt/devices/" + entry)) {
                    note(*router);
                }
            }
        }
        if (versions_.empty()) return LinkInfo::Tunnel::unknown;
        return LinkRules::tunnelFor(*std::min_element(versions_.begin(), versions_.end()));
    }

  private:
    void note(const std::string& router) {
        if (const auto version = thunderboltVersion(sysfs_.read(router + "/generation"))) {
            versions_.push_back(*version);
        }
    }

    void domainsBelow(const std::string& nhi) {
        for (const auto& entry : sysfs_.list(nhi)) {
            if (entry.starts_with("domain") && allDigits(entry.substr(6))) {
                routersBelow(nhi + "/" + entry, 0);
            }
        }
    }

    void routersBelow(const std::string& folder, int depth) {
        if (depth > 8) return;  // the USB4 topology is at most six routers deep
        for (const auto& entry : sysfs_.list(folder)) {
            if (!isRouterName(entry)) continue;
            const std::string router = folder + "/" + entry;
            if (isDeviceRouter(entry)) note(router);
            routersBelow(router, depth + 1);
        }
    }

    const platform::Sysfs& sysfs_;
    std::vector<int> versions_;
};

}  // namespace

bool crossesThunderbolt(const Pass& pass, const std::vector<std::string>& chain) {
    for (const auto& folder : chain) {
        const auto name = baseName(folder);
        if (isRouterName(name) || (name.starts_with("domain") && allDigits(name.substr(6))))
            return true;
        // Set by the kernel on every PCI device below a port that faces the outside.
        if (isPCIAddress(name) && pass.attribute(folder + "/removable") == "removable") return true;
    }
    return false;
}

std::optional<LinkInfo> pciExpressLink(const Pass& pass, const std::vector<std::string>& chain,
                                       bool tunnelled) {
    for (const auto& folder : chain) {
        // Only a PCI function has a link; asking every folder of the chain costs a failed
        // open each.
        if (!isPCIAddress(baseName(folder))) continue;
        const auto speed = pass.attribute(folder + "/current_link_speed");
        if (!speed) continue;
        const auto status = linkWord(speed, pass.attribute(folder + "/current_link_width"));
        const auto capabilities = linkWord(pass.attribute(folder + "/max_link_speed"),
                                           pass.attribute(folder + "/max_link_width"));
        std::optional<LinkInfo::Tunnel> tunnel;
        if (tunnelled) tunnel = TunnelSearch(pass.sysfs()).detect(chain);
        if (!status) return std::nullopt;
        return LinkRules::pciExpress(*status, capabilities, tunnel);
    }
    return std::nullopt;
}

}  // namespace drivekit::Discovery::Internal
