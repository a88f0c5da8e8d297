#include "platform/demo/demo_machine.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "platform/iso_date.hpp"
#include "platform/linux/linux_mounts.hpp"

namespace platform {

namespace {

// A demo disk read at a SATA SSD's pace: each READ that brings data moves the demo's clock
// on by the time the bytes would take, so a scan shows a drive's speed and time left
// instead of memory's, without waiting for them.
class PacedDrive final : public SCSIDrive {
  public:
    PacedDrive(std::unique_ptr<SCSIDrive> drive, const DemoClock& clock) : drive_(std::move(drive)), clock_(clock) {}

    Answer command(ByteView cdb, std::int64_t dataIn, double timeoutSeconds) override {
        auto answer = drive_->command(cdb, dataIn, timeoutSeconds);
        constexpr double kReadPace = 540e6;
        if (answer && !cdb.empty() && (cdb[0] == 0x28 || cdb[0] == 0x88)) {
            clock_.pass(std::chrono::nanoseconds(static_cast<std::int64_t>(static_cast<double>(answer->size()) / kReadPace * 1e9)));
        }
        return answer;
    }
    DiagnosticsLog& log() override { return drive_->log(); }

  private:
    std::unique_ptr<SCSIDrive> drive_;
    const DemoClock& clock_;
};

using Json = nlohmann::json;

// Bigger than any page a drive sends; a file larger than this is a mistake.
constexpr std::size_t maxPageFileBytes = 1u << 20;
// The shipped description is some 55 KB; forty times that is still a machine a person
// wrote. The cap bounds what parsing may take (the parsed tree is some ten times the text).
constexpr std::size_t maxDescriptionBytes = 2u << 20;
constexpr int maxDepth = 16;
constexpr int formatVersion = 1;

// Why a description can't be used, as the end of the sentence the user reads. Thrown
// inside the reader only, where every check would otherwise need its own early return.
struct Refusal {
    std::string reason;
};

[[noreturn]] void refuse(std::string reason) {
    throw Refusal{std::move(reason)};
}

std::string named(std::string_view where) {
    return "\"" + std::string(where) + "\"";
}

void onlyKeys(const Json& object, std::initializer_list<std::string_view> known,
              std::string_view where) {
    for (const auto& [key, value] : object.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            refuse("it has an unknown entry " + named(std::string(where) + key));
        }
    }
}

const Json& objectAt(const Json& parent, std::string_view key, std::string_view where) {
    const auto it = parent.find(std::string(key));
    if (it == parent.end() || !it->is_object())
        refuse(named(std::string(where) + std::string(key)) + " must be an object");
    return *it;
}

std::string textOf(const Json& value, std::string_view where) {
    if (!value.is_string()) refuse(named(where) + " must be a text");
    return value.get<std::string>();
}

std::optional<std::string> optionalText(const Json& parent, std::string_view key,
                                        std::string_view where) {
    const auto it = parent.find(std::string(key));
    if (it == parent.end()) return std::nullopt;
    return textOf(*it, std::string(where) + std::string(key));
}

std::uint64_t wholeNumber(const Json& parent, std::string_view key, std::string_view where,
                          std::uint64_t most = std::numeric_limits<std::uint64_t>::max()) {
    const auto it = parent.find(std::string(key));
    const std::string name = named(std::string(where) + std::string(key));
    if (it == parent.end() || !it->is_number_unsigned()) refuse(name + " must be a whole number");
    const auto value = it->get<std::uint64_t>();
    if (value > most) refuse(name + " is too large");
    return value;
}

bool flag(const Json& parent, std::string_view key, std::string_view where, bool otherwise) {
    const auto it = parent.find(std::string(key));
    if (it == parent.end()) return otherwise;
    if (!it->is_boolean())
        refuse(named(std::string(where) + std::string(key)) + " must be true or false");
    return it->get<bool>();
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Pairs of hexadecimal digits; blanks between them are allowed for readability.
platform::Bytes fromHex(std::string_view text, std::string_view where) {
    platform::Bytes bytes;
    int high = -1;
    for (const char c : text) {
        if (c == ' ' || c == '\n' || c == '\t') continue;
        const int digit = hexDigit(c);
        if (digit < 0) refuse(named(where) + " must be hexadecimal digits");
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<std::uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    if (high >= 0) refuse(named(where) + " has an odd number of hexadecimal digits");
    return bytes;
}

// The whole of a regular file of at most `limit` bytes, or why not, as the end of a
// sentence. Plain reads, so that a read error (EIO, or /proc/self/mem) is an answer and
// not an exception; O_NONBLOCK so that a FIFO named by mistake is refused, not waited on.
platform::Result<std::string, std::string> readSmallFile(const std::filesystem::path& path,
                                                         std::size_t limit) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        return platform::Unexpected(std::string(errno == ENOENT ? "there is no such file"
                                                                : "the file can't be opened"));
    }
    struct stat status {};
    std::string text;
    std::string failure;
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        failure = "it isn't a regular file";
    } else {
        // Read to one byte past the cap: files under /proc report a size of 0.
        char buffer[65536];
        while (failure.empty()) {
            const ssize_t got = ::read(fd, buffer, sizeof buffer);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) {
                failure = "the file can't be read";
            } else if (got == 0) {
                break;
            } else if (text.size() + static_cast<std::size_t>(got) > limit) {
                failure = "the file is larger than " + std::to_string(limit >> 20) + " MB";
            } else {
                text.append(buffer, static_cast<std::size_t>(got));
            }
        }
    }
    ::close(fd);
    if (!failure.empty()) return platform::Unexpected(std::move(failure));
    return text;
}

