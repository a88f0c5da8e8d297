#include "platform/linux/linux_block_probe.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace platform {
namespace {

namespace fs = std::filesystem;

TEST(LinuxBlockProbeUdev, RecordsOfTheLab) {
    // Written by the lab's udev for the layout of scripts/lab/capture-sysfs.guest.sh.
    const LinuxBlockProbe probe(VANTREL_TEST_DATA "/discovery/lab");
    const auto backup = probe.probe("sdd1", 8, 49);
    EXPECT_EQ(backup.type, "ext2");
    EXPECT_EQ(backup.label, "Backup Disk");  // from ID_FS_LABEL_ENC, blank restored

    const auto member = probe.probe("sda1", 8, 1);
    EXPECT_EQ(member.type, "linux_raid_member");
    EXPECT_EQ(member.usage, "raid");

    EXPECT_EQ(probe.probe("sdb1", 8, 17).partitionType, "0xfd");
    // A partitioned disk: udev knows it, and it holds no file system.
    EXPECT_EQ(probe.probe("sda", 8, 0), BlockContent{});
}

TEST(LinuxBlockProbeUdev, RecordText) {
    EXPECT_EQ(LinuxBlockProbe::fromUdevRecord("S:disk/by-id/x\nI:123\n"), std::nullopt);
    const auto content = LinuxBlockProbe::fromUdevRecord(
        "E:ID_FS_LABEL=Caf__Photos\nE:ID_FS_TYPE=vfat\nE:ID_PART_ENTRY_TYPE=0XFD\n");
    ASSERT_TRUE(content);
    // Without the encoded form, the plain one stands, blanks and all replaced.
    EXPECT_EQ(content->label, "Caf__Photos");
    EXPECT_EQ(content->partitionType, "0xfd");
    EXPECT_EQ(content->usage, std::nullopt);
    const auto encoded = LinuxBlockProbe::fromUdevRecord(
        "E:ID_FS_LABEL=Caf__Photos\nE:ID_FS_LABEL_ENC=Caf\\xc3\\xa9\\x20Photos\\x2\n");
    EXPECT_EQ(encoded->label, "Caf\xC3\xA9 Photos\\x2");
}

class LinuxBlockProbeFile : public ::testing::Test {
  protected:
    void SetUp() override {
        root_ = fs::temp_directory_path() / ("vantrel-probe-" + std::to_string(::getpid()));
        fs::remove_all(root_);
        fs::create_directories(root_ / "dev");
        // The smallest ext2 superblock libblkid accepts: counts, magic, revision, label.
        std::string image(64 * 1024, '\0');
        const auto put32 = [&](std::size_t at, std::uint32_t v) {
            for (int i = 0; i < 4; ++i)
                image[at + static_cast<std::size_t>(i)] = static_cast<char>(v >> (8 * i));
        };
        put32(1024 + 0, 16);
        put32(1024 + 4, 64);
        image[1024 + 0x38] = '\x53';
        image[1024 + 0x39] = '\xEF';
        put32(1024 + 0x4C, 1);
        image.replace(1024 + 0x78, 11, "Backup Disk");
        std::ofstream(root_ / "dev/sdz", std::ios::binary) << image;
        std::ofstream(root_ / "dev/sdy", std::ios::binary) << std::string(64 * 1024, '\0');
    }
    void TearDown() override { fs::remove_all(root_); }

    fs::path root_;
};

TEST_F(LinuxBlockProbeFile, WithoutAUdevRecordLibblkidReadsTheDevice) {
    const LinuxBlockProbe probe(root_);
    const auto content = probe.probe("sdz", 8, 400);
    EXPECT_EQ(content.type, "ext2");
    EXPECT_EQ(content.label, "Backup Disk");
    EXPECT_EQ(content.usage, "filesystem");
    EXPECT_EQ(content.partitionType, std::nullopt);
    // Nothing recognisable, a missing device, a name that would leave /dev.
    EXPECT_EQ(probe.probe("sdy", 8, 401), BlockContent{});
    EXPECT_EQ(probe.probe("sdx", 8, 402), BlockContent{});
    EXPECT_EQ(probe.probe("../dev/sdz", 8, 403), BlockContent{});
}

}  // namespace
}  // namespace platform
