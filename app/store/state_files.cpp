#include "app/store/state_files.hpp"

#include "platform/file_store.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "app/json_fields.hpp"

namespace app {

namespace json = drivekit::json;
namespace fs = std::filesystem;

namespace {

constexpr std::pair<Prefs::Appearance, const char*> kAppearances[] = {
    {Prefs::Appearance::system, "System"},
    {Prefs::Appearance::void_, "Void"},
    {Prefs::Appearance::lab, "Lab"},
};

}  // namespace

json::Object Prefs::toJSON() const {
    json::Object object;
    object["version"] = kVersion;
    for (const auto& [value, name] : kAppearances) {
        if (value == appearance) object["appearance"] = name;
    }
    object["menuBarShowsScore"] = menuBarShowsScore;
    object["showPlugCard"] = showPlugCard;
    object["autoCheckUSB"] = autoCheckUSB;
    object["checkMinutes"] = checkMinutes;
    object["hiddenDrives"] = hiddenDrives;
    object["keepDays"] = keepDays;
    object["notifyWorse"] = notifyWorse;
    object["notifyChecked"] = notifyChecked;
    object["notifyEjected"] = notifyEjected;
    object["notifyLowSpace"] = notifyLowSpace;
    object["lowSpacePercent"] = lowSpacePercent;
    object["notifyHot"] = notifyHot;
    object["approvedUSB"] = std::vector<std::string>(approvedUSB.begin(), approvedUSB.end());
    return object;
}

std::optional<Prefs> Prefs::fromJSON(const json::Object& object) {
    if (!object.is_object()) return std::nullopt;
    if (jsonfield::int64(object, "version").value_or(kVersion) > kVersion) return std::nullopt;
    Prefs prefs;
    if (const auto name = jsonfield::text(object, "appearance")) {
        for (const auto& [value, text] : kAppearances) {
            if (*name == text) prefs.appearance = value;
        }
    }
    const auto flag = [&](const char* key, bool& field) {
        if (const auto value = jsonfield::boolean(object, key)) field = *value;
    };
    const auto number = [&](const char* key, int& field, int low, int high) {
        if (const auto value = jsonfield::integer(object, key); value && *value >= low && *value <= high) {
            field = *value;
        }
    };
    flag("menuBarShowsScore", prefs.menuBarShowsScore);
    flag("showPlugCard", prefs.showPlugCard);
    flag("autoCheckUSB", prefs.autoCheckUSB);
    number("checkMinutes", prefs.checkMinutes, 0, 24 * 60);
    if (auto hidden = jsonfield::texts(object, "hiddenDrives")) prefs.hiddenDrives = std::move(*hidden);
    number("keepDays", prefs.keepDays, 1, 100 * 365);
    flag("notifyWorse", prefs.notifyWorse);
    flag("notifyChecked", prefs.notifyChecked);
    flag("notifyEjected", prefs.notifyEjected);
    flag("notifyLowSpace", prefs.notifyLowSpace);
    number("lowSpacePercent", prefs.lowSpacePercent, 0, 100);
    flag("notifyHot", prefs.notifyHot);
    if (auto approved = jsonfield::texts(object, "approvedUSB")) {
        prefs.approvedUSB = std::set<std::string>(approved->begin(), approved->end());
    }
    return prefs;
}

void KnownDrives::merge(std::span<const DriveSummary> drives, json::SystemTime now) {
    for (const auto& drive : drives) entries.insert_or_assign(drive.stableKey(), Entry{drive, now});
}

json::Object KnownDrives::toJSON() const {
    json::Object map = json::Object::object();
    for (const auto& [key, entry] : entries) {
        json::Object record;
        record["drive"] = entry.drive.toJSON();
        record["lastSeen"] = json::isoDate(entry.lastSeen);
        map[key] = std::move(record);
    }
    json::Object object;
    object["entries"] = std::move(map);
    return object;
}

std::optional<KnownDrives> KnownDrives::fromJSON(const json::Object& object) {
    const json::Object* map = jsonfield::object(object, "entries");
    if (map == nullptr) return std::nullopt;
    KnownDrives known;
    for (const auto& [key, record] : map->items()) {
        const json::Object* drive = jsonfield::object(record, "drive");
        const auto seenText = jsonfield::text(record, "lastSeen");
        const auto seen = seenText ? json::parseIsoDate(*seenText) : std::nullopt;
        auto summary = drive ? DriveSummary::fromJSON(*drive) : std::nullopt;
        if (!summary || !seen) continue;
        known.entries.emplace(key, Entry{std::move(*summary), *seen});
    }
    return known;
}

bool isHidden(const DriveSummary& drive, std::span<const std::string> hidden) {
    return std::any_of(hidden.begin(), hidden.end(), [&](const std::string& key) {
        return key == drive.id || key == drive.stableKey() || (drive.usbKey && key == *drive.usbKey);
    });
}

std::vector<std::string> hiddenKeys(std::span<const std::string> hidden, std::span<const DriveSummary> drives) {
    std::set<std::string> keys(hidden.begin(), hidden.end());
    for (const auto& drive : drives) {
        if (!isHidden(drive, hidden)) continue;
        keys.insert(drive.id);
        keys.insert(drive.stableKey());
        if (drive.usbKey) keys.insert(*drive.usbKey);
    }
    return {keys.begin(), keys.end()};
}

StatePaths StatePaths::fromEnvironment(const std::function<std::optional<std::string>(const char*)>& environment) {
    const auto xdg = [&](const char* name, const char* fallback) -> fs::path {
        if (const auto value = environment(name); value && !value->empty() && value->front() == '/') {
            return fs::path(*value) / "vantrel";
        }
        if (const auto home = environment("HOME"); home && !home->empty()) {
            return fs::path(*home) / fallback / "vantrel";
        }
        return {};
    };
    return StatePaths{xdg("XDG_DATA_HOME", ".local/share"), xdg("XDG_CONFIG_HOME", ".config")};
}

namespace {
fs::path under(const fs::path& folder, const char* name) { return folder.empty() ? fs::path() : folder / name; }
}  // namespace

fs::path StatePaths::readings() const { return under(data, "readings.json"); }
fs::path StatePaths::shared() const { return under(data, "shared"); }
fs::path StatePaths::knownDrives() const { return under(shared(), "known-drives.json"); }
fs::path StatePaths::hiddenDrives() const { return under(shared(), "hidden-drives.json"); }
fs::path StatePaths::sharedState() const { return under(shared(), "shared-state.json"); }
fs::path StatePaths::widgetSettings() const { return under(shared(), "widget-settings.json"); }
fs::path StatePaths::prefs() const { return under(config, "prefs.json"); }
fs::path StatePaths::alerts() const { return under(data, "alerts.json"); }

namespace StateFiles {

bool write(const fs::path& path, const json::Object& value) {
    if (path.empty() || !path.has_parent_path()) return false;
    platform::FileStore& files = platform::systemFiles();
    return files.createFolders(path.parent_path()) &&
           files.replace(path, json::dump(value, json::Layout::compact));
}

std::optional<json::Object> read(const fs::path& path, const std::function<bool(const json::Object&)>& accepts) {
    std::error_code error;
    if (path.empty() || !fs::exists(path, error)) return std::nullopt;
    const auto text = platform::systemFiles().read(path);
    auto value = text ? json::parse(*text) : std::nullopt;
    if (value && (!accepts || accepts(*value))) return value;
    // Kept for whoever wants to look at it, out of the way of the next write.
    fs::path aside = path;
    aside += ".damaged";
    fs::rename(path, aside, error);
    return std::nullopt;
}

int removeLeftovers(const fs::path& folder) {
    // The atomic write names its temporaries ".<target>.<pid>.<counter>.<attempt>.tmp".
    int removed = 0;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (name.size() < 5 || name.front() != '.' || !name.ends_with(".tmp")) continue;
        std::vector<std::string> parts;
        for (std::size_t start = 1, dot; start <= name.size(); start = dot + 1) {
            dot = name.find('.', start);
            if (dot == std::string::npos) dot = name.size();
            parts.push_back(name.substr(start, dot - start));
        }
        if (parts.size() < 5) continue;
        const std::string& pidText = parts[parts.size() - 4];
        if (pidText.empty() || pidText.size() > 9 ||
            !std::all_of(pidText.begin(), pidText.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            continue;
        }
        const auto pid = static_cast<pid_t>(std::stol(pidText));
        if (pid <= 0 || (::kill(pid, 0) != 0 && errno == ESRCH)) {
            std::error_code ignored;
            if (fs::remove(it->path(), ignored)) ++removed;
        }
    }
    return removed;
}

std::vector<Reading> readReadings(const fs::path& path) {
    const auto value = read(path, [](const json::Object& v) { return v.is_array(); });
    if (!value) return {};
    return Readings::fromJSON(*value).value_or(std::vector<Reading>{});
}

bool writeReadings(const fs::path& path, std::span<const Reading> readings) {
    return write(path, Readings::toJSON(readings));
}

Prefs readPrefs(const fs::path& path) {
    const auto value = read(path, [](const json::Object& v) { return Prefs::fromJSON(v).has_value(); });
    return value ? *Prefs::fromJSON(*value) : Prefs{};
}

bool writePrefs(const fs::path& path, const Prefs& prefs) { return write(path, prefs.toJSON()); }

KnownDrives readKnownDrives(const fs::path& path) {
    const auto value = read(path, [](const json::Object& v) { return KnownDrives::fromJSON(v).has_value(); });
    return value ? *KnownDrives::fromJSON(*value) : KnownDrives{};
}

bool writeKnownDrives(const fs::path& path, const KnownDrives& known) { return write(path, known.toJSON()); }

std::optional<std::vector<std::string>> readHiddenDrives(const fs::path& path) {
    const auto value = read(path, [](const json::Object& v) { return jsonfield::texts(v, "keys").has_value(); });
    if (!value) return std::nullopt;
    return jsonfield::texts(*value, "keys");
}

bool writeHiddenDrives(const fs::path& path, std::span<const std::string> keys) {
    json::Object object;
    object["keys"] = std::vector<std::string>(keys.begin(), keys.end());
    return write(path, object);
}

std::optional<int> readWidgetLowSpacePercent(const fs::path& path) {
    const auto value = read(path, [](const json::Object& v) {
        return v.is_object() && v.contains("lowSpacePercent") && v["lowSpacePercent"].is_number_integer();
    });
    if (!value) return std::nullopt;
    return (*value)["lowSpacePercent"].get<int>();
}

bool writeWidgetLowSpacePercent(const fs::path& path, int lowSpacePercent) {
    json::Object object;
    object["lowSpacePercent"] = lowSpacePercent;
    return write(path, object);
}

bool writeSharedState(const fs::path& path, std::span<const DriveSummary> drives, json::SystemTime now) {
    json::Object list = json::Object::array();
    for (const auto& drive : drives) list.push_back(drive.toJSON());
    json::Object object;
    object["date"] = json::isoDate(now);
    object["drives"] = std::move(list);
    return write(path, object);
}

}  // namespace StateFiles

}  // namespace app
