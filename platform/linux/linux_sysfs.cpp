#include "platform/linux/linux_sysfs.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <deque>
#include <system_error>

#include "platform/linux/whole_file.hpp"

namespace platform {

namespace {

// Attributes are a page at most; anything longer is not the kind of file this reads.
constexpr std::size_t maxAttributeBytes = 64 * 1024;
// The kernel's own limit on links followed in one path walk.
constexpr int maxLinkHops = 40;

void appendComponents(std::string_view path, std::deque<std::string>& into, bool atFront) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (end > start) parts.emplace_back(path.substr(start, end - start));
        start = end + 1;
    }
    if (atFront) {
        into.insert(into.begin(), parts.begin(), parts.end());
    } else {
        into.insert(into.end(), parts.begin(), parts.end());
    }
}

std::string joined(const std::vector<std::string>& components) {
    std::string path;
    for (const auto& c : components) {
        path += '/';
        path += c;
    }
    return path.empty() ? "/" : path;
}

}  // namespace

LinuxSysfs::LinuxSysfs(std::filesystem::path root) {
    std::error_code ec;
    auto absolute = std::filesystem::absolute(root, ec);
    if (ec) absolute = root;
    // A root given with links in it (a temp folder under a linked /tmp) is pinned once,
    // so that every later walk starts from the real folder.
    auto canonical = std::filesystem::weakly_canonical(absolute, ec);
    root_ = ec ? absolute.lexically_normal() : canonical;
    isSystemRoot_ = root_ == root_.root_path();
}

std::optional<std::string> LinuxSysfs::walk(std::string_view path, bool followLast) const {
    if (path.empty() || path.front() != '/') return std::nullopt;
    std::deque<std::string> todo;
    appendComponents(path, todo, false);
    std::vector<std::string> done;
    int hops = 0;
    while (!todo.empty()) {
        std::string name = std::move(todo.front());
        todo.pop_front();
        if (name == ".") continue;
        if (name == "..") {
            if (!done.empty()) done.pop_back();
            continue;
        }
        done.push_back(std::move(name));
        if (todo.empty() && !followLast) break;

        std::error_code ec;
        const auto host = root_ / joined(done).substr(1);
        const auto status = std::filesystem::symlink_status(host, ec);
        if (ec || !std::filesystem::exists(status)) return std::nullopt;
        if (!std::filesystem::is_symlink(status)) continue;

        if (++hops > maxLinkHops) return std::nullopt;
        const auto target = std::filesystem::read_symlink(host, ec);
        if (ec) return std::nullopt;
        done.pop_back();
        if (target.is_absolute()) done.clear();
        appendComponents(target.native(), todo, true);
    }
    return joined(done);
}

std::optional<std::filesystem::path> LinuxSysfs::hostPath(std::string_view path,
                                                          bool followLast) const {
    if (path.empty() || path.front() != '/') return std::nullopt;
    if (isSystemRoot_) return std::filesystem::path(path);
    auto inside = walk(path, followLast);
    if (!inside) return std::nullopt;
    return root_ / inside->substr(1);
}

std::optional<std::string> LinuxSysfs::read(std::string_view path) const {
    const auto host = hostPath(path, true);
    if (!host) return std::nullopt;
    auto text = readWholeFile(host->string(), maxAttributeBytes, FileEnd::shortRead);
    if (text && !text->empty() && text->back() == '\n') text->pop_back();
    return text;
}

std::vector<std::string> LinuxSysfs::list(std::string_view path) const {
    std::vector<std::string> names;
    const auto host = hostPath(path, true);
    if (!host) return names;
    // getdents64 straight: a directory iterator adds a stat and two fcntl calls to every
    // folder, and a discovery pass lists a few per disk.
    const int fd = ::open(host->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return names;
    alignas(8) char buffer[16384];
    for (;;) {
        const ssize_t got = ::getdents64(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) names.clear();
        if (got <= 0) break;
        for (ssize_t at = 0; at < got;) {
            dirent64 entry;
            std::memcpy(&entry, buffer + at, offsetof(dirent64, d_name));
            if (entry.d_reclen == 0) break;
            const std::string_view name(buffer + at + offsetof(dirent64, d_name));
            if (name != "." && name != "..") names.emplace_back(name);
            at += entry.d_reclen;
        }
    }
    ::close(fd);
    std::sort(names.begin(), names.end());
    return names;
}

bool LinuxSysfs::exists(std::string_view path) const {
    const auto host = hostPath(path, true);
    if (!host) return false;
    std::error_code ec;
    return std::filesystem::exists(*host, ec);
}

std::optional<std::string> LinuxSysfs::readLink(std::string_view path) const {
    const auto host = hostPath(path, false);
    if (!host) return std::nullopt;
    std::error_code ec;
    auto target = std::filesystem::read_symlink(*host, ec);
    if (ec) return std::nullopt;
    return target.string();
}

std::optional<std::string> LinuxSysfs::resolve(std::string_view path) const {
    if (path.empty() || path.front() != '/') return std::nullopt;
    if (!isSystemRoot_) return walk(path, true);
    // The kernel resolves the whole path in one open and names what it found under
    // /proc/self/fd: three calls, where resolving it here would read every link on the way.
    const int fd = ::open(std::string(path).c_str(), O_PATH | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    char target[4096];
    const ssize_t length = ::readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), target, sizeof target);
    ::close(fd);
    if (length > 0 && static_cast<std::size_t>(length) < sizeof target && target[0] == '/') {
        std::string resolved(target, static_cast<std::size_t>(length));
        if (resolved.ends_with(" (deleted)")) return std::nullopt;  // gone while we looked
        return resolved;
    }
    // No /proc (an early boot, a bare container): resolved link by link.
    std::error_code ec;
    auto canonical = std::filesystem::canonical(std::filesystem::path(path), ec);
    if (ec) return std::nullopt;
    return canonical.string();
}

}  // namespace platform
