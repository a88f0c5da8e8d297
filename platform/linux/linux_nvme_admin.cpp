#include "platform/linux/linux_nvme_admin.hpp"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <system_error>
#include <utility>
#include <vector>

namespace platform {

namespace fs = std::filesystem;

namespace {

constexpr std::uint8_t opcodeGetLogPage = 0x02;
constexpr std::uint8_t opcodeIdentify = 0x06;
constexpr std::uint8_t logSMARTHealth = 0x02;
constexpr std::uint32_t cnsController = 0x01;
constexpr std::uint32_t allNamespaces = 0xFFFFFFFF;
constexpr std::size_t smartLogLength = 512;
constexpr std::size_t identifyLength = 4096;

// A kernel name is one path component; anything else could walk out of sysfs.
bool isKernelName(std::string_view name) {
    if (name.empty() || name == "." || name == "..") return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_' || c == '.' || c == ':';
    });
}

// "nvme12" -> 12; nothing for "nvme0n1", "nvme-subsys0", "nvme".
std::optional<unsigned> controllerNumber(std::string_view name) {
    constexpr std::string_view prefix = "nvme";
    if (!name.starts_with(prefix) || name.size() == prefix.size()) return std::nullopt;
    unsigned number = 0;
    const char* first = name.data() + prefix.size();
    const char* last = name.data() + name.size();
    const auto [end, error] = std::from_chars(first, last, number);
    if (error != std::errc() || end != last) return std::nullopt;
    return number;
}

bool isController(std::string_view name, const Sysfs& sysfs) {
    return controllerNumber(name) && sysfs.exists("/sys/class/nvme/" + std::string(name));
}

std::optional<std::string> liveControllerOfSubsystem(const std::string& subsystem,
                                                     const Sysfs& sysfs) {
    std::vector<std::pair<unsigned, std::string>> controllers;
    for (std::string& name : sysfs.list("/sys/class/nvme-subsystem/" + subsystem)) {
        if (const auto number = controllerNumber(name); number && isController(name, sysfs)) {
            controllers.emplace_back(*number, std::move(name));
        }
    }
    if (controllers.empty()) return std::nullopt;
    std::sort(controllers.begin(), controllers.end());
    for (const auto& [number, name] : controllers) {
        if (sysfs.read("/sys/class/nvme/" + name + "/state") == "live") return name;
    }
    return controllers.front().second;
}

Unexpected<NVMeAdminFailure> failure(NVMeAdminFailure::Kind kind, int error) {
    return Unexpected(NVMeAdminFailure{kind, static_cast<std::uint32_t>(error)});
}

nvme_admin_cmd command(std::uint8_t opcode, std::uint32_t nsid, std::uint32_t cdw10,
                       std::span<std::uint8_t> data) {
    nvme_admin_cmd cmd{};
    cmd.opcode = opcode;
    cmd.nsid = nsid;
    cmd.addr = reinterpret_cast<std::uintptr_t>(data.data());
    cmd.data_len = static_cast<std::uint32_t>(data.size());
    cmd.cdw10 = cdw10;
    return cmd;
}

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

}  // namespace

std::optional<std::string> nvmeControllerOf(std::string_view bsdName, const Sysfs& sysfs) {
    if (!isKernelName(bsdName)) return std::nullopt;
    const std::string name(bsdName);
    if (isController(name, sysfs)) return name;

    const auto parent = sysfs.readLink("/sys/class/block/" + name + "/device");
    if (!parent) return std::nullopt;
    const std::string owner = fs::path(*parent).filename().string();
    if (isController(owner, sysfs)) return owner;
    if (owner.starts_with("nvme-subsys")) return liveControllerOfSubsystem(owner, sysfs);
    return std::nullopt;
}

nvme_admin_cmd smartLogCommand(std::span<std::uint8_t> data) {
    const auto dwords = static_cast<std::uint32_t>(data.size() / 4);
    // Retain Asynchronous Event: reading the log must not acknowledge a pending SMART
    // event that the kernel or a monitoring daemon is still to see.
    constexpr std::uint32_t retainAsyncEvent = 1u << 15;
    return command(opcodeGetLogPage, allNamespaces,
                   (dwords - 1) << 16 | retainAsyncEvent | logSMARTHealth, data);
}

nvme_admin_cmd identifyControllerCommand(std::span<std::uint8_t> data) {
    return command(opcodeIdentify, 0, cnsController, data);
}

LinuxNVMeAdmin::LinuxNVMeAdmin()
    : ownSysfs_(std::make_unique<LinuxSysfs>()), sysfs_(ownSysfs_.get()), devRoot_("/dev") {}

LinuxNVMeAdmin::LinuxNVMeAdmin(const Sysfs& sysfs, fs::path devRoot)
    : sysfs_(&sysfs), devRoot_(std::move(devRoot)) {}

NVMeAdminReply LinuxNVMeAdmin::smartLog(std::string_view bsdName) {
    return run(bsdName, smartLogCommand, smartLogLength);
}

NVMeAdminReply LinuxNVMeAdmin::identifyController(std::string_view bsdName) {
    return run(bsdName, identifyControllerCommand, identifyLength);
}

NVMeAdminReply LinuxNVMeAdmin::run(std::string_view bsdName,
                                   nvme_admin_cmd (*makeCommand)(std::span<std::uint8_t>),
                                   std::size_t length) {
    using Kind = NVMeAdminFailure::Kind;
    const auto controller = nvmeControllerOf(bsdName, *sysfs_);
    if (!controller) return failure(Kind::noController, ENODEV);

    // Admin commands need CAP_SYS_ADMIN, not write access: read-only is enough for root.
    const FileDescriptor fd(::open((devRoot_ / *controller).c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        const int error = errno;
        switch (error) {
            case ENOENT:
            case ENODEV:
            case ENXIO:
            case EACCES:
            case EPERM:
                return failure(Kind::noController, error);
            default:
                return failure(Kind::systemError, error);
        }
    }

    std::vector<std::uint8_t> data(length, 0);
    nvme_admin_cmd cmd = makeCommand(data);
    int status = 0;
    do {
        status = ::ioctl(fd.get(), NVME_IOCTL_ADMIN_CMD, &cmd);
    } while (status < 0 && errno == EINTR);
    if (status < 0) {
        // Without CAP_SYS_ADMIN the kernel refuses the command itself even when the node
        // was opened: that is the same "no permission" as a refused open.
        const int error = errno;
        return failure(error == EACCES || error == EPERM ? Kind::noController : Kind::systemError,
                       error);
    }
    if (status > 0) return failure(Kind::commandStatus, status);
    return data;
}

}  // namespace platform
