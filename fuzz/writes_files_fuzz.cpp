// The readers of write accounting's outside bytes: the history files (which another
// program version, or a hand, may have written) and a process's /proc files (io, stat,
// cgroup, cmdline, whose command names and paths the process chose itself). Nothing may
// crash; a history that reads must write and read back to the same buckets.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "drivekit/writes/process_writes.hpp"
#include "drivekit/writes/write_history.hpp"
#include "drivekit/writes/write_owner.hpp"

namespace {

// One process, pid 7, whose files are slices of the input.
class Proc final : public platform::ProcFiles {
  public:
    explicit Proc(std::string_view data) {
        for (auto& part : parts_) {
            const auto cut = data.find('\x01');
            part = data.substr(0, cut);
            data = cut == std::string_view::npos ? std::string_view() : data.substr(cut + 1);
        }
    }
    std::vector<std::int32_t> pids() const override { return {7}; }
    std::optional<std::size_t> read(std::string_view relative, std::span<char> buffer) const override {
        const std::string_view text = relative == "7/io"       ? parts_[0]
                                      : relative == "7/stat"   ? parts_[1]
                                      : relative == "7/cgroup" ? parts_[2]
                                      : relative == "7/cmdline" ? parts_[3]
                                                                : std::string_view();
        const std::size_t size = std::min(text.size(), buffer.size());
        if (size > 0) std::memcpy(buffer.data(), text.data(), size);
        return size;
    }
    std::optional<std::string> readLink(std::string_view) const override { return std::string(parts_[4]); }
    long ticksPerSecond() const override { return 100; }
    std::uint64_t pageSize() const override { return 4096; }
    std::optional<std::uint64_t> bootMicros() const override { return 1'763'200'000'000'000; }

  private:
    std::string_view parts_[5];
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace drivekit;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (const auto buckets = WriteBucketsFile::decode(bytes)) {
        const auto again = WriteBucketsFile::decode(WriteBucketsFile::encode(buckets.value()));
        if (!again) std::abort();
        // Times are whole seconds once stored, and bytes add up per key.
        if (again.value().size() != buckets.value().size()) std::abort();
    }
    const Proc proc(bytes);
    for (const auto& process : ProcessWritesReader::snapshot(proc)) {
        (void)WriteOwners::fileName(WriteOwners::of(process));
        if (processWritesFromJson(toJson(process)) != process) std::abort();
    }
    return 0;
}
