#pragma once
// DemoSysfs: a sysfs tree held in memory, for the demo machine. It answers exactly as
// LinuxSysfs answers over a real tree: attribute files, folders, and links that are
// followed component by component (relative targets from the link's folder, absolute
// ones from the root), so discovery walks it with no idea it isn't the kernel's.
//
// The tree is built once by adding files and links; folders come into being as their
// contents are added. It is never changed afterwards, so it may be read from any thread.
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sysfs.hpp"

namespace platform {

class DemoSysfs final : public Sysfs {
  public:
    DemoSysfs();

    /// Adds an attribute file with this text. False when the path isn't absolute, or a
    /// file or link already stands where the file or one of its folders would go.
    bool addFile(std::string_view path, std::string text);
    /// Adds an empty folder, or does nothing when the folder is there. False as above.
    bool addFolder(std::string_view path);
    /// Adds a link; the target is kept as written and resolved only when read.
    bool addLink(std::string_view path, std::string target);

    std::optional<std::string> read(std::string_view path) const override;
    std::vector<std::string> list(std::string_view path) const override;
    bool exists(std::string_view path) const override;
    std::optional<std::string> readLink(std::string_view path) const override;
    std::optional<std::string> resolve(std::string_view path) const override;

  private:
    struct Node {
        enum class Kind { folder, file, link };
        Kind kind = Kind::folder;
        std::string text;  // a file's contents or a link's target
        std::map<std::string, Node, std::less<>> children;
    };
    struct Found {
        const Node* node = nullptr;
        std::vector<std::string> names;  // the canonical path, one name a component
    };

    bool add(std::string_view path, Node::Kind kind, std::string text);
    std::optional<Found> walk(std::string_view path, bool followLast) const;

    Node root_;
};

}  // namespace platform
