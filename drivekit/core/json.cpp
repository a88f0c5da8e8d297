#include "drivekit/core/json.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <exception>

#include "drivekit/core/text.hpp"

namespace drivekit::json {
namespace {

using namespace std::chrono;

// Reads exactly `count` ASCII digits at `at`, moving past them.
bool digits(std::string_view text, std::size_t& at, std::size_t count, int& out) {
    if (text.size() - at < count) return false;
    int value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const char c = text[at + i];
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    at += count;
    out = value;
    return true;
}

bool take(std::string_view text, std::size_t& at, char wanted) {
    if (at >= text.size() || text[at] != wanted) return false;
    ++at;
    return true;
}

nlohmann::json sortedCopy(const Object& value) {
    switch (value.type()) {
        case Object::value_t::object: {
            nlohmann::json out = nlohmann::json::object();
            for (const auto& [key, item] : value.items()) out[key] = sortedCopy(item);
            return out;
        }
        case Object::value_t::array: {
            nlohmann::json out = nlohmann::json::array();
            for (const auto& item : value) out.push_back(sortedCopy(item));
            return out;
        }
        case Object::value_t::string:
            return value.get_ref<const std::string&>();
        case Object::value_t::boolean:
            return value.get<bool>();
        case Object::value_t::number_integer:
            return value.get<std::int64_t>();
        case Object::value_t::number_unsigned:
            return value.get<std::uint64_t>();
        case Object::value_t::number_float:
            return value.get<double>();
        case Object::value_t::binary:
            return nlohmann::json::binary(value.get_binary());
        case Object::value_t::null:
        case Object::value_t::discarded:
            break;
    }
    return nullptr;
}

bool writeAll(int fd, std::string_view contents) {
    while (!contents.empty()) {
        const ssize_t wrote = ::write(fd, contents.data(), contents.size());
        if (wrote < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        contents.remove_prefix(static_cast<std::size_t>(wrote));
    }
    return true;
}

bool syncFile(int fd) {
    while (::fsync(fd) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

// A name beside the target that no other writer uses: the process id tells processes
// apart, the counter threads and calls, and O_EXCL catches whatever is left over (a
// reused process id meeting a stale file). The leading dot keeps it out of listings.
std::string temporaryName(const std::filesystem::path& target, std::uint64_t attempt) {
    static std::atomic<std::uint64_t> counter{0};
    std::string base = target.filename().string();
    if (base.size() > 200) base.resize(200);  // stay within the 255-byte name limit
    return text::format(".%s.%ld.%llu.%llu.tmp", base.c_str(), static_cast<long>(::getpid()),
                        static_cast<unsigned long long>(counter.fetch_add(1)),
                        static_cast<unsigned long long>(attempt));
}

}  // namespace

std::string isoDate(SystemTime time) {
    const auto second = floor<seconds>(time);
    const auto day = floor<days>(second);
    const year_month_day date{day};
    const hh_mm_ss clock{second - day};
    return text::format("%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                        static_cast<int>(clock.hours().count()),
                        static_cast<int>(clock.minutes().count()),
                        static_cast<int>(clock.seconds().count()));
}

std::optional<SystemTime> parseIsoDate(std::string_view text) {
    std::size_t at = 0;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!digits(text, at, 4, year) || !take(text, at, '-') || !digits(text, at, 2, month) ||
        !take(text, at, '-') || !digits(text, at, 2, day)) {
        return std::nullopt;
    }
    if (!take(text, at, 'T') && !take(text, at, 't')) return std::nullopt;
    if (!digits(text, at, 2, hour) || !take(text, at, ':') || !digits(text, at, 2, minute) ||
        !take(text, at, ':') || !digits(text, at, 2, second)) {
        return std::nullopt;
    }

    std::int64_t nanos = 0;
    if (take(text, at, '.') || take(text, at, ',')) {
        std::int64_t scale = 100'000'000;
        const std::size_t first = at;
        for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
            nanos += (text[at] - '0') * scale;
            scale /= 10;  // digits past the ninth add nothing
        }
        if (at == first) return std::nullopt;
    }

    int offsetMinutes = 0;
    if (!take(text, at, 'Z') && !take(text, at, 'z')) {
        int sign = 0;
        if (take(text, at, '+'))
            sign = 1;
        else if (take(text, at, '-'))
            sign = -1;
        int offsetHour = 0, offsetMinute = 0;
        if (sign == 0 || !digits(text, at, 2, offsetHour)) return std::nullopt;
        take(text, at, ':');
        if (!digits(text, at, 2, offsetMinute)) return std::nullopt;
        if (offsetHour > 23 || offsetMinute > 59) return std::nullopt;
        offsetMinutes = sign * (offsetHour * 60 + offsetMinute);
    }
    if (at != text.size()) return std::nullopt;

    const year_month_day date{std::chrono::year{year},
                              std::chrono::month{static_cast<unsigned>(month)},
                              std::chrono::day{static_cast<unsigned>(day)}};
    // A leap second (60) reads as the first second of the next minute.
    if (!date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;

    const std::int64_t wholeSeconds = sys_days{date}.time_since_epoch().count() * 86'400LL +
                                      hour * 3600LL + minute * 60LL + second - offsetMinutes * 60LL;
    // The clock counts nanoseconds in 64 bits: about the years 1677 to 2262.
    constexpr auto limit = duration_cast<seconds>(SystemTime::duration::max()).count() - 1;
    if (wholeSeconds > limit || wholeSeconds < -limit) return std::nullopt;
    return SystemTime{duration_cast<SystemTime::duration>(seconds{wholeSeconds}) +
                      duration_cast<SystemTime::duration>(nanoseconds{nanos})};
}

std::optional<Object> parse(std::string_view text) {
    try {
        Object value = Object::parse(text.begin(), text.end(), nullptr, false);
        if (value.is_discarded()) return std::nullopt;
        return value;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<Object> readFile(const std::filesystem::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::string contents;
    char buffer[65536];
    bool failed = false;
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) failed = true;
        if (got <= 0) break;
        contents.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    if (failed) return std::nullopt;
    return parse(contents);
}

std::string dump(const Object& value, Layout layout) {
    constexpr auto replace = nlohmann::json::error_handler_t::replace;
    switch (layout) {
        case Layout::compact:
            break;
        case Layout::pretty:
            return value.dump(2, ' ', false, replace);
        case Layout::prettySorted:
            return sortedCopy(value).dump(2, ' ', false, replace);
    }
    return value.dump(-1, ' ', false, replace);
}

bool writeAtomically(const std::filesystem::path& path, std::string_view contents) {
    if (!path.has_filename()) return false;
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";

    std::filesystem::path temporary;
    int fd = -1;
    for (std::uint64_t attempt = 0; attempt < 16 && fd < 0; ++attempt) {
        temporary = folder / temporaryName(path, attempt);
        fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) return false;
    }
    if (fd < 0) return false;

    const bool written = writeAll(fd, contents) && syncFile(fd);
    const bool closed = ::close(fd) == 0;
    if (!written || !closed || ::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }

    // Makes the rename itself durable.
    const int folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd >= 0) {
        syncFile(folderFd);
        ::close(folderFd);
    }
    return true;
}

}  // namespace drivekit::json
