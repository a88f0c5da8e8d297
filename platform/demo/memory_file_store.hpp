#pragma once
// FileStore in memory: the demo machine keeps its files here, so a demo never touches the
// user's own, and tests make any call fail with the errno they choose.
#include <cerrno>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/file_store.hpp"

namespace platform {

class MemoryFileStore final : public FileStore {
public:
    Result<std::string, FileError> read(const std::filesystem::path& path) const override {
        if (failure) return Unexpected(*failure);
        const auto it = files.find(path.lexically_normal());
        if (it == files.end()) return Unexpected(FileError{ENOENT, "open"});
        return it->second;
    }

    Result<void, FileError> replace(const std::filesystem::path& path, std::string_view contents) override {
        if (failure) return Unexpected(*failure);
        const auto target = path.lexically_normal();
        if (!folders.contains(target.parent_path())) return Unexpected(FileError{ENOENT, "open"});
        if (folders.contains(target)) return Unexpected(FileError{EISDIR, "rename"});
        files[target] = std::string(contents);
        return {};
    }

    Result<void, FileError> createFolders(const std::filesystem::path& folder) override {
        if (failure) return Unexpected(*failure);
        for (auto at = folder.lexically_normal(); !at.empty(); at = at.parent_path()) {
            if (files.contains(at)) return Unexpected(FileError{EEXIST, "mkdir"});
            folders.insert(at);
            if (at == at.parent_path()) break;
        }
        return {};
    }

    /// The files by path, as written.
    std::map<std::filesystem::path, std::string> files;
    /// The folders that exist; "/" is there from the start.
    std::set<std::filesystem::path> folders{"/"};
    /// Set: every call fails with it, as a full or read-only disk makes them.
    std::optional<FileError> failure;
};

}  // namespace platform
