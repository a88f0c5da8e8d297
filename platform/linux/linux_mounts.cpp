#include "platform/linux/linux_mounts.hpp"

#include <charconv>
#include <string>

#include "platform/linux/whole_file.hpp"

namespace platform {

namespace {

std::vector<std::string_view> words(std::string_view line) {
    std::vector<std::string_view> out;
    std::size_t at = 0;
    while (at < line.size()) {
        at = line.find_first_not_of(' ', at);
        if (at == std::string_view::npos) break;
        const std::size_t end = std::min(line.find(' ', at), line.size());
        out.push_back(line.substr(at, end - at));
        at = end;
    }
    return out;
}

bool isOctal(char c) {
    return c >= '0' && c <= '7';
}

// Only the kernel's own escapes of a backslash and three octal digits are undone; any
// other backslash stays as it is.
std::string unescaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) &&
            isOctal(text[i + 2]) && isOctal(text[i + 3])) {
            const int value =
                (text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0');
            if (value <= 0xFF) {
                out += static_cast<char>(value);
                i += 3;
                continue;
            }
        }
        out += text[i];
    }
    return out;
}

bool parseNumber(std::string_view text, unsigned& value) {
    const auto* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return ec == std::errc{} && ptr == end && !text.empty();
}

}  // namespace

LinuxMounts::LinuxMounts(std::filesystem::path root)
    : file_(std::move(root) / "proc/self/mountinfo") {}

std::vector<Mount> LinuxMounts::list() const {
    const auto text = readWholeFile(file_.string());
    if (!text) return {};
    return parse(*text);
}

std::vector<Mount> LinuxMounts::parse(std::string_view text) {
    std::vector<Mount> mounts;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const auto fields = words(text.substr(start, end - start));
        start = end + 1;

        // id parent major:minor root mount-point options [optional...] - type source super
        if (fields.size() < 10) continue;
        std::size_t dash = 6;
        while (dash < fields.size() && fields[dash] != "-") ++dash;
        if (dash + 2 >= fields.size()) continue;
        const auto colon = fields[2].find(':');
        Mount mount;
        if (colon == std::string_view::npos ||
            !parseNumber(fields[2].substr(0, colon), mount.major) ||
            !parseNumber(fields[2].substr(colon + 1), mount.minor)) {
            continue;
        }
        mount.root = unescaped(fields[3]);
        mount.mountPoint = unescaped(fields[4]);
        mount.fileSystem = unescaped(fields[dash + 1]);
        mount.source = unescaped(fields[dash + 2]);
        mount.options = unescaped(fields[5]);
        if (dash + 3 < fields.size()) mount.superOptions = unescaped(fields[dash + 3]);
        mounts.push_back(std::move(mount));
    }
    return mounts;
}

}  // namespace platform
