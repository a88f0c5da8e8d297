// Captures a real USB disk through the kernel's usbfs. Runs only in the hardware lab,
// where the guest names the disk: VANTREL_LAB_USB_DISK=sdb (and VANTREL_LAB_BAD_LBA for a
// sector the lab made unreadable). Everywhere else it is skipped.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "drivekit/health/ata_commands.hpp"
#include "drivekit/usb/captured_usb_drive.hpp"
#include "platform/linux/linux_usb_device.hpp"
#include "platform/linux/linux_usb_recovery.hpp"

namespace platform {
namespace {

namespace fs = std::filesystem;
using drivekit::Bytes;
using drivekit::CapturedUSBDrive;

struct LabDisk {
    std::uint32_t location = 0;
    std::string interface;  // "2-1:1.0"
};

std::string readLine(const fs::path& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

std::optional<LabDisk> labDisk() {
    const char* disk = std::getenv("VANTREL_LAB_USB_DISK");
    if (disk == nullptr) return std::nullopt;
    std::error_code error;
    fs::path at = fs::canonical(fs::path("/sys/class/block") / disk, error);
    for (; !at.empty() && at != at.root_path(); at = at.parent_path()) {
        if (!fs::exists(at / "busnum") || !fs::exists(at / "devpath")) continue;
        const auto bus = static_cast<std::uint8_t>(std::stoi(readLine(at / "busnum")));
        std::vector<std::uint8_t> ports;
        std::string devpath = readLine(at / "devpath");
        for (std::size_t start = 0; start <= devpath.size();) {
            const std::size_t dot = std::min(devpath.find('.', start), devpath.size());
            ports.push_back(
                static_cast<std::uint8_t>(std::stoi(devpath.substr(start, dot - start))));
            start = dot + 1;
        }
        const std::string config = readLine(at / "bConfigurationValue");
        return LabDisk{usbLocationID(bus, ports), at.filename().string() + ":" + config + ".0"};
    }
    return std::nullopt;
}

// The same disk for every test: its block device goes away during each capture.
const std::optional<LabDisk>& theLabDisk() {
    static const std::optional<LabDisk> disk = labDisk();
    return disk;
}

// "usb-storage" or "uas" when the kernel serves the disk, "usbfs" while we hold it.
std::string driverOf(const LabDisk& disk) {
    std::error_code error;
    const auto target =
        fs::read_symlink(fs::path("/sys/bus/usb/devices") / disk.interface / "driver", error);
    return error ? std::string() : target.filename().string();
}

bool kernelServes(const LabDisk& disk) {
    const std::string driver = driverOf(disk);
    return driver == "usb-storage" || driver == "uas";
}

bool waitForDriver(const LabDisk& disk) {
    for (int i = 0; i < 100 && !kernelServes(disk); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    std::cout << "driver now: " << driverOf(disk) << "\n";
    return kernelServes(disk);
}

void show(const std::vector<std::string>& lines) {
    for (const auto& line : lines) std::cout << "  log: " << line << "\n";
}

Bytes read10(std::uint32_t lba) {
    return {0x28,
            0,
            static_cast<std::uint8_t>(lba >> 24),
            static_cast<std::uint8_t>(lba >> 16),
            static_cast<std::uint8_t>(lba >> 8),
            static_cast<std::uint8_t>(lba),
            0,
            0,
            1,
            0};
}

TEST(LinuxUSBLab, CapturesReadsAndGivesBack) {
    const auto& disk = theLabDisk();
    if (!disk) GTEST_SKIP() << "not in the lab";
    LinuxUSBHost host;
    auto captured = CapturedUSBDrive::capture(host, disk->location);
    show(CapturedUSBDrive::lastDiagnostics().value_or(std::vector<std::string>{}));
    ASSERT_TRUE(captured) << captured.error().text();
    CapturedUSBDrive& drive = **captured;
    std::cout << "transport: " << (drive.usesUAS() ? "UAS" : "Bulk-Only") << "\n";
    EXPECT_EQ(driverOf(*disk), "usbfs");

    const auto inquiry = drivekit::ATACommands::inquiry(drive);
    ASSERT_TRUE(inquiry);
    std::cout << "inquiry: " << inquiry->vendor << " / " << inquiry->product << "\n";
    const auto identify = drivekit::ATACommands::ataIdentify(drive);
    std::cout << "ATA identify: " << (identify ? identify->identity.model : "refused") << "\n";
    const auto block = drive.command(read10(0), 512, 5.0);
    ASSERT_TRUE(block) << block.error().message;
    EXPECT_EQ(block->size(), 512u);
    if (const char* bad = std::getenv("VANTREL_LAB_BAD_LBA")) {
        const auto failed =
            drive.command(read10(static_cast<std::uint32_t>(std::atoi(bad))), 512, 5.0);
        EXPECT_FALSE(failed);
        std::cout << "bad block: " << (failed ? "read" : failed.error().message) << "\n";
        EXPECT_TRUE(drive.command(read10(0), 512, 5.0));
    }
    EXPECT_FALSE(drive.stoppedAnswering());
    drive.release();
    show(drive.diagnostics());
    EXPECT_TRUE(waitForDriver(*disk)) << "the kernel driver didn't come back";
}

// A child captures and is ended by a signal: SIGTERM through the installed handler, and
// SIGKILL, after which the next start's repair gives the disk back.
void captureInChildAndKill(const LabDisk& disk, int signal) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        installGiveBackOnSignals();
        LinuxUSBHost host;
        auto captured = CapturedUSBDrive::capture(host, disk.location);
        const char byte = captured ? 'y' : 'n';
        (void)!write(ready[1], &byte, 1);
        for (;;) pause();
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    ASSERT_EQ(byte, 'y');
    EXPECT_EQ(driverOf(disk), "usbfs");
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    close(ready[0]);
    close(ready[1]);
}

TEST(LinuxUSBLab, ASignalGivesTheDiskBack) {
    const auto& disk = theLabDisk();
    if (!disk) GTEST_SKIP() << "not in the lab";
    captureInChildAndKill(*disk, SIGTERM);
    EXPECT_TRUE(waitForDriver(*disk)) << "SIGTERM left the interface without its driver";
}

TEST(LinuxUSBLab, TheNextStartRepairsAKilledCapture) {
    const auto& disk = theLabDisk();
    if (!disk) GTEST_SKIP() << "not in the lab";
    captureInChildAndKill(*disk, SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const auto orphans = orphanedMassStorageInterfaces();
    std::cout << "orphaned after SIGKILL:";
    for (const auto& name : orphans) std::cout << " " << name;
    std::cout << "\n";
    const auto done = reattachOrphanedMassStorage();
    for (const auto& one : done) std::cout << "reattached " << one.name << " " << one.error << "\n";
    EXPECT_TRUE(waitForDriver(*disk)) << "the repair didn't bring the driver back";
}

}  // namespace
}  // namespace platform
