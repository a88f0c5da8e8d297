#include "platform/linux/linux_volumes.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <cerrno>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <system_error>

#include "platform/block_stack.hpp"
#include "platform/format.hpp"
#include "platform/linux/errno_text.hpp"

namespace platform {
namespace {

// The per-mount words that are mount(2) flags.
struct FlagWord {
    std::string_view word;
    unsigned long flag;
};
constexpr FlagWord flagWords[] = {
    {"ro", MS_RDONLY},        {"nosuid", MS_NOSUID},       {"nodev", MS_NODEV},
    {"noexec", MS_NOEXEC},    {"sync", MS_SYNCHRONOUS},    {"noatime", MS_NOATIME},
    {"nodiratime", MS_NODIRATIME}, {"relatime", MS_RELATIME}, {"dirsync", MS_DIRSYNC},
};
// Super-block words the kernel shows but that are no file-system options.
constexpr std::string_view notData[] = {"rw", "ro", "seclabel"};

std::vector<std::string> commaWords(std::string_view text) { return split(text, ','); }

std::string lastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool underMountPoint(std::string_view path, const std::string& point) {
    if (point == "/") return path.starts_with('/');
    return path == point || (path.starts_with(point) && path.size() > point.size() &&
                             path[point.size()] == '/');
}

bool underAny(std::string_view path, const std::vector<std::string>& points) {
    return std::any_of(points.begin(), points.end(),
                       [&](const std::string& p) { return underMountPoint(path, p); });
}

std::optional<std::string> linkTarget(const std::filesystem::path& link) {
    std::error_code error;
    auto target = std::filesystem::read_symlink(link, error);
    if (error) return std::nullopt;
    return target.string();
}

// The path of each mapped file in /proc/PID/maps: the sixth field, when it is a path.
std::vector<std::string> mappedFiles(const std::filesystem::path& maps) {
    std::vector<std::string> files;
    std::ifstream in(maps);
    std::string line;
    while (std::getline(in, line)) {
        const auto slash = line.find(" /");
        if (slash == std::string::npos) continue;
        std::string path = line.substr(slash + 1);
        if (path.ends_with(" (deleted)")) path.resize(path.size() - 10);
        files.push_back(std::move(path));
    }
    return files;
}

// The entries of a folder of /proc, which may vanish under the walk (a process that
// ends): never an exception, only the entries that could be read.
std::vector<std::filesystem::path> entriesOf(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> entries;
    std::error_code error;
    std::filesystem::directory_iterator it(folder, error);
    for (; !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
        entries.push_back(it->path());
    }
    return entries;
}

// A process's number from its folder's name; nothing for "self", "sys" or a number no
// pid can be.
std::optional<int> pidOf(const std::string& name) {
    int pid = 0;
    const char* end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data(), end, pid);
    if (error != std::errc() || stop != end || pid <= 0) return std::nullopt;
    return pid;
}

std::optional<FileHolder> holderOf(const std::filesystem::path& process, int pid,
                                   const std::vector<std::string>& points) {
    // The whole line: a name may hold blanks ("Web Content").
    std::string command;
    std::ifstream comm(process / "comm");
    std::getline(comm, command);
    if (auto cwd = linkTarget(process / "cwd"); cwd && underAny(*cwd, points)) {
        return FileHolder{pid, command, *cwd, true};
    }
    for (const auto& fd : entriesOf(process / "fd")) {
        if (auto file = linkTarget(fd); file && underAny(*file, points)) {
            return FileHolder{pid, command, *file, false};
        }
    }
    for (const auto& file : mappedFiles(process / "maps")) {
        if (underAny(file, points)) return FileHolder{pid, command, file, false};
    }
    return std::nullopt;
}

}  // namespace

std::pair<unsigned long, std::string> mountArguments(const Mount& mount) {
    unsigned long flags = 0;
    for (const auto& word : commaWords(mount.options)) {
        for (const auto& known : flagWords) {
            if (word == known.word) flags |= known.flag;
        }
    }
    std::string data;
    for (const auto& word : commaWords(mount.superOptions)) {
        if (std::find(std::begin(notData), std::end(notData), word) != std::end(notData)) continue;
        if (!data.empty()) data += ',';
        data += word;
    }
    return {flags, data};
}

