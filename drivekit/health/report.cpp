#include "drivekit/health/report.hpp"

#include "drivekit/core/platform_words.hpp"

namespace drivekit {

Verdict HealthReport::overallVerdict(std::span<const Finding> findings) {
    std::optional<Verdict> worst;
    for (const auto& finding : findings) {
        if (finding.verdict == Verdict::unknown) continue;
        if (!worst || finding.verdict > *worst) worst = finding.verdict;
    }
    if (worst) return *worst;
    return findings.empty() ? Verdict::healthy : Verdict::unknown;
}

std::optional<Finding> worstFinding(std::span<const Finding> findings) {
    const Finding* worst = nullptr;
    for (const auto& finding : findings) {
        if (finding.verdict == Verdict::healthy || finding.verdict == Verdict::unknown) continue;
        if (worst == nullptr || finding.verdict > worst->verdict) worst = &finding;
    }
    if (worst == nullptr) return std::nullopt;
    return *worst;
}

namespace ReadingSource {
std::string nvme() {
    return "NVMe SMART";
}
std::string ataOverUSB() {
    return "ATA SMART over USB";
}
std::string ataLive(Transport transport) {
    if (transport == Transport::usb) {
        return "ATA SMART through Linux's own USB storage driver, read live without unmounting "
               "anything.";
    }
    return "ATA SMART through Linux's own SATA driver, read live without unmounting anything.";
}
}  // namespace ReadingSource

}  // namespace drivekit
