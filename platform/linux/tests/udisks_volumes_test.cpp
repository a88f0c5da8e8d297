// The disk service's volumes against a stand-in service on a private bus: a dbus-daemon of
// the test's own and support/mock_disk_service.py, which logs every call it answers.
#include "platform/linux/udisks_volumes.hpp"

#include <unistd.h>

#include <QtDBus/QDBusConnection>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/linux/linux_volumes.hpp"
#include "platform/tests/support/child_process.hpp"
#include "platform/tests/support/doubles.hpp"

namespace app {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

constexpr const char* python = "/usr/bin/python3";
constexpr const char* daemonPath = "/usr/bin/dbus-daemon";

// sdb with two partitions and a LUKS container (dm-0) opened on sdb2.
platform::doubles::MapSysfs diskTree() {
    platform::doubles::MapSysfs sysfs;
    sysfs.disk("sdb", "8:16", {"sdb1", "sdb2"});
    sysfs.disk("sdc", "8:32", {});
    sysfs.files["/sys/class/block/sdb1/dev"] = "8:17";
    sysfs.files["/sys/class/block/sdb2/dev"] = "8:18";
    sysfs.files["/sys/class/block/dm-0/dev"] = "253:0";
    sysfs.folders["/sys/class/block/sdb2/holders"] = {"dm-0"};
    sysfs.folders["/sys/class/block/sdb/sdb2/holders"] = {"dm-0"};
    sysfs.folders["/sys/class/block/md0/md"] = {};
    return sysfs;
}

platform::doubles::TableMounts mountTable() {
    platform::doubles::TableMounts mounts;
    mounts.table = {
        {8, 1, "/", "/", "ext4", "/dev/sda1", "rw", "rw"},
        {8, 17, "/", "/media/lab/Photos", "vfat", "/dev/sdb1", "rw", "rw"},
        {253, 0, "/", "/media/lab/Vault", "ext4", "/dev/mapper/vault", "rw", "rw"},
    };
    return mounts;
}

using platform::helpers::Child;

// A program and its arguments, started with its output on a pipe.
Child spawn(const Lines& argv) {
    QStringList arguments;
    for (auto arg = argv.begin() + 1; arg != argv.end(); ++arg) arguments.push_back(QString::fromStdString(*arg));
    return Child::start(QString::fromStdString(argv.front()), arguments);
}

class UDisksVolumesTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (::access(daemonPath, X_OK) != 0) return;
        folder_ = fs::temp_directory_path() / ("vantrel-udisks-" + std::to_string(::getpid()));
        fs::create_directories(folder_);
        daemon_ = spawn({daemonPath, std::string("--config-file=") + VANTREL_PRIVATE_BUS_CONF,
                         "--print-address=1", "--nofork"});
        address_ = daemon_.line().value_or("");
    }
    static void TearDownTestSuite() {
        daemon_.stop();
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    void SetUp() override {
        if (::access(daemonPath, X_OK) != 0) GTEST_SKIP() << "dbus-daemon is not installed";
        ASSERT_FALSE(address_.empty()) << "the private dbus-daemon didn't start";
        connection_ = "vantrel-test-" + std::to_string(++connections_);
        bus_ = QDBusConnection::connectToBus(QString::fromStdString(address_),
                                             QString::fromStdString(connection_));
        ASSERT_TRUE(bus_.isConnected());
        log_ = folder_ / (connection_ + ".log");
    }
    void TearDown() override {
        service_.stop();
        if (!connection_.empty()) QDBusConnection::disconnectFromBus(QString::fromStdString(connection_));
    }

    // Starts the stand-in service with sdb1 and dm-0 mounted, and `extra` arguments.
    void startService(const Lines& extra = {}) {
        Lines argv{python, std::string(VANTREL_APP_TEST_SUPPORT) + "/mock_disk_service.py",
                   "--address", address_, "--log", log_.string(),
                   "--mounted", "sdb1=/media/lab/Photos", "--mounted", "dm_2d0=/media/lab/Vault"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        service_ = spawn(argv);
        ASSERT_EQ(service_.line(), "ready");
    }

    Lines calls() const {
        Lines lines;
        std::ifstream in(log_);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }

    platform::doubles::MapSysfs sysfs_ = diskTree();
    platform::doubles::TableMounts mounts_ = mountTable();
    QDBusConnection bus_{QString()};
    Child service_;
    std::string connection_;
    fs::path log_;

    static inline fs::path folder_;
    static inline Child daemon_;
    static inline std::string address_;
    static inline int connections_ = 0;
};

TEST_F(UDisksVolumesTest, UnmountsInnermostFirstWithoutOptionsAndMountsBackOutermostFirst) {
    startService();
    UDisksVolumes volumes(bus_, sysfs_, mounts_);

    EXPECT_TRUE(volumes.unmountWhole("sdb", 30));
    EXPECT_EQ(calls(), (Lines{"Unmount dm_2d0 {}", "Unmount sdb1 {}"}));

    volumes.mountWhole("sdb");
    EXPECT_EQ(calls(), (Lines{"Unmount dm_2d0 {}", "Unmount sdb1 {}", "Mount sdb1 {}", "Mount dm_2d0 {}"}));

    // Mounted back once: a second call has nothing left to do.
    volumes.mountWhole("sdb");
    EXPECT_EQ(calls().size(), 4u);
}

TEST_F(UDisksVolumesTest, ADiskBackUnderAnotherNameGetsItsPartitionsMountedByNumber) {
    startService({"--mounted", "sdc1="});
    UDisksVolumes volumes(bus_, sysfs_, mounts_);
    ASSERT_TRUE(volumes.unmountWhole("sdb", 30));

    volumes.mountWhole("sdc");
    EXPECT_EQ(calls(), (Lines{"Unmount dm_2d0 {}", "Unmount sdb1 {}", "Mount sdc1 {}", "Mount dm_2d0 {}"}));
}

TEST_F(UDisksVolumesTest, ABusyVolumeIsTheKernelsBusyRefusalAndStopsTheUnmounting) {
    startService({"--fail", "dm_2d0=DeviceBusy"});
    UDisksVolumes volumes(bus_, sysfs_, mounts_);

    const auto refused = volumes.unmountWhole("sdb", 30);
    // The same failure the kernel's calls give for EBUSY, so the check goes on to name the
    // processes that hold the volume.
    platform::MountCalls busyKernel;
    busyKernel.unmount = [](const std::string&) { return EBUSY; };
    busyKernel.holdFolder = [](const std::string&) { return -1; };
    busyKernel.release = [](int) {};
    platform::LinuxVolumes kernel(sysfs_, mounts_, busyKernel);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), kernel.unmountWhole("sdb", 30).error());
    EXPECT_EQ(refused.error().kind, platform::UnmountFailure::Kind::refused);
    EXPECT_EQ(calls(), (Lines{"Unmount dm_2d0 {}"}));
}