MountCalls systemMountCalls() {
    MountCalls calls;
    calls.unmount = [](const std::string& target) {
        // Never through a link a user put in the mount point's place.
        return ::umount2(target.c_str(), UMOUNT_NOFOLLOW) == 0 ? 0 : errno;
    };
    calls.holdFolder = [](const std::string& mountPoint) {
        open_how how{};
        how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
        how.resolve = RESOLVE_NO_SYMLINKS;
        const std::string folder = parentOf(mountPoint);
        const long fd = ::syscall(SYS_openat2, AT_FDCWD, folder.c_str(), &how, sizeof how);
        return fd >= 0 ? static_cast<int>(fd) : -errno;
    };
    calls.mountAt = [](int folder, const std::string& name, const std::string& source,
                       const std::string& fileSystem, unsigned long flags, const std::string& data) {
        // A disk service removes the folders it made; one made here is the owner's only.
        if (::mkdirat(folder, name.c_str(), 0700) != 0 && errno != EEXIST) return errno;
        const int target = ::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC);
        if (target < 0) return errno;  // a link or no folder: nothing is mounted
        const std::string through = "/proc/self/fd/" + std::to_string(target);
        int error = ::mount(source.c_str(), through.c_str(), fileSystem.c_str(), flags,
                            data.empty() ? nullptr : data.c_str()) == 0 ? 0 : errno;
        // Options this kernel's driver won't take again: the volume still comes back.
        if (error == EINVAL && !data.empty()) {
            error = ::mount(source.c_str(), through.c_str(), fileSystem.c_str(), flags, nullptr) == 0
                        ? 0
                        : errno;
        }
        ::close(target);
        return error;
    };
    calls.release = [](int folder) {
        if (folder >= 0) ::close(folder);
    };
    calls.writeAttribute = [](const std::string& path, const std::string& value) {
        const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW);
        if (fd < 0) return errno;
        const ssize_t wrote = ::write(fd, value.data(), value.size());
        const int error = wrote == static_cast<ssize_t>(value.size()) ? 0 : (wrote < 0 ? errno : EIO);
        ::close(fd);
        return error;
    };
    return calls;
}

LinuxVolumes::LinuxVolumes(const Sysfs& sysfs, const Mounts& mounts, MountCalls calls)
    : sysfs_(sysfs), mounts_(mounts), calls_(std::move(calls)) {}

namespace {

// umount2 has no time-out of its own and can block for long on a disk that stopped
// answering; the call runs on a thread of its own, and a caller that waited long enough
// is told so while the call finishes, or not, in the background.
std::optional<int> unmountWithin(const std::function<int(const std::string&)>& unmount,
                                 const std::string& target, double timeoutSeconds) {
    auto done = std::make_shared<std::promise<int>>();
    auto result = done->get_future();
    std::thread([unmount, target, done] { done->set_value(unmount(target)); }).detach();
    if (result.wait_for(std::chrono::duration<double>(timeoutSeconds)) != std::future_status::ready) {
        return std::nullopt;
    }
    return result.get();
}

}  // namespace

