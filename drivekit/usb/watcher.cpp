#include "drivekit/usb/watcher.hpp"

#include "drivekit/discovery/discovery.hpp"
#include "drivekit/health/report_json.hpp"

namespace drivekit {

Watcher::Watcher(Describe describe, const std::vector<std::string>& present)
    : describe_(std::move(describe)), known_(present.begin(), present.end()) {}

std::optional<Watcher::News> Watcher::handle(const platform::DiskEvent& event) {
    if (event.action == platform::DiskEvent::Action::mountsChanged) return std::nullopt;
    if (event.action == platform::DiskEvent::Action::removed) {
        const auto it = known_.find(event.name);
        if (it == known_.end()) return std::nullopt;
        known_.erase(it);
        return News{News::Kind::disconnected, event.name, std::nullopt};
    }
    if (known_.contains(event.name)) return std::nullopt;
    auto drive = describe_(event.name);
    // Not a drive (a loop device being set up): not remembered either, so that it counts
    // if it becomes one.
    if (!drive) return std::nullopt;
    known_.insert(event.name);
    return News{News::Kind::connected, event.name, std::move(drive)};
}

std::string Watcher::startLine() { return "Watching for drives. Plug one in."; }

std::string Watcher::arrivalLine(const News& news, Arrival arrival, const Locale& locale) {
    if (!news.drive) return line(news, locale);
    const std::string name = Discovery::displayName(*news.drive).name;
    switch (arrival) {
        case Arrival::checkBeforeMount: return name + " connected over USB. Checking before it mounts…";
        case Arrival::check: return name + " connected. Checking…";
        case Arrival::needsRoot: return name + " connected. Run the watcher with sudo to check USB drives.";
        case Arrival::report: break;
    }
    return line(news, locale);
}

std::string Watcher::line(const News& news, const Locale& locale) {
    if (news.kind == News::Kind::disconnected || !news.drive) return news.bsdName + " disconnected.";
    const Drive& drive = *news.drive;
    std::string text = news.bsdName + " connected: " + Discovery::displayName(drive).name + " (" +
                       TransportText::label(drive.transport);
    if (drive.sizeBytes > 0) text += ", " + ByteSize::decimal(drive.sizeBytes, locale);
    text += ").";
    // Only a drive that the capture may take over gets the hint; a RAID member or the
    // startup disk would be refused.
    if (drive.transport == Transport::usb && captureBlockers(drive).empty()) {
        text += " Check it with sudo vantrel check " + news.bsdName + ".";
    }
    return text;
}

json::Object Watcher::toJSON(const News& news) {
    json::Object object = json::Object::object();
    object["event"] = news.kind == News::Kind::connected ? "connected" : "disconnected";
    object["bsdName"] = news.bsdName;
    if (news.drive) object["drive"] = ReportJSON::drive(*news.drive);
    return object;
}

}  // namespace drivekit
