#pragma once
// The benchmark's test file: one file on the chosen volume, written and read past the
// page cache, so that every figure is the drive's and not memory's. The implementation
// owns a page-aligned buffer of random bytes that every transfer goes from or into; the
// caller only says where and how much.
//
// Nothing here raises: a failure is the errno of the call.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace platform {

class BenchFile {
  public:
    /// The largest transfer one call takes, the size of the buffer.
    static constexpr std::size_t bufferBytes = 8 * 1024 * 1024;

    virtual ~BenchFile() = default;

    /// Bytes transferred at `offset`, at most `count` (up to `bufferBytes`); -1 on failure.
    virtual std::int64_t writeAt(std::uint64_t offset, std::size_t count) = 0;
    virtual std::int64_t readAt(std::uint64_t offset, std::size_t count) = 0;
    /// Makes what was written durable; false when the system said no.
    virtual bool flush() = 0;

  protected:
    BenchFile() = default;
    BenchFile(const BenchFile&) = default;
    BenchFile& operator=(const BenchFile&) = default;
};

/// What a folder is, for the checks before a run.
struct BenchFolder {
    std::optional<std::int64_t> freeBytes;  // for an unprivileged writer; absent when unknown
    bool readOnly = false;
    /// The file system lives in memory (tmpfs, ramfs): it may accept direct transfers,
    /// but the page cache is all there is, so nothing it measures is a drive's speed.
    bool inMemory = false;
};

class BenchFiles {
  public:
    virtual ~BenchFiles() = default;

    virtual BenchFolder folder(const std::string& path) const = 0;
    /// Creates the file, or empties it, readable and writable by its owner alone, for
    /// transfers past the page cache. EINVAL when the file system can't do that.
    virtual std::unique_ptr<BenchFile> create(const std::string& path, int& error) = 0;
    /// Removes the file; false when it couldn't (it is gone already, or the folder refuses).
    virtual bool remove(const std::string& path) = 0;

  protected:
    BenchFiles() = default;
    BenchFiles(const BenchFiles&) = default;
    BenchFiles& operator=(const BenchFiles&) = default;
};

}  // namespace platform
