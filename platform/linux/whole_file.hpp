#pragma once
// A small file of the kernel's (/proc, /run/udev) read whole with plain system calls. A
// one-shot command reads a few of these; the streams of the C++ library cost it more code
// run for the first time than the reading itself.
#include <cstddef>
#include <optional>
#include <string>

namespace platform {

/// The file's bytes up to end of file, or nothing when it can't be opened or read or holds
/// more than `limit` bytes.
std::optional<std::string> readWholeFile(const std::string& path, std::size_t limit = 16 * 1024 * 1024);

}  // namespace platform