// A page file lies in the description's folder or below it: the name is relative, has no
// ".." and, with every link resolved, still leads inside the folder. A description
// shared with someone must not make the program read /etc/shadow or ~/.ssh as a page.
platform::Bytes pageFile(const std::filesystem::path& folder, const std::string& name,
                         std::string_view where) {
    const std::filesystem::path relative(name);
    const bool climbs = std::any_of(relative.begin(), relative.end(),
                                    [](const std::filesystem::path& part) { return part == ".."; });
    if (relative.is_absolute() || climbs || name.find('\0') != std::string::npos) {
        refuse(named(where) + " must name a file in the description's folder");
    }
    std::error_code error;
    const auto base = std::filesystem::canonical(folder, error);
    if (error) refuse(named(where) + " names a file that can't be read: " + (folder / name).string());
    const auto resolved = std::filesystem::weakly_canonical(base / relative, error);
    const auto inside = resolved.lexically_relative(base);
    if (error || inside.empty() || *inside.begin() == "..") {
        refuse(named(where) + " must name a file in the description's folder");
    }
    auto text = readSmallFile(resolved, maxPageFileBytes);
    if (!text) {
        refuse(named(where) + " names a file that can't be read: " + (folder / name).string() +
               " (" + text.error() + ")");
    }
    return platform::Bytes(text->begin(), text->end());
}

// A page is hexadecimal text, or {"file": "name"} for raw bytes in a file beside the
// description.
std::optional<platform::Bytes> optionalPage(const Json& parent, std::string_view key,
                                            std::string_view where,
                                            const std::filesystem::path& folder) {
    const auto it = parent.find(std::string(key));
    if (it == parent.end()) return std::nullopt;
    const std::string name = std::string(where) + std::string(key);
    if (it->is_string()) return fromHex(it->get_ref<const std::string&>(), name);
    if (it->is_object()) {
        onlyKeys(*it, {"file"}, name + ".");
        const auto file = optionalText(*it, "file", name + ".");
        if (file && !file->empty()) return pageFile(folder, *file, name);
    }
    refuse(named(name) + " must be hexadecimal text or {\"file\": NAME}");
}

platform::Bytes page(const Json& parent, std::string_view key, std::string_view where,
                     const std::filesystem::path& folder) {
    auto bytes = optionalPage(parent, key, where, folder);
    if (!bytes) refuse(named(std::string(where) + std::string(key)) + " is missing");
    return std::move(*bytes);
}

