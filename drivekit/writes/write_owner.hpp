#pragma once
// Who a process's writes belong to, as the user sees it: an application, a command-line
// tool by its executable, web pages, or the system. One ordered table of rules decides
// (write_owner.cpp); the order is behaviour.
#include <compare>
#include <optional>
#include <string>
#include <string_view>

#include "drivekit/writes/process_writes.hpp"

namespace drivekit {

struct WriteOwner {
    enum class Kind { app, tool, webPages, system };

    Kind kind = Kind::system;
    /// `app`: the application's desktop-entry id ("org.gnome.Nautilus", "firefox"), or
    /// "snap.<name>" for a snap. `tool`: the executable's path. Empty for the others.
    std::string name;

    static WriteOwner app(std::string id) { return {Kind::app, std::move(id)}; }
    static WriteOwner tool(std::string path) { return {Kind::tool, std::move(path)}; }
    static WriteOwner webPages() { return {Kind::webPages, {}}; }
    static WriteOwner system() { return {Kind::system, {}}; }

    /// "app:<id>", "tool:<path>", "web", "system": the form in the history files.
    std::string key() const;
    /// "system", "web", "app:" with something after it, "tool:" with something after it;
    /// anything else is no owner.
    static std::optional<WriteOwner> fromKey(std::string_view key);

    auto operator<=>(const WriteOwner&) const = default;
};

namespace WriteOwners {

/// The owner of a process, by the rules in their order: a browser's web content; an
/// application by its cgroup (flatpak, snap, a desktop launch); a system service by its
/// cgroup; a system executable by its path; any other executable as a tool; and the
/// system for what has no path (kernel threads).
WriteOwner of(const ProcessWrites& process);

/// The desktop-entry id of the application a cgroup path belongs to: a flatpak's
/// "app-flatpak-<id>-<n>.scope", a snap's "snap.<name>.<app>-<uuid>.scope" (as
/// "snap.<name>"), a desktop launch's "app[-<launcher>]-<id>-<n>.scope" or
/// "app[-<launcher>]-<id>@<random>.service". Nothing for any other cgroup.
std::optional<std::string> appOfCgroup(std::string_view cgroup);

/// Whether a process is a browser's renderer or content process: Chromium-family
/// browsers with "--type=renderer", Firefox with "-contentproc" and "tab" as its last
/// argument, WebKitGTK's web process. `cmdline` is /proc's form, arguments ended by NUL.
bool isWebContent(std::string_view path, std::string_view cmdline);
/// Whether the executable is one whose command line can make it web content: only those
/// processes' command lines are read.
bool mayShowWebContent(std::string_view path);

/// The short name for a list: an application's last dotted part of its id ("Nautilus"),
/// a snap's name, a tool's file name. Nothing for web pages and the system, whose names
/// are the list's own words.
std::optional<std::string> fileName(const WriteOwner& owner);

}  // namespace WriteOwners

}  // namespace drivekit
