#include "drivekit/writes/process_writes.hpp"

#include <array>
#include <charconv>
#include <memory>
#include <string_view>

#include "drivekit/writes/write_owner.hpp"

namespace drivekit {

json::Object toJson(const ProcessWrites& process) {
    json::Object object;
    object["pid"] = process.pid;
    object["started"] = process.started;
    object["path"] = process.path;
    object["written"] = process.written;
    object["cgroup"] = process.cgroup;
    object["webContent"] = process.webContent;
    return object;
}

std::optional<ProcessWrites> processWritesFromJson(const json::Object& value) {
    if (!value.is_object()) return std::nullopt;
    const auto pid = value.find("pid");
    const auto started = value.find("started");
    const auto path = value.find("path");
    const auto written = value.find("written");
    if (pid == value.end() || started == value.end() || path == value.end() || written == value.end()) {
        return std::nullopt;
    }
    if (!pid->is_number_integer() || !started->is_number_unsigned() || !path->is_string() ||
        !written->is_number_unsigned()) {
        // Small non-negative numbers parse as unsigned; a negative start or count is damage.
        return std::nullopt;
    }
    const auto pidValue = pid->get<std::int64_t>();
    if (pidValue < INT32_MIN || pidValue > INT32_MAX) return std::nullopt;
    ProcessWrites process;
    process.pid = static_cast<std::int32_t>(pidValue);
    process.started = started->get<std::uint64_t>();
    process.path = path->get<std::string>();
    process.written = written->get<std::uint64_t>();
    if (const auto cgroup = value.find("cgroup"); cgroup != value.end() && cgroup->is_string()) {
        process.cgroup = cgroup->get<std::string>();
    }
    if (const auto web = value.find("webContent"); web != value.end() && web->is_boolean()) {
        process.webContent = web->get<bool>();
    }
    return process;
}

namespace ProcessWritesReader {

namespace {

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end == text.data()) return std::nullopt;
    return value;
}

// "write_bytes: 4096" at the start of a line; "cancelled_write_bytes" is another count.
std::optional<std::uint64_t> writeBytes(std::string_view io) {
    constexpr std::string_view key = "write_bytes: ";
    for (std::size_t at = io.find(key); at != std::string_view::npos; at = io.find(key, at + 1)) {
        if (at == 0 || io[at - 1] == '\n') return number(io.substr(at + key.size()));
    }
    return std::nullopt;
}

// Field 22 of the stat line, in clock ticks after boot. The command name (field 2) is in
// parentheses and may hold spaces and parentheses itself, so fields are counted from the
// last ')'.
std::optional<std::uint64_t> startTicks(std::string_view stat) {
    const auto close = stat.rfind(')');
    if (close == std::string_view::npos) return std::nullopt;
    std::string_view rest = stat.substr(close + 1);
    for (int field = 3; field < 22; ++field) {
        const auto space = rest.find(' ', 1);
        if (space == std::string_view::npos) return std::nullopt;
        rest.remove_prefix(space);
    }
    if (rest.empty()) return std::nullopt;
    return number(rest.substr(1));
}

// The unified hierarchy's line ("0::/user.slice/…"); on a hybrid layout where that is
// the root, the systemd hierarchy's path says the same.
std::string cgroupPath(std::string_view text) {
    std::string_view unified;
    std::string_view named;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        if (line.starts_with("0::")) unified = line.substr(3);
        if (const auto at = line.find(":name=systemd:"); at != std::string_view::npos) named = line.substr(at + 14);
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return std::string((unified.empty() || unified == "/") && !named.empty() ? named : unified);
}

// Room for one file of /proc: stat lines are a few hundred bytes, io a hundred, and a
// cgroup path rarely passes a few hundred. Command lines can be long; the browsers' marks
// sit early (Chromium) or in a short line (Firefox).
struct Buffers {
    std::array<char, 1024> small;
    std::array<char, 4096> cgroup;
    std::array<char, 32768> cmdline;
};

struct Names {
    char text[40];
    std::size_t base;

    explicit Names(std::int32_t pid) {
        const auto [end, error] = std::to_chars(text, text + 16, pid);
        (void)error;
        *end = '/';
        base = static_cast<std::size_t>(end - text) + 1;
    }
    std::string_view of(std::string_view file) {
        file.copy(text + base, file.size());
        return {text, base + file.size()};
    }
};

std::optional<ProcessWrites> readOne(const platform::ProcFiles& proc, std::int32_t pid, std::uint64_t bootMicros,
                                     Buffers& buffers) {
    Names names(pid);
    const auto ioSize = proc.read(names.of("io"), buffers.small);
    if (!ioSize) return std::nullopt;
    const auto written = writeBytes({buffers.small.data(), *ioSize});
    if (!written) return std::nullopt;

    ProcessWrites process;
    process.pid = pid;
    process.written = *written;
    // Most processes never write. The owner of one that hasn't written is never asked,
    // and the ledger counts whatever it writes later whole, so its other files are left
    // unread: that keeps a snapshot of a thousand processes within a few milliseconds.
    if (process.written == 0) return process;

    // stat is readable by anyone while the process lives: failing here, it has just ended.
    const auto statSize = proc.read(names.of("stat"), buffers.small);
    if (!statSize) return std::nullopt;
    if (bootMicros > 0) {
        if (const auto ticks = startTicks({buffers.small.data(), *statSize})) {
            const auto hz = static_cast<std::uint64_t>(proc.ticksPerSecond());
            process.started = bootMicros + *ticks / hz * 1'000'000 + *ticks % hz * 1'000'000 / hz;
        }
    }
    if (auto path = proc.readLink(names.of("exe"))) {
        // A deleted executable keeps running; the kernel marks its path.
        if (path->ends_with(" (deleted)")) path->resize(path->size() - 10);
        process.path = std::move(*path);
    }
    if (const auto size = proc.read(names.of("cgroup"), buffers.cgroup)) {
        process.cgroup = cgroupPath({buffers.cgroup.data(), *size});
    }
    if (WriteOwners::mayShowWebContent(process.path)) {
        if (const auto size = proc.read(names.of("cmdline"), buffers.cmdline)) {
            process.webContent = WriteOwners::isWebContent(process.path, {buffers.cmdline.data(), *size});
        }
    }
    return process;
}

std::uint64_t bootMicros(const platform::ProcFiles& proc) { return proc.bootMicros().value_or(0); }

}  // namespace

std::vector<ProcessWrites> snapshot(const platform::ProcFiles& proc) {
    const auto pids = proc.pids();
    std::vector<ProcessWrites> processes;
    processes.reserve(pids.size());
    const std::uint64_t boot = bootMicros(proc);
    auto buffers = std::make_unique<Buffers>();
    for (const std::int32_t pid : pids) {
        if (auto process = readOne(proc, pid, boot, *buffers)) processes.push_back(std::move(*process));
    }
    return processes;
}

ProcessWrites read(const platform::ProcFiles& proc, std::int32_t pid) {
    if (pid <= 0) return {};
    auto buffers = std::make_unique<Buffers>();
    auto process = readOne(proc, pid, bootMicros(proc), *buffers);
    return process ? std::move(*process) : ProcessWrites{};
}

}  // namespace ProcessWritesReader

}  // namespace drivekit
