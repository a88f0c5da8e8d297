#pragma once
// LinuxBlockReadDrive: a read-only SCSIDrive over a block device that takes no SCSI
// commands (an NVMe namespace, an SD card on mmcblk). It answers READ CAPACITY (10/16)
// from the device's size and logical block size, and READ (10/16) from pread with
// O_DIRECT into an aligned buffer that is reused from read to read, so that the surface
// scan negotiates, holds failures and maps these drives exactly as it does SCSI ones.
// Every other command is refused: nothing here can write or change the device.
//
// O_DIRECT keeps the page cache out of the figures: every read reaches the device.
// A read the device fails (EIO) is refused like a medium error; a node that has gone
// (ENODEV, ENXIO) stops answering for good.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/result.hpp"
#include "platform/diagnostics_log.hpp"
#include "platform/scsi_drive.hpp"

namespace platform {

class LinuxBlockReadDrive final : public platform::SCSIDrive {
public:
    /// Opens a block device (or, for tests, a file on a file system that takes O_DIRECT)
    /// read-only with O_DIRECT; the errno when that fails (EINVAL: no O_DIRECT there).
    static platform::Result<std::unique_ptr<LinuxBlockReadDrive>, int> open(const std::filesystem::path& node);

    ~LinuxBlockReadDrive() override;
    LinuxBlockReadDrive(const LinuxBlockReadDrive&) = delete;
    LinuxBlockReadDrive& operator=(const LinuxBlockReadDrive&) = delete;

    Answer command(platform::ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override;
    /// A read lands in the kept buffer and stays there: no copy is handed over.
    platform::Result<std::int64_t, Failure> commandLength(platform::ByteView cdb, std::int64_t dataIn,
                                                          double timeoutSeconds) override;
    platform::DiagnosticsLog& log() override { return log_; }
    bool stoppedAnswering() const override { return gone_; }

    std::uint32_t blockSize() const noexcept { return blockSize_; }
    std::uint64_t totalBlocks() const noexcept { return totalBlocks_; }

private:
    LinuxBlockReadDrive(int fd, std::string node, std::uint32_t blockSize, std::uint64_t totalBlocks);
    /// READ (10) or READ (16) into `buffer_`: the bytes that came; nothing for another command.
    std::optional<platform::Result<std::size_t, Failure>> readInto(platform::ByteView cdb, std::int64_t dataIn);
    platform::Result<std::size_t, Failure> read(std::uint64_t lba, std::uint64_t blocks, std::int64_t dataIn);

    int fd_;
    std::string node_;
    std::uint32_t blockSize_;
    std::uint64_t totalBlocks_;
    platform::DiagnosticsLog log_;
    bool gone_ = false;
    void* buffer_ = nullptr;  // aligned for O_DIRECT; grows to the largest read, then stays
    std::size_t bufferSize_ = 0;
};

}  // namespace platform
