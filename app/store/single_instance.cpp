#include "app/store/single_instance.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cctype>
#include <string>

namespace app {

namespace SingleInstance {

std::filesystem::path lockFile(const std::function<std::optional<std::string>(const char*)>& environment) {
    const auto runtime = environment("XDG_RUNTIME_DIR");
    const std::filesystem::path folder = runtime && !runtime->empty() && runtime->front() == '/' ? *runtime : "/tmp";
    return folder / "vantrel-instance.lock";
}

Lock acquire(const std::filesystem::path& file) {
    const int fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (fd < 0) return Lock{};  // can't tell: better two instances than none
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
        const std::string pid = std::to_string(::getpid()) + "\n";
        if (::ftruncate(fd, 0) == 0) {
            [[maybe_unused]] const auto written = ::pwrite(fd, pid.data(), pid.size(), 0);
        }
        return Lock{true, fd, std::nullopt};
    }
    char buffer[21] = {};
    const auto got = ::pread(fd, buffer, 20, 0);
    ::close(fd);
    Lock lost{false, -1, std::nullopt};
    if (got > 0) {
        std::string text(buffer, static_cast<std::size_t>(got));
        while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
        char* end = nullptr;
        const long pid = std::strtol(text.c_str(), &end, 10);
        if (!text.empty() && end != nullptr && *end == '\0' && pid > 0) lost.holder = static_cast<pid_t>(pid);
    }
    return lost;
}

}  // namespace SingleInstance

bool RequestGate::admits(drivekit::json::SystemTime now) {
    if (last && now >= *last && std::chrono::duration<double>(now - *last).count() < interval) return false;
    last = now;
    return true;
}

std::optional<std::string> driveInLink(std::string_view url) {
    constexpr std::string_view prefix = "vantrel://drive";
    if (!url.starts_with(prefix)) return std::nullopt;
    url.remove_prefix(prefix.size());
    if (url.empty() || url == "/") return std::string();
    if (url.front() != '/') return std::nullopt;
    url.remove_prefix(1);
    // Keys hold no slash; percent-escapes are decoded.
    std::string key;
    for (std::size_t i = 0; i < url.size(); ++i) {
        if (url[i] == '%' && i + 2 < url.size() && std::isxdigit(static_cast<unsigned char>(url[i + 1])) &&
            std::isxdigit(static_cast<unsigned char>(url[i + 2]))) {
            key += static_cast<char>(std::stoi(std::string(url.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else if (url[i] == '/') {
            return std::nullopt;
        } else {
            key += url[i];
        }
    }
    return key;
}

}  // namespace app