Result<void, UnmountFailure> LinuxVolumes::unmountWhole(std::string_view disk, double timeoutSeconds) {
    if (!sysfs_.exists(blockPath(disk))) return Unexpected(UnmountFailure{UnmountFailure::Kind::noDisk, "", ENODEV});
    auto& record = unmounted_[std::string(disk)];
    identities_[std::string(disk)] = identityOf(disk);
    lastDisk_ = disk;
    const auto mounts = mountsOfDisk(disk, sysfs_, mounts_.list());
    for (const auto& mount : mounts) {
        const auto [flags, data] = mountArguments(mount);
        const std::string folderPath = parentOf(mount.mountPoint);
        const bool nested = std::any_of(mounts.begin(), mounts.end(), [&](const Mount& other) {
            return &other != &mount && underMountPoint(folderPath, other.mountPoint);
        });
        const int folder = nested ? -1 : calls_.holdFolder(mount.mountPoint);
        Unmounted entry{mount.source, mount.mountPoint, mount.fileSystem, flags, data, folder, nested};
        const auto outcome = unmountWithin(calls_.unmount, mount.mountPoint, timeoutSeconds);
        if (!outcome) {
            // It may still go in the background: remembered, so that it is mounted back.
            record.push_back(std::move(entry));
            return Unexpected(UnmountFailure{UnmountFailure::Kind::timeout, "", ETIMEDOUT});
        }
        if (const int error = *outcome; error != 0) {
            calls_.release(folder);
            // Already gone (a stacked mount went with the one below it) is no refusal.
            if (error == EINVAL || error == ENOENT) continue;
            return Unexpected(UnmountFailure{UnmountFailure::Kind::refused, errnoText(error), error});
        }
        record.push_back(std::move(entry));
    }
    return {};
}

std::vector<std::string> LinuxVolumes::mountAll(std::string_view disk) {
    const bool remembered = unmounted_.contains(disk) || identities_.contains(disk) || !lastDisk_.empty();
    auto sentences = mountWhole(disk);
    if (!remembered) {
        sentences.push_back("Without the disk service, only volumes this run unmounted can be mounted back; mount " +
                            std::string(disk) + " with mount(8).");
    }
    return sentences;
}

Result<void, UnmountFailure> LinuxVolumes::stopArray(std::string_view array, double) {
    // Stopping is immediate or refused at once (EBUSY while anything holds it open).
    if (!sysfs_.exists(blockPath(array) + "/md")) return {};
    if (const int error = calls_.writeAttribute(blockPath(array) + "/md/array_state", "clear"); error != 0) {
        return Unexpected(UnmountFailure{UnmountFailure::Kind::refused, errnoText(error), error});
    }
    return {};
}

Result<void, UnmountFailure> LinuxVolumes::powerOff(std::string_view disk, double) {
    const auto path = sysfs_.resolve(blockPath(disk));
    if (!path) return Unexpected(UnmountFailure{UnmountFailure::Kind::noDisk, "", ENODEV});
    // The USB device is the nearest folder above the disk that has a vendor id; its
    // interfaces ("2-1:1.0") have none.
    std::string target;
    for (std::string up = parentOf(*path); up.size() > 1 && target.empty(); up = parentOf(up)) {
        if (sysfs_.exists(up + "/idVendor") && sysfs_.exists(up + "/remove")) target = up + "/remove";
    }
    if (target.empty() && sysfs_.exists(blockPath(disk) + "/device/delete")) {
        target = blockPath(disk) + "/device/delete";
    }
    if (target.empty()) {
        return Unexpected(UnmountFailure{UnmountFailure::Kind::refused,
                                         "Linux can't power this kind of drive off", EOPNOTSUPP});
    }
    if (const int error = calls_.writeAttribute(target, "1"); error != 0) {
        return Unexpected(UnmountFailure{UnmountFailure::Kind::refused, errnoText(error), error});
    }
    return {};
}

std::string LinuxVolumes::identityOf(std::string_view disk) const {
    const auto path = sysfs_.resolve(blockPath(disk));
    if (!path) return {};
    static const std::regex scsi(R"((.*)/host\d+/target[\d:]+/\d+:\d+:\d+:(\d+)/block/[^/]+$)");
    std::smatch match;
    if (!std::regex_match(*path, match, scsi)) return {};
    return match[1].str() + "#" + match[2].str();
}

