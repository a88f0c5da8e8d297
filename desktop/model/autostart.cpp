#include "desktop/model/autostart.hpp"

#include <system_error>

namespace desktop::Autostart {

std::filesystem::path entryPath(const std::function<std::optional<std::string>(const char*)>& environment) {
    std::filesystem::path config;
    if (const auto xdg = environment("XDG_CONFIG_HOME"); xdg && !xdg->empty() && xdg->front() == '/') {
        config = *xdg;
    } else if (const auto home = environment("HOME"); home && !home->empty()) {
        config = std::filesystem::path(*home) / ".config";
    } else {
        return {};
    }
    return config / "autostart" / kFileName;
}

std::string entryText() {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Vantrel\n"
           "Comment=Keep watch over this computer's drives from login\n"
           "Icon=com.orlend.vantrel\n"
           "Exec=vantrel --login\n"
           "Terminal=false\n"
           "NoDisplay=true\n"
           "Hidden=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

bool enabled(platform::FileStore& files, const std::filesystem::path& path) {
    if (path.empty()) return false;
    const auto text = files.read(path);
    if (!text) return false;
    return text.value().find("\nHidden=true") == std::string::npos &&
           text.value().find("\nX-GNOME-Autostart-enabled=false") == std::string::npos;
}

bool set(platform::FileStore& files, const std::filesystem::path& path, bool on) {
    if (path.empty()) return false;
    if (!on) {
        std::error_code error;
        std::filesystem::remove(path, error);
        return !error;
    }
    if (!files.createFolders(path.parent_path())) return false;
    return static_cast<bool>(files.replace(path, entryText()));
}

}  // namespace desktop::Autostart
