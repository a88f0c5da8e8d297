#pragma once
// Open at login: the user's own XDG autostart entry, which overrides the one the package
// installs (off) under the same name. Removing it returns to the package's.
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "platform/file_store.hpp"

namespace desktop::Autostart {

inline constexpr const char* kFileName = "com.orlend.vantrel-autostart.desktop";

/// $XDG_CONFIG_HOME/autostart/<name> (else ~/.config/autostart/<name>); empty when neither
/// is known.
std::filesystem::path entryPath(const std::function<std::optional<std::string>(const char*)>& environment);

/// The entry that starts the application at login.
std::string entryText();

/// Whether the entry at `path` starts the application: present and not hidden.
bool enabled(platform::FileStore& files, const std::filesystem::path& path);

/// Writes or removes the entry; false when that failed.
bool set(platform::FileStore& files, const std::filesystem::path& path, bool on);

}  // namespace desktop::Autostart