std::vector<std::string> LinuxVolumes::mountWhole(std::string_view disk) {
    // The disks of a card reader come back in any order and may swap names: the record is
    // the one of the disk that sat where this one sits now, never one of a name alone.
    if (const std::string here = identityOf(disk); !here.empty()) {
        const auto same = std::find_if(identities_.begin(), identities_.end(),
                                       [&](const auto& entry) { return entry.second == here; });
        if (same == identities_.end()) return {};
        if (same->first != disk) {
            const std::string was = same->first;
            auto found = unmounted_.find(was);
            if (found == unmounted_.end()) return {};
            std::vector<Unmounted> record = std::move(found->second);
            unmounted_.erase(found);
            identities_.erase(was);
            const std::string original = was.starts_with('~') ? was.substr(1) : was;
            for (auto& entry : record) {
                if (entry.device.starts_with(original)) {
                    entry.device = std::string(disk) + entry.device.substr(original.size());
                }
            }
            // Whatever was recorded under this name belonged to another disk: kept under
            // its old name's identity no longer; it waits for its own disk.
            if (auto mine = unmounted_.find(disk); mine != unmounted_.end()) {
                const std::string other = "~" + std::string(disk);
                unmounted_[other] = std::move(mine->second);
                unmounted_.erase(mine);
                identities_[other] = identities_[std::string(disk)];
            }
            unmounted_[std::string(disk)] = std::move(record);
            identities_[std::string(disk)] = here;
        }
    }
    auto it = unmounted_.find(disk);
    std::string renamedFrom;
    if (it == unmounted_.end() || it->second.empty()) {
        // The kernel may give the disk a new name when it finds it again: its partitions
        // keep their numbers under the new one. Only while one disk is waiting to come
        // back: with several, a new name could belong to any of them.
        it = unmounted_.find(lastDisk_);
        if (it == unmounted_.end() || unmounted_.size() != 1) return {};
        renamedFrom = lastDisk_;
    }
    std::set<std::string> mountedNow;
    for (const auto& mount : mounts_.list()) mountedNow.insert(mount.mountPoint);
    const auto& record = it->second;
    std::vector<std::string> refused;
    for (auto entry = record.rbegin(); entry != record.rend(); ++entry) {
        std::string device = entry->device;
        if (!renamedFrom.empty() && device.starts_with(renamedFrom)) {
            device = std::string(disk) + device.substr(renamedFrom.size());
        }
        // Somebody (the desktop's automounter) mounted it already; a folder that couldn't
        // be held is never mounted on by its path.
        if (mountedNow.count(entry->mountPoint) > 0) {
            calls_.release(entry->folder);
            continue;
        }
        const int folder = entry->nested ? calls_.holdFolder(entry->mountPoint) : entry->folder;
        const int error = folder >= 0 ? calls_.mountAt(folder, lastPart(entry->mountPoint), "/dev/" + device,
                                                       entry->fileSystem, entry->flags, entry->data)
                                      : -folder;
        calls_.release(folder);
        // The folder is no longer the one it was: never mounted on through whatever now
        // stands there, and said at once rather than waited for.
        if (error == ELOOP || error == ENOTDIR || error == ENOENT) {
            refused.push_back("/dev/" + device + " wasn't mounted back at " + entry->mountPoint +
                              ": that folder was replaced while the drive was away (" + errnoText(error) +
                              "). Mount it yourself once the folder is as it was.");
        }
    }
    identities_.erase(it->first);
    unmounted_.erase(it);
    return refused;
}

LinuxVolumes::~LinuxVolumes() {
    for (const auto& [disk, record] : unmounted_) {
        for (const auto& entry : record) calls_.release(entry.folder);
    }
}

LinuxFileHolders::LinuxFileHolders(std::filesystem::path proc) : proc_(std::move(proc)) {}

std::vector<FileHolder> LinuxFileHolders::holding(const std::vector<std::string>& mountPoints) const {
    std::vector<FileHolder> holders;
    if (mountPoints.empty()) return holders;
    for (const auto& entry : entriesOf(proc_)) {
        const auto pid = pidOf(entry.filename().string());
        if (!pid) continue;
        if (auto holder = holderOf(entry, *pid, mountPoints)) {
            holders.push_back(std::move(*holder));
        }
    }
    std::sort(holders.begin(), holders.end(),
              [](const FileHolder& a, const FileHolder& b) { return a.pid < b.pid; });
    return holders;
}

}  // namespace platform
