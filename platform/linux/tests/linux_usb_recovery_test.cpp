#include "platform/linux/linux_usb_recovery.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace platform {
namespace {

namespace fs = std::filesystem;

// A sysfs tree with the files the repair reads and writes.
class USBRecovery : public ::testing::Test {
  protected:
    USBRecovery() {
        root = fs::temp_directory_path() / ("vantrel-usb-recovery-" + std::to_string(::getpid()));
        fs::remove_all(root);
        fs::create_directories(root / "sys/bus/usb/drivers/usbfs");
        touch("sys/bus/usb/drivers_probe");
        touch("sys/bus/usb/drivers/usbfs/unbind");
        fs::create_directories(root / "sys/bus/usb/drivers/uas");
    }
    ~USBRecovery() override { fs::remove_all(root); }

    void touch(const std::string& path) {
        std::ofstream(root / path).put('\0').flush();
        fs::resize_file(root / path, 0);
    }

    void interface(const std::string& name, const std::string& cls, const char* driver) {
        const fs::path dir = root / "sys/bus/usb/devices" / name;
        fs::create_directories(dir);
        std::ofstream(dir / "bInterfaceClass") << cls << "\n";
        if (driver)
            fs::create_directory_symlink(root / "sys/bus/usb/drivers" / driver, dir / "driver");
    }

    // A claim recorded by process `pid`.
    void recorded(const std::string& name, long pid) {
        fs::create_directories(root / "run/vantrel/claimed");
        std::ofstream(root / "run/vantrel/claimed" / name) << pid << "\n";
    }

    std::string read(const std::string& path) const {
        std::ifstream in(root / path);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    fs::path root;
};


TEST_F(USBRecovery, GivesBackOnlyWhatAGoneRunOfOursClaimed) {
    const long gone = 0x7FFFFFF0;  // no such process
    interface("2-1:1.0", "08", nullptr);  // left behind by a killed capture
    recorded("2-1:1.0", gone);
    interface("1-1.2:1.1", "08", nullptr);
    recorded("1-1.2:1.1", gone);
    interface("2-2:1.0", "08", "uas");  // given back after all: its record goes
    recorded("2-2:1.0", gone);
    interface("2-5:1.0", "08", nullptr);  // a capture running now
    recorded("2-5:1.0", ::getpid());
    interface("2-3:1.0", "08", "usbfs");  // another program holds it
    interface("2-4:1.0", "08", nullptr);  // an administrator unbound it on purpose
    interface("1-4:1.0", "03", nullptr);  // a keyboard without a driver is none of ours
    recorded("1-4:1.0", gone);

    EXPECT_EQ(orphanedMassStorageInterfaces(root.string()),
              (std::vector<std::string>{"1-1.2:1.1", "2-1:1.0"}));
    const auto done = reattachOrphanedMassStorage(root.string());
    EXPECT_EQ(done, (std::vector<ReattachedInterface>{{"1-1.2:1.1", ""}, {"2-1:1.0", ""}}));
    EXPECT_EQ(read("sys/bus/usb/drivers_probe"), "1-1.2:1.1\n2-1:1.0\n");
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(root / "run/vantrel/claimed")) {
        left.push_back(entry.path().filename().string());
    }
    EXPECT_EQ(left, std::vector<std::string>{"2-5:1.0"});
}

TEST_F(USBRecovery, SaysWhyAProbeCouldntBeAskedFor) {
    interface("2-1:1.0", "08", nullptr);
    recorded("2-1:1.0", 0x7FFFFFF0);
    fs::remove(root / "sys/bus/usb/drivers_probe");
    const auto done = reattachOrphanedMassStorage(root.string());
    ASSERT_EQ(done.size(), 1u);
    EXPECT_EQ(done[0].error, "No such file or directory");
    EXPECT_TRUE(reattachOrphanedMassStorage((root / "nothing").string()).empty());
}

TEST_F(USBRecovery, TheSignalPathUnbindsAndProbesWhatIsClaimedNow) {
    setGiveBackRoot(root.string());
    ASSERT_TRUE(recordClaim("3-2:1.0"));
    EXPECT_TRUE(fs::exists(root / "run/vantrel/claimed/3-2:1.0"));
    noteClaimedInterface("2-1:1.0");
    noteClaimedInterface("3-2:1.0");
    noteReleasedInterface("2-1:1.0");
    EXPECT_EQ(claimedInterfaces(), std::vector<std::string>{"3-2:1.0"});

    giveBackClaimedInterfacesNow();
    EXPECT_EQ(read("sys/bus/usb/drivers/usbfs/unbind"), "3-2:1.0\n");
    EXPECT_EQ(read("sys/bus/usb/drivers_probe"), "3-2:1.0\n");
    EXPECT_FALSE(fs::exists(root / "run/vantrel/claimed/3-2:1.0"));

    noteReleasedInterface("3-2:1.0");
    EXPECT_TRUE(claimedInterfaces().empty());
    setGiveBackRoot("/");
}

}  // namespace
}  // namespace platform