bool isEntryName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && !name.starts_with('/') &&
           !name.ends_with('/');
}

void readSysfs(const Json& root, DemoSysfs& sysfs) {
    for (const auto& [folder, entries] : objectAt(root, "sysfs", "").items()) {
        if (!folder.starts_with('/'))
            refuse("the sysfs folder " + named(folder) + " must be an absolute path");
        if (!entries.is_object())
            refuse("the sysfs folder " + named(folder) + " must be an object");
        if (entries.empty() && !sysfs.addFolder(folder)) {
            refuse("the sysfs folder " + named(folder) + " lies inside a file or link");
        }
        const std::string base = folder.ends_with('/') ? folder : folder + "/";
        for (const auto& [name, value] : entries.items()) {
            const std::string path = base + name;
            if (!isEntryName(name))
                refuse("the sysfs entry " + named(path) + " has no usable name");
            bool added = false;
            if (value.is_string()) {
                added = sysfs.addFile(path, value.get<std::string>());
            } else if (value.is_object() && value.size() == 1 && value.contains("link") &&
                       value["link"].is_string()) {
                added = sysfs.addLink(path, value["link"].get<std::string>());
            } else {
                refuse("the sysfs entry " + named(path) + " must be a text or {\"link\": TARGET}");
            }
            if (!added)
                refuse("the sysfs entry " + named(path) +
                       " is given twice or lies inside a file or link");
        }
    }
}

std::vector<Mount> readMounts(const Json& root) {
    std::vector<Mount> mounts;
    const auto it = root.find("mountinfo");
    if (it == root.end()) return mounts;
    if (!it->is_array()) refuse("\"mountinfo\" must be a list of mountinfo lines");
    for (std::size_t i = 0; i < it->size(); ++i) {
        const std::string where = "mountinfo[" + std::to_string(i) + "]";
        // The kernel's text goes through the Linux parser, as it would on a real machine.
        auto parsed = LinuxMounts::parse(textOf((*it)[i], where));
        if (parsed.size() != 1) refuse(named(where) + " isn't one line of /proc/self/mountinfo");
        mounts.push_back(std::move(parsed.front()));
    }
    return mounts;
}

std::map<std::string, BlockContent, std::less<>> readBlockDevices(const Json& root) {
    std::map<std::string, BlockContent, std::less<>> devices;
    const auto it = root.find("blockDevices");
    if (it == root.end()) return devices;
    if (!it->is_object()) refuse("\"blockDevices\" must be an object");
    for (const auto& [name, entry] : it->items()) {
        const std::string where = "blockDevices." + name + ".";
        if (!entry.is_object()) refuse(named("blockDevices." + name) + " must be an object");
        onlyKeys(entry, {"type", "label", "usage", "partitionType"}, where);
        devices[name] = BlockContent{
            optionalText(entry, "type", where), optionalText(entry, "label", where),
            optionalText(entry, "usage", where), optionalText(entry, "partitionType", where)};
    }
    return devices;
}

std::map<std::string, SpaceFigures, std::less<>> readVolumeSpace(const Json& root) {
    std::map<std::string, SpaceFigures, std::less<>> figures;
    const auto it = root.find("volumeSpace");
    if (it == root.end()) return figures;
    if (!it->is_object()) refuse("\"volumeSpace\" must be an object");
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    for (const auto& [mountPoint, entry] : it->items()) {
        const std::string where = "volumeSpace." + mountPoint + ".";
        if (!entry.is_object()) refuse(named("volumeSpace." + mountPoint) + " must be an object");
        onlyKeys(entry, {"free", "total"}, where);
        const auto total = static_cast<std::int64_t>(wholeNumber(entry, "total", where, most));
        const auto free = static_cast<std::int64_t>(wholeNumber(entry, "free", where, most));
        if (free > total) refuse(named(where + "free") + " can't be more than the total");
        figures[mountPoint] = SpaceFigures{free, total};
    }
    return figures;
}

