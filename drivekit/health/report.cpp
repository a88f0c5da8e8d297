#include "drivekit/health/report.hpp"

#include "drivekit/health/sentences.hpp"

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
std::string nvme() { return std::string(Sentences::ReadSource::nvmeShort); }
std::string ataOverUSB() { return std::string(Sentences::ReadSource::ataOverUSBShort); }
std::string ataLive(Transport transport) {
    return std::string(transport == Transport::usb ? Sentences::ReadSource::ataLiveUSB
                                                   : Sentences::ReadSource::ataLiveSATA);
}
}  // namespace ReadingSource

}  // namespace drivekit
