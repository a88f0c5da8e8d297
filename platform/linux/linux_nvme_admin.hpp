#pragma once
// LinuxNVMeAdmin: NVMe admin commands through the kernel's NVMe driver. The drive's name
// leads through sysfs to its controller, whose character device /dev/nvmeN takes the
// commands by NVME_IOCTL_ADMIN_CMD. Reading needs root (or CAP_SYS_ADMIN); the device is
// opened read-only and only the two reading commands are ever sent.
#include <linux/nvme_ioctl.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/linux_sysfs.hpp"
#include "platform/nvme_admin.hpp"
#include "platform/sysfs.hpp"

namespace platform {

/// The controller ("nvme0") that serves a drive name, as sysfs tells:
/// - a controller name ("nvme0") that sysfs lists under class/nvme stands for itself;
/// - a namespace ("nvme0n1") or a hidden path device ("nvme0c1n1") names its controller
///   by its `device` link;
/// - a namespace shared through native multipath ("nvme2n1" under nvme-subsys2) belongs
///   to a subsystem: the first of its controllers in number order whose state is "live",
///   else the first of them.
/// Nothing when the name isn't an NVMe drive this kernel knows. Instance numbers of
/// namespaces and controllers are unrelated, so the name alone is never parsed for one.
std::optional<std::string> nvmeControllerOf(std::string_view bsdName, const Sysfs& sysfs);

/// The admin commands as the kernel takes them, reading into `data`.
/// Get Log Page, log 2, all namespaces: cdw10 = (dwords - 1) << 16 | 0x02.
nvme_admin_cmd smartLogCommand(std::span<std::uint8_t> data);
/// Identify, CNS 1 (controller).
nvme_admin_cmd identifyControllerCommand(std::span<std::uint8_t> data);

class LinuxNVMeAdmin final : public NVMeAdmin {
  public:
    /// The running system: /sys and /dev.
    LinuxNVMeAdmin();
    /// Controllers looked up in `sysfs` and their nodes opened under `devRoot`; `sysfs`
    /// must outlive this object.
    LinuxNVMeAdmin(const Sysfs& sysfs, std::filesystem::path devRoot);

    /// Failures: noController when sysfs knows no NVMe controller for the name (ENODEV),
    /// when its node is missing (ENOENT, ENODEV, ENXIO from the open) or when the open or
    /// the command is refused for want of privilege (EACCES, EPERM); systemError for any
    /// other failing open or ioctl, with its errno; commandStatus when the ioctl returns the
    /// controller's non-zero status.
    NVMeAdminReply smartLog(std::string_view bsdName) override;
    NVMeAdminReply identifyController(std::string_view bsdName) override;

  private:
    NVMeAdminReply run(std::string_view bsdName,
                       nvme_admin_cmd (*makeCommand)(std::span<std::uint8_t>), std::size_t length);

    std::unique_ptr<LinuxSysfs> ownSysfs_;
    const Sysfs* sysfs_;
    std::filesystem::path devRoot_;
};

}  // namespace platform
