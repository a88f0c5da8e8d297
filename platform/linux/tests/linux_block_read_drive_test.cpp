// The O_DIRECT read adapter on a plain file in the build folder (a file system that takes
// O_DIRECT; the test skips where it doesn't): it reads what is there and refuses the rest.
#include "platform/linux/linux_block_read_drive.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>

namespace platform {
namespace {

TEST(LinuxBlockReadDrive, AnswersCapacityAndReadsAndRefusesEverythingElse) {
    const std::filesystem::path file = std::filesystem::current_path() / "block_read_drive_test.img";
    {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        for (int block = 0; block < 80; ++block) out << std::string(512, static_cast<char>(block));
    }
    auto opened = LinuxBlockReadDrive::open(file);
    if (!opened && opened.error() == EINVAL) GTEST_SKIP() << "no O_DIRECT on this file system";
    ASSERT_TRUE(opened);
    auto& drive = *opened.value();

    const platform::Bytes rc16{0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0};
    const auto capacity = drive.command(rc16, 32, 4);
    ASSERT_TRUE(capacity);
    EXPECT_EQ(platform::be64(*capacity, 0), 79u);
    EXPECT_EQ(platform::be32(*capacity, 8), 512u);

    const platform::Bytes read10{0x28, 0, 0, 0, 0, 8, 0, 0, 16, 0};
    const auto data = drive.command(read10, 16 * 512, 10);
    ASSERT_TRUE(data);
    ASSERT_EQ(data->size(), 16u * 512);
    EXPECT_EQ((*data)[0], 8);
    EXPECT_EQ(data->back(), 23);

    // The length alone, as the scan asks: the same reads and refusals, no data handed over.
    EXPECT_EQ(drive.commandLength(read10, 16 * 512, 10).value(), 16 * 512);
    EXPECT_EQ(drive.commandLength(rc16, 32, 4).value(), 32);

    const platform::Bytes pastEnd{0x88, 0, 0, 0, 0, 0, 0, 0, 0, 79, 0, 0, 0, 2, 0, 0};
    EXPECT_FALSE(drive.command(pastEnd, 1024, 10));
    EXPECT_FALSE(drive.commandLength(pastEnd, 1024, 10));
    EXPECT_FALSE(drive.command(platform::Bytes{0x12, 0, 0, 0, 36, 0}, 36, 4));       // INQUIRY
    EXPECT_FALSE(drive.command(platform::Bytes{0x2A, 0, 0, 0, 0, 0, 0, 0, 1, 0}, 0, 4));  // WRITE (10)
    EXPECT_FALSE(drive.stoppedAnswering());
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace platform
