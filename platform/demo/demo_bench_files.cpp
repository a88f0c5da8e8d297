#include "platform/demo/demo_bench_files.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <algorithm>

namespace platform {

namespace {

// A SATA SSD's pace, in bytes a second: sequential transfers, and 4K ones at random.
constexpr double kSequentialRead = 540e6;
constexpr double kSequentialWrite = 495e6;
constexpr double kRandomRead = 48e6;
constexpr double kRandomWrite = 110e6;
constexpr std::size_t kRandomBytes = 4096;

class DemoBenchFile final : public BenchFile {
  public:
    explicit DemoBenchFile(const DemoClock& clock) : clock_(clock) {}
    std::int64_t writeAt(std::uint64_t, std::size_t count) override {
        return move(count, count <= kRandomBytes ? kRandomWrite : kSequentialWrite);
    }
    std::int64_t readAt(std::uint64_t, std::size_t count) override {
        return move(count, count <= kRandomBytes ? kRandomRead : kSequentialRead);
    }
    bool flush() override { return true; }

  private:
    std::int64_t move(std::size_t count, double pace) {
        const auto count64 = static_cast<std::int64_t>(std::min(count, bufferBytes));
        clock_.pass(std::chrono::nanoseconds(static_cast<std::int64_t>(static_cast<double>(count64) / pace * 1e9)));
        return count64;
    }
    const DemoClock& clock_;
};

}  // namespace

BenchFolder DemoBenchFiles::folder(const std::string& path) const {
    BenchFolder folder;
    folder.readOnly = ::access(path.c_str(), W_OK) != 0;
    return folder;
}

std::unique_ptr<BenchFile> DemoBenchFiles::create(const std::string& path, int& error) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        error = errno;
        return nullptr;
    }
    ::close(fd);
    return std::make_unique<DemoBenchFile>(clock_);
}

bool DemoBenchFiles::remove(const std::string& path) { return ::unlink(path.c_str()) == 0; }

}  // namespace platform
