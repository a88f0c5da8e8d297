#include "drivekit/writes/write_owner.hpp"

#include <array>
#include <vector>

namespace drivekit {

std::string WriteOwner::key() const {
    switch (kind) {
        case Kind::app: return "app:" + name;
        case Kind::tool: return "tool:" + name;
        case Kind::webPages: return "web";
        case Kind::system: return "system";
    }
    return "system";
}

std::optional<WriteOwner> WriteOwner::fromKey(std::string_view key) {
    if (key == "system") return system();
    if (key == "web") return webPages();
    if (key.starts_with("app:") && key.size() >= 5) return app(std::string(key.substr(4)));
    if (key.starts_with("tool:") && key.size() >= 6) return tool(std::string(key.substr(5)));
    return std::nullopt;
}

namespace WriteOwners {

namespace {

// Where the distribution keeps what the user didn't install as a program of their own.
// /usr/bin is not among them: rsync, dd or cp started by the user are tools worth naming.
constexpr std::array<std::string_view, 6> kSystemPrefixes = {
    "/usr/lib/", "/usr/libexec/", "/usr/sbin/", "/sbin/", "/lib/systemd/", "/usr/lib64/",
};

bool isSystemPath(std::string_view path) {
    for (const auto prefix : kSystemPrefixes) {
        if (path.starts_with(prefix)) return true;
    }
    return false;
}

// The last component of a cgroup path, the unit the process runs in.
std::string_view unitOf(std::string_view cgroup) {
    const auto slash = cgroup.rfind('/');
    return slash == std::string_view::npos ? cgroup : cgroup.substr(slash + 1);
}

// systemd escapes a '-' inside an application id as "\x2d", so that an unescaped '-'
// can separate the launcher and the random tail.
std::string unescape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.substr(i).starts_with("\\x2d")) {
            out.push_back('-');
            i += 3;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::string_view fileOf(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::vector<std::string_view> arguments(std::string_view cmdline) {
    std::vector<std::string_view> args;
    while (!cmdline.empty()) {
        const auto end = cmdline.find('\0');
        args.push_back(cmdline.substr(0, end));
        if (end == std::string_view::npos) break;
        cmdline.remove_prefix(end + 1);
    }
    return args;
}

// Executables whose renderers or content processes show web pages. Electron programs
// have renderers too, but what they write is the program's own.
constexpr std::array<std::string_view, 7> kChromiumBrowsers = {
    "chrome", "chromium", "chromium-browser", "brave", "msedge", "vivaldi-bin", "opera",
};
constexpr std::array<std::string_view, 3> kFirefoxBrowsers = {"firefox", "firefox-bin", "firefox-esr"};

template <std::size_t N>
bool among(std::string_view name, const std::array<std::string_view, N>& names) {
    for (const auto known : names) {
        if (name == known) return true;
    }
    return false;
}

// The rules, in order; the first that answers decides.
using Rule = std::optional<WriteOwner> (*)(const ProcessWrites&);
constexpr std::array<Rule, 5> kRules = {
    // What web content writes isn't the browser's, as far as this counter can tell;
    // renderers run in their browser's cgroup, so this comes before the application.
    [](const ProcessWrites& p) -> std::optional<WriteOwner> {
        return p.webContent ? std::optional(WriteOwner::webPages()) : std::nullopt;
    },
    // An application by the unit its launcher put it in, whatever the executable.
    [](const ProcessWrites& p) -> std::optional<WriteOwner> {
        auto id = appOfCgroup(p.cgroup);
        return id ? std::optional(WriteOwner::app(std::move(*id))) : std::nullopt;
    },
    // System services, wherever their executable lies.
    [](const ProcessWrites& p) -> std::optional<WriteOwner> {
        return p.cgroup.starts_with("/system.slice/") ? std::optional(WriteOwner::system()) : std::nullopt;
    },
    [](const ProcessWrites& p) -> std::optional<WriteOwner> {
        return isSystemPath(p.path) ? std::optional(WriteOwner::system()) : std::nullopt;
    },
    // Kernel threads and processes without a readable executable fall through to the
    // system.
    [](const ProcessWrites& p) -> std::optional<WriteOwner> {
        return p.path.empty() ? std::nullopt : std::optional(WriteOwner::tool(p.path));
    },
};

}  // namespace

std::optional<std::string> appOfCgroup(std::string_view cgroup) {
    std::string_view unit = unitOf(cgroup);
    if (unit.starts_with("snap.") && unit.ends_with(".scope")) {
        const auto dot = unit.find('.', 5);
        if (dot == std::string_view::npos || dot == 5) return std::nullopt;
        return "snap." + std::string(unit.substr(5, dot - 5));
    }
    if (!unit.starts_with("app-")) return std::nullopt;
    unit.remove_prefix(4);
    if (unit.ends_with(".scope")) {
        unit.remove_suffix(6);
        // The tail after the last '-' is a pid or a random number.
        const auto dash = unit.rfind('-');
        if (dash == std::string_view::npos) return std::nullopt;
        unit = unit.substr(0, dash);
    } else if (unit.ends_with(".service")) {
        unit.remove_suffix(8);
        if (const auto at = unit.find('@'); at != std::string_view::npos) unit = unit.substr(0, at);
    } else {
        return std::nullopt;
    }
    // "gnome-org.gnome.Nautilus", "flatpak-org.mozilla.firefox": a launcher, then the id.
    if (const auto dash = unit.find('-'); dash != std::string_view::npos) unit.remove_prefix(dash + 1);
    if (unit.empty()) return std::nullopt;
    std::string id = unescape(unit);
    if (id.ends_with(".desktop")) id.resize(id.size() - 8);
    return id.empty() ? std::nullopt : std::optional(std::move(id));
}

bool isWebContent(std::string_view path, std::string_view cmdline) {
    const std::string_view file = fileOf(path);
    if (file == "WebKitWebProcess") return true;
    const auto args = arguments(cmdline);
    if (args.empty()) return false;
    // Chromium forks its renderers from a zygote, so the executable is the browser's own.
    if (among(file, kChromiumBrowsers)) {
        for (const auto arg : args) {
            if (arg == "--type=renderer") return true;
        }
        return false;
    }
    if (among(file, kFirefoxBrowsers)) {
        bool content = false;
        for (const auto arg : args) content = content || arg == "-contentproc";
        return content && args.back() == "tab";
    }
    return false;
}

bool mayShowWebContent(std::string_view path) {
    const std::string_view file = fileOf(path);
    return file == "WebKitWebProcess" || among(file, kChromiumBrowsers) || among(file, kFirefoxBrowsers);
}

WriteOwner of(const ProcessWrites& process) {
    for (const Rule rule : kRules) {
        if (auto owner = rule(process)) return std::move(*owner);
    }
    return WriteOwner::system();
}

std::optional<std::string> fileName(const WriteOwner& owner) {
    switch (owner.kind) {
        case WriteOwner::Kind::app: {
            const std::string_view id = owner.name;
            const auto dot = id.rfind('.');
            return std::string(dot == std::string_view::npos ? id : id.substr(dot + 1));
        }
        case WriteOwner::Kind::tool: return std::string(fileOf(owner.name));
        case WriteOwner::Kind::webPages:
        case WriteOwner::Kind::system: return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace WriteOwners

}  // namespace drivekit
