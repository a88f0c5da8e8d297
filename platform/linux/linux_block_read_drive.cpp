#include "platform/linux/linux_block_read_drive.hpp"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/linux/errno_text.hpp"

namespace platform {
namespace {

// O_DIRECT wants buffers aligned to the logical block size; a page covers every device.
constexpr std::size_t alignment = 4096;

platform::SCSIDrive::Answer refused(std::string sentence) {
    return platform::Unexpected(platform::SCSIDrive::Failure{std::move(sentence)});
}

}  // namespace

platform::Result<std::unique_ptr<LinuxBlockReadDrive>, int> LinuxBlockReadDrive::open(
    const std::filesystem::path& node) {
    const int fd = ::open(node.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return platform::Unexpected(errno);
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        const int error = errno;
        ::close(fd);
        return platform::Unexpected(error);
    }
    std::uint64_t bytes = 0;
    int logical = 512;
    if (S_ISBLK(info.st_mode)) {
        if (::ioctl(fd, BLKGETSIZE64, &bytes) != 0 || ::ioctl(fd, BLKSSZGET, &logical) != 0) {
            const int error = errno;
            ::close(fd);
            return platform::Unexpected(error);
        }
    } else {
        bytes = static_cast<std::uint64_t>(info.st_size);
    }
    const auto blockSize = static_cast<std::uint32_t>(logical > 0 ? logical : 512);
    return std::unique_ptr<LinuxBlockReadDrive>(
        new LinuxBlockReadDrive(fd, node.string(), blockSize, bytes / blockSize));
}

LinuxBlockReadDrive::LinuxBlockReadDrive(int fd, std::string node, std::uint32_t blockSize,
                                         std::uint64_t totalBlocks)
    : fd_(fd), node_(std::move(node)), blockSize_(blockSize), totalBlocks_(totalBlocks) {}

LinuxBlockReadDrive::~LinuxBlockReadDrive() {
    ::close(fd_);
    std::free(buffer_);
}

platform::SCSIDrive::Answer LinuxBlockReadDrive::command(platform::ByteView cdb, std::int64_t dataIn,
                                                         double /*timeoutSeconds*/) {
    // A read of a block device can't be given a time-out; the kernel's own command
    // time-out and retries bound it instead.
    if (gone_) return refused("The drive is no longer there.");
    if (cdb.empty()) return refused("The drive refused the command.");
    const std::uint8_t op = cdb[0];
    if (op == 0x9E && cdb.size() >= 16 && (cdb[1] & 0x1F) == 0x10) {
        platform::Bytes data(32, 0);
        putBE(data, 0, totalBlocks_ > 0 ? totalBlocks_ - 1 : 0, 8);
        putBE(data, 8, blockSize_, 4);
        data.resize(static_cast<std::size_t>(std::clamp<std::int64_t>(dataIn, 0, 32)));
        return data;
    }
    if (op == 0x25 && cdb.size() >= 10) {
        platform::Bytes data(8, 0);
        putBE(data, 0, totalBlocks_ == 0 ? 0 : std::min<std::uint64_t>(totalBlocks_ - 1, 0xFFFF'FFFF), 4);
        putBE(data, 4, blockSize_, 4);
        data.resize(static_cast<std::size_t>(std::clamp<std::int64_t>(dataIn, 0, 8)));
        return data;
    }
    if (auto read = readInto(cdb, dataIn)) {
        if (!*read) return platform::Unexpected(std::move(read->error()));
        const auto* start = static_cast<const std::uint8_t*>(buffer_);
        return platform::Bytes(start, start + **read);
    }
    log_.note("refused opcode " + std::to_string(op) + ": this drive only reads");
    return refused("The drive refused the command.");
}

platform::Result<std::int64_t, platform::SCSIDrive::Failure> LinuxBlockReadDrive::commandLength(
    platform::ByteView cdb, std::int64_t dataIn, double timeoutSeconds) {
    if (!gone_) {
        if (auto read = readInto(cdb, dataIn)) {
            if (!*read) return platform::Unexpected(std::move(read->error()));
            return static_cast<std::int64_t>(**read);
        }
    }
    return SCSIDrive::commandLength(cdb, dataIn, timeoutSeconds);
}

std::optional<platform::Result<std::size_t, platform::SCSIDrive::Failure>> LinuxBlockReadDrive::readInto(
    platform::ByteView cdb, std::int64_t dataIn) {
    if (cdb.empty()) return std::nullopt;
    if (cdb[0] == 0x28 && cdb.size() >= 10) return read(platform::be32(cdb, 2), platform::be16(cdb, 7), dataIn);
    if (cdb[0] == 0x88 && cdb.size() >= 16) return read(platform::be64(cdb, 2), platform::be32(cdb, 10), dataIn);
    return std::nullopt;
}

platform::Result<std::size_t, platform::SCSIDrive::Failure> LinuxBlockReadDrive::read(std::uint64_t lba,
                                                                                    std::uint64_t blocks,
                                                                                    std::int64_t dataIn) {
    const auto refusedRead = [] { return platform::Unexpected(Failure{"The drive refused the command."}); };
    if (lba > totalBlocks_ || blocks > totalBlocks_ - lba) return refusedRead();
    const std::size_t bytes = static_cast<std::size_t>(blocks) * blockSize_;
    if (dataIn < 0 || bytes > static_cast<std::size_t>(dataIn)) return refusedRead();
    if (bytes > bufferSize_) {
        std::free(buffer_);
        buffer_ = nullptr;
        bufferSize_ = 0;
        const std::size_t rounded = (bytes + alignment - 1) / alignment * alignment;
        if (::posix_memalign(&buffer_, alignment, rounded) != 0) return platform::Unexpected(Failure{"Out of memory."});
        bufferSize_ = rounded;
    }
    std::size_t done = 0;
    while (done < bytes) {
        const ssize_t got = ::pread(fd_, static_cast<char*>(buffer_) + done, bytes - done,
                                    static_cast<off_t>(lba * blockSize_ + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            const int error = errno;
            log_.note("read at block " + std::to_string(lba) + " failed: " + errnoText(error));
            if (error == ENODEV || error == ENXIO) gone_ = true;
            return platform::Unexpected(Failure{"The drive couldn't read these blocks."});
        }
        if (got == 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

}  // namespace platform
