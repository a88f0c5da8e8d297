#include "app/scan/scan_usage.hpp"

#include <algorithm>
#include <chrono>

namespace app {

drivekit::json::Object toJson(const ScanAnswer& answer) {
    drivekit::json::Object object = drivekit::surface_scan::toJson(answer.result);
    object["usage"] = {{"cpu", answer.usage.cpu}, {"memory", answer.usage.memory}};
    return object;
}

std::optional<ScanAnswer> scanAnswerFromJson(const drivekit::json::Object& value) {
    auto result = drivekit::surface_scan::resultFromJson(value);
    if (!result) return std::nullopt;
    ScanAnswer answer{std::move(*result), {}};
    const auto usage = value.find("usage");
    if (usage == value.end() || !usage->is_object()) return answer;
    const auto cpu = usage->find("cpu");
    const auto memory = usage->find("memory");
    // The two lists are sample by sample: kept only when they pair up.
    if (cpu == usage->end() || memory == usage->end() || !cpu->is_array() || !memory->is_array() ||
        cpu->size() != memory->size()) {
        return answer;
    }
    ScanUsage read;
    for (std::size_t i = 0; i < cpu->size(); ++i) {
        const auto& share = (*cpu)[i];
        const auto& bytes = (*memory)[i];
        if (!share.is_number() || !bytes.is_number_unsigned()) return answer;
        read.cpu.push_back(share.get<double>());
        read.memory.push_back(bytes.get<std::uint64_t>());
    }
    answer.usage = std::move(read);
    return answer;
}

namespace ScanUsageSampling {

void add(ScanUsage& usage, const ProcessUse& before, const ProcessUse& now) {
    const double span = now.aliveSeconds - before.aliveSeconds;
    if (span <= 0) return;
    usage.cpu.push_back(std::max(0.0, (now.cpuSeconds - before.cpuSeconds) / span * 100.0));
    usage.memory.push_back(now.residentBytes);
}

}  // namespace ScanUsageSampling

ScanUsageSampler::ScanUsageSampler(Look look) : look_(std::move(look)) {
    thread_ = std::thread([this] {
        std::optional<ProcessUse> before = look_();
        std::unique_lock hold(lock_);
        // A sample each second, and a last one when the scan ends, so that the last part
        // of a second (or a scan shorter than one) counts too.
        for (bool last = false; !last;) {
            last = woken_.wait_for(hold, std::chrono::seconds(1), [this] { return stopping_; });
            hold.unlock();
            const auto now = look_();
            hold.lock();
            if (before && now) ScanUsageSampling::add(usage_, *before, *now);
            if (now) before = now;
        }
    });
}

ScanUsageSampler::~ScanUsageSampler() { (void)finish(); }

ScanUsage ScanUsageSampler::finish() {
    {
        const std::lock_guard hold(lock_);
        stopping_ = true;
    }
    woken_.notify_all();
    if (thread_.joinable()) thread_.join();
    return usage_;
}

}  // namespace app