std::map<std::string, DemoNVMeController, std::less<>> readNVMe(
    const Json& root, const std::filesystem::path& folder) {
    std::map<std::string, DemoNVMeController, std::less<>> controllers;
    const auto it = root.find("nvme");
    if (it == root.end()) return controllers;
    if (!it->is_object()) refuse("\"nvme\" must be an object");
    for (const auto& [name, entry] : it->items()) {
        const std::string where = "nvme." + name + ".";
        if (DemoNVMeAdmin::controllerOf(name) != name) {
            refuse(named("nvme." + name) + " must be named after a controller, such as nvme0");
        }
        if (!entry.is_object()) refuse(named("nvme." + name) + " must be an object");
        onlyKeys(entry, {"smartLog", "identifyController"}, where);
        controllers[name] = DemoNVMeController{page(entry, "smartLog", where, folder),
                                               page(entry, "identifyController", where, folder)};
    }
    return controllers;
}

SimATADisk readSCSIDisk(const Json& entry, const std::string& where,
                          const std::filesystem::path& folder) {
    onlyKeys(
        entry,
        {"vendor", "product", "revision", "blocks", "blockSize", "unreadableBlocks", "passesATA",
         "identify", "smartData", "smartThresholds", "selfTestLog", "smartStatus"},
        where);
    SimATADisk disk;
    disk.vendor = optionalText(entry, "vendor", where).value_or("");
    disk.product = optionalText(entry, "product", where).value_or("");
    disk.revision = optionalText(entry, "revision", where).value_or("");
    disk.blocks = wholeNumber(entry, "blocks", where, std::uint64_t{1} << 48);
    disk.blockSize = entry.contains("blockSize")
                         ? static_cast<std::uint32_t>(wholeNumber(entry, "blockSize", where, 65536))
                         : 512;
    if (disk.blockSize == 0) refuse(named(where + "blockSize") + " must be above zero");
    if (const auto bad = entry.find("unreadableBlocks"); bad != entry.end()) {
        if (!bad->is_array())
            refuse(named(where + "unreadableBlocks") + " must be a list of block numbers");
        for (const auto& block : *bad) {
            if (!block.is_number_unsigned())
                refuse(named(where + "unreadableBlocks") + " must be a list of block numbers");
            disk.unreadableBlocks.insert(block.get<std::uint64_t>());
        }
    }
    disk.passesATA = flag(entry, "passesATA", where, true);
    disk.identify = optionalPage(entry, "identify", where, folder);
    disk.smartData = optionalPage(entry, "smartData", where, folder);
    disk.smartThresholds = optionalPage(entry, "smartThresholds", where, folder);
    disk.selfTestLog = optionalPage(entry, "selfTestLog", where, folder);
    const auto status = optionalText(entry, "smartStatus", where).value_or("passed");
    if (status != "passed" && status != "thresholdExceeded") {
        refuse(named(where + "smartStatus") + " must be \"passed\" or \"thresholdExceeded\"");
    }
    disk.thresholdExceeded = status == "thresholdExceeded";
    return disk;
}

std::map<std::string, SimATADisk, std::less<>> readSCSI(const Json& root,
                                                          const std::filesystem::path& folder) {
    std::map<std::string, SimATADisk, std::less<>> disks;
    const auto it = root.find("scsi");
    if (it == root.end()) return disks;
    if (!it->is_object()) refuse("\"scsi\" must be an object");
    for (const auto& [name, entry] : it->items()) {
        if (!entry.is_object()) refuse(named("scsi." + name) + " must be an object");
        disks.emplace(name, readSCSIDisk(entry, "scsi." + name + ".", folder));
    }
    return disks;
}

}  // namespace

struct DemoMachine::Parts {
    DemoSysfs sysfs;
    std::map<std::string, DemoNVMeController, std::less<>> nvme;
    std::vector<Mount> mounts;
    std::map<std::string, BlockContent, std::less<>> blockDevices;
    std::map<std::string, SpaceFigures, std::less<>> volumeSpace;
    std::optional<std::chrono::system_clock::time_point> now;
    std::string workingDirectory;
    std::map<std::string, SimATADisk, std::less<>> scsi;
};

