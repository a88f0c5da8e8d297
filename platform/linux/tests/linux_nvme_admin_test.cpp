#include "platform/linux/linux_nvme_admin.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <variant>

namespace platform {
namespace {

namespace fs = std::filesystem;

// tests/data/sysfs-nvme is copied from a QEMU guest (Linux 6.1, native multipath on) with
// three controllers: nvme0 alone with namespace nvme0n1, and nvme1 and nvme2 in one
// subsystem sharing a namespace, whose head is nvme2n1 and whose hidden paths are
// nvme2c1n1 (via nvme1) and nvme2c2n1 (via nvme2).
const fs::path fixture = fs::path(VANTREL_TEST_DATA) / "sysfs-nvme";

class TempDir {
  public:
    TempDir() {
        std::string pattern = (fs::temp_directory_path() / "vantrel-nvme-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

void write(const fs::path& file, const std::string& text) {
    std::ofstream(file) << text;
}

TEST(NVMeController, OfEveryNameInARealLayout) {
    const LinuxSysfs sysfs(fixture);
    EXPECT_EQ(nvmeControllerOf("nvme0n1", sysfs), "nvme0");
    EXPECT_EQ(nvmeControllerOf("nvme0", sysfs), "nvme0");
    EXPECT_EQ(nvmeControllerOf("nvme2c1n1", sysfs), "nvme1");
    EXPECT_EQ(nvmeControllerOf("nvme2c2n1", sysfs), "nvme2");
    // The shared namespace's number is its subsystem's, not a controller's.
    EXPECT_EQ(nvmeControllerOf("nvme2n1", sysfs), "nvme1");
    EXPECT_EQ(nvmeControllerOf("nvme2", sysfs), "nvme2");

    for (const char* name : {"sda", "nvme3n1", "nvme9", "nvme-subsys2", "ng0n1", "nvme", "", "..",
                             "../class/block/nvme0n1", "nvme0n1/device"}) {
        EXPECT_EQ(nvmeControllerOf(name, sysfs), std::nullopt) << name;
    }
}

TEST(NVMeController, SharedNamespaceGoesThroughALiveController) {
    TempDir tree;
    fs::copy(fixture, tree.path(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    const fs::path states = tree.path() / "sys/devices/pci0000:00";
    const LinuxSysfs sysfs(tree.path());

    write(states / "0000:00:02.0/nvme/nvme1/state", "resetting\n");
    EXPECT_EQ(nvmeControllerOf("nvme2n1", sysfs), "nvme2");
    write(states / "0000:00:03.0/nvme/nvme2/state", "connecting\n");
    EXPECT_EQ(nvmeControllerOf("nvme2n1", sysfs), "nvme1") << "none live: the first";
}

NVMeAdminFailure failureOf(const NVMeAdminReply& reply) {
    EXPECT_FALSE(reply.ok());
    return reply.ok() ? NVMeAdminFailure{} : reply.error();
}

TEST(LinuxNVMeAdmin, FailuresBeforeTheController) {
    const LinuxSysfs sysfs(fixture);
    TempDir dev;
    LinuxNVMeAdmin admin(sysfs, dev.path());
    using Kind = NVMeAdminFailure::Kind;

    EXPECT_EQ(failureOf(admin.smartLog("sda")), (NVMeAdminFailure{Kind::noController, ENODEV}));
    EXPECT_EQ(failureOf(admin.identifyController("nvme0n1")),
              (NVMeAdminFailure{Kind::noController, ENOENT}));

    // nvme2n1 is served by nvme1: only that node is opened, and a node that isn't the
    // NVMe driver's refuses the ioctl.
    write(dev.path() / "nvme1", "");
    EXPECT_EQ(failureOf(admin.smartLog("nvme2n1")), (NVMeAdminFailure{Kind::systemError, ENOTTY}));
    EXPECT_EQ(failureOf(admin.identifyController("nvme2n1")),
              (NVMeAdminFailure{Kind::systemError, ENOTTY}));
}

}  // namespace
}  // namespace platform
