#pragma once
// The mount table of this process from /proc/self/mountinfo. The file is read afresh on
// every call; a root other than "/" reads "<root>/proc/self/mountinfo" of a fixture tree.
#include <filesystem>
#include <string_view>
#include <vector>

#include "platform/mounts.hpp"

namespace platform {

class LinuxMounts final : public Mounts {
  public:
    explicit LinuxMounts(std::filesystem::path root = "/");

    std::vector<Mount> list() const override;

    /// The mounts of a mountinfo text, one per well-formed line; a line that doesn't
    /// have the fixed fields or the "-" separator is skipped. The kernel writes blank,
    /// tab, newline and backslash in paths as \040, \011, \012 and \134; they come
    /// back as the characters.
    static std::vector<Mount> parse(std::string_view text);

  private:
    std::filesystem::path file_;
};

}  // namespace platform
