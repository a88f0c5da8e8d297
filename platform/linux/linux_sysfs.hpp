#pragma once
// Sysfs over the real file system. Every path is taken as lying under a root folder:
// "/" on a running system, a fixture tree in tests ("<root>/sys/class/block/sda/...").
//
// Under a root other than "/", links are followed inside the tree as if it were
// mounted at "/": an absolute target is taken from the root, and ".." stops at the
// root, so a fixture can never reach the host's own /sys. Real sysfs uses relative
// links only; either kind works in a fixture.
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sysfs.hpp"

namespace platform {

class LinuxSysfs final : public Sysfs {
  public:
    explicit LinuxSysfs(std::filesystem::path root = "/");

    std::optional<std::string> read(std::string_view path) const override;
    std::vector<std::string> list(std::string_view path) const override;
    bool exists(std::string_view path) const override;
    std::optional<std::string> readLink(std::string_view path) const override;
    std::optional<std::string> resolve(std::string_view path) const override;

    const std::filesystem::path& root() const { return root_; }

  private:
    /// Where the path lies on the host. With `followLast` false the last component
    /// itself is not followed, so a link can be read as a link. Nothing when the
    /// path is relative or, under a fixture root, a component is missing.
    std::optional<std::filesystem::path> hostPath(std::string_view path, bool followLast) const;
    /// Resolves every link inside the tree; the answer is in the tree's path space.
    std::optional<std::string> walk(std::string_view path, bool followLast) const;

    std::filesystem::path root_;
    bool isSystemRoot_;
};

}  // namespace platform
