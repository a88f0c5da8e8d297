#include "app/linux/linux_machine.hpp"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "drivekit/usb/uas_transport.hpp"
#include "platform/linux/linux_bench_file.hpp"
#include "platform/linux/linux_automount_hold.hpp"
#include "platform/linux/linux_block_counters.hpp"
#include "platform/linux/linux_block_probe.hpp"
#include "platform/linux/linux_block_read_drive.hpp"
#include "platform/linux/linux_udev_monitor.hpp"
#include "platform/linux/linux_block_use.hpp"
#include "platform/linux/linux_clock.hpp"
#include "platform/linux/linux_mount_watch.hpp"
#include "platform/linux/linux_mounts.hpp"
#include "platform/linux/linux_nvme_admin.hpp"
#include "platform/linux/linux_proc_files.hpp"
#include "platform/linux/linux_sg_drive.hpp"
#include "platform/linux/linux_sysfs.hpp"
#include "platform/linux/linux_usb_device.hpp"
#include "platform/linux/linux_usb_recovery.hpp"
#include "platform/linux/linux_volume_space.hpp"
#include "platform/linux/linux_volumes.hpp"

namespace app {

namespace {

std::string workingDirectory() {
    std::error_code noFolder;
    const auto folder = std::filesystem::current_path(noFolder);
    return noFolder ? std::string() : folder.string();
}

std::vector<std::string> recoverOrphans() {
    std::vector<std::string> lines;
    for (const auto& done : platform::reattachOrphanedMassStorage()) {
        if (!done.error.empty()) {
            lines.push_back("couldn't give " + done.name + " back to its driver: " + done.error + ".");
        }
    }
    return lines;
}

drivekit::CapturedUSBDrive::Options captureOptions() {
    drivekit::CapturedUSBDrive::Options options;
    options.makeUAS = drivekit::UASTransport::maker();
    return options;
}

OpenSCSI directSCSI() {
    return [](std::string_view name) -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
        auto opened = platform::LinuxSGDrive::open("/dev/" + std::string(name));
        if (!opened) return drivekit::Unexpected(opened.error());
        return std::unique_ptr<drivekit::SCSIDrive>(std::move(opened).value());
    };
}

}  // namespace

struct LinuxMachine::Parts {
    explicit Parts(Bus given) : bus(std::move(given)) {}
    const Bus bus;
    platform::LinuxSysfs sysfs;
    platform::LinuxNVMeAdmin nvme{sysfs, "/dev"};
    const platform::LinuxMounts mounts;
    const platform::LinuxBlockProbe probe;
    const platform::LinuxVolumeSpace space;
    const platform::LinuxClock clock;
    // The disk service when the bus offers it, so the desktop keeps track of the volumes;
    // else umount2 and mount(2).
    const std::unique_ptr<platform::Volumes> volumes =
        bus.volumes ? bus.volumes(sysfs, mounts) : std::make_unique<platform::LinuxVolumes>(sysfs, mounts);
    const platform::LinuxFileHolders holders;
    platform::LinuxUSBHost usb;
    const platform::LinuxBlockUse blockUse;
    platform::LinuxBenchFiles benchFiles;
    platform::LinuxBlockCounters blockCounters;
    CapturePlatform capture{*volumes,
                            holders,
                            usb,
                            [](double seconds) {
                                std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
                            },
                            captureOptions(),
                            recoverOrphans,
                            {},
                            &blockUse,
                            platform::giveBackClaimedInterfacesNow};
    // Without root the drives are read through the privileged service, when it is
    // installed; otherwise directly, and each read that needs root says how to get it.
    const std::unique_ptr<ServiceReach> service = ::geteuid() != 0 && bus.service ? bus.service() : nullptr;
    Machine machine{sysfs,
                    service ? service->nvme() : nvme,
                    drivekit::Locale::current(),
                    service ? service->openSCSI() : directSCSI(),
                    &mounts,
                    &probe,
                    &space,
                    &clock,
                    workingDirectory(),
                    true,
                    [](std::string_view name)
                        -> drivekit::Result<std::unique_ptr<drivekit::SCSIDrive>, int> {
                        auto opened = platform::LinuxBlockReadDrive::open("/dev/" + std::string(name));
                        if (!opened) return drivekit::Unexpected(opened.error());
                        return std::unique_ptr<drivekit::SCSIDrive>(std::move(opened).value());
                    },
                    [](std::string& why) -> std::unique_ptr<platform::DiskEvents> {
                        return platform::LinuxUdevMonitor::open(why);
                    },
                    &capture,
                    &benchFiles,
                    std::make_shared<platform::LinuxProcFiles>()};
};

LinuxMachine::LinuxMachine(Bus bus) : parts_(std::make_unique<Parts>(std::move(bus))) {
    parts_->machine.volumes = parts_->volumes.get();
    parts_->machine.holders = &parts_->holders;
    parts_->machine.openMountEvents = [](std::string& why) -> std::unique_ptr<platform::DiskEvents> {
        return platform::LinuxMountWatch::open(why);
    };
    parts_->machine.blockCounters = &parts_->blockCounters;
    parts_->machine.holdAutomount = [](std::string& why) -> std::unique_ptr<platform::AutomountHold> {
        return platform::LinuxAutomountHold::open(why);
    };
    // Each read opens its own handles and the Linux implementations keep no state
    // between calls, so a pass waits for its slowest drive rather than for all of them in
    // turn. Reads through the service go one at a time: it limits each caller's calls.
    parts_->machine.concurrentReads = !parts_->service;
    if (const auto& service = parts_->service) {
        parts_->machine.serviceCheck = service->check();
        parts_->machine.serviceRefused = [client = service.get()](std::string_view name) {
            return client->refused(name);
        };
        parts_->machine.serviceWrites = service->writes(nullptr);
        parts_->machine.serviceScan = service->scan();
    }
}
LinuxMachine::~LinuxMachine() = default;

Machine& LinuxMachine::machine() { return parts_->machine; }

}  // namespace app
