#pragma once
// FileStore on the local file system: open, write, fsync, rename, fsync of the folder.
#include "platform/file_store.hpp"

namespace platform {

class LinuxFileStore final : public FileStore {
public:
    Result<std::string, FileError> read(const std::filesystem::path& path) const override;
    Result<void, FileError> replace(const std::filesystem::path& path, std::string_view contents) override;
    Result<void, FileError> createFolders(const std::filesystem::path& folder) override;
};

}  // namespace platform