DemoMachine::DemoMachine(Parts parts)
    : sysfs_(std::move(parts.sysfs)),
      nvme_(std::move(parts.nvme)),
      mounts_(std::move(parts.mounts)),
      probe_(std::move(parts.blockDevices)),
      space_(std::move(parts.volumeSpace)),
      clock_(parts.now),
      workingDirectory_(std::move(parts.workingDirectory)),
      scsiDisks_(std::move(parts.scsi)) {}

DemoMachine::Loaded DemoMachine::load(const std::filesystem::path& file) {
    const std::string intro = "The demo machine " + file.string() + " can't be used: ";
    auto text = readSmallFile(file, maxDescriptionBytes);
    if (!text) return platform::Unexpected(intro + text.error() + ".");
    return build(*text, file.parent_path(), intro);
}

DemoMachine::Loaded DemoMachine::fromText(std::string_view text,
                                          const std::filesystem::path& folder) {
    return build(text, folder, "The demo machine can't be used: ");
}

DemoMachine::Loaded DemoMachine::build(std::string_view text, const std::filesystem::path& folder,
                                       const std::string& intro) {
    Json root;
    try {
        // A description is a few levels deep; thousands of levels only cost memory.
        root = Json::parse(text, [](int depth, Json::parse_event_t, Json&) {
            if (depth > maxDepth) refuse("it nests deeper than " + std::to_string(maxDepth) + " levels");
            return true;
        });
    } catch (const Refusal& refusal) {
        return platform::Unexpected(intro + refusal.reason + ".");
    } catch (const Json::parse_error& failure) {
        return platform::Unexpected(intro + "it isn't valid JSON (at byte " +
                                    std::to_string(failure.byte) + ").");
    } catch (const Json::exception&) {
        // The parser's other refusal: a number no double holds, such as 1e400.
        return platform::Unexpected(intro + "it holds a number too large to read.");
    }
    try {
        if (!root.is_object()) refuse("it must be a JSON object");
        const auto version = root.find("demoMachineVersion");
        if (version == root.end() || !version->is_number_integer() ||
            version->get<int>() != formatVersion) {
            refuse("\"demoMachineVersion\" must be " + std::to_string(formatVersion));
        }
        onlyKeys(root,
                 {"demoMachineVersion", "about", "now", "workingDirectory", "sysfs", "mountinfo",
                  "blockDevices", "volumeSpace", "nvme", "scsi"},
                 "");
        Parts parts;
        readSysfs(root, parts.sysfs);
        parts.mounts = readMounts(root);
        parts.blockDevices = readBlockDevices(root);
        parts.volumeSpace = readVolumeSpace(root);
        parts.nvme = readNVMe(root, folder);
        parts.scsi = readSCSI(root, folder);
        if (const auto now = optionalText(root, "now", "")) {
            parts.now = platform::parseIsoDate(*now);
            if (!parts.now) refuse("\"now\" must be a date such as 2026-03-14T09:30:00Z");
        }
        parts.workingDirectory = optionalText(root, "workingDirectory", "").value_or("");
        if (!parts.workingDirectory.empty() && !parts.workingDirectory.starts_with('/')) {
            refuse("\"workingDirectory\" must be an absolute path");
        }
        return std::unique_ptr<DemoMachine>(new DemoMachine(std::move(parts)));
    } catch (const Refusal& refusal) {
        return platform::Unexpected(intro + refusal.reason + ".");
    } catch (const Json::exception&) {
        // Every access above is checked first; this only guards against a check missed.
        return platform::Unexpected(intro + "an entry has the wrong kind of value.");
    }
}

platform::Result<std::unique_ptr<platform::SCSIDrive>, int> DemoMachine::openSCSI(
    std::string_view bsdName) const {
    const auto it = scsiDisks_.find(bsdName);
    if (it == scsiDisks_.end()) return platform::Unexpected(ENOENT);
    return std::unique_ptr<platform::SCSIDrive>(
        std::make_unique<PacedDrive>(std::make_unique<SimSCSIDrive>(it->first, it->second, &scsiLock_), clock_));
}

}  // namespace platform
