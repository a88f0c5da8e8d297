#pragma once
// Read access to the kernel's files under /proc: the per-process counters, start times,
// executables and cgroups that write accounting reads, and the system's own figures (swap,
// memory pressure, this process's costs) that the monitor shows. Paths are relative to
// the /proc folder ("stat", "1234/io", "self/stat", "meminfo"); an implementation may map
// them onto a fixture tree.
//
// Nothing here raises: a process can end between listing it and reading its files, and
// that is an ordinary answer (nothing), never an error.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class ProcFiles {
  public:
    virtual ~ProcFiles() = default;

    /// The pids of the numeric entries of /proc, in no particular order.
    virtual std::vector<std::int32_t> pids() const = 0;

    /// Reads up to `buffer.size()` bytes from the start of the file into `buffer`: the
    /// number of bytes read, which may be 0 (a kernel thread's cmdline). Nothing when
    /// the file is missing, the process is gone, or reading it isn't allowed.
    virtual std::optional<std::size_t> read(std::string_view relative, std::span<char> buffer) const = 0;

    /// The target of a link such as "1234/exe"; nothing when it has none (a kernel
    /// thread, a zombie) or the process is gone.
    virtual std::optional<std::string> readLink(std::string_view relative) const = 0;

    /// The whole of a small text file such as "meminfo" or "self/stat" (up to 64 KB);
    /// nothing when it can't be read.
    std::optional<std::string> text(std::string_view relative) const {
        std::string buffer(65536, '\0');
        const auto size = read(relative, buffer);
        if (!size) return std::nullopt;
        buffer.resize(*size);
        return buffer;
    }

    /// Clock ticks per second, the unit of the start time in "<pid>/stat".
    virtual long ticksPerSecond() const = 0;

    /// The size of a memory page, the unit of the page counts in "vmstat".
    virtual std::uint64_t pageSize() const = 0;

    /// When the system booted, in microseconds since 1970: the zero of the start times in
    /// "<pid>/stat". Finer than "btime" of /proc/stat, which is cut to the second and would
    /// place a process that started just after a sample up to a second before it.
    virtual std::optional<std::uint64_t> bootMicros() const = 0;

  protected:
    ProcFiles() = default;
    ProcFiles(const ProcFiles&) = default;
    ProcFiles& operator=(const ProcFiles&) = default;
};

}  // namespace platform
