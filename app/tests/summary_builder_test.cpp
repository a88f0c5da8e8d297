#include "app/summary_builder.hpp"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "drivekit/health/tests/report_fixtures.hpp"

namespace app {

using namespace drivekit;

namespace {

using SummaryBuilder::Reading;
using SummaryBuilder::ReadStep;
using SummaryBuilder::summarize;
using SummaryBuilder::Surroundings;
using Signal = Finding::Signal;

Surroundings around() {
    Surroundings s;
    s.locale = fixtures::en;
    s.freeSpace = [](std::string_view mountPoint) -> std::optional<FreeSpace> {
        static const std::map<std::string, FreeSpace, std::less<>> spaces{
            {"/", {200'000'000'000, 900'000'000'000}},
            {"/media/ana/Backup", {1'000, 500'000'000'000}}};
        const auto it = spaces.find(mountPoint);
        if (it == spaces.end()) return std::nullopt;
        return it->second;
    };
    return s;
}

Reading nvmeReading(const NVMeHealth& health, const Drive& drive) {
    return Reading{ReadMethod::nvmeSMART, fixtures::nvmeReport(health, drive), health,
                   SMARTStatusRules::nvme(health.criticalWarning)};
}

TEST(SummaryBuilder, InternalNVMeFromItsReport) {
    const Drive drive = fixtures::nvmeDrive();
    const auto summary = summarize(drive, nvmeReading(fixtures::nvmeHealth(), drive), around());

    EXPECT_EQ(summary.score, 97);
    EXPECT_EQ(summary.dataWrittenBytes, 20'480'000'000'000u);
    EXPECT_EQ(summary.flaggedSignals, std::vector<std::string>{});

    // The raw log rows, then the pass/fail word.
    ASSERT_FALSE(summary.healthLog.empty());
    EXPECT_EQ(summary.healthLog.back(),
              (DriveField{"S.M.A.R.T. status", "Verified", "", "S.M.A.R.T. status"}));

    // The start-up drive is told by its root volume, not its first mounted one.
    ASSERT_EQ(summary.volumes.size(), 2u);
    EXPECT_EQ(summary.volumes[0].name, "efi");
    EXPECT_EQ(summary.mountPoint, "/");
    EXPECT_EQ(summary.space, (FreeSpace{200'000'000'000, 900'000'000'000}));
}

TEST(SummaryBuilder, AReadOnlyNVMeFlagsItsSignalsOnceInOrder) {
    const Drive drive = fixtures::nvmeDrive();
    auto health = fixtures::nvmeHealth();
    health.criticalWarning = 0x08 | 0x02;  // read-only and hot
    health.mediaErrors = 4;
    const auto summary = summarize(drive, nvmeReading(health, drive), around());
    EXPECT_EQ(summary.tier, Tier::failed);
    EXPECT_EQ(summary.title, "Your SSD is read-only.");
    EXPECT_EQ(summary.smartStatus, SMARTStatus::failing);
    ASSERT_TRUE(summary.flaggedSignals);
    const auto& words = *summary.flaggedSignals;
    EXPECT_EQ(std::set<std::string>(words.begin(), words.end()).size(), words.size());
    EXPECT_EQ(summary.line, summary.findings.front());
}

TEST(SummaryBuilder, AUSBReadingTellsHowItWasMade) {
    const Drive drive = fixtures::usbDrive();
    const std::vector<Finding> findings{
        {Verdict::healthy, "5 connection (CRC) errors.", Signal::connection},
        {Verdict::watch, "3 sectors replaced.", Signal::sectors},
        {Verdict::watch, "About 25% of rated life left.", Signal::life},
        {Verdict::watch, "4 more sectors replaced.", Signal::sectors},
    };
    const auto report = fixtures::ataReport(
        drive, {fixtures::attribute(5, 100, 7), fixtures::attribute(231, 25, 0)}, findings);

    const auto handOver =
        summarize(drive, Reading{ReadMethod::ataSMARTHandOver, report, std::nullopt}, around());
    EXPECT_EQ(handOver.line, "3 sectors replaced. Keep your backups current.");
    EXPECT_EQ(handOver.flaggedSignals, (std::vector<std::string>{"sectors", "life"}));
    EXPECT_FALSE(handOver.liveUSBHealth);
    EXPECT_FALSE(handOver.offersUSBCheck(true));

    const auto live =
        summarize(drive, Reading{ReadMethod::ataSMARTLive, report, std::nullopt}, around());
    EXPECT_TRUE(live.liveUSBHealth);
    EXPECT_FALSE(live.offersUSBCheck(true));
}

TEST(SummaryBuilder, RAIDMembersSDCardsAndStackedDisks) {
    Drive member = fixtures::usbDrive();
    member.isRAIDMember = true;
    member.raid = RAIDInfo{"Raid2TB", "raid1", "clean", "in_sync", 2, "md0"};
    member.raid->level = "mirror";
    member.raid->status = "online";
    auto s = around();
    s.disksOnTop = {"md0", "sdb", "dm-0", "md0"};
    const auto summary = summarize(member, Reading{}, s);
    EXPECT_TRUE(summary.line.ends_with(
        " One of 2 drives in the Raid2TB mirror (RAID 1), which is online."));
    EXPECT_EQ(summary.disksOnTop, (std::vector<std::string>{"md0", "dm-0"}));

    Drive card;
    card.bsdName = "mmcblk0";
    card.model = "SD32G";
    card.transport = Transport::sdCard;
    const auto cardSummary = summarize(card, Reading{}, around());
    EXPECT_FALSE(cardSummary.modelHidden);
    EXPECT_EQ(cardSummary.hasVolumes, false);
    EXPECT_TRUE(cardSummary.notMounted());
}

}  // namespace
}  // namespace app
