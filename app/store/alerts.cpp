#include "app/store/alerts.hpp"

#include "app/store/state_files.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/health/verdict.hpp"

namespace app {

namespace json = drivekit::json;
using drivekit::Tier;

namespace {

std::optional<int> rankOf(const std::string& raw) {
    const auto tier = drivekit::TierText::parse(raw);
    if (!tier) return std::nullopt;
    return drivekit::severity(*tier);
}

/// The volumes whose space counts: a drive without listed volumes stands for itself when
/// its main volume is known.
std::vector<VolumeInfo> spaceVolumes(const DriveSummary& drive) {
    if (!drive.volumes.empty()) return drive.volumes;
    if (drive.mountPoint && drive.volumeName && drive.space) {
        return {VolumeInfo{*drive.volumeName, *drive.mountPoint, std::nullopt, drive.space}};
    }
    return {};
}

}  // namespace

AlertPlan AlertPlan::make(std::span<const DriveSummary> drives, std::map<std::string, std::string> lastTiers,
                          int lowSpacePercent) {
    AlertPlan plan;
    for (const auto& drive : drives) {
        if (drive.tier != Tier::limited) {
            const auto stored = lastTiers.find(drive.id);
            if (stored != lastTiers.end()) {
                const auto storedTier = drivekit::TierText::parse(stored->second);
                const auto storedRank = rankOf(stored->second);
                // severity() puts limited below healthy, so any rated tier is above it.
                if (storedTier && storedRank && drivekit::severity(drive.tier) > *storedRank) {
                    plan.alerts.emplace_back(Worse{drive, *storedTier});
                }
            }
            lastTiers[drive.id] = std::string(drivekit::TierText::raw(drive.tier));
            if (drive.temperatureC && *drive.temperatureC >= kHotCelsius) {
                plan.alerts.emplace_back(Hot{drive, *drive.temperatureC});
            }
        }
        for (const auto& volume : spaceVolumes(drive)) {
            if (!volume.space || volume.space->total <= 0) continue;
            const double share = static_cast<double>(volume.space->free) / static_cast<double>(volume.space->total) * 100.0;
            if (share < lowSpacePercent) {
                plan.alerts.emplace_back(LowSpace{volume.name, volume.space->free, static_cast<int>(share), drive.kind});
            }
        }
    }
    plan.lastTiers = std::move(lastTiers);
    return plan;
}

namespace Notes {

namespace {

using drivekit::text::format;

// Every title puts the name first.
std::string named(const char* pattern, const std::string& name) {
    return name + (pattern + 2);
}

}  // namespace

std::string tierLabel(Tier tier) {
    for (int raw = 0; raw <= drivekit::VerdictText::raw(drivekit::Verdict::failed); ++raw) {
        const auto verdict = drivekit::VerdictText::fromInt(raw);
        if (verdict && drivekit::VerdictText::caseName(*verdict) == drivekit::TierText::raw(tier)) {
            return drivekit::VerdictText::name(*verdict);
        }
    }
    return "Limited";
}

std::string title(Tier tier, const std::string& name, bool readOnly) {
    switch (tier) {
        case Tier::healthy: return named("%s is healthy", name);
        case Tier::watch: return named("%s is worth watching", name);
        case Tier::warning: return named("%s needs care", name);
        case Tier::failing: return named("%s needs attention", name);
        case Tier::failed: return named(readOnly ? "%s is read-only" : "%s has failed", name);
        case Tier::limited: return named("%s is connected", name);
    }
    return named("%s is connected", name);
}

std::vector<Note> of(const AlertPlan& plan, bool worse, bool hot, bool lowSpace, const drivekit::Locale& locale) {
    std::vector<Note> notes;
    for (const auto& alert : plan.alerts) {
        if (const auto* w = std::get_if<AlertPlan::Worse>(&alert); w && worse) {
            const auto urgency = drivekit::severity(w->drive.tier) >= drivekit::severity(Tier::warning)
                                     ? Note::Urgency::warning
                                     : Note::Urgency::notice;
            notes.push_back(Note{"worse." + w->drive.id,
                                 title(w->drive.tier, w->drive.name, w->drive.readOnly.value_or(false)),
                                 format("From %s to %s.", tierLabel(w->from).c_str(), tierLabel(w->drive.tier).c_str()),
                                 24.0, urgency});
        } else if (const auto* h = std::get_if<AlertPlan::Hot>(&alert); h && hot) {
            notes.push_back(Note{"hot." + h->drive.id, named("%s is running hot", h->drive.name),
                                 format("It's at %s. Give it some air, or pause big copies for a while.",
                                        drivekit::LocalFormat::celsius(h->celsius, locale).c_str()),
                                 6.0, Note::Urgency::warning});
        } else if (const auto* s = std::get_if<AlertPlan::LowSpace>(&alert); s && lowSpace) {
            using Kind = drivekit::DriveKind;
            const char* advice = s->kind == Kind::internalSSD || s->kind == Kind::thunderbolt
                                     ? "SSDs slow down and wear faster when they're nearly full."
                                     : "Free up some room before new files stop fitting.";
            notes.push_back(Note{"space." + s->volume, named("%s is almost full", s->volume),
                                 format("Only %s free (%s). %s", drivekit::ByteSize::decimal(s->free, locale).c_str(),
                                        drivekit::LocalFormat::percent(s->percent, locale).c_str(), advice),
                                 24.0, Note::Urgency::notice});
        }
    }
    return notes;
}

Note checked(const DriveSummary& drive, bool usbCheckAvailable, const drivekit::Locale& locale) {
    std::string body;
    if (drive.offersUSBCheck(usbCheckAvailable)) {
        body = "Open Vantrel to check its health over USB.";
    } else if (drive.lifeLeft && drive.forecast) {
        body = format("%s of its rated life left, %s at your usage",
                      drivekit::LocalFormat::percent(*drive.lifeLeft, locale).c_str(),
                      drivekit::LifeForecast::text(*drive.forecast, locale).c_str());
    } else if (drive.lifeLeft) {
        body = format("%s of its rated life left.", drivekit::LocalFormat::percent(*drive.lifeLeft, locale).c_str());
    } else if (drive.forecast) {
        body = format("Lasts %s at your usage", drivekit::LifeForecast::text(*drive.forecast, locale).c_str());
    } else {
        body = "Not enough data yet";
    }
    return Note{"checked." + drive.usbKey.value_or(drive.id), title(drive.tier, drive.name, drive.readOnly.value_or(false)),
                body, 0.0, Note::Urgency::info};
}

Note ejected(const std::string& name, int drives) {
    std::string body = drives == 2  ? "Both drives are safe to unplug now."
                       : drives > 2 ? format("%lld drives are safe to unplug now.", static_cast<long long>(drives))
                                    : "It's safe to unplug now.";
    return Note{"ejected." + name, named("%s ejected", name), std::move(body), 0.0, Note::Urgency::info};
}

Note selfTestEnded(const std::string& key, const std::string& name, std::optional<drivekit::SelfTest::Kind> kind,
                   drivekit::SelfTest::Outcome outcome) {
    using drivekit::SelfTest::Outcome;
    const char* test = !kind                                           ? "Self-test"
                       : *kind == drivekit::SelfTest::Kind::extended ? "Extended test"
                                                                       : "Short test";
    const bool fault = drivekit::SelfTest::failed(outcome);
    const std::string head = outcome == Outcome::passed ? named("%s passed its self-test", name)
                             : fault                    ? named("%s failed its self-test", name)
                                                        : named("%s ended its self-test", name);
    return Note{"selftest." + key, head, format("%s: %s.", test, drivekit::SelfTest::label(outcome).c_str()), 0.0,
                fault ? Note::Urgency::warning : Note::Urgency::info};
}

}  // namespace Notes

json::Object AlertState::toJSON() const {
    json::Object object = json::Object::object();
    json::Object tiers = json::Object::object();
    for (const auto& [id, tier] : lastTiers) tiers[id] = tier;
    json::Object dates = json::Object::object();
    for (const auto& [id, date] : notified) dates[id] = json::isoDate(date);
    object["lastTiers"] = std::move(tiers);
    object["notified"] = std::move(dates);
    return object;
}

std::optional<AlertState> AlertState::fromJSON(const json::Object& object) {
    if (!object.is_object()) return std::nullopt;
    AlertState state;
    if (const auto it = object.find("lastTiers"); it != object.end() && it->is_object()) {
        for (const auto& [id, tier] : it->items()) {
            if (tier.is_string()) state.lastTiers[id] = tier.get<std::string>();
        }
    }
    if (const auto it = object.find("notified"); it != object.end() && it->is_object()) {
        for (const auto& [id, date] : it->items()) {
            if (!date.is_string()) continue;
            if (const auto parsed = json::parseIsoDate(date.get<std::string>())) state.notified[id] = *parsed;
        }
    }
    return state;
}

Notifier::Notifier(std::filesystem::path path, NoteSink sink, std::function<json::SystemTime()> now)
    : path_(std::move(path)), sink_(std::move(sink)), now_(std::move(now)) {}

void Notifier::load() {
    if (state_) return;
    if (!path_.empty()) {
        if (const auto object = StateFiles::read(path_, [](const json::Object& o) { return o.is_object(); })) {
            state_ = AlertState::fromJSON(*object);
        }
    }
    if (!state_) state_ = AlertState{};
}

void Notifier::save() {
    // A failed write leaves the old file; the next pass writes again.
    if (!path_.empty()) StateFiles::write(path_, state_->toJSON());
}

bool Notifier::post(const Note& note) {
    load();
    const auto now = now_();
    if (const auto last = state_->notified.find(note.id); last != state_->notified.end()) {
        const double since = std::chrono::duration<double>(now - last->second).count();
        // A date ahead of now (the clock was set back) silences no longer than its hours.
        if (since >= 0 && since < note.hours * 3600.0) return false;
    }
    if (!sink_ || !sink_(note)) return false;
    state_->notified[note.id] = now;
    save();
    return true;
}

const std::map<std::string, std::string>& Notifier::lastTiers() {
    load();
    return state_->lastTiers;
}

void Notifier::setLastTiers(std::map<std::string, std::string> tiers) {
    load();
    if (tiers == state_->lastTiers) return;
    state_->lastTiers = std::move(tiers);
    save();
}

}  // namespace app
