#include "platform/linux/linux_proc_files.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <time.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <string>

namespace platform {

namespace {

// Relative names are short ("4194304/cgroup"); a longer one is refused rather than cut.
constexpr std::size_t kNameRoom = 64;

bool terminated(std::string_view relative, char (&name)[kNameRoom]) {
    if (relative.empty() || relative.size() >= kNameRoom || relative.front() == '/') return false;
    std::memcpy(name, relative.data(), relative.size());
    name[relative.size()] = '\0';
    return true;
}

}  // namespace

LinuxProcFiles::LinuxProcFiles(const std::filesystem::path& root, long ticksPerSecond)
    : folder_(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
      system_(root == "/proc"),
      ticks_(ticksPerSecond > 0 ? ticksPerSecond : ::sysconf(_SC_CLK_TCK)) {
    if (ticks_ <= 0) ticks_ = 100;
}

LinuxProcFiles::~LinuxProcFiles() {
    if (folder_ >= 0) ::close(folder_);
}

std::optional<std::uint64_t> LinuxProcFiles::bootMicros() const {
    if (system_) {
        // Start times count on the boot-time clock, which goes on through suspend.
        timespec wall{};
        timespec sinceBoot{};
        if (::clock_gettime(CLOCK_REALTIME, &wall) != 0 || ::clock_gettime(CLOCK_BOOTTIME, &sinceBoot) != 0) {
            return std::nullopt;
        }
        const auto micros = [](const timespec& t) {
            return static_cast<std::int64_t>(t.tv_sec) * 1'000'000 + t.tv_nsec / 1000;
        };
        const std::int64_t boot = micros(wall) - micros(sinceBoot);
        if (boot <= 0) return std::nullopt;
        return static_cast<std::uint64_t>(boot);
    }
    // /proc/stat holds a line per CPU before btime; 64 KB covers a few hundred CPUs.
    std::string text(65536, '\0');
    const auto size = read("stat", text);
    if (!size) return std::nullopt;
    text.resize(*size);
    constexpr std::string_view key = "\nbtime ";
    const auto at = text.find(key);
    if (at == std::string::npos) return std::nullopt;
    std::uint64_t seconds = 0;
    const char* first = text.data() + at + key.size();
    const auto [end, error] = std::from_chars(first, text.data() + text.size(), seconds);
    if (error != std::errc() || end == first) return std::nullopt;
    return seconds * 1'000'000;
}

std::uint64_t LinuxProcFiles::pageSize() const {
    const long size = ::sysconf(_SC_PAGESIZE);
    return size > 0 ? static_cast<std::uint64_t>(size) : 4096;
}

std::vector<std::int32_t> LinuxProcFiles::pids() const {
    std::vector<std::int32_t> found;
    if (folder_ < 0) return found;
    // A duplicate, because a directory stream owns (and closes) its descriptor.
    const int listing = ::openat(folder_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (listing < 0) return found;
    DIR* dir = ::fdopendir(listing);
    if (dir == nullptr) {
        ::close(listing);
        return found;
    }
    found.reserve(512);
    while (const dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (*name < '1' || *name > '9') continue;
        std::int64_t pid = 0;
        for (; *name >= '0' && *name <= '9' && pid <= INT32_MAX; ++name) pid = pid * 10 + (*name - '0');
        if (*name == '\0' && pid > 0 && pid <= INT32_MAX) found.push_back(static_cast<std::int32_t>(pid));
    }
    ::closedir(dir);
    return found;
}

std::optional<std::size_t> LinuxProcFiles::read(std::string_view relative, std::span<char> buffer) const {
    char name[kNameRoom];
    if (folder_ < 0 || !terminated(relative, name)) return std::nullopt;
    const int fd = ::openat(folder_, name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return std::nullopt;
    // A short read is the end of the file: /proc makes a small file whole on the first
    // read, and asking again for the 0 that ends it would be a third more system calls
    // per process. Only a full buffer (a long cmdline) reads on.
    std::size_t filled = 0;
    bool failed = false;
    while (filled < buffer.size()) {
        const std::size_t wanted = buffer.size() - filled;
        const ssize_t got = ::read(fd, buffer.data() + filled, wanted);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) failed = true;
        if (got <= 0) break;
        filled += static_cast<std::size_t>(got);
        if (static_cast<std::size_t>(got) < wanted) break;
    }
    ::close(fd);
    if (failed) return std::nullopt;
    return filled;
}

std::optional<std::string> LinuxProcFiles::readLink(std::string_view relative) const {
    char name[kNameRoom];
    if (folder_ < 0 || !terminated(relative, name)) return std::nullopt;
    char target[PATH_MAX];
    const ssize_t length = ::readlinkat(folder_, name, target, sizeof target);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof target) return std::nullopt;
    return std::string(target, static_cast<std::size_t>(length));
}

}  // namespace platform
