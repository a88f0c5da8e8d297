// A refresh pass over the lab machine's fixture tree: a scripted NVMe controller, a SATA
// disk that answers ATA pass-through, USB disks and an SD card that don't.
#include "app/read_all.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "drivekit/usb/tests/support/sim_ata_disk.hpp"
#include "platform/linux/linux_block_probe.hpp"
#include "platform/linux/linux_mounts.hpp"
#include "platform/linux/linux_sysfs.hpp"
#include "platform/tests/support/doubles.hpp"

namespace app {

using namespace drivekit;

namespace {

std::string data(const std::string& path) {
    return std::string(VANTREL_TEST_DATA) + "/" + path;
}


// The lab's mount table, in which the Bulk-Only disk's volume is unmounted once the
// first pass over it is done: what a user does while a slow read runs.
class UnmountingMounts final : public platform::Mounts {
  public:
    explicit UnmountingMounts(const std::string& root) : table_(root) {}
    std::vector<platform::Mount> list() const override {
        auto mounts = table_.list();
        if (calls_++ > 0) {
            std::erase_if(mounts, [](const auto& m) { return m.source == "/dev/sdd1"; });
        }
        return mounts;
    }

  private:
    platform::LinuxMounts table_;
    mutable int calls_ = 0;
};

class ReadAll : public ::testing::Test {
  protected:
    const std::string root = data("discovery/lab");
    platform::LinuxSysfs sysfs{root};
    UnmountingMounts mounts{root};
    platform::LinuxBlockProbe probe{root};
    platform::doubles::ScriptedNVMe nvme;
    sim::SimATADisk sata = sim::labSATADisk();
    sim::SimDiskLinks links{sata, "sda"};

    ReadContext context() {
        Discovery::Sources sources{sysfs, mounts, probe, "/root", Locale{"en_US"}};
        return ReadContext{sources, nvme, links.connect(),
                           [](std::string_view) {
                               return FreeSpace{1'000, 4'000};
                           },
                           true};
    }

    static const DriveRead& named(const std::vector<DriveRead>& reads, std::string_view name) {
        const auto it = std::find_if(reads.begin(), reads.end(),
                                     [&](const DriveRead& r) { return r.drive.bsdName == name; });
        EXPECT_NE(it, reads.end()) << name;
        return *it;
    }
};

TEST_F(ReadAll, EachTransportGoesToItsReaderAndTheRestAreLimited) {
    // Drives described and read each on a thread of their own come back whole and in order.
    ReadContext concurrently = context();
    concurrently.concurrent = true;
    const auto shown = [](const std::vector<DriveRead>& reads) {
        std::vector<std::tuple<std::string, ReadMethod, Tier>> rows;
        for (const auto& r : reads) rows.emplace_back(r.drive.bsdName, r.reading.method, r.summary.tier);
        return rows;
    };
    const auto inTurn = shown(readDrives({}, true, concurrently));

    const auto reads = readDrives({}, true, context());
    std::vector<std::string> names;
    for (const auto& read : reads) names.push_back(read.drive.bsdName);
    EXPECT_EQ(names, (std::vector<std::string>{"mmcblk0", "nvme0n1", "sda", "sdb", "sdc", "sdd"}));
    EXPECT_EQ(inTurn, shown(reads));

    const auto& nvmeRead = named(reads, "nvme0n1");
    EXPECT_EQ(nvmeRead.reading.method, ReadMethod::nvmeSMART);
    EXPECT_TRUE(nvmeRead.reading.nvme);
    EXPECT_EQ(nvmeRead.summary.kind, DriveKind::internalSSD);
    EXPECT_NE(nvmeRead.summary.tier, Tier::limited);

    // Internal SATA is read live and shown, though its kind is "other".
    const auto& sataRead = named(reads, "sda");
    EXPECT_EQ(sataRead.reading.method, ReadMethod::ataSMARTLive);
    EXPECT_EQ(sataRead.summary.kind, DriveKind::other);
    EXPECT_EQ(sataRead.summary.smartStatus, SMARTStatus::verified);
    EXPECT_NE(sataRead.summary.tier, Tier::limited);
    // Both stores stacked on it, by their own names.
    EXPECT_EQ(sataRead.summary.disksOnTop, (std::vector<std::string>{"md0", "dm-0"}));
    EXPECT_TRUE(sataRead.summary.isRAIDMember);

    // The USB disks don't pass ATA through: limited, worded for a drive that could be
    // checked, each with its port key.
    const auto& stick = named(reads, "sdc");
    EXPECT_EQ(stick.summary.tier, Tier::limited);
    EXPECT_EQ(stick.summary.usbKey,
              std::to_string(0x02100000) + "-" + std::to_string(stick.drive.sizeBytes));
    EXPECT_EQ(stick.summary.usbSignature, "46F4:0001:" + std::to_string(stick.drive.sizeBytes));
    EXPECT_TRUE(stick.summary.offersUSBCheck(true));
    EXPECT_TRUE(stick.summary.insight.indicators.empty());

    const auto& card = named(reads, "mmcblk0");
    EXPECT_EQ(card.summary.kind, DriveKind::sdCard);
    EXPECT_EQ(card.summary.name, "CAMERA");
    EXPECT_EQ(card.summary.space, (FreeSpace{1'000, 4'000}));
    EXPECT_EQ(documentSource(card).method, ReadMethod::none);
}

TEST_F(ReadAll, MountFactsAreTakenUpAgainAfterTheReads) {
    // Discovery saw /media/lab/Backup Disk mounted before the reads, and gone after.
    const auto reads = readDrives({}, true, context());
    const auto& bot = named(reads, "sdd");
    EXPECT_TRUE(bot.summary.notMounted());
    EXPECT_EQ(bot.summary.mountPoint, std::nullopt);
    EXPECT_EQ(bot.summary.hasVolumes, true);
    EXPECT_TRUE(bot.drive.volumes.empty() || !bot.drive.volumes.front().mountPoint);
    // The name stays what it was when the drive was read.
    EXPECT_EQ(bot.summary.name, "BOT DISK");
}

TEST_F(ReadAll, FailedReadsAreLimitedAndKeptUSBReadingsWin) {
    nvme.failure = platform::NVMeAdminFailure{platform::NVMeAdminFailure::Kind::noController, 13};
    const auto stick = Discovery::drive("sdc", context().discovery);
    ASSERT_TRUE(stick);

    SummaryBuilder::Reading handOver;
    handOver.method = ReadMethod::ataSMARTHandOver;
    handOver.report = HealthReport{};
    handOver.report->drive = *stick;
    handOver.report->model = "Samsung SSD 860 EVO 500GB";
    handOver.smartStatus = SMARTStatus::verified;
    const USBReports kept{{usbKey(*stick), handOver}};

    const auto summaries = readAll(kept, false, context());
    ASSERT_EQ(summaries.size(), 6u);
    const auto of = [&](std::string_view name) {
        return *std::find_if(summaries.begin(), summaries.end(),
                             [&](const DriveSummary& s) { return s.bsdName == name; });
    };
    EXPECT_EQ(of("nvme0n1").tier, Tier::limited);
    // Kept reading: read, named after the drive inside, and no longer offering the check.
    EXPECT_EQ(of("sdc").tier, Tier::healthy);
    EXPECT_EQ(of("sdc").name, "Samsung SSD 860 EVO 500GB");
    EXPECT_FALSE(of("sdc").offersUSBCheck(true));
    // No live reads allowed: the SATA disk was never opened.
    EXPECT_EQ(links.opened, 0);
    EXPECT_EQ(of("sda").tier, Tier::limited);
}

}  // namespace
}  // namespace app
