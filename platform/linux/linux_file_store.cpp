#include "platform/linux/linux_file_store.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "platform/format.hpp"

namespace platform {
namespace {

Unexpected<FileError> failed(const char* call, int code = errno) { return Unexpected(FileError{code, call}); }

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
    return format(".%s.%ld.%llu.%llu.tmp", base.c_str(), static_cast<long>(::getpid()),
                  static_cast<unsigned long long>(counter.fetch_add(1)),
                  static_cast<unsigned long long>(attempt));
}

}  // namespace

Result<std::string, FileError> LinuxFileStore::read(const std::filesystem::path& path) const {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return failed("open");
    std::string contents;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            const int code = errno;
            ::close(fd);
            return failed("read", code);
        }
        if (got == 0) break;
        contents.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    return contents;
}

Result<void, FileError> LinuxFileStore::replace(const std::filesystem::path& path, std::string_view contents) {
    if (!path.has_filename()) return failed("open", EISDIR);
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";

    std::filesystem::path temporary;
    int fd = -1;
    for (std::uint64_t attempt = 0; attempt < 16 && fd < 0; ++attempt) {
        temporary = folder / temporaryName(path, attempt);
        fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) return failed("open");
    }
    if (fd < 0) return failed("open", EEXIST);

    const char* call = nullptr;
    int code = 0;
    if (!writeAll(fd, contents)) call = "write", code = errno;
    else if (!syncFile(fd)) call = "fsync", code = errno;
    if (::close(fd) != 0 && !call) call = "close", code = errno;
    if (!call && ::rename(temporary.c_str(), path.c_str()) != 0) call = "rename", code = errno;
    if (call) {
        ::unlink(temporary.c_str());
        return failed(call, code);
    }

    // Makes the rename itself durable.
    const int folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd >= 0) {
        syncFile(folderFd);
        ::close(folderFd);
    }
    return {};
}

Result<void, FileError> LinuxFileStore::createFolders(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) return failed("mkdir", error.value());
    return {};
}

FileStore& systemFiles() {
    static LinuxFileStore files;
    return files;
}

}  // namespace platform