TEST_F(UDisksVolumesTest, OtherRefusalsCarryTheServicesMessage) {
    startService({"--fail", "sdb1=NotAuthorizedCanObtain"});
    UDisksVolumes volumes(bus_, sysfs_, mounts_);

    EXPECT_EQ(volumes.unmountWhole("sdb", 30).error(),
              (platform::UnmountFailure{platform::UnmountFailure::Kind::refused,
                                        "Not authorized to perform operation", EPERM}));
    // What went before the refusal is mounted back.
    volumes.mountWhole("sdb");
    EXPECT_EQ(calls(), (Lines{"Unmount dm_2d0 {}", "Unmount sdb1 {}", "Mount dm_2d0 {}"}));
}

TEST_F(UDisksVolumesTest, ASilentServiceIsATimeOutAndAnUnknownDiskIsNoDisk) {
    startService({"--silent", "dm_2d0"});
    UDisksVolumes volumes(bus_, sysfs_, mounts_);

    EXPECT_EQ(volumes.unmountWhole("sdb", 0.2).error().kind, platform::UnmountFailure::Kind::timeout);
    EXPECT_EQ(volumes.unmountWhole("sdz", 30).error().kind, platform::UnmountFailure::Kind::noDisk);
    EXPECT_EQ(calls(), (Lines{"Unmount dm_2d0 {}"}));
}

TEST_F(UDisksVolumesTest, ArraysStopAndDrivesPowerOffThroughTheObjectsTheirBlocksName) {
    startService({"--mounted", "sdb=", "--drive", "sdb=LAB_DISK", "--mounted", "md0=", "--array", "md0=set1",
                  "--mounted", "sdc=", "--drive", "sdc=LOCKED", "--fail", "LOCKED=NotAuthorizedCanObtain"});
    UDisksVolumes volumes(bus_, sysfs_, mounts_);

    EXPECT_TRUE(volumes.stopArray("md0", 30));
    EXPECT_TRUE(volumes.powerOff("sdb", 30));
    const auto refused = volumes.powerOff("sdc", 30);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, EPERM);
    // A block the service ties to no drive is refused without a call; an array that
    // stopped already is done.
    EXPECT_FALSE(volumes.powerOff("sdb1", 30));
    EXPECT_TRUE(volumes.stopArray("md1", 30));
    EXPECT_EQ(calls(), (Lines{"Stop set1 {}", "PowerOff LAB_DISK {}", "PowerOff LOCKED {}"}));
}

TEST_F(UDisksVolumesTest, TheChooserTakesTheServiceOnlyWhenItsNameHasAnOwner) {
    auto without = chooseVolumes(bus_, sysfs_, mounts_);
    EXPECT_NE(dynamic_cast<platform::LinuxVolumes*>(without.get()), nullptr);

    startService();
    auto with = chooseVolumes(bus_, sysfs_, mounts_);
    EXPECT_NE(dynamic_cast<UDisksVolumes*>(with.get()), nullptr);

    const QDBusConnection disconnected(QString("never connected"));
    EXPECT_NE(dynamic_cast<platform::LinuxVolumes*>(chooseVolumes(disconnected, sysfs_, mounts_).get()),
              nullptr);
}

// The service's own time-out, and a refusal without a message, which the stand-in can't give.
TEST(UDisksErrors, TheServicesTimeOutIsATimeOutAndABareErrorIsNamed) {
    using Kind = platform::UnmountFailure::Kind;
    EXPECT_EQ(UDisks::unmountFailure("org.freedesktop.UDisks2.Error.Timedout", "x").kind, Kind::timeout);
    EXPECT_EQ(UDisks::unmountFailure("org.freedesktop.DBus.Error.ServiceUnknown", ""),
              (platform::UnmountFailure{Kind::refused, "org.freedesktop.DBus.Error.ServiceUnknown"}));
}

}  // namespace
}  // namespace app
