#include "platform/linux/linux_bench_file.hpp"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <linux/magic.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace platform {
namespace {

// O_DIRECT wants the buffer, the offset and the length aligned to the device's logical
// block; a page covers every block size in use.
constexpr std::size_t alignment = 4096;

class LinuxBenchFile final : public BenchFile {
  public:
    LinuxBenchFile(int fd, void* buffer) : fd_(fd), buffer_(buffer) {}
    LinuxBenchFile(const LinuxBenchFile&) = delete;
    LinuxBenchFile& operator=(const LinuxBenchFile&) = delete;
    ~LinuxBenchFile() override {
        ::close(fd_);
        std::free(buffer_);
    }

    std::int64_t writeAt(std::uint64_t offset, std::size_t count) override {
        return transfer(offset, count, true);
    }
    std::int64_t readAt(std::uint64_t offset, std::size_t count) override {
        // The file's ragged tail is read past the cache all the same: asked for whole
        // blocks, a direct read stops at the end of the file. Through the cache it would
        // come from memory, as the write that ended there left it.
        const std::size_t whole = (count + alignment - 1) / alignment * alignment;
        if (offset % alignment == 0 && whole != count && whole <= bufferBytes) {
            const ssize_t done = ::pread(fd_, buffer_, whole, static_cast<off_t>(offset));
            if (done >= 0) return std::min<std::int64_t>(done, static_cast<std::int64_t>(count));
            // A file system that wants more than the page's alignment takes the way below.
        }
        return transfer(offset, count, false);
    }
    bool flush() override { return ::fsync(fd_) == 0; }

  private:
    std::int64_t transfer(std::uint64_t offset, std::size_t count, bool write) {
        if (count > bufferBytes || offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
            errno = EINVAL;
            return -1;
        }
        // The file's size needn't be a whole number of blocks, and O_DIRECT refuses the
        // ragged tail: that one write goes through the cache, and the flush that ends the
        // test, inside its time, makes it durable.
        const bool ragged = count % alignment != 0 || offset % alignment != 0;
        // Asked only then: a system call more on every 4 KiB transfer would show in the
        // random tests' figures.
        const int flags = ragged ? ::fcntl(fd_, F_GETFL) : -1;
        if (ragged && flags >= 0) ::fcntl(fd_, F_SETFL, flags & ~O_DIRECT);
        const auto at = static_cast<off_t>(offset);
        const ssize_t done = write ? ::pwrite(fd_, buffer_, count, at) : ::pread(fd_, buffer_, count, at);
        const int error = errno;
        if (ragged && flags >= 0) ::fcntl(fd_, F_SETFL, flags);
        errno = error;
        return done;
    }

    int fd_;
    void* buffer_;
};

}  // namespace

BenchFolder LinuxBenchFiles::folder(const std::string& path) const {
    BenchFolder folder;
    struct statvfs figures {};
    if (::statvfs(path.c_str(), &figures) != 0) return folder;
    folder.readOnly = (figures.f_flag & ST_RDONLY) != 0;
    // tmpfs takes O_DIRECT since Linux 6.6, and serves it from memory just the same.
    struct statfs kind {};
    if (::statfs(path.c_str(), &kind) == 0) {
        folder.inMemory = kind.f_type == TMPFS_MAGIC || kind.f_type == RAMFS_MAGIC;
    }
    const auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const std::uint64_t fragment = figures.f_frsize;
    if (fragment != 0) {
        const std::uint64_t blocks = figures.f_bavail;
        folder.freeBytes = blocks > most / fragment ? std::numeric_limits<std::int64_t>::max()
                                                    : static_cast<std::int64_t>(blocks * fragment);
    }
    return folder;
}

std::unique_ptr<BenchFile> LinuxBenchFiles::create(const std::string& path, int& error) {
    void* buffer = nullptr;
    if (const int failed = ::posix_memalign(&buffer, alignment, BenchFile::bufferBytes); failed != 0) {
        error = failed;
        return nullptr;
    }
    // Random bytes, so that a drive that compresses or deduplicates can't shortcut the
    // writes; getrandom hands out at most 32 MB per call and may return less.
    auto* bytes = static_cast<unsigned char*>(buffer);
    for (std::size_t filled = 0; filled < BenchFile::bufferBytes;) {
        const ssize_t got = ::getrandom(bytes + filled, BenchFile::bufferBytes - filled, 0);
        if (got < 0) {
            if (errno == EINTR) continue;
            error = errno;
            std::free(buffer);
            return nullptr;
        }
        filled += static_cast<std::size_t>(got);
    }
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_DIRECT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        error = errno;
        std::free(buffer);
        return nullptr;
    }
    error = 0;
    return std::make_unique<LinuxBenchFile>(fd, buffer);
}

bool LinuxBenchFiles::remove(const std::string& path) { return ::unlink(path.c_str()) == 0; }

}  // namespace platform
