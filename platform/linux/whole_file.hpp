#pragma once
// A small file of the kernel's (sysfs, /proc, /run/udev) read whole with plain system
// calls. A one-shot command reads dozens of these; the streams of the C++ library cost it
// more code run for the first time than the reading itself.
#include <cstddef>
#include <optional>
#include <string>

namespace platform {

enum class FileEnd {
    /// Only a read of nothing ends the file: a file of /proc may come in several reads,
    /// each short of the buffer.
    emptyRead,
    /// A read short of the buffer ends it too: a sysfs attribute comes whole from one read,
    /// and asking again only to hear "end of file" would double a discovery pass's calls.
    shortRead,
};

/// The file's bytes, or nothing when it can't be opened or read (EISDIR for a folder, EIO
/// for a device that went away) or holds more than `limit` bytes.
std::optional<std::string> readWholeFile(const std::string& path, std::size_t limit = 16 * 1024 * 1024,
                                         FileEnd end = FileEnd::emptyRead);

}  // namespace platform
