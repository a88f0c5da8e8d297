#pragma once
// The files the program keeps (the saved scans, the drive store): read whole, replaced
// whole. A reader in another process, or the next run after a crash or a power cut, sees
// the old file or the new one, never a torn one.
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/result.hpp"

namespace platform {

/// Why a file operation failed.
struct FileError {
    /// The errno that said so: ENOENT (no such file or folder), EACCES, ENOSPC, EISDIR...
    int code = 0;
    /// The system call that failed, for logs: "open", "write", "fsync", "rename".
    std::string call;

    bool operator==(const FileError&) const = default;
};

class FileStore {
public:
    virtual ~FileStore() = default;

    /// The whole contents of a file. ENOENT when there is none.
    virtual Result<std::string, FileError> read(const std::filesystem::path& path) const = 0;

    /// Replaces `path` whole: writes a temporary file with a unique name beside it, flushes
    /// it to the disk, renames it over the target and flushes the folder, so that the
    /// rename itself survives a power cut. On failure the target is untouched and the
    /// temporary file gone. The folder must exist. The flush of the folder after the
    /// rename is best effort: the new file is in place by then.
    virtual Result<void, FileError> replace(const std::filesystem::path& path, std::string_view contents) = 0;

    /// Creates a folder and the folders above it that are missing; an existing folder is
    /// success.
    virtual Result<void, FileError> createFolders(const std::filesystem::path& folder) = 0;

protected:
    FileStore() = default;
    FileStore(const FileStore&) = default;
    FileStore& operator=(const FileStore&) = default;
};

/// The computer's own files (the Linux store), for the state files that aren't yet handed
/// a store by their front end. Code that is given one uses that instead.
FileStore& systemFiles();

}  // namespace platform
